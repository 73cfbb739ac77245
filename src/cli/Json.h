// A small JSON value for the command line's machine-readable output.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace qm::cli {

/// A JSON value whose objects keep their keys in insertion order, so output
/// reads in the order the program describes things.
class Json {
public:
    using Array = std::vector<Json>;
    using Object = std::vector<std::pair<std::string, Json>>;

    Json() = default; // null
    Json(bool b) : m_value(b) {}
    Json(int v) : m_value(int64_t(v)) {}
    Json(int64_t v) : m_value(v) {}
    Json(size_t v) : m_value(int64_t(v)) {}
    Json(double v) : m_value(v) {}
    Json(const char* s) : m_value(std::string(s)) {}
    Json(std::string s) : m_value(std::move(s)) {}
    Json(std::string_view s) : m_value(std::string(s)) {}
    Json(Array a) : m_value(std::move(a)) {}
    Json(Object o) : m_value(std::move(o)) {}

    static Json object() { return Json(Object{}); }
    static Json array() { return Json(Array{}); }

    /// Adds a key to an object (the value must be an object).
    Json& set(std::string key, Json value);
    /// Appends to an array (the value must be an array).
    Json& push(Json value);

    /// Two-space indented text, ending without a newline.
    void write(std::ostream& out, int indent = 0) const;
    std::string dump() const;

private:
    /// The text of write(), appended to `out`: built as one string, since a
    /// stream takes a lock and a check for every piece written to it.
    void append(std::string& out, int indent) const;

    std::variant<std::nullptr_t, bool, int64_t, double, std::string, Array, Object> m_value{nullptr};
};

/// A JSON string literal. Bytes that are not UTF-8 become U+FFFD, so the
/// output stays valid whatever a hand-edited file or a file name holds.
std::string jsonString(std::string_view text);
/// The same literal appended to `out`.
void appendJsonString(std::string& out, std::string_view text);

} // namespace qm::cli
