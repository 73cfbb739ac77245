// The BMP table of character classes: built lazily, block by block, it must
// give what the character properties give for every code point.
#include "engine/access/ScriptRules.h"

#include <gtest/gtest.h>

namespace qm::engine {
namespace {

// Characters whose classes are known by hand, one or two from each block
// that text beyond Latin-1 meets, including the first and last code point
// of a block (where an off-by-one in the block arithmetic would show).
TEST(ScriptClassTable, HandWorkedClasses)
{
    struct Case {
        char32_t c;
        ScriptClass expected;
    } const cases[] = {
        {0x0100, ScriptClass::Letter},     // Ā, first of its block
        {0x01FF, ScriptClass::Letter},     // ǿ, last of the block
        {0x0301, ScriptClass::Mark},       // combining acute
        {0x05D0, ScriptClass::Letter},     // Hebrew alef
        {0x0E01, ScriptClass::Letter},     // Thai ko kai
        {0x2003, ScriptClass::Space},      // em space
        {0x2014, ScriptClass::Symbol},     // em dash
        {0x200B, ScriptClass::Invisible},  // zero-width space
        {0x2019, ScriptClass::Symbol},     // right single quote
        {0x2028, ScriptClass::Space},      // line separator
        {0x3000, ScriptClass::Space},      // ideographic space
        {0x3001, ScriptClass::EastAsian},  // ideographic comma
        {0x3042, ScriptClass::EastAsian},  // hiragana a
        {0x4E00, ScriptClass::EastAsian},  // Han "one"
        {0xAC00, ScriptClass::EastAsian},  // Hangul ga
        {0xD800, ScriptClass::Symbol},     // a lone lead surrogate
        {0xE000, ScriptClass::Symbol},     // private use (symbol fonts)
        {0xFE0F, ScriptClass::Invisible},  // variation selector 16
        {0xFEFF, ScriptClass::Invisible},  // byte-order mark
        {0xFF21, ScriptClass::EastAsian},  // full-width A
        {0xFFFF, ScriptClass::Symbol},     // last BMP code point, unassigned
        {0x1F600, ScriptClass::Symbol},    // emoji, beyond the table
        {0x20000, ScriptClass::EastAsian}, // Han extension B, beyond the table
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << "U+" << static_cast<uint32_t>(k.c));
        EXPECT_EQ(scriptClass(k.c), k.expected);
    }
}

// The table is a cache of the properties: every BMP code point past Latin-1
// (which has rules of its own), asked in a scattered order so blocks are
// built out of sequence, must agree.
TEST(ScriptClassTable, AgreesWithThePropertiesOverTheWholeBmp)
{
    int mismatches = 0;
    for (char32_t step = 0; step < 0x10000; ++step) {
        const char32_t c = (step * 40503u) & 0xFFFF; // odd multiplier: a permutation
        if (c >= 0x100 && scriptClass(c) != detail::scriptClassFromProperties(c) && ++mismatches < 10)
            ADD_FAILURE() << std::hex << "U+" << static_cast<uint32_t>(c);
    }
    EXPECT_EQ(mismatches, 0);
}

} // namespace
} // namespace qm::engine
