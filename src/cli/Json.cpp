// Writing JSON values.
#include "cli/Json.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <ostream>
#include <sstream>

namespace qm::cli {

namespace {

// The length of the UTF-8 sequence starting at `pos`, or 0 when the bytes
// there are not one well-formed character.
size_t utf8Length(std::string_view text, size_t pos)
{
    const auto c = static_cast<unsigned char>(text[pos]);
    size_t len = 0;
    uint32_t min = 0;
    if (c >= 0xC2 && c <= 0xDF) {
        len = 2;
        min = 0x80;
    } else if (c >= 0xE0 && c <= 0xEF) {
        len = 3;
        min = 0x800;
    } else if (c >= 0xF0 && c <= 0xF4) {
        len = 4;
        min = 0x10000;
    } else {
        return 0;
    }
    if (pos + len > text.size())
        return 0;
    uint32_t code = c & (0x7F >> len);
    for (size_t i = 1; i < len; ++i) {
        const auto cc = static_cast<unsigned char>(text[pos + i]);
        if ((cc & 0xC0) != 0x80)
            return 0;
        code = (code << 6) | (cc & 0x3F);
    }
    if (code < min || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
        return 0;
    return len;
}

void newline(std::string& out, int indent)
{
    out += '\n';
    out.append(2 * static_cast<size_t>(indent), ' ');
}

} // namespace

std::string jsonString(std::string_view text)
{
    std::string out;
    appendJsonString(out, text);
    return out;
}

void appendJsonString(std::string& out, std::string_view text)
{
    out += '"';
    for (size_t pos = 0; pos < text.size();) {
        const auto c = static_cast<unsigned char>(text[pos]);
        if (c >= 0x80) {
            if (const size_t len = utf8Length(text, pos)) {
                out += text.substr(pos, len);
                pos += len;
            } else {
                out += "\\ufffd";
                ++pos;
            }
            continue;
        }
        ++pos;
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20) {
                char escape[8];
                std::snprintf(escape, sizeof escape, "\\u%04x", c);
                out += escape;
            } else {
                out += static_cast<char>(c);
            }
        }
    }
    out += '"';
}

Json& Json::set(std::string key, Json value)
{
    auto& object = std::get<Object>(m_value);
    object.emplace_back(std::move(key), std::move(value));
    return object.back().second;
}

Json& Json::push(Json value)
{
    auto& array = std::get<Array>(m_value);
    array.push_back(std::move(value));
    return array.back();
}

void Json::write(std::ostream& out, int indent) const
{
    std::string text;
    append(text, indent);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

void Json::append(std::string& out, int indent) const
{
    struct Visitor {
        std::string& out;
        int indent;
        void operator()(std::nullptr_t) const { out += "null"; }
        void operator()(bool b) const { out += b ? "true" : "false"; }
        void operator()(int64_t v) const
        {
            char text[24];
            out.append(text, std::to_chars(text, text + sizeof text, v).ptr);
        }
        void operator()(double v) const
        {
            if (!std::isfinite(v)) {
                out += "null";
                return;
            }
            char text[32];
            std::snprintf(text, sizeof text, "%.15g", v);
            out += text;
        }
        void operator()(const std::string& s) const { appendJsonString(out, s); }
        void operator()(const Array& a) const
        {
            if (a.empty()) {
                out += "[]";
                return;
            }
            out += '[';
            for (size_t i = 0; i < a.size(); ++i) {
                if (i)
                    out += ',';
                newline(out, indent + 1);
                a[i].append(out, indent + 1);
            }
            newline(out, indent);
            out += ']';
        }
        void operator()(const Object& o) const
        {
            if (o.empty()) {
                out += "{}";
                return;
            }
            out += '{';
            for (size_t i = 0; i < o.size(); ++i) {
                if (i)
                    out += ',';
                newline(out, indent + 1);
                appendJsonString(out, o[i].first);
                out += ": ";
                o[i].second.append(out, indent + 1);
            }
            newline(out, indent);
            out += '}';
        }
    };
    std::visit(Visitor{out, indent}, m_value);
}

std::string Json::dump() const
{
    std::ostringstream out;
    write(out);
    return out.str();
}

} // namespace qm::cli
