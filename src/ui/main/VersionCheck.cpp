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
    return QString("You Are Runing Microsoft(R) Word 97 ") + QString::number(number) +
           toQString(versionLetters(versionText)) +
           ", It Is Recommended That You Upgrade To Service Release 2b (SR-2b).  If You Have The Brennock " +
           applicationTitle() +
           " CD-Rom Use The \"Updates\" Button And Click On \"Word 97 SR-2b\" Update.  You Can Also Goto "
           "https://www.microsoft.com/";
}

void runVersionCheck(const settings::SettingsContext& settings, std::string_view versionText,
                     const MessageBoxAsk& ask, QWidget* parent)
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
