// The system's printers as the options tab lists them, behind a replaceable seam.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace qm::ui {

/// Where the printer box gets its entries: the device names in the system's
/// order, and the system's default printer (empty when there is none).
struct PrinterList {
    std::function<std::vector<std::string>()> names;
    std::function<std::string()> defaultName;
};

/// The printers CUPS knows, asked through `lpstat -e` and `lpstat -d`; no
/// printers (and no default) when lpstat is missing or fails.
PrinterList lpstatPrinterList();

/// The list the main screen uses when it is given none. Printing may install
/// its own (it knows the print back end) before the main screen is built.
PrinterList defaultPrinterList();
void setDefaultPrinterList(PrinterList list);

} // namespace qm::ui
