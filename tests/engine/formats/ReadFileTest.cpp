// A document file is read whole from disk, and one that cannot be read is
// refused with the reason a user is shown.
#include "engine/formats/Reader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace qm::engine {
namespace {

namespace fs = std::filesystem;

struct TempFolder {
    fs::path path;
    TempFolder()
    {
        std::string t = (fs::temp_directory_path() / "qm-readfile-XXXXXX").string();
        path = ::mkdtemp(t.data());
    }
    ~TempFolder() { fs::remove_all(path); }
};

void writeFile(const fs::path& p, const std::string& bytes) { std::ofstream(p, std::ios::binary) << bytes; }

TEST(ReadFile, WhatCannotBeReadIsRefusedWithItsReason)
{
    TempFolder dir;
    fs::create_directory(dir.path / "folder.docx");
    writeFile(dir.path / "ten.txt", "0123456789");
    struct Case {
        const char* what;
        fs::path path;
        uint64_t limit; // the largest file read
        std::string error; // empty: read
    } const cases[] = {
        {"a folder, whatever its name", dir.path / "folder.docx", 1000, "it is a folder, not a document"},
        {"a file that is not there", dir.path / "missing.doc", 1000, "the file cannot be opened for reading"},
        {"a file over the limit by a byte", dir.path / "ten.txt", 9, "the file is larger than the engine reads"},
        {"a file at the limit", dir.path / "ten.txt", 10, ""},
        {"a device that reads as empty", "/dev/null", 1000, ""},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.what);
        ReadOptions options;
        options.limits.maxInputBytes = k.limit;
        const ReadResult r = readDocument(k.path, options);
        EXPECT_EQ(r.error, k.error);
        EXPECT_EQ(r.ok(), k.error.empty());
    }
}

TEST(ReadFile, EveryByteOfALargeFileIsRead)
{
    // Three megabytes of text with a mark at its very end: a read that
    // stopped short would lose the mark or be refused.
    TempFolder dir;
    std::string text;
    while (text.size() < (3u << 20))
        text += "word ";
    text += "END";
    writeFile(dir.path / "large.txt", text);
    const ReadResult r = readDocument(dir.path / "large.txt");
    ASSERT_TRUE(r.ok()) << r.error;
    const std::u16string& story = r.document->stories[0].text;
    ASSERT_GE(story.size(), text.size());
    EXPECT_EQ(story.substr(text.size() - 8, 8), u"word END");
    EXPECT_EQ(std::count(story.begin(), story.end(), u'w'), static_cast<std::ptrdiff_t>((text.size() - 3) / 5));
}

} // namespace
} // namespace qm::engine
