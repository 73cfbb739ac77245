// The installed printers, the default one, and whether a printer by a given name exists.
#pragma once

#include "render/PdfRenderer.h"
#include "settings/Result.h"
#include "settings/SettingsContext.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qm::print {

/// Writes one document's PDF into the sink it is given; the print system
/// calls it while the job's document is open, so the PDF streams straight
/// into the queue.
using PdfProducer = std::function<render::Result(const render::PdfSink& sink)>;

/// The platform's print system: what it has installed and how a document
/// reaches one of its printers. CUPS on our platforms; tests supply their own.
class PrinterSystem {
public:
    virtual ~PrinterSystem() = default;
    /// The device names of the installed printers, in the order the system
    /// gives them. Empty when there are none or the system cannot be asked.
    virtual std::vector<std::string> printerNames() = 0;
    /// The name the system gives as its default printer; empty when none.
    virtual std::string systemDefaultName() = 0;
    /// Sends one PDF document to `printer` as one job named `title`. The
    /// printer is named for this job only: the system's default stays as it
    /// is. The job's number, or why it could not be sent.
    virtual settings::Result<int> printPdf(const std::string& printer, const std::string& title,
                                           const PdfProducer& produce) = 0;
};

/// The installed printer that is the system default, matched by its exact
/// name; none when the system names no default or a printer that is not
/// installed.
std::optional<std::string> DefaultPrinterObject(PrinterSystem& printers);

/// The default printer's device name; empty when there is none.
std::string DefaultPrinterName(PrinterSystem& printers);

/// True when an installed printer's device name equals `name` exactly,
/// letter case included: the print system may accept "office" for
/// "Office", but a stored choice must name the printer as it was listed.
/// False on any failure to ask the system.
bool PrinterExists(PrinterSystem& printers, std::string_view name);

/// The printer printing uses: `chosen` when given (the command line's
/// choice), else the option `PrinterToUse`, read now, whose default is the
/// default printer's name.
std::string printerToUse(PrinterSystem& printers, const settings::SettingsContext& settings,
                         const std::optional<std::string>& chosen = std::nullopt);

} // namespace qm::print
