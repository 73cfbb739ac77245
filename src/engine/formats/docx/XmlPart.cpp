// XML helpers shared by the package readers.
#include "engine/formats/docx/XmlPart.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <string_view>
#include <limits>
#include <vector>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace qm::engine::xml {

namespace {

constexpr unsigned ParseFlags = pugi::parse_default | pugi::parse_ws_pcdata;

// Whether a node below `document` lies deeper than `maxDepth` (its own
// children at 0), walked over the records without a call a node.
bool deeperThan(const records::Node* document, uint32_t maxDepth)
{
    const records::Node* n = document->firstChild;
    uint64_t depth = 0;
    while (n) {
        if (depth > maxDepth)
            return true;
        if (n->firstChild) {
            n = n->firstChild;
            ++depth;
            continue;
        }
        while (!n->next) {
            n = n->parent;
            --depth;
            if (n == document)
                return false;
        }
        n = n->next;
    }
    return false;
}

std::string checked(const pugi::xml_parse_result& result, pugi::xml_document& doc, uint32_t maxDepth)
{
    if (!result) {
        std::string error = "the XML is malformed at byte " + std::to_string(result.offset) + ": " + result.description();
        doc.reset();
        return error;
    }
    bool tooDeep = false;
    if (records::match) {
        tooDeep = deeperThan(records::of(doc), maxDepth);
    } else {
        // pugixml's walker visits every node with its depth (the root's
        // children are at 0) inside the library.
        struct DepthLimit : pugi::xml_tree_walker {
            int maxDepth = 0;
            bool tooDeep = false;
            bool for_each(pugi::xml_node&) override
            {
                tooDeep = depth() > maxDepth;
                return !tooDeep;
            }
        } limit;
        limit.maxDepth = static_cast<int>(std::min<uint32_t>(maxDepth, std::numeric_limits<int>::max()));
        doc.traverse(limit);
        tooDeep = limit.tooDeep;
    }
    if (tooDeep) {
        doc.reset();
        return "the XML is nested more deeply than the engine reads";
    }
    return {};
}

// The first byte from p on (before end) that is one of the given ones, or
// end. Tags and values are walked sixteen bytes at a time where the
// processor compares that many at once.
template <char... Wanted>
const char* findAny(const char* p, const char* end)
{
#ifdef __SSE2__
    while (end - p >= 16) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const int hits = _mm_movemask_epi8((_mm_cmpeq_epi8(block, _mm_set1_epi8(Wanted)) | ...));
        if (hits)
            return p + __builtin_ctz(static_cast<unsigned>(hits));
        p += 16;
    }
#endif
    while (p < end && ((*p != Wanted) && ...))
        ++p;
    return p;
}

// A scan over XML text that follows its structure without building
// anything: enough to find the root's children and to check that one of
// them is plain. It understands less than the parser does and says so
// (false) rather than guess. It runs over every latent style of a style
// sheet, so it walks bytes by pointer with a table of name characters.
class Scan {
public:
    explicit Scan(std::string_view text, size_t at = 0)
        : m_begin(text.data()), m_p(text.data() + at), m_end(text.data() + text.size())
    {
    }

    size_t at() const { return static_cast<size_t>(m_p - m_begin); }

    /// One tag's name and how it ends.
    struct Tag {
        std::string_view name;
        bool end = false;   // </name>
        bool empty = false; // <name/>
    };

    /// Reads the tag at the current '<': its name, its attributes (each a
    /// name, '=' and a quoted value without '<'), up to its '>'.
    bool tag(Tag& t)
    {
        ++m_p; // '<'
        t.end = m_p < m_end && *m_p == '/';
        if (t.end)
            ++m_p;
        if (!name(t.name))
            return false;
        if (t.end) {
            skipBlanks();
            return take('>');
        }
        for (;;) {
            const bool blank = skipBlanks();
            if (take('>'))
                return true;
            if (take('/')) {
                t.empty = true;
                return take('>');
            }
            std::string_view attribute;
            if (!blank || !name(attribute))
                return false;
            skipBlanks();
            if (!take('='))
                return false;
            skipBlanks();
            if (m_p == m_end || (*m_p != '"' && *m_p != '\''))
                return false;
            const char quote = *m_p++;
            while (m_p < m_end && *m_p != quote && *m_p != '<')
                ++m_p;
            if (!take(quote))
                return false;
        }
    }

