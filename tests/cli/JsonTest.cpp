// The JSON text the command line prints: layout, numbers and string escapes.
#include "cli/Json.h"

#include <gtest/gtest.h>

#include <sstream>

using qm::cli::Json;

TEST(Json, ValuesAreWrittenAsWorkedOutByHand)
{
    Json nested = Json::object();
    nested.set("n", int64_t{-9007199254740993});
    Json& list = nested.set("list", Json::array());
    list.push(1);
    list.push(2.5);
    Json doc = Json::object();
    doc.set("empty object", Json::object());
    doc.set("empty list", Json::array());
    doc.set("nested", std::move(nested));
    Json& flags = doc.set("flags", Json::array());
    for (Json flag : {Json(true), Json(false), Json()})
        flags.push(flag);
    struct Case {
        const char* what;
        Json value;
        const char* text;
    } const cases[] = {
        {"null", Json(), "null"},
        {"integer", Json(int64_t{1234567890123}), "1234567890123"},
        {"fraction", Json(0.1), "0.1"},
        {"fifteen digits", Json(2.0 / 3.0), "0.666666666666667"},
        {"not finite", Json(1.0 / 0.0), "null"},
        {"nested", doc,
         "{\n"
         "  \"empty object\": {},\n"
         "  \"empty list\": [],\n"
         "  \"nested\": {\n"
         "    \"n\": -9007199254740993,\n"
         "    \"list\": [\n"
         "      1,\n"
         "      2.5\n"
         "    ]\n"
         "  },\n"
         "  \"flags\": [\n"
         "    true,\n"
         "    false,\n"
         "    null\n"
         "  ]\n"
         "}"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::ostringstream out;
        c.value.write(out);
        EXPECT_EQ(out.str(), c.text);
        EXPECT_EQ(c.value.dump(), c.text);
    }
}

TEST(Json, StringsAreEscapedAndKeptValidUtf8)
{
    struct Case {
        std::string_view text;
        const char* literal;
    } const cases[] = {
        {"plain", "\"plain\""},
        {"say \"hi\"\\", "\"say \\\"hi\\\"\\\\\""},
        {"a\tb\nc\rd", "\"a\\tb\\nc\\rd\""},
        {std::string_view("\x01\x1f", 2), "\"\\u0001\\u001f\""},
        {"caf\xC3\xA9 \xE6\x97\xA5", "\"caf\xC3\xA9 \xE6\x97\xA5\""}, // UTF-8 kept as it is
        {"bad \xC3 end", "\"bad \\ufffd end\""},                   // a cut sequence
        {"\xED\xA0\x80", "\"\\ufffd\\ufffd\\ufffd\""},              // an encoded surrogate
        {"\xC0\xAF", "\"\\ufffd\\ufffd\""},                         // an overlong slash
    };
    for (const Case& c : cases) {
        EXPECT_EQ(qm::cli::jsonString(c.text), c.literal);
        // As a value and as a key, the same literal.
        Json o = Json::object();
        o.set(std::string(c.text), Json(c.text));
        EXPECT_EQ(o.dump(), std::string("{\n  ") + c.literal + ": " + c.literal + "\n}");
    }
}
