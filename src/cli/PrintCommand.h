// The "print" command: the files named printed as the Print button prints the Chase List.
#pragma once

#include "Cli.h"
#include "browser/CPause.h"
#include "print/Printers.h"

namespace qm::cli {

/// Prints with the given print system, waiting by `clock`; the program's own
/// command uses CUPS and the system clock, tests their doubles.
int runPrint(Context& ctx, print::PrinterSystem& printers, browser::Clock& clock);

/// The print command on the CUPS printers.
int printCommand(Context& ctx);

} // namespace qm::cli
