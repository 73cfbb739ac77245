// An INI file held as its lines, with the lookup and edit rules of Windows private profiles.
#include "settings/IniFile.h"

namespace qm::settings {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string unquote(std::string_view value)
{
    if (value.size() >= 2 && value.front() == value.back() &&
        (value.front() == '"' || value.front() == '\''))
        value = value.substr(1, value.size() - 2);
    return std::string(value);
}

bool isBlankLine(std::string_view raw)
{
    return trimBlanks(raw).empty() || trimBlanks(raw) == "\r";
}

bool isBlankOrComment(std::string_view raw)
{
    const std::string_view meaning = trimBlanks(raw.substr(0, raw.find('\0')));
    return meaning.empty() || meaning.front() == ';';
}

std::optional<std::string> checkSectionName(std::string_view section)
{
    if (section.find_first_of(std::string_view("\r\n\0]", 4)) != std::string_view::npos)
        return "section name \"" + std::string(section) + "\" holds a line break, NUL or \"]\"";
    return std::nullopt;
}

std::optional<std::string> checkKeyName(std::string_view key)
{
    const std::string_view name = trimBlanks(key);
    if (name.empty())
        return std::string("key name is empty");
    if (name.find_first_of(std::string_view("\r\n\0=", 4)) != std::string_view::npos ||
        name.front() == '[' || name.front() == ';')
        return "key name \"" + std::string(key) +
               "\" holds a line break, NUL or \"=\", or starts with \"[\" or \";\"";
    return std::nullopt;
}

std::optional<std::string> checkValue(std::string_view value)
{
    if (value.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos)
        return std::string("value holds a line break or NUL");
    return std::nullopt;
}

} // namespace

IniFile::Line IniFile::makeLine(std::string raw, std::string ending, Encoding encoding)
{
    Line line{std::move(raw), std::move(ending)};
    std::string_view meaning = line.raw;
    meaning = meaning.substr(0, meaning.find('\0'));
    meaning = trimBlanks(meaning);
    if (meaning.empty() || meaning.front() == ';')
        return line;
    if (meaning.front() == '[') {
        std::string_view name = meaning.substr(1);
        name = name.substr(0, name.find(']'));
        line.kind = Kind::Section;
        line.name = decodeText(trimBlanks(name), encoding);
        line.folded = foldCase(line.name);
        return line;
    }
    const size_t eq = meaning.find('=');
    if (eq == std::string_view::npos)
        return line;
    const std::string_view name = trimBlanks(meaning.substr(0, eq));
    if (name.empty())
        return line;
    line.kind = Kind::Key;
    line.name = decodeText(name, encoding);
    line.folded = foldCase(line.name);
    line.value = unquote(decodeText(trimBlanks(meaning.substr(eq + 1)), encoding));
    return line;
}

IniFile IniFile::parse(std::string_view bytes)
{
    IniFile file;
    if (bytes.starts_with(kByteOrderMark)) {
        file.m_byteOrderMark = true;
        bytes.remove_prefix(kByteOrderMark.size());
    }
    file.m_encoding = looksLikeUtf8(bytes) ? Encoding::Utf8 : Encoding::Windows1252;
    while (!bytes.empty()) {
        const size_t nl = bytes.find('\n');
        std::string_view raw = bytes.substr(0, nl);
        std::string ending;
        if (nl == std::string_view::npos) {
            bytes = {};
        } else {
            bytes.remove_prefix(nl + 1);
            ending = "\n";
            if (raw.ends_with('\r')) {
                raw.remove_suffix(1);
                ending = "\r\n";
            }
        }
        file.m_lines.push_back(makeLine(std::string(raw), std::move(ending), file.m_encoding));
    }
    return file;
}

Result<IniFile> IniFile::load(const std::filesystem::path& file)
{
    auto bytes = readWholeFile(file);
    if (!bytes)
        return Failure(bytes.error());
    if (!*bytes)
        return IniFile();
    return parse(**bytes);
}

std::string IniFile::serialize() const
{
    std::string out;
    if (m_byteOrderMark)
        out += kByteOrderMark;
    for (const Line& line : m_lines) {
        out += line.raw;
        out += line.ending;
    }
    return out;
}

size_t IniFile::findSection(std::string_view section) const
{
    const std::string folded = foldCase(trimBlanks(section));
    for (size_t i = 0; i < m_lines.size(); ++i)
        if (m_lines[i].kind == Kind::Section && m_lines[i].folded == folded)
            return i;
    return std::string::npos;
}

size_t IniFile::sectionEnd(size_t header) const
{
    size_t i = header + 1;
    while (i < m_lines.size() && m_lines[i].kind != Kind::Section)
        ++i;
    return i;
}

size_t IniFile::findKey(size_t header, std::string_view key) const
{
    const std::string folded = foldCase(trimBlanks(key));
    const size_t end = sectionEnd(header);
    for (size_t i = header + 1; i < end; ++i)
        if (m_lines[i].kind == Kind::Key && m_lines[i].folded == folded)
            return i;
    return std::string::npos;
}

std::optional<std::string> IniFile::value(std::string_view section, std::string_view key) const
{
    const size_t header = findSection(section);
    if (header == std::string::npos)
        return std::nullopt;
    const size_t at = findKey(header, key);
    if (at == std::string::npos)
        return std::nullopt;
    return m_lines[at].value;
}

std::vector<std::string> IniFile::sectionNames() const
{
    std::vector<std::string> names;
    for (const Line& line : m_lines)
        if (line.kind == Kind::Section)
            names.push_back(line.name);
    return names;
}

