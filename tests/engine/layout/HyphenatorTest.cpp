// Hyphenation points from the system's pattern dictionaries (Debian's hyphen-* packages).
#include "engine/layout/Hyphenator.h"

#include <gtest/gtest.h>

using namespace qm::engine::layout;

namespace {

// The word with "-" where it may break.
std::string marked(const Hyphenator& h, std::u16string_view word)
{
    const std::vector<bool> points = h.breaks(word);
    std::string out;
    for (size_t i = 0; i < word.size(); ++i) {
        out += static_cast<char>(word[i] < 0x80 ? word[i] : '?');
        if (points[i])
            out += '-';
    }
    return out;
}

} // namespace

TEST(Hyphenator, PointsOfTheLanguagesPatterns)
{
    struct Case {
        const char* language;
        std::u16string word;
        const char* points;
    } cases[] = {
        {"en-US", u"hyphenation", "hy-phen-ation"},
        // Capitals are looked up in lower case; short words are never broken.
        {"en-US", u"HYPHENATION", "HY-PHEN-ATION"},
        {"en-US", u"ends", "ends"},
        {"en_us", u"termination", "ter-mi-na-tion"},
        // A region without patterns of its own takes the language's.
        {"en-NZ", u"hyphenation", "hy-phen-ation"},
        // German's dictionary is in ISO 8859-1.
        {"de-DE", u"Silbentrennung", "Sil-ben-tren-nung"},
        {"de-CH", u"Silbentrennung", "Sil-ben-tren-nung"},
        {"de", u"Silbentrennung", "Sil-ben-tren-nung"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.language) + " " + c.points);
        const Hyphenator* h = Hyphenator::forLanguage(c.language);
        ASSERT_NE(h, nullptr) << "hyphenation patterns missing: install hyphen-en-us and hyphen-de";
        EXPECT_EQ(marked(*h, c.word), c.points);
    }
    // One hyphenator per language and process; none for a language without
    // patterns; US English for a document that names no language.
    EXPECT_EQ(Hyphenator::forLanguage("en-US"), Hyphenator::forLanguage("EN_us"));
    EXPECT_EQ(Hyphenator::forLanguage("xx-YY"), nullptr);
    EXPECT_EQ(Hyphenator::forLanguage(""), Hyphenator::forLanguage("en-US"));
}
