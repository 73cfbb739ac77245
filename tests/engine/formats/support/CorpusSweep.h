// The readers' sweeps over the shared corpus, and the model invariants every reader result keeps.
#pragma once

#include "engine/formats/Reader.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <initializer_list>
#include <sstream>
#include <string_view>

namespace qm::engine::test {

// The model's invariants that every reader result must keep, whatever the input.
inline void expectWellFormed(const Document& doc)
{
    for (size_t i = 0; i < doc.stories.size(); ++i) {
        SCOPED_TRACE("story " + std::to_string(i));
        const Story& s = doc.stories[i];
        ASSERT_FALSE(s.text.empty());
        EXPECT_EQ(s.text.back(), Ch::ParagraphMark);
        ASSERT_EQ(s.attrs.size(), s.text.size());
        for (const CharAttr& a : s.attrs) {
            ASSERT_LT(a.charFormat, doc.charFormats.size());
            ASSERT_LT(a.paraFormat, doc.paraFormats.size());
            const CharFormat& f = doc.charFormats[a.charFormat];
            EXPECT_LT(f.objectIndex, static_cast<int32_t>(doc.objects.size()));
            EXPECT_LT(f.noteIndex, static_cast<int32_t>(doc.notes.size()));
        }
    }
    ASSERT_FALSE(doc.sections.empty());
    EXPECT_EQ(doc.sections.back().end, doc.mainStory().size());
    for (const Note& n : doc.notes) {
        ASSERT_GE(n.story, 0);
        ASSERT_LT(static_cast<size_t>(n.story), doc.stories.size());
        EXPECT_LE(n.start, n.end);
        EXPECT_LE(n.end, doc.stories[n.story].size());
    }
}

struct SweepResult {
    int files = 0, failures = 0;
};

/// The corpus's files folder, or an empty path when there is none (the
/// sweeps then skip). QM_CORPUS_DIR in the environment points a worktree's
/// build at the corpus.
inline std::filesystem::path corpusFiles()
{
    const char* env = std::getenv("QM_CORPUS_DIR");
    const std::filesystem::path files = std::filesystem::path(env ? env : QM_CORPUS_DIR) / "files";
    std::error_code ec;
    return std::filesystem::is_directory(files, ec) ? files : std::filesystem::path();
}

/// Reads every corpus file with one of the (lower-case) extensions: each
/// must read into a well-formed document or fail with an error, and neither
/// may take a minute (a hang guard; the benchmarks measure speed). Real
/// files from many programs, deliberately broken ones included, catch a
/// crash, a hang or a broken model outside the hand-written cases.
inline SweepResult sweepCorpus(const std::filesystem::path& files,
                               ReadResult (*read)(std::string_view, const ReadOptions&),
                               std::initializer_list<std::string_view> extensions)
{
    SweepResult result;
    std::error_code ec;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(files, ec)) {
        std::string ext = entry.path().extension().string();
        std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
        if (!entry.is_regular_file() || std::find(extensions.begin(), extensions.end(), ext) == extensions.end())
            continue;
        SCOPED_TRACE(entry.path().string());
        std::ifstream in(entry.path(), std::ios::binary);
        std::stringstream bytes;
        bytes << in.rdbuf();
        const auto start = std::chrono::steady_clock::now();
        const ReadResult r = read(bytes.str(), ReadOptions{});
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
        ++result.files;
        if (r.ok()) {
            expectWellFormed(*r.document);
        } else {
            EXPECT_FALSE(r.error.empty());
            ++result.failures;
        }
    }
    return result;
}

} // namespace qm::engine::test
