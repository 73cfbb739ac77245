// Version number and letters of a word processor's version text, and the warning.
#include "ui/main/VersionCheck.h"

#include "settings/IniRW.h"
#include "settings/Options.h"
#include "ui/common/AppInfo.h"

#include <cstdlib>
#include <string>

namespace qm::ui {

double versionNumber(std::string_view versionText)
{
    std::string digits;
    for (char c : versionText)
        if ((c >= '0' && c <= '9') || c == '.')
            digits += c;
    // Read as far as it is a number: "8.0.1" is 8.0, as the numeric
    // conversion of the text stops at the second point.
    return std::strtod(digits.c_str(), nullptr);
}

std::string versionLetters(std::string_view versionText)
{
    std::string letters;
    for (char c : versionText)
        if (!((c >= '0' && c <= '9') || c == '.'))
            letters += c;
    return letters;
}

std::optional<QString> outdatedVersionWarning(std::string_view versionText, std::string_view verChk)
{
    const double number = versionNumber(versionText);
    if (number < 8 || number >= 9 || verChk != "1")
        return std::nullopt;
    std::string letters = versionLetters(versionText);
    for (char& c : letters)
        c = char(std::tolower(static_cast<unsigned char>(c)));
    if (!letters.empty() && letters != "a")
        return std::nullopt;
    // The engine reading the documents is out of date: the user updates
    // Quillmeter itself, through the package manager or wherever it came
    // from; nothing of another vendor's is to be installed.
    return QString("The Document Engine In Use (Version ") + QString::number(number) +
           toQString(versionLetters(versionText)) + ") Is Out Of Date And May Count Some Documents Differently. " +
           "Please Update " + applicationTitle() + " Through Your Package Manager, Or From Where You Installed It.";
}

void runVersionCheck(const settings::SettingsContext& settings, std::string_view versionText, const MessageBoxAsk& ask,
                     QWidget* parent)
{
    const std::string verChk =
        settings::ReadINI(settings, settings::kOptionsBaseName, settings::kOptionsSection, "VerChk", "1");
    const auto warning = outdatedVersionWarning(versionText, verChk);
    if (!warning)
        return;
    const MsgBoxAnswer answer = ask(MsgBoxRequest{applicationTitle(), "!", *warning, false}, parent);
    if (answer.doNotShowAgain)
        settings::WriteINI(settings, settings::kOptionsBaseName, settings::kOptionsSection, "VerChk", "0");
}

} // namespace qm::ui
