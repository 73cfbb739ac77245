// The CUPS print system: its destinations, its default, and jobs sent to a named queue.
#pragma once

#include "print/Printers.h"

#include <string>

namespace qm::print {

/// Asks a CUPS server on every call (nothing is cached, so a printer added
/// or removed shows at once). Each call opens its own connection and closes
/// it again, so one object may be used from any thread.
class CupsPrinterSystem : public PrinterSystem {
public:
    /// `server` is "host:port" or a local socket path; empty for the one the
    /// user's CUPS settings name (CUPS_SERVER, client.conf, the local daemon).
    explicit CupsPrinterSystem(std::string server = {}) : m_server(std::move(server)) {}

    std::vector<std::string> printerNames() override;
    std::string systemDefaultName() override;
    settings::Result<int> printPdf(const std::string& printer, const std::string& title,
                                   const PdfProducer& produce) override;

    /// The server asked, as "host:port" or a socket path.
    std::string serverName() const;

private:
    std::string m_server;
};

} // namespace qm::print
