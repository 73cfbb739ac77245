#include "engine/layout/Hyphenator.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <hyphen.h>
#include <map>
#include <memory>
#include <mutex>
#include <unicode/uchar.h>
#include <unistd.h>

namespace qm::engine::layout {

namespace {

constexpr const char* Directory = "/usr/share/hyphen/";

// "en-US", "en_us", "EN" -> {"en", "US"}.
std::pair<std::string, std::string> splitTag(std::string_view tag)
{
    std::string language, region;
    size_t i = 0;
    for (; i < tag.size() && tag[i] != '-' && tag[i] != '_'; ++i)
        language += static_cast<char>(std::tolower(static_cast<unsigned char>(tag[i])));
    if (i < tag.size())
        for (++i; i < tag.size() && tag[i] != '-' && tag[i] != '_'; ++i)
            region += static_cast<char>(std::toupper(static_cast<unsigned char>(tag[i])));
    return {language, region};
}

// The dictionary file for a language, or empty.
std::string dictionaryPath(const std::string& language, const std::string& region)
{
    // A language's patterns without a region are installed under a region
    // too: de_DE serves de, and a region we have no file for takes the
    // language's.
    static const std::map<std::string, std::string> usualRegion = {
        {"en", "US"}, {"de", "DE"}, {"fr", "FR"}, {"nl", "NL"}, {"es", "ES"}, {"it", "IT"}, {"pt", "PT"},
        {"da", "DK"}, {"sv", "SE"}, {"pl", "PL"}, {"cs", "CZ"}, {"hu", "HU"}, {"ru", "RU"}, {"nb", "NO"},
        {"nn", "NO"}, {"no", "NO"}, {"fi", "FI"}, {"sk", "SK"}, {"sl", "SI"}, {"hr", "HR"}, {"ro", "RO"},
        {"bg", "BG"}, {"uk", "UA"}, {"el", "GR"}, {"ca", "ES"}, {"lt", "LT"}, {"lv", "LV"}, {"et", "EE"}};
    std::vector<std::string> names;
    if (!region.empty())
        names.push_back("hyph_" + language + "_" + region + ".dic");
    if (auto it = usualRegion.find(language); it != usualRegion.end() && it->second != region)
        names.push_back("hyph_" + language + "_" + it->second + ".dic");
    names.push_back("hyph_" + language + ".dic");
    for (const std::string& name : names) {
        const std::string path = Directory + name;
        if (::access(path.c_str(), R_OK) == 0)
            return path;
    }
    return {};
}

// Loads a dictionary. One whose first (compound) level is a word list of
// tens of thousands of entries before its syllable patterns (German's
// 69,000 compounds, NEXTLEVEL, then the 8,700 patterns of TeX's) takes the
// library a second or more to load, longer than counting hundreds of
// documents; its syllable level alone loads in milliseconds and breaks
// compounds at their syllables too, so that is what is loaded.
HyphenDict* loadDictionary(const std::string& path)
{
    constexpr size_t LargeCompoundLevel = 20000; // lines
    std::FILE* in = std::fopen(path.c_str(), "rb");
    if (!in)
        return nullptr;
    std::string text;
    char buffer[1 << 16];
    for (size_t got; (got = std::fread(buffer, 1, sizeof buffer, in)) > 0;)
        text.append(buffer, got);
    std::fclose(in);
    const size_t next = text.find("\nNEXTLEVEL");
    if (next == std::string::npos ||
        static_cast<size_t>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(next), '\n')) <
            LargeCompoundLevel)
        return hnj_hyphen_load(path.c_str());
    const size_t charsetEnd = text.find('\n');
    const size_t levelStart = text.find('\n', next + 1);
    if (levelStart == std::string::npos)
        return hnj_hyphen_load(path.c_str());
    std::string syllables = text.substr(0, charsetEnd + 1) + text.substr(levelStart + 1);
    std::FILE* memory = ::fmemopen(syllables.data(), syllables.size(), "rb");
    if (!memory)
        return nullptr;
    HyphenDict* dict = hnj_hyphen_load_file(memory);
    std::fclose(memory);
    return dict;
}

} // namespace

