// Every Word package of the shared corpus opens, or fails with a clear error, quickly and well formed.
#include "engine/formats/Reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

using namespace qm::engine;
namespace fs = std::filesystem;

TEST(DocxCorpus, EveryPackageOpensOrFailsClearly)
{
    // QM_CORPUS_DIR in the environment points a worktree elsewhere at the corpus.
    const char* override = std::getenv("QM_CORPUS_DIR");
    const fs::path corpus = fs::path(override ? override : QM_CORPUS_DIR) / "files";
    if (!fs::exists(corpus))
        GTEST_SKIP() << "no corpus at " << corpus;
    int files = 0, failures = 0;
    double slowest = 0;
    std::string slowestFile;
    for (const auto& entry : fs::recursive_directory_iterator(corpus)) {
        std::string ext = entry.path().extension().string();
        std::transform(ext.begin(), ext.end(), ext.begin(), ::tolower);
        if (!entry.is_regular_file() || (ext != ".docx" && ext != ".docm" && ext != ".dotx" && ext != ".dotm"))
            continue;
        SCOPED_TRACE(entry.path().string());
        std::ifstream in(entry.path(), std::ios::binary);
        std::stringstream bytes;
        bytes << in.rdbuf();
        const auto start = std::chrono::steady_clock::now();
        ReadResult r = readDocx(bytes.str(), {});
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        ++files;
        if (seconds > slowest) {
            slowest = seconds;
            slowestFile = entry.path().string();
        }
        EXPECT_LT(seconds, 60.0); // a hang guard, not a speed target (the benchmarks measure speed)
        if (!r.ok()) {
            ++failures;
            EXPECT_FALSE(r.error.empty());
            continue;
        }
        // The builder's promise: every story ends with a paragraph mark and
        // the last section ends with the main story.
        for (const Story& s : r.document->stories) {
            ASSERT_FALSE(s.text.empty());
            EXPECT_EQ(s.text.back(), Ch::ParagraphMark);
            EXPECT_EQ(s.text.size(), s.attrs.size());
        }
        EXPECT_EQ(r.document->sections.back().end, r.document->mainStory().size());
    }
    RecordProperty("files", files);
    RecordProperty("failures", failures);
    RecordProperty("slowest", slowestFile);
    EXPECT_GT(files, 0);
    // Damaged and encrypted samples are a small part of the corpus.
    EXPECT_LT(failures * 20, files);
}
