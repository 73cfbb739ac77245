// Every RTF file of the shared corpus opens, or fails with a clear error, quickly and well formed.
#include "RtfTestSupport.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

using namespace qm::engine;
using namespace qm::engine::test;

namespace {

std::filesystem::path corpusDir()
{
    // QM_CORPUS_DIR in the environment points a worktree's build at the corpus.
    if (const char* env = std::getenv("QM_CORPUS_DIR"))
        return env;
    return QM_CORPUS_DIR;
}

} // namespace

// Real files written by many programs, deliberately broken ones included:
// would catch a crash, a hang or a broken model on anything outside the
// hand-written cases.
TEST(RtfCorpus, EveryFileReadsOrFailsClearly)
{
    const std::filesystem::path files = corpusDir() / "files";
    std::error_code ec;
    if (!std::filesystem::is_directory(files, ec))
        GTEST_SKIP() << "no corpus at " << files;
    size_t read = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(files, ec)) {
        std::string ext = entry.path().extension().string();
        for (char& c : ext)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        if (!entry.is_regular_file() || ext != ".rtf")
            continue;
        SCOPED_TRACE(entry.path().string());
        std::ifstream in(entry.path(), std::ios::binary);
        std::stringstream buffer;
        buffer << in.rdbuf();
        const std::string bytes = buffer.str();
        const auto start = std::chrono::steady_clock::now();
        ReadResult r = readRtf(bytes, {});
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60)); // a hang guard
        if (r.ok())
            expectWellFormed(*r.document);
        else
            EXPECT_FALSE(r.error.empty());
        ++read;
    }
    EXPECT_GT(read, 0u);
}