Hyphenator::Hyphenator(void* dictionary) : m_dictionary(dictionary) {}

Hyphenator::~Hyphenator() { hnj_hyphen_free(static_cast<HyphenDict*>(m_dictionary)); }

const Hyphenator* Hyphenator::forLanguage(std::string_view tag)
{
    auto [language, region] = splitTag(tag.empty() ? std::string_view("en-US") : tag);
    if (language.empty() || language.size() > 3 || region.size() > 4)
        return nullptr;
    static std::mutex mutex;
    static std::map<std::string, const Hyphenator*> byTag;
    // Regions share files (de_CH is de_DE's): each file is loaded once.
    static std::map<std::string, std::unique_ptr<Hyphenator>> byFile;
    std::lock_guard lock(mutex);
    const std::string key = language + "_" + region;
    if (auto it = byTag.find(key); it != byTag.end())
        return it->second;
    const Hyphenator* found = nullptr;
    if (std::string path = dictionaryPath(language, region); !path.empty()) {
        char* real = ::realpath(path.c_str(), nullptr);
        const std::string file = real ? real : path;
        std::free(real);
        auto it = byFile.find(file);
        if (it == byFile.end()) {
            HyphenDict* dict = loadDictionary(file);
            it = byFile.emplace(file, dict ? std::unique_ptr<Hyphenator>(new Hyphenator(dict)) : nullptr).first;
        }
        found = it->second.get();
    }
    byTag.emplace(key, found);
    return found;
}

std::vector<bool> Hyphenator::breaks(std::u16string_view word) const
{
    std::vector<bool> result(word.size(), false);
    if (word.size() < 4 || word.size() > 100)
        return result;
    HyphenDict* dict = static_cast<HyphenDict*>(m_dictionary);
    // The patterns are written in lower case, in the dictionary's encoding
    // (UTF-8, or ISO 8859-1 for some); each character's first byte is
    // remembered to read the points back per character.
    std::string bytes;
    std::vector<size_t> lastByte(word.size());
    for (size_t i = 0; i < word.size(); ++i) {
        UChar32 c = word[i];
        if (U16_IS_SURROGATE(c))
            return result;
        c = u_tolower(c);
        if (dict->utf8) {
            if (c < 0x80) {
                bytes += static_cast<char>(c);
            } else if (c < 0x800) {
                bytes += static_cast<char>(0xC0 | (c >> 6));
                bytes += static_cast<char>(0x80 | (c & 0x3F));
            } else {
                bytes += static_cast<char>(0xE0 | (c >> 12));
                bytes += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
                bytes += static_cast<char>(0x80 | (c & 0x3F));
            }
        } else {
            if (c > 0xFF)
                return result;
            bytes += static_cast<char>(c);
        }
        lastByte[i] = bytes.size() - 1;
    }
    std::vector<char> hyphens(bytes.size() + 5, '0');
    char** rep = nullptr;
    int* pos = nullptr;
    int* cut = nullptr;
    std::lock_guard lock(m_mutex);
    if (hnj_hyphen_hyphenate3(dict, bytes.data(), static_cast<int>(bytes.size()), hyphens.data(), nullptr, &rep, &pos,
                              &cut, 2, 2, 2, 2) == 0) {
        // Points with a spelling change (German "Schiff-fahrt" of old) are
        // left out: Word would change the letters, which we do not draw.
        for (size_t i = 0; i + 1 < word.size(); ++i)
            result[i] = (hyphens[lastByte[i]] & 1) != 0 && !(rep && rep[lastByte[i]]);
    }
    if (rep) {
        for (size_t i = 0; i < bytes.size(); ++i)
            std::free(rep[i]);
        std::free(rep);
    }
    std::free(pos);
    std::free(cut);
    return result;
}

} // namespace qm::engine::layout
