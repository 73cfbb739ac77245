// `quillmeter inspect`: what the engine reads and counts in each file, as text or JSON.
#include "Cli.h"
#include "engine/access/DocumentSummary.h"
#include "engine/formats/Reader.h"
#include "engine/model/Unicode.h"

#include <cstdio>
#include <limits>
#include <ostream>
#include <vector>

namespace qm::cli {

namespace {

using engine::DocumentSummary;

/// A small streaming JSON writer: commas, indentation and string escaping.
/// Text that is not valid UTF-8 (a file name in another encoding) is written
/// with U+FFFD in place of the bad bytes, so the output always parses.
class JsonWriter {
public:
    explicit JsonWriter(std::ostream& out) : m_out(out) {}

    void beginObject() { open('{'); }
    void endObject() { close('}'); }
    void beginArray() { open('['); }
    void endArray() { close(']'); }
    void key(std::string_view name)
    {
        separate();
        string(name);
        m_out << ": ";
        m_afterKey = true;
    }
    void value(std::string_view text)
    {
        separate();
        string(text);
    }
    void value(int64_t number)
    {
        separate();
        m_out << number;
    }
    void value(bool flag)
    {
        separate();
        m_out << (flag ? "true" : "false");
    }
    void finish() { m_out << "\n"; }

private:
    void open(char c)
    {
        separate();
        m_out << c;
        m_first.push_back(true);
    }
    void close(char c)
    {
        const bool empty = m_first.back();
        m_first.pop_back();
        if (!empty)
            newline();
        m_out << c;
    }
    void separate()
    {
        if (m_afterKey) {
            m_afterKey = false;
            return;
        }
        if (m_first.empty())
            return;
        if (!m_first.back())
            m_out << ",";
        m_first.back() = false;
        newline();
    }
    void newline()
    {
        m_out << "\n";
        for (size_t i = 0; i < m_first.size(); ++i)
            m_out << "  ";
    }
    void string(std::string_view text)
    {
        std::string valid;
        if (!engine::isValidUtf8(text)) {
            valid = engine::utf16ToUtf8(engine::utf8ToUtf16(text));
            text = valid;
        }
        m_out << '"';
        for (char ch : text) {
            const auto c = static_cast<unsigned char>(ch);
            switch (c) {
            case '"': m_out << "\\\""; break;
            case '\\': m_out << "\\\\"; break;
            case '\b': m_out << "\\b"; break;
            case '\f': m_out << "\\f"; break;
            case '\n': m_out << "\\n"; break;
            case '\r': m_out << "\\r"; break;
            case '\t': m_out << "\\t"; break;
            default:
                if (c < 0x20 || c == 0x7F) {
                    char buffer[8];
                    std::snprintf(buffer, sizeof buffer, "\\u%04x", c);
                    m_out << buffer;
                } else {
                    m_out << ch;
                }
            }
        }
        m_out << '"';
    }

