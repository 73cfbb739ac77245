// Every .doc and .dot of the shared corpus opens, or fails with a clear error, quickly.
#include "../support/CorpusSweep.h"

using namespace qm::engine;
using namespace qm::engine::test;

TEST(DocCorpus, EveryFileOpensOrFailsClearly)
{
    const auto files = corpusFiles();
    if (files.empty())
        GTEST_SKIP() << "no shared corpus";
    const SweepResult r = sweepCorpus(files, readDoc, {".doc", ".dot"});
    EXPECT_GT(r.files, r.failures);
}