std::optional<std::vector<std::string>> IniFile::keyNames(std::string_view section) const
{
    const size_t header = findSection(section);
    if (header == std::string::npos)
        return std::nullopt;
    std::vector<std::string> names;
    const size_t end = sectionEnd(header);
    for (size_t i = header + 1; i < end; ++i)
        if (m_lines[i].kind == Kind::Key)
            names.push_back(m_lines[i].name);
    return names;
}

bool IniFile::hasSection(std::string_view section) const
{
    return findSection(section) != std::string::npos;
}

std::string IniFile::newLineEnding() const
{
    for (const Line& line : m_lines)
        if (!line.ending.empty())
            return line.ending;
    return "\r\n";
}

void IniFile::insertLine(size_t at, std::string raw)
{
    const std::string ending = newLineEnding();
    // A last line without an ending gets one before anything follows it.
    if (at > 0 && m_lines[at - 1].ending.empty())
        m_lines[at - 1].ending = ending;
    m_lines.insert(m_lines.begin() + static_cast<std::ptrdiff_t>(at),
                   makeLine(std::move(raw), ending, m_encoding));
}

Result<std::string> IniFile::encoded(std::string_view utf8) const
{
    std::string out;
    if (!encodeText(utf8, m_encoding, out))
        return Failure("\"" + std::string(utf8) +
                       "\" holds characters that Windows-1252 cannot store");
    return out;
}

Result<void> IniFile::setValue(std::string_view section, std::string_view key,
                               std::string_view value)
{
    for (auto problem : {checkSectionName(section), checkKeyName(key), checkValue(value)})
        if (problem)
            return Failure(*problem);
    auto rawValue = encoded(value);
    if (!rawValue)
        return Failure(rawValue.error());

    size_t header = findSection(section);
    if (header != std::string::npos) {
        const size_t at = findKey(header, key);
        if (at != std::string::npos) {
            // Keep the key as spelled in the file and the spacing after "=".
            const std::string& raw = m_lines[at].raw;
            size_t cut = raw.find('=') + 1;
            while (cut < raw.size() && (raw[cut] == ' ' || raw[cut] == '\t'))
                ++cut;
            m_lines[at] = makeLine(raw.substr(0, cut) + *rawValue, m_lines[at].ending, m_encoding);
            return {};
        }
    }
    auto rawKey = encoded(trimBlanks(key));
    if (!rawKey)
        return Failure(rawKey.error());
    if (header == std::string::npos) {
        auto rawSection = encoded(trimBlanks(section));
        if (!rawSection)
            return Failure(rawSection.error());
        if (!m_lines.empty() && !isBlankLine(m_lines.back().raw))
            insertLine(m_lines.size(), "");
        header = m_lines.size();
        insertLine(header, "[" + *rawSection + "]");
    }
    // The new key follows the section's last line of content. Blank lines
    // and comments at the end of a section stay below it: they usually
    // separate or describe the next section.
    size_t at = sectionEnd(header);
    while (at > header + 1 && isBlankOrComment(m_lines[at - 1].raw))
        --at;
    insertLine(at, *rawKey + "=" + *rawValue);
    return {};
}

bool IniFile::removeKey(std::string_view section, std::string_view key)
{
    const size_t header = findSection(section);
    if (header == std::string::npos)
        return false;
    const size_t at = findKey(header, key);
    if (at == std::string::npos)
        return false;
    m_lines.erase(m_lines.begin() + static_cast<std::ptrdiff_t>(at));
    return true;
}

bool IniFile::removeSection(std::string_view section)
{
    const size_t header = findSection(section);
    if (header == std::string::npos)
        return false;
    m_lines.erase(m_lines.begin() + static_cast<std::ptrdiff_t>(header),
                  m_lines.begin() + static_cast<std::ptrdiff_t>(sectionEnd(header)));
    return true;
}

Result<void> IniFile::replaceSectionBody(std::string_view section,
                                         const std::vector<std::string>& lines)
{
    if (auto problem = checkSectionName(section))
        return Failure(*problem);
    std::vector<std::string> rawLines;
    for (const std::string& line : lines) {
        if (line.empty())
            continue;
        if (auto problem = checkValue(line))
            return Failure(*problem);
        auto raw = encoded(line);
        if (!raw)
            return Failure(raw.error());
        rawLines.push_back(std::move(*raw));
    }
    size_t header = findSection(section);
    if (header == std::string::npos) {
        auto rawSection = encoded(trimBlanks(section));
        if (!rawSection)
            return Failure(rawSection.error());
        if (!m_lines.empty() && !isBlankLine(m_lines.back().raw))
            insertLine(m_lines.size(), "");
        header = m_lines.size();
        insertLine(header, "[" + *rawSection + "]");
    }
    m_lines.erase(m_lines.begin() + static_cast<std::ptrdiff_t>(header + 1),
                  m_lines.begin() + static_cast<std::ptrdiff_t>(sectionEnd(header)));
    size_t at = header + 1;
    for (std::string& raw : rawLines)
        insertLine(at++, std::move(raw));
    return {};
}

WriteResult editIniFile(const std::filesystem::path& file,
                        const std::function<Result<bool>(IniFile&)>& edit)
{
    const std::filesystem::path target = resolveWriteTarget(file);
    auto lock = FileLock::acquire(target);
    if (!lock)
        return Failure(lock.error());
    auto ini = IniFile::load(target);
    if (!ini)
        return Failure(ini.error());
    auto changed = edit(*ini);
    if (!changed)
        return Failure(file.string() + ": " + changed.error());
    if (!*changed)
        return {};
    return replaceFileAtomically(target, ini->serialize());
}

} // namespace qm::settings
