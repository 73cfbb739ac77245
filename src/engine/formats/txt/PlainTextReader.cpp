// Reads .txt and .text files: byte-order marks, UTF-8 or Windows-1252, line ends as paragraphs.
#include "engine/formats/Reader.h"
#include "engine/model/DocumentBuilder.h"
#include "engine/model/Unicode.h"

#include <algorithm>
#include <string>

namespace qm::engine {

namespace {

enum class Encoding { Utf8, Utf16LE, Utf16BE, Windows1252 };

struct Decoded {
    std::u16string text;
    bool oddTrailingByte = false;
};

// UTF-16 code units are copied as they stand: an unpaired surrogate stays a
// character of its own, as it does in a word processor that opens the file.
Decoded decodeUtf16(std::string_view bytes, Encoding encoding)
{
    Decoded out;
    out.text.reserve(bytes.size() / 2);
    size_t i = 0;
    for (; i + 1 < bytes.size(); i += 2) {
        const auto a = static_cast<uint8_t>(bytes[i]);
        const auto b = static_cast<uint8_t>(bytes[i + 1]);
        out.text.push_back(encoding == Encoding::Utf16LE ? static_cast<char16_t>(a | (b << 8))
                                                          : static_cast<char16_t>((a << 8) | b));
    }
    out.oddTrailingByte = i < bytes.size();
    return out;
}

Decoded decode(std::string_view bytes, Encoding& encoding)
{
    if (bytes.starts_with("\xEF\xBB\xBF")) {
        encoding = Encoding::Utf8;
        return {utf8ToUtf16(bytes.substr(3))};
    }
    if (bytes.starts_with("\xFF\xFE")) {
        encoding = Encoding::Utf16LE;
        return decodeUtf16(bytes.substr(2), encoding);
    }
    if (bytes.starts_with("\xFE\xFF")) {
        encoding = Encoding::Utf16BE;
        return decodeUtf16(bytes.substr(2), encoding);
    }
    // UTF-16 without its mark (its NUL bytes would pass for UTF-8).
    if (const Utf16Order order = bomlessUtf16(bytes); order != Utf16Order::None) {
        encoding = order == Utf16Order::LittleEndian ? Encoding::Utf16LE : Encoding::Utf16BE;
        return decodeUtf16(bytes, encoding);
    }
    // Without a mark, text that is valid UTF-8 is taken as UTF-8 (pure ASCII
    // included); anything else is the Windows ANSI page a word processor on a
    // Western system assumes.
    if (isValidUtf8(bytes)) {
        encoding = Encoding::Utf8;
        return {utf8ToUtf16(bytes)};
    }
    encoding = Encoding::Windows1252;
    return {cp1252ToUtf16(bytes)};
}

// Characters the builder still takes in the current story before a limit.
size_t roomLeft(const DocumentBuilder& builder)
{
    const Document& doc = builder.document();
    uint64_t total = 0;
    for (const Story& s : doc.stories)
        total += s.size();
    const uint64_t story = doc.stories[builder.currentStory()].size();
    const Limits& limits = builder.limits();
    const uint64_t storyRoom = story < limits.maxStoryChars ? limits.maxStoryChars - story : 0;
    const uint64_t totalRoom = total < limits.maxTotalChars ? limits.maxTotalChars - total : 0;
    return static_cast<size_t>(std::min(storyRoom, totalRoom));
}

} // namespace

/// Reads a plain-text file into one section with the configured defaults.
/// Every line end (CR LF, LF or CR) ends a paragraph and a form feed is a
/// manual page break. Never fails on content: at worst the text is cut at the
/// builder's limits with a diagnostic.
ReadResult readPlainText(std::string_view bytes, const ReadOptions& options)
{
    if (bytes.size() > options.limits.maxInputBytes)
        return ReadResult::failure("the file is larger than the engine reads");

    Encoding encoding = Encoding::Utf8;
    Decoded decoded = decode(bytes, encoding);
    const std::u16string& text = decoded.text;

    DocumentBuilder builder("txt", options.limits);
    const PlainTextDefaults& defaults = options.plainText;
    CharFormat charFormat;
    charFormat.fontName = defaults.fontName;
    charFormat.sizeHalfPoints = defaults.sizeHalfPoints;
    ParaFormat paraFormat;
    paraFormat.spaceAfter = defaults.spaceAfter;
    paraFormat.lineRule = LineRule::Auto;
    paraFormat.lineSpacing = defaults.lineSpacing;
    const uint32_t cf = builder.charFormat(charFormat);
    const uint32_t pf = builder.paraFormat(paraFormat);

    if (decoded.oddTrailingByte)
        builder.diagnose("txt.odd-byte", Severity::Warning, "byte " + std::to_string(bytes.size() - 1),
                         "the UTF-16 text ends in half a character, which is left out");

    // A line goes to the builder in one piece, cut to the room the limits
    // leave: many small appends to one long paragraph would each grow the
    // story, and a piece larger than the room would be refused whole.
    size_t start = 0;
    auto flush = [&](size_t end) {
        if (start < end && !builder.limitReached()) {
            const std::u16string_view line = std::u16string_view(text).substr(start, end - start);
            const size_t room = roomLeft(builder);
            builder.appendText(line.substr(0, room), cf);
            if (line.size() > room)
                builder.appendText(line.substr(room, 1), cf); // refused: records the limit
        }
        start = end;
    };
    for (size_t i = 0; i < text.size() && !builder.limitReached(); ++i) {
        const char16_t c = text[i];
        if (c != u'\r' && c != u'\n')
            continue;
        flush(i);
        builder.endParagraph(pf, cf);
        if (c == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n')
            ++i;
        start = i + 1;
    }
    flush(text.size());

    ReadResult result;
    result.document = builder.finish(defaults.page, HeaderFooterRefs{});
    return result;
}

} // namespace qm::engine
