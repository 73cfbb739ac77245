// Every RTF file of the shared corpus opens, or fails with a clear error, quickly and well formed.
#include "../support/CorpusSweep.h"

using namespace qm::engine;
using namespace qm::engine::test;

TEST(RtfCorpus, EveryFileReadsOrFailsClearly)
{
    const auto files = corpusFiles();
    if (files.empty())
        GTEST_SKIP() << "no shared corpus";
    EXPECT_GT(sweepCorpus(files, readRtf, {".rtf"}).files, 0);
}