    /// Moves past a comment, processing instruction or CDATA section at the
    /// current '<'; false for anything else that starts with "<!" or "<?"
    /// (a document type above all) or when it never ends.
    bool skipMarkup()
    {
        const std::string_view rest(m_p, static_cast<size_t>(m_end - m_p));
        std::string_view close;
        if (rest.starts_with("<!--"))
            close = "-->";
        else if (rest.starts_with("<![CDATA["))
            close = "]]>";
        else if (rest.starts_with("<?"))
            close = "?>";
        else
            return false;
        const size_t end = rest.find(close, 2);
        if (end == std::string_view::npos)
            return false;
        m_p += end + close.size();
        return true;
    }

    /// Moves to the next '<'; `blank` tells whether only blanks came before it.
    bool toMarkup(bool& blank)
    {
        blank = true;
        while (m_p < m_end && *m_p != '<') {
            blank = blank && isBlank(*m_p);
            ++m_p;
        }
        return m_p < m_end;
    }

    /// Whether a plain element starts here, a child of the root: its tags
    /// and blanks only, each end tag closing the element it should, nothing
    /// in it deeper than `maxDepth` (the root's children being at 1), so
    /// that leaving it out hides no fault the parse would find. The scan is
    /// left past its end.
    bool plainElement(uint32_t maxDepth)
    {
        std::vector<std::string_view> open;
        do {
            Tag t;
            if (m_p == m_end || *m_p != '<' || !tag(t))
                return false;
            if (t.end) {
                if (open.empty() || open.back() != t.name)
                    return false;
                open.pop_back();
            } else if (open.size() + 1 > maxDepth) {
                return false;
            } else if (!t.empty) {
                open.push_back(t.name);
            }
            if (open.empty())
                return true;
            bool blank = false;
            const char* before = m_p;
            if (!toMarkup(blank) || !blank)
                return false;
            // Blank text is a node of its own, a level below the element it is in.
            if (m_p > before && open.size() + 1 > maxDepth)
                return false;
        } while (true);
    }

    /// Moves past the element whose start tag is at the current '<', its
    /// content and its end tag, counting start and end tags only (their
    /// names are not compared: each element found is parsed on its own,
    /// which finds any fault). Quoted attribute values, comments,
    /// processing instructions and CDATA sections are passed over whole.
    /// Text is skipped to the next '<' at a time. False when the text ends
    /// first or holds markup the parse would refuse.
    bool element()
    {
        // Most tags follow one another without text between them: the next
        // '<' is looked for only when it is not the next byte.
        const char* p = m_p;
        const char* const end = m_end;
        size_t depth = 0;
        for (;;) {
            const char next = p + 1 < end ? p[1] : '\0';
            if (next == '/') {
                if (depth == 0)
                    return false;
                p = findAny<'>'>(p + 2, end);
                if (p == end)
                    return false;
                ++p;
                if (--depth == 0)
                    break;
            } else if (next == '!' || next == '?') {
                m_p = p;
                if (depth == 0 || !skipMarkup())
                    return false;
                p = m_p;
            } else {
                // A start tag: to its '>', past any quoted value.
                ++p;
                for (;;) {
                    p = findAny<'>', '"', '\''>(p, end);
                    if (p == end)
                        return false;
                    if (*p == '>')
                        break;
                    p = *p == '"' ? findAny<'"'>(p + 1, end) : findAny<'\''>(p + 1, end);
                    if (p == end)
                        return false;
                    ++p;
                }
                const bool empty = p[-1] == '/';
                ++p;
                if (!empty)
                    ++depth;
                else if (depth == 0)
                    break;
            }
            if (p < end && *p != '<') {
                const void* tag = std::memchr(p, '<', static_cast<size_t>(end - p));
                if (!tag)
                    return false;
                p = static_cast<const char*>(tag);
            }
            if (p == end)
                return false;
        }
        m_p = p;
        return true;
    }

