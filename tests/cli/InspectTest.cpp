// `quillmeter inspect`: exit codes, messages naming the file, JSON escaping and the figures.
#include "RunCli.h"
#include "engine/formats/Reader.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

using namespace qm::cli;

namespace {

qm::testing::CliOutcome run(std::vector<std::string> args) { return qm::testing::runCli(std::move(args), {"inspect"}); }

std::filesystem::path scratch(const std::string& name)
{
    const auto dir = std::filesystem::temp_directory_path() / "qm-inspect-test";
    std::filesystem::create_directories(dir);
    return dir / name;
}

} // namespace

TEST(Inspect, UnreadableFilesFailNamingEachFileAndTheOthersAreStillReported)
{
    const std::string missing = scratch("missing.rtf").string();
    const std::string folder = scratch("").string();
    auto o = run({missing, folder, "--json"});
    EXPECT_EQ(o.code, Failure);
    EXPECT_NE(o.err.find("cannot read " + missing), std::string::npos) << o.err;
    EXPECT_NE(o.err.find("cannot read " + folder), std::string::npos) << o.err;
    // Several files give an array with one entry each.
    EXPECT_TRUE(o.out.starts_with("[")) << o.out;
    EXPECT_NE(o.out.find("\"file\": \"" + missing + "\""), std::string::npos) << o.out;
    EXPECT_NE(o.out.find("\"error\": \"it is a folder, not a document\""), std::string::npos) << o.out;
}

TEST(Inspect, JsonEscapesEveryCharacterThatNeedsIt)
{
    const std::pair<std::string, std::string> cases[] = {
        {"quote\"back\\slash.txt", "quote\\\"back\\\\slash.txt"},
        {"tab\tnew\nline.txt", "tab\\tnew\\nline.txt"},
        {std::string("bell\x07.txt"), "bell\\u0007.txt"},
        {std::string("latin1-\xE9.txt"), "latin1-\\ufffd.txt"}, // invalid UTF-8 becomes U+FFFD
        {"caf\xC3\xA9.txt", "caf\xC3\xA9.txt"},                 // valid UTF-8 stays as it is
    };
    for (const auto& [name, escaped] : cases) {
        auto o = run({"--json", scratch(name).string()});
        EXPECT_EQ(o.code, Failure);
        EXPECT_TRUE(o.out.starts_with("{")) << "one file gives one object";
        EXPECT_NE(o.out.find("\"file\": \"" + scratch("").string() + escaped + "\""), std::string::npos) << o.out;
    }
}

// The figures of a plain-text file; runs once the text reader is part of the build.
TEST(Inspect, ReportsWordsFiguresOfATextFile)
{
    const auto path = scratch("figures.txt");
    std::ofstream(path, std::ios::binary) << "One two-three\tfour.\r\n\r\n06/30/2003 well-known\r\n";
    if (!qm::engine::readDocument(path).ok())
        GTEST_SKIP() << "no text reader in this build";
    auto o = run({path.string(), "--json"});
    EXPECT_EQ(o.code, Success) << o.err;
    for (const char* expected : {"\"format\": \"txt\"", "\"characters\": 37", "\"characters_with_spaces\": 42",
                                 "\"words\": 5", "\"word_matches\": 9", "\"paragraphs\": 2", "\"tables\": 0",
                                 "\"lines\": 3", "\"pages\": 1", "\"stories\": []"})
        EXPECT_NE(o.out.find(expected), std::string::npos) << expected << "\n" << o.out;

    auto text = run({path.string()});
    EXPECT_EQ(text.code, Success);
    EXPECT_NE(text.out.find("word_matches                9\n"), std::string::npos) << text.out;
    // Without East Asian text the text form leaves Word's two East Asian figures out.
    EXPECT_EQ(text.out.find("asian_characters"), std::string::npos) << text.out;
    EXPECT_NE(o.out.find("\"asian_characters\": 0"), std::string::npos) << o.out;
    EXPECT_NE(o.out.find("\"non_asian_words\": 5"), std::string::npos) << o.out;
}

// Japanese in a UTF-8 file: every character a word, as Word counts it.
TEST(Inspect, ReportsTheEastAsianFiguresOfJapaneseText)
{
    const auto path = scratch("japanese.txt");
    // こんにちは、Tokyo! (the greeting, a comma, a Latin word with its mark)
    std::ofstream(path, std::ios::binary) << "\xE3\x81\x93\xE3\x82\x93\xE3\x81\xAB\xE3\x81\xA1\xE3\x81\xAF"
                                             "\xE3\x80\x81Tokyo!\r\n";
    if (!qm::engine::readDocument(path).ok())
        GTEST_SKIP() << "no text reader in this build";
    auto o = run({path.string(), "--json"});
    EXPECT_EQ(o.code, Success) << o.err;
    for (const char* expected : {"\"characters\": 12", "\"words\": 7", "\"asian_characters\": 6",
                                 "\"non_asian_words\": 1", "\"word_matches\": 7"})
        EXPECT_NE(o.out.find(expected), std::string::npos) << expected << "\n" << o.out;
    auto text = run({path.string()});
    EXPECT_NE(text.out.find("asian_characters            6\n"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("non_asian_words             1\n"), std::string::npos) << text.out;
}
