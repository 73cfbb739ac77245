// Windows language numbers, as .doc and RTF files give them, read as language tags.
#include "engine/model/Languages.h"

#include <gtest/gtest.h>

using qm::engine::languageTagOfLcid;

TEST(Languages, WindowsLanguageNumbersAsTags)
{
    struct Case {
        uint32_t lcid;
        const char* tag;
    } cases[] = {
        {0x0409, "en-US"},
        {1033, "en-US"},
        {0x0809, "en-GB"},
        {0x0407, "de-DE"},
        {0x0807, "de-CH"},
        {0x0C0A, "es-ES"},
        {0x0416, "pt-BR"},
        {0x0816, "pt-PT"},
        {0x0415, "pl-PL"},
        // Another region of a known language: the language alone.
        {0x2409, "en"},
        {0x140C, "fr"},
        // Unknown and neutral numbers name no language.
        {0, ""},
        {0x0400, ""},
        {0x0411, ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(languageTagOfLcid(c.lcid), c.tag) << std::hex << c.lcid;
}