    /// Whether the scan stands at the given text.
    bool at(std::string_view text) const
    {
        return static_cast<size_t>(m_end - m_p) >= text.size() && std::memcmp(m_p, text.data(), text.size()) == 0;
    }

private:
    static bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
    bool take(char c)
    {
        if (m_p == m_end || *m_p != c)
            return false;
        ++m_p;
        return true;
    }
    bool skipBlanks()
    {
        const char* from = m_p;
        while (m_p < m_end && isBlank(*m_p))
            ++m_p;
        return m_p > from;
    }
    // ASCII names only: any other byte gives the scan up.
    static constexpr std::array<uint8_t, 256> NameClass = [] {
        std::array<uint8_t, 256> t{}; // 1: may start a name, 2: may only follow
        for (int c = 0; c < 256; ++c)
            t[c] = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':' ? 1
                   : (c >= '0' && c <= '9') || c == '-' || c == '.'                          ? 2
                                                                                               : 0;
        return t;
    }();
    bool name(std::string_view& out)
    {
        const char* from = m_p;
        if (m_p == m_end || NameClass[static_cast<unsigned char>(*m_p)] != 1)
            return false;
        while (++m_p < m_end && NameClass[static_cast<unsigned char>(*m_p)] != 0) {
        }
        out = std::string_view(from, static_cast<size_t>(m_p - from));
        return true;
    }

    const char* m_begin;
    const char* m_p;
    const char* m_end;
};

// How long the plain element at `start` is (see Scan::plainElement), 0 when
// it is not plain. Word writes the same latent styles into every document
// of one version and template, so the last few elements found plain are
// kept (for the thread): an element that starts with one of them is that
// element, and plain, without a scan.
size_t plainLength(std::string_view text, size_t start, uint32_t maxDepth)
{
    struct Known {
        std::string text;
        uint32_t maxDepth = 0;
    };
    thread_local std::array<Known, 8> known;
    thread_local size_t replace = 0;
    const std::string_view rest = text.substr(start);
    for (const Known& k : known)
        if (!k.text.empty() && k.maxDepth == maxDepth && rest.starts_with(k.text))
            return k.text.size();
    Scan element(text, start);
    if (!element.plainElement(maxDepth))
        return 0;
    const size_t length = element.at() - start;
    Known& slot = known[replace++ % known.size()];
    slot.text.assign(rest.substr(0, length));
    slot.maxDepth = maxDepth;
    return length;
}

} // namespace

size_t dropPlainChildren(std::string& bytes, std::initializer_list<std::string_view> locals, uint32_t maxDepth)
{
    // Where the children to drop lie, found before anything is changed.
    std::vector<std::pair<size_t, size_t>> drops; // start, length
    std::vector<bool> found(locals.size(), false);
    Scan scan(bytes);
    int depth = 0; // elements open around the scan: 1 inside the root
    bool blank = false;
    while (scan.toMarkup(blank)) {
        const size_t start = scan.at();
        if (start + 1 < bytes.size() && (bytes[start + 1] == '!' || bytes[start + 1] == '?')) {
            if (!scan.skipMarkup())
                return 0;
            continue;
        }
        Scan::Tag t;
        if (!scan.tag(t))
            return 0;
        if (t.end) {
            if (--depth <= 0)
                break; // the root has ended
            continue;
        }
        if (depth == 1) {
            const std::string_view local = t.name.substr(t.name.find(':') + 1);
            const size_t wanted = static_cast<size_t>(std::find(locals.begin(), locals.end(), local) - locals.begin());
            if (wanted < locals.size() && !found[wanted]) {
                found[wanted] = true;
                const size_t length = plainLength(bytes, start, maxDepth);
                const bool plain = length > 0;
                if (plain)
                    drops.emplace_back(start, length);
                if (std::find(found.begin(), found.end(), false) == found.end())
                    break; // nothing after the last one is looked at
                if (plain) {
                    scan = Scan(bytes, start + length);
                    continue;
                }
            }
        }
        if (!t.empty)
            ++depth;
    }
    // Closed up from the front, each kept stretch moved once.
    size_t removed = 0;
    for (size_t k = 0; k < drops.size(); ++k) {
        const size_t from = drops[k].first + drops[k].second;
        const size_t to = k + 1 < drops.size() ? drops[k + 1].first : bytes.size();
        std::memmove(bytes.data() + drops[k].first - removed, bytes.data() + from, to - from);
        removed += drops[k].second;
    }
    bytes.resize(bytes.size() - removed);
    return removed;
}

