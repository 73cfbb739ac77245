// The default printer and the existence check, over whichever print system is installed.
#include "print/Printers.h"

#include "settings/IniRW.h"
#include "settings/Options.h"

#include <algorithm>
#include <exception>

namespace qm::print {

std::optional<std::string> DefaultPrinterObject(PrinterSystem& printers)
{
    try {
        const std::string wanted = printers.systemDefaultName();
        if (wanted.empty())
            return std::nullopt;
        const std::vector<std::string> names = printers.printerNames();
        const auto found = std::find(names.begin(), names.end(), wanted);
        if (found == names.end())
            return std::nullopt;
        return *found;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::string DefaultPrinterName(PrinterSystem& printers) { return DefaultPrinterObject(printers).value_or(""); }

bool PrinterExists(PrinterSystem& printers, std::string_view name)
{
    try {
        const std::vector<std::string> names = printers.printerNames();
        return std::find(names.begin(), names.end(), name) != names.end();
    } catch (const std::exception&) {
        return false;
    }
}

std::string printerToUse(PrinterSystem& printers, const settings::SettingsContext& settings,
                         const std::optional<std::string>& chosen)
{
    if (chosen)
        return *chosen;
    return settings::ReadINI(settings, settings::kOptionsBaseName, settings::kOptionsSection, "PrinterToUse",
                             DefaultPrinterName(printers));
}

} // namespace qm::print
