// cInifile: the object form of INI access, with key/section lists and window placement.
#include "settings/CIniFile.h"

#include "settings/IniRW.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace qm::settings {

void cInifile::record(const WriteResult& result)
{
    m_lastReturnCode = result ? 1 : 0;
    m_lastError = result ? std::string() : result.error();
}

std::string cInifile::Value() const
{
    auto value = readIniValue(m_path, m_section, m_key);
    const std::string_view text = value && *value ? std::string_view(**value) : m_default;
    return std::string(firstCharacters(text, kValueBufferSize - 1));
}

void cInifile::Value(std::string_view text)
{
    std::string clean;
    clean.reserve(text.size());
    for (char c : text)
        if (c != '\0')
            clean += c;
    record(writeIniValue(m_path, m_section, m_key, clean));
}

void cInifile::DeleteKey()
{
    record(writeIniValue(m_path, m_section, m_key, std::nullopt));
}

void cInifile::DeleteSection()
{
    record(deleteIniSection(m_path, m_section));
}

std::string cInifile::INISection() const
{
    auto ini = IniFile::load(m_path);
    if (!ini)
        return {};
    auto names = ini->keyNames(m_section);
    return names ? nulSeparatedList(*names, kListBufferSize) : std::string();
}

void cInifile::INISection(std::string_view body)
{
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < body.size()) {
        size_t nul = body.find('\0', start);
        if (nul == std::string_view::npos)
            nul = body.size();
        lines.emplace_back(body.substr(start, nul - start));
        start = nul + 1;
    }
    record(editIniFile(m_path, [&](IniFile& ini) -> Result<bool> {
        if (auto done = ini.replaceSectionBody(m_section, lines); !done)
            return Failure(done.error());
        return true;
    }));
}

std::string cInifile::Sections() const
{
    auto ini = IniFile::load(m_path);
    if (!ini)
        return {};
    return nulSeparatedList(ini->sectionNames(), kListBufferSize);
}

void cInifile::splitList(const std::string& list, std::vector<std::string>& items, long& count,
                         bool skipEmpty)
{
    items.clear();
    count = 0;
    if (list.empty())
        return;
    size_t start = 0;
    // Only pieces ended by a NUL are taken: a list cut short by the buffer
    // loses its unterminated last piece.
    for (size_t nul = list.find('\0'); nul != std::string::npos; nul = list.find('\0', start)) {
        if (!(skipEmpty && nul == start)) {
            items.push_back(list.substr(start, nul - start));
            ++count;
        }
        start = nul + 1;
    }
}

void cInifile::EnumerateCurrentSection(std::vector<std::string>& sKey, long& iCount) const
{
    splitList(INISection(), sKey, iCount, false);
}

void cInifile::EnumerateAllSections(std::vector<std::string>& sSections, long& iCount) const
{
    splitList(Sections(), sSections, iCount, true);
}

void cInifile::SaveFormPosition(const WindowGeometry& frmThis)
{
    const std::string rememberedKey = m_key;
    const auto state = frmThis.windowState();
    if (state != WindowGeometry::State::Minimised) {
        const bool maximised = state == WindowGeometry::State::Maximised;
        m_key = "Maximised";
        Value(maximised ? "1" : "0");
        if (!maximised) {
            const std::pair<const char*, long> values[] = {{"Left", frmThis.left()},
                                                           {"Top", frmThis.top()},
                                                           {"Width", frmThis.width()},
                                                           {"Height", frmThis.height()}};
            for (const auto& [key, number] : values) {
                m_key = key;
                Value(std::to_string(number));
            }
        }
    }
    m_key = rememberedKey;
}

void cInifile::LoadFormPosition(WindowGeometry& frmThis, long lMinWidth, long lMinHeight)
{
    const std::string rememberedKey = m_key;
    const std::string rememberedDefault = m_default;
    m_default = "FAIL";
    auto read = [&](const char* key, long current) {
        m_key = key;
        return CLngDefault(Value(), current);
    };
    const long left = read("Left", frmThis.left());
    const long top = read("Top", frmThis.top());
    const long width = std::max(read("Width", frmThis.width()), lMinWidth);
    const long height = std::max(read("Height", frmThis.height()), lMinHeight);
    frmThis.setGeometry(left, top, width, height);
    if (read("Maximised", 0) != 0)
        frmThis.setWindowState(WindowGeometry::State::Maximised);
    m_key = rememberedKey;
    m_default = rememberedDefault;
}

long cInifile::CLngDefault(std::string_view sString, long lDefault)
{
    const std::string_view text = trimBlanks(sString);
    if (text.empty())
        return lDefault;
    const std::string copy(text.starts_with('+') ? text.substr(1) : text);
    double number = 0;
    auto [end, error] = std::from_chars(copy.data(), copy.data() + copy.size(), number);
    if (error != std::errc() || end != copy.data() + copy.size() || !std::isfinite(number))
        return lDefault;
    const double rounded = std::nearbyint(number); // the default mode rounds halves to even
    if (rounded < std::numeric_limits<std::int32_t>::min() ||
        rounded > std::numeric_limits<std::int32_t>::max())
        return lDefault;
    return static_cast<long>(rounded);
}

} // namespace qm::settings