bool findChildElements(std::string_view text, std::string_view container, ChildElements& out)
{
    out = ChildElements();
    // The prolog: an XML declaration naming UTF-8 or no encoding. A byte
    // order mark, another encoding or a document type is left to the whole
    // parse. What lies outside the container's content is parsed whole
    // anyway; the scan only has to find its way to the container.
    if (text.starts_with("<?xml")) {
        const size_t end = text.find("?>");
        if (end == std::string_view::npos)
            return false;
        const std::string_view declaration = text.substr(0, end);
        if (const size_t at = declaration.find("encoding"); at != std::string_view::npos) {
            std::string name;
            for (char c : declaration.substr(at + 8)) {
                if (c != ' ' && c != '=' && c != '"' && c != '\'')
                    name.push_back(static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c));
                else if (!name.empty())
                    break;
            }
            if (name != "utf-8" && name != "utf8")
                return false;
        }
    } else if (!text.starts_with("<")) {
        return false;
    }
    Scan scan(text);
    bool blank = false;
    bool inRoot = false;
    while (scan.toMarkup(blank)) {
        const size_t start = scan.at();
        if (scan.at("<!--") || scan.at("<?")) {
            if (!scan.skipMarkup())
                return false;
            continue;
        }
        if (scan.at("<!") || scan.at("<?"))
            return false; // a document type
        Scan::Tag t;
        if (!scan.tag(t) || t.end)
            return false;
        if (!inRoot) {
            if (t.empty)
                return false;
            inRoot = true;
            continue;
        }
        if (t.empty)
            continue;
        if (t.name.substr(t.name.find(':') + 1) != container) {
            // Another child of the root, passed over whole.
            scan = Scan(text, start);
            if (!scan.element())
                return false;
            continue;
        }
        out.contentBegin = scan.at();
        // The container's children, with nothing but blanks between them
        // (a NUL byte or any other text there is left to the whole parse).
        for (;;) {
            if (!scan.toMarkup(blank) || !blank)
                return false;
            const size_t at = scan.at();
            if (scan.at("</")) {
                Scan::Tag close;
                if (!scan.tag(close) || close.name != t.name)
                    return false;
                out.contentEnd = at;
                return true;
            }
            if (scan.at("<!") || scan.at("<?") || !scan.element())
                return false;
            out.spans.emplace_back(at, scan.at() - at);
        }
    }
    return false;
}

std::string parseStretchInPlace(std::string& bytes, size_t start, size_t length, pugi::xml_document& doc,
                                uint32_t maxDepth)
{
    return checked(doc.load_buffer_inplace(bytes.data() + start, length, ParseFlags, pugi::encoding_utf8), doc,
                   maxDepth);
}

std::string parse(const std::string& bytes, pugi::xml_document& doc, uint32_t maxDepth)
{
    return checked(doc.load_buffer(bytes.data(), bytes.size(), ParseFlags, pugi::encoding_auto), doc, maxDepth);
}

