// Every .doc and .dot of the shared corpus opens, or fails with a clear error, quickly.
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

TEST(DocCorpus, EveryFileOpensOrFailsClearly)
{
    // QM_CORPUS_DIR in the environment points at a corpus elsewhere than beside the checkout.
    const char* override = std::getenv("QM_CORPUS_DIR");
    const fs::path files = fs::path(override ? override : QM_CORPUS_DIR) / "files";
    std::error_code ec;
    if (!fs::is_directory(files, ec))
        GTEST_SKIP() << "no corpus at " << files;
    size_t read = 0, failed = 0;
    for (const auto& entry : fs::recursive_directory_iterator(files, ec)) {
        std::string ext = entry.path().extension().string();
        std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
        if (!entry.is_regular_file() || (ext != ".doc" && ext != ".dot"))
            continue;
        SCOPED_TRACE(entry.path().string());
        std::ifstream in(entry.path(), std::ios::binary);
        std::stringstream bytes;
        bytes << in.rdbuf();
        const std::string file = bytes.str();
        const auto start = std::chrono::steady_clock::now();
        const ReadResult r = readDoc(file, ReadOptions{});
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        EXPECT_LT(seconds, 60.0); // a hang guard, not a speed target (the benchmarks measure speed)
        if (r.ok()) {
            ++read;
            EXPECT_FALSE(r.document->mainStory().text.empty());
        } else {
            ++failed;
            EXPECT_FALSE(r.error.empty());
        }
    }
    EXPECT_GT(read, 0u);
    std::printf("corpus: %zu read, %zu refused with an error\n", read, failed);
}
