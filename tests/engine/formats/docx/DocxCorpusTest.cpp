// Every Word package of the shared corpus opens, or fails with a clear error, quickly and well formed.
#include "../support/CorpusSweep.h"

using namespace qm::engine;
using namespace qm::engine::test;

TEST(DocxCorpus, EveryPackageOpensOrFailsClearly)
{
    const auto files = corpusFiles();
    if (files.empty())
        GTEST_SKIP() << "no shared corpus";
    const SweepResult r = sweepCorpus(files, readDocx, {".docx", ".docm", ".dotx", ".dotm"});
    EXPECT_GT(r.files, 0);
    // Damaged and encrypted samples are a small part of the corpus.
    EXPECT_LT(r.failures * 20, r.files);
}