std::string parseInPlace(std::string& bytes, pugi::xml_document& doc, uint32_t maxDepth)
{
    return checked(doc.load_buffer_inplace(bytes.data(), bytes.size(), ParseFlags, pugi::encoding_auto), doc, maxDepth);
}

pugi::xml_node childThroughLibrary(const pugi::xml_node& node, std::string_view local)
{
    for (pugi::xml_node c = node.first_child(); c; c = c.next_sibling())
        if (c.type() == pugi::node_element && hasLocalName(c.name(), local))
            return c;
    return {};
}

pugi::xml_attribute attrThroughLibrary(const pugi::xml_node& node, std::string_view local)
{
    for (pugi::xml_attribute a = node.first_attribute(); a; a = a.next_attribute())
        if (hasLocalName(a.name(), local))
            return a;
    return {};
}

bool records::matchLibrary()
{
    // Every link and field the helpers read, compared on a tree that has
    // each: elements with and without attributes, text between them, a
    // comment-free declaration-free root.
    pugi::xml_document doc;
    static const char text[] = "<r a='1' b='2'><e/>t<f c='3'/></r>";
    if (!doc.load_buffer(text, sizeof text - 1, pugi::parse_default, pugi::encoding_utf8))
        return false;
    auto same = [](const pugi::xml_node& api, const Node* record) {
        if (!api || !record)
            return !api && !record;
        return api.internal_object() == reinterpret_cast<const pugi::xml_node_struct*>(record) &&
               static_cast<int>(record->header & 15) == static_cast<int>(api.type()) &&
               (record->name ? record->name : "") == std::string_view(api.name()) &&
               (record->value ? record->value : "") == std::string_view(api.value());
    };
    auto sameAttribute = [](const pugi::xml_attribute& api, const Attribute* record) {
        if (!api || !record)
            return !api && !record;
        return api.internal_object() == reinterpret_cast<const pugi::xml_attribute_struct*>(record) &&
               std::string_view(record->name) == api.name() && std::string_view(record->value) == api.value();
    };
    for (pugi::xml_node n = doc.document_element(); n; n = n.first_child()) {
        for (pugi::xml_node c = n; c; c = c.next_sibling()) {
            const Node* record = of(c);
            if (!same(c, record) || !same(c.first_child(), record->firstChild) || !same(c.next_sibling(), record->next) ||
                !same(c.parent(), record->parent))
                return false;
            pugi::xml_attribute a = c.first_attribute();
            const Attribute* r = record->firstAttribute;
            for (; a || r; a = a.next_attribute(), r = r->next)
                if (!sameAttribute(a, r))
                    return false;
        }
    }
    return true;
}

pugi::xml_node descendant(const pugi::xml_node& root, std::string_view local)
{
    pugi::xml_node node = root.first_child();
    while (node) {
        if (node.type() == pugi::node_element && hasLocalName(node.name(), local))
            return node;
        if (node.first_child()) {
            node = node.first_child();
            continue;
        }
        while (node && node != root && !node.next_sibling())
            node = node.parent();
        if (!node || node == root)
            break;
        node = node.next_sibling();
    }
    return {};
}

std::optional<int64_t> toInt(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '+'))
        text.remove_prefix(1);
    if (text.empty())
        return std::nullopt;
    // Some writers put decimals where integers belong ("12.5"); Word reads
    // the integer part.
    int64_t v = 0;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (ec == std::errc::result_out_of_range)
        return text.front() == '-' ? std::numeric_limits<int64_t>::min() / 2 : std::numeric_limits<int64_t>::max() / 2;
    if (ec != std::errc() || end == text.data())
        return std::nullopt;
    return v;
}

int32_t clampInt32(int64_t v)
{
    if (v > std::numeric_limits<int32_t>::max())
        return std::numeric_limits<int32_t>::max();
    if (v < std::numeric_limits<int32_t>::min())
        return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(v);
}

} // namespace qm::engine::xml
