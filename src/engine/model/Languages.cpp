#include "engine/model/Languages.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace qm::engine {

namespace {

struct Known {
    uint16_t lcid;
    std::string_view tag;
};

// Sorted by identifier. The low ten bits name the language, the rest the
// region: 0x0409 is English (0x09) of the United States (1), 0x0809 of the
// United Kingdom (2).
constexpr Known known[] = {
    {0x0402, "bg-BG"}, {0x0403, "ca-ES"}, {0x0405, "cs-CZ"}, {0x0406, "da-DK"}, {0x0407, "de-DE"}, {0x0408, "el-GR"},
    {0x0409, "en-US"}, {0x040A, "es-ES"}, {0x040B, "fi-FI"}, {0x040C, "fr-FR"}, {0x040E, "hu-HU"}, {0x040F, "is-IS"},
    {0x0410, "it-IT"}, {0x0413, "nl-NL"}, {0x0414, "nb-NO"}, {0x0415, "pl-PL"}, {0x0416, "pt-BR"}, {0x0418, "ro-RO"},
    {0x0419, "ru-RU"}, {0x041A, "hr-HR"}, {0x041B, "sk-SK"}, {0x041D, "sv-SE"}, {0x0422, "uk-UA"}, {0x0424, "sl-SI"},
    {0x0425, "et-EE"}, {0x0426, "lv-LV"}, {0x0427, "lt-LT"}, {0x0807, "de-CH"}, {0x0809, "en-GB"}, {0x080A, "es-MX"},
    {0x080C, "fr-BE"}, {0x0810, "it-CH"}, {0x0813, "nl-BE"}, {0x0814, "nn-NO"}, {0x0816, "pt-PT"}, {0x081D, "sv-FI"},
    {0x0C07, "de-AT"}, {0x0C09, "en-AU"}, {0x0C0A, "es-ES"}, {0x0C0C, "fr-CA"}, {0x1009, "en-CA"}, {0x100C, "fr-CH"},
    {0x1407, "de-LI"}, {0x1409, "en-NZ"}, {0x1807, "de-LU"}, {0x1809, "en-IE"}, {0x1C09, "en-ZA"},
};

constexpr std::string_view languageOf(uint16_t primary)
{
    switch (primary) {
    case 0x02: return "bg";
    case 0x03: return "ca";
    case 0x05: return "cs";
    case 0x06: return "da";
    case 0x07: return "de";
    case 0x08: return "el";
    case 0x09: return "en";
    case 0x0A: return "es";
    case 0x0B: return "fi";
    case 0x0C: return "fr";
    case 0x0E: return "hu";
    case 0x0F: return "is";
    case 0x10: return "it";
    case 0x13: return "nl";
    case 0x14: return "nb";
    case 0x15: return "pl";
    case 0x16: return "pt";
    case 0x18: return "ro";
    case 0x19: return "ru";
    case 0x1A: return "hr";
    case 0x1B: return "sk";
    case 0x1D: return "sv";
    case 0x22: return "uk";
    case 0x24: return "sl";
    case 0x25: return "et";
    case 0x26: return "lv";
    case 0x27: return "lt";
    default: return {};
    }
}

} // namespace

std::string languageTagOfLcid(uint32_t lcid)
{
    const auto* it = std::lower_bound(std::begin(known), std::end(known), lcid,
                                      [](const Known& k, uint32_t id) { return k.lcid < id; });
    if (it != std::end(known) && it->lcid == lcid)
        return std::string(it->tag);
    return std::string(languageOf(static_cast<uint16_t>(lcid & 0x3FF)));
}

} // namespace qm::engine
