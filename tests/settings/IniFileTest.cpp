// Lookup and edit rules of IniFile on files built in memory.
#include "settings/IniFile.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>

using qm::settings::Encoding;
using qm::settings::IniFile;

// Each case is a way a file written by hand or by the Windows version can
// differ from the tidy form; a fault in name matching, trimming or quote
// handling shows up as a wrong value or a missing key.
TEST(IniFile, LookupFollowsPrivateProfileRules)
{
    struct Case {
        const char* what;
        std::string file;
        const char* section;
        const char* key;
        std::optional<std::string> expected;
    };
    const Case cases[] = {
        {"exact", "[MAIN]\r\nVerChk=1\r\n", "MAIN", "VerChk", "1"},
        {"section case", "[main]\r\nVerChk=1\r\n", "MAIN", "VerChk", "1"},
        {"key case", "[MAIN]\r\nVERCHK=1\r\n", "Main", "verchk", "1"},
        {"non-ASCII case", "[Ärzte]\nStadt=Köln\n", "äRZTE", "stadt", "Köln"},
        {"blanks around names", "[  MAIN \t]\n  VerChk \t= 1\n", " MAIN", "VerChk ", "1"},
        {"double quotes stripped", "[MAIN]\nCity=\" Paris \"\n", "MAIN", "City", " Paris "},
        {"single quotes stripped", "[MAIN]\nCity='Rome'\n", "MAIN", "City", "Rome"},
        {"mismatched quotes kept", "[MAIN]\nCity=\"Rome'\n", "MAIN", "City", "\"Rome'"},
        {"equals in value", "[MAIN]\nFormula=a=b=c\n", "MAIN", "Formula", "a=b=c"},
        {"empty value is stored", "[MAIN]\nCity=\n", "MAIN", "City", ""},
        {"first key wins", "[MAIN]\nCity=One\ncity=Two\n", "MAIN", "City", "One"},
        {"first section wins", "[P]\nA=1\n[p]\nA=2\nB=3\n", "P", "A", "1"},
        {"later duplicate section is not searched", "[P]\nA=1\n[p]\nB=3\n", "P", "B", std::nullopt},
        {"comment is no key", "[MAIN]\n;City=Hidden\n", "MAIN", "City", std::nullopt},
        {"indented comment", "[MAIN]\n   ;City=Hidden\nCity=Shown\n", "MAIN", "City", "Shown"},
        {"line without equals", "[MAIN]\nCity\nCity=Shown\n", "MAIN", "City", "Shown"},
        {"key before any section", "City=Lost\n[MAIN]\n", "MAIN", "City", std::nullopt},
        {"missing section", "[A]\nCity=x\n", "C", "City", std::nullopt},
        {"header without closing bracket", "[MAIN\nCity=x\n", "MAIN", "City", "x"},
        {"text after the bracket", "[MAIN] ; note\nCity=x\n", "MAIN", "City", "x"},
        {"NUL ends the line's meaning", std::string("[MAIN]\nCity=ab\0cd\n", 18), "MAIN", "City", "ab"},
        {"CR alone stays in the line", "[MAIN]\rCity=x\n", "MAIN", "City", std::nullopt},
        {"byte order mark", "\xEF\xBB\xBF[MAIN]\nCity=x\n", "MAIN", "City", "x"},
        {"last line without ending", "[MAIN]\nCity=x", "MAIN", "City", "x"},
        {"Windows-1252 value",
         "[MAIN]\nCity=Montr\xE9"
         "al\n",
         "MAIN", "City", "Montréal"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(IniFile::parse(c.file).value(c.section, c.key), c.expected);
    }
}

namespace {

bool set(IniFile& ini, const char* section, const char* key, const char* value)
{
    return ini.setValue(section, key, value).hasValue();
}

} // namespace

// An edit must touch only the lines it has to: comments, unknown keys, key
// spelling, blank lines and every line ending stay as they were.
TEST(IniFile, EditsChangeOnlyTheirOwnLines)
{
    const std::string profiles = "; billing profiles\r\n"
                                 "[Acme]\r\n"
                                 "City = Boston\r\n"
                                 "; the rate was raised in May\r\n"
                                 "BillAmount=$1.20\r\n"
                                 "Unknown=kept\r\n"
                                 "\r\n"
                                 "[Beta]\r\n"
                                 "City=Austin\r\n";
    struct Case {
        const char* what;
        std::string before;
        std::function<bool(IniFile&)> edit;
        std::string after;
    };
    const Case cases[] = {
        {"replace keeps spelling and spacing", profiles, [](IniFile& i) { return set(i, "ACME", "city", "Denver"); },
         "; billing profiles\r\n[Acme]\r\nCity = Denver\r\n; the rate was raised in May\r\n"
         "BillAmount=$1.20\r\nUnknown=kept\r\n\r\n[Beta]\r\nCity=Austin\r\n"},
        {"new key goes before the blank line ending the section", profiles,
         [](IniFile& i) { return set(i, "Acme", "Zip", "02134"); },
         "; billing profiles\r\n[Acme]\r\nCity = Boston\r\n; the rate was raised in May\r\n"
         "BillAmount=$1.20\r\nUnknown=kept\r\nZip=02134\r\n\r\n[Beta]\r\nCity=Austin\r\n"},
        {"a comment above the next section stays with it", "[A]\nX=1\n\n; about B\n[B]\n",
         [](IniFile& i) { return set(i, "A", "Y", "2"); }, "[A]\nX=1\nY=2\n\n; about B\n[B]\n"},
        {"new key in the last section", profiles, [](IniFile& i) { return set(i, "beta", "Zip", "73301"); },
         profiles + "Zip=73301\r\n"},
        {"new section at the end after a blank line", profiles,
         [](IniFile& i) { return set(i, "Gamma", "DonePer", "Line"); }, profiles + "\r\n[Gamma]\r\nDonePer=Line\r\n"},
        {"names are trimmed when written", "", [](IniFile& i) { return set(i, " MAIN ", " VerChk ", "0"); },
         "[MAIN]\r\nVerChk=0\r\n"},
        {"last line without ending gets one", "[MAIN]\nA=1", [](IniFile& i) { return set(i, "MAIN", "B", "2"); },
         "[MAIN]\nA=1\nB=2\n"},
        {"only the first duplicate is replaced", "[P]\nA=1\nA=2\n[p]\nA=3\n",
         [](IniFile& i) { return set(i, "P", "A", "9"); }, "[P]\nA=9\nA=2\n[p]\nA=3\n"},
        {"remove key keeps neighbours", profiles, [](IniFile& i) { return i.removeKey("acme", "BILLAMOUNT"); },
         "; billing profiles\r\n[Acme]\r\nCity = Boston\r\n; the rate was raised in May\r\n"
         "Unknown=kept\r\n\r\n[Beta]\r\nCity=Austin\r\n"},
        {"remove section takes its comments and blank lines", profiles,
         [](IniFile& i) { return i.removeSection("ACME"); }, "; billing profiles\r\n[Beta]\r\nCity=Austin\r\n"},
        {"remove only the first duplicate section", "[P]\nA=1\n[X]\n[p]\nA=2\n",
         [](IniFile& i) { return i.removeSection("P"); }, "[X]\n[p]\nA=2\n"},
        {"remove absent key changes nothing", profiles, [](IniFile& i) { return !i.removeKey("Acme", "Nope"); },
         profiles},
        {"Windows-1252 file stays Windows-1252",
         "[P]\nCity=Montr\xE9"
         "al\n",
         [](IniFile& i) { return set(i, "P", "Street", "Rue d’Été"); },
         "[P]\nCity=Montr\xE9"
         "al\nStreet=Rue d\x92\xC9t\xE9\n"},
        {"section body replaced", "[P]\nA=1\n;c\nB=2\n[Q]\nC=3\n",
         [](IniFile& i) {
             return i.replaceSectionBody("p", {"X=1", "", "Y=2"}).hasValue();
         },
         "[P]\nX=1\nY=2\n[Q]\nC=3\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        IniFile ini = IniFile::parse(c.before);
        EXPECT_TRUE(c.edit(ini));
        EXPECT_EQ(ini.serialize(), c.after);
    }
}

// Text that the file cannot hold is refused and leaves the file unchanged,
// rather than writing a line that would read back as something else.
TEST(IniFile, RefusesWhatTheFileCannotHold)
{
    const std::string before = "[P]\nCity=Montr\xE9"
                               "al\n";
    const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
        {"line break in value", "P", "City", "a\nb"},
        {"equals in key", "P", "a=b", "1"},
        {"key starting like a comment", "P", ";k", "1"},
        {"bracket in section", "P]x", "k", "1"},
        {"character outside Windows-1252", "P", "City", "Łódź"},
    };
    for (const auto& [what, section, key, value] : cases) {
        SCOPED_TRACE(what);
        IniFile ini = IniFile::parse(before);
        auto result = ini.setValue(section, key, value);
        EXPECT_FALSE(result.hasValue());
        EXPECT_FALSE(result.error().empty());
        EXPECT_EQ(ini.serialize(), before);
    }
}