    std::ostream& m_out;
    std::vector<bool> m_first;
    bool m_afterKey = false;
};

std::string_view severityName(engine::Severity s)
{
    switch (s) {
    case engine::Severity::Note: return "note";
    case engine::Severity::Warning: return "warning";
    case engine::Severity::Error: return "error";
    }
    return "unknown";
}

struct Inspected {
    std::string file;
    std::string error; ///< the file could not be read
    DocumentSummary summary;
};

void writeJson(JsonWriter& json, const Inspected& item)
{
    json.beginObject();
    json.key("file");
    json.value(item.file);
    if (!item.error.empty()) {
        json.key("error");
        json.value(item.error);
        json.endObject();
        return;
    }
    const DocumentSummary& s = item.summary;
    json.key("format");
    json.value(s.format);
    json.key("statistics");
    json.beginObject();
    const std::pair<std::string_view, int64_t> figures[] = {
        {"characters", s.statistics.characters}, {"characters_with_spaces", s.statistics.charactersWithSpaces},
        {"words", s.statistics.words},           {"word_matches", s.wordMatches},
        {"paragraphs", s.statistics.paragraphs}, {"tables", s.tables},
    };
    for (const auto& [name, number] : figures) {
        json.key(name);
        json.value(number);
    }
    if (s.lines) {
        json.key("lines");
        json.value(*s.lines);
    }
    if (s.pages) {
        json.key("pages");
        json.value(*s.pages);
    }
    json.endObject();

    json.key("stories");
    json.beginArray();
    for (const engine::StorySummary& story : s.stories) {
        json.beginObject();
        json.key("section");
        json.value(static_cast<int64_t>(story.section));
        json.key("kind");
        json.value(story.header ? "header" : "footer");
        json.key("index");
        json.value(static_cast<int64_t>(story.index));
        json.key("name");
        json.value(engine::headerFooterName(story.index));
        json.key("inherited");
        json.value(story.inherited);
        json.key("characters");
        json.value(story.statistics.characters);
        json.key("characters_with_spaces");
        json.value(story.statistics.charactersWithSpaces);
        json.key("words");
        json.value(story.statistics.words);
        json.endObject();
    }
    json.endArray();

    json.key("diagnostics");
    json.beginArray();
    for (const engine::Diagnostic& d : s.diagnostics) {
        json.beginObject();
        json.key("code");
        json.value(d.code);
        json.key("severity");
        json.value(severityName(d.severity));
        json.key("location");
        json.value(d.location);
        json.key("message");
        json.value(d.message);
        json.endObject();
    }
    json.endArray();

    // What the saving program recorded, for comparing with the engine's figures.
    const engine::StoredStatistics& st = s.stored;
    const std::pair<std::string_view, const std::optional<int64_t>*> stored[] = {
        {"pages", &st.pages},           {"words", &st.words},
        {"characters", &st.characters}, {"characters_with_spaces", &st.charactersWithSpaces},
        {"lines", &st.lines},           {"paragraphs", &st.paragraphs},
    };
    json.key("stored_statistics");
    json.beginObject();
    if (!st.application.empty()) {
        json.key("application");
        json.value(st.application);
    }
    for (const auto& [name, number] : stored) {
        if (*number) {
            json.key(name);
            json.value(**number);
        }
    }
    json.endObject();
    json.endObject();
}

void writeText(std::ostream& out, const Inspected& item)
{
    out << item.file << "\n";
    const DocumentSummary& s = item.summary;
    auto line = [&](std::string_view name, const std::string& value) {
        out << "  " << name << std::string(name.size() < 24 ? 24 - name.size() : 1, ' ') << value << "\n";
    };
    line("format", s.format);
    line("characters", std::to_string(s.statistics.characters));
    line("characters_with_spaces", std::to_string(s.statistics.charactersWithSpaces));
    line("words", std::to_string(s.statistics.words));
    line("word_matches", std::to_string(s.wordMatches));
    line("paragraphs", std::to_string(s.statistics.paragraphs));
    line("tables", std::to_string(s.tables));
    line("lines", s.lines ? std::to_string(*s.lines) : "not available (no layout)");
    line("pages", s.pages ? std::to_string(*s.pages) : "not available (no layout)");
    for (const engine::StorySummary& story : s.stories) {
        out << "  section " << story.section << " " << (story.header ? "header " : "footer ")
            << engine::headerFooterName(story.index) << ": " << story.statistics.characters << " characters, "
            << story.statistics.words << " words" << (story.inherited ? " (from an earlier section)" : "") << "\n";
    }
    for (const engine::Diagnostic& d : s.diagnostics) {
        out << "  " << severityName(d.severity) << " " << d.code;
        if (!d.location.empty())
            out << " at " << d.location;
        out << ": " << d.message << "\n";
    }
}

} // namespace

int inspectCommand(Context& ctx)
{
    const bool json = ctx.args.flag("--json");
    const std::vector<std::string> files =
        ctx.args.positionals(1, std::numeric_limits<size_t>::max(), "inspect FILE... [--json]");

    std::vector<Inspected> results;
    results.reserve(files.size());
    bool failed = false;
    for (const std::string& file : files) {
        Inspected item;
        item.file = file;
        engine::ReadResult read = engine::readDocument(file);
        if (!read.ok()) {
            item.error = read.error.empty() ? "the document could not be read" : read.error;
            ctx.err << "quillmeter inspect: cannot read " << file << ": " << item.error << "\n";
            failed = true;
        } else {
            engine::DocumentAccess access(std::move(read.document));
            item.summary = engine::summarizeDocument(access);
        }
        if (!json) {
            if (item.error.empty())
                writeText(ctx.out, item);
        }
        results.push_back(std::move(item));
    }
    if (json) {
        JsonWriter writer(ctx.out);
        if (results.size() > 1)
            writer.beginArray();
        for (const Inspected& item : results)
            writeJson(writer, item);
        if (results.size() > 1)
            writer.endArray();
        writer.finish();
    }
    return failed ? Failure : Success;
}

} // namespace qm::cli
