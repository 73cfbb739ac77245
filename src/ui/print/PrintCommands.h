// Print and the Chase List's "Print" on the main screen, the window alive while printing.
#pragma once

#include "print/PrintJob.h"
#include "print/Printers.h"
#include "ui/main/PrinterList.h"

#include <functional>
#include <memory>

namespace qm::ui {

class frmMain;

/// The printer box's list over a print system: its device names in the
/// system's order and its default printer.
PrinterList printerListOf(std::shared_ptr<print::PrinterSystem> printers);

/// Builds the engine a print job drives, on the job's worker thread.
using PrintEngineFactory = std::function<std::unique_ptr<print::PrintingEngine>(
    Prompter& prompter, print::PrinterSystem& printers, const settings::SettingsContext& settings)>;

/// Connects the main screen's print requests to the print job and fills
/// its printer box from `printers` (the system's CUPS printers when none is
/// given), for this screen and every screen built later. The job works on
/// a worker thread over a copy of the Chase List: the window stays alive,
/// Stop ends the job after the current half-second of a wait, and closing
/// the window while printing stops the job and closes once it has ended.
void attachPrintCommands(frmMain& screen, std::shared_ptr<print::PrinterSystem> printers = {},
                         PrintEngineFactory makeEngine = {});

} // namespace qm::ui
