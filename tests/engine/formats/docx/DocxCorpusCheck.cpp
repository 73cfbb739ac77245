// Reads every Word package of the shared corpus, times it, and compares our
// statistics with the figures Word stored for the files Word saved last.
// Usage: docx_corpus_check [corpus-dir] [--list] prints a summary (and the
// differing files); docx_corpus_check --dump FILE shows one file's stories.
#include "engine/access/WordStatistics.h"
#include "engine/formats/Reader.h"
#include "engine/model/Unicode.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

using namespace qm::engine;
namespace fs = std::filesystem;

namespace {

// The manifest is pretty-printed JSON with one key a line; the two keys this
// check needs are found by their lines.
std::map<std::string, std::string> wordSavedFiles(const fs::path& manifest)
{
    std::map<std::string, std::string> out; // file -> how well its figures matched a rough count
    std::ifstream in(manifest);
    std::string line, current, agreement;
    while (std::getline(in, line)) {
        if (auto p = line.find("\"file\": \""); p != std::string::npos && line.find("\"file\": \"") < 4)
            current = line.substr(p + 9, line.rfind('"') - p - 9);
        if (auto p = line.find("\"stats_agreement\": \""); p != std::string::npos)
            agreement = line.substr(p + 20, line.rfind('"') - p - 20);
        if (line.find("\"word_saved\": true") != std::string::npos)
            out[current] = agreement;
    }
    return out;
}

struct Row {
    std::string file;
    double ms = 0;
    std::string error;
    bool wordSaved = false;
    std::string agreement;
    WordStatistics ours;
    StoredStatistics stored;
    int64_t marks = 0; // paragraph, cell and row marks of the main story
    int64_t kinds[6] = {}; // paragraph marks, cell ends, row ends, section breaks, page breaks, line breaks
    int64_t marksBeforeLastText = 0, inlineObjects = 0, anchors = 0;
    int64_t boxChars = 0, boxWords = 0, noteChars = 0, noteWords = 0;
};

} // namespace

// Prints each story with its marks made visible, for looking at one file.
int dump(const char* path)
{
    ReadResult r = readDocument(path);
    if (!r.ok()) {
        std::printf("error: %s\n", r.error.c_str());
        return 1;
    }
    for (size_t s = 0; s < r.document->stories.size(); ++s) {
        const Story& story = r.document->stories[s];
        std::u16string text;
        for (size_t i = 0; i < story.text.size(); ++i) {
            char16_t c = story.text[i];
            const bool hidden = r.document->charFormatAt(story, static_cast<uint32_t>(i)).hidden;
            text += c == 13 ? u'¶' : c == 7 ? u'¤' : c == 12 ? u'§' : c == 9 ? u'→' : c == 11 ? u'↵' : c < 32 ? u'#' : c;
            if (hidden)
                text += u'\u0336';
        }
        WordStatistics st = computeWordStatistics(*r.document, s);
        std::printf("story %zu type %d chars %lld cws %lld words %lld: %s\n", s, static_cast<int>(story.type),
                    (long long)st.characters, (long long)st.charactersWithSpaces, (long long)st.words,
                    utf16ToUtf8(text).c_str());
    }
    for (const Diagnostic& d : r.document->diagnostics)
        std::printf("diagnostic %s %s: %s\n", d.code.c_str(), d.location.c_str(), d.message.c_str());
    const StoredStatistics& st = r.document->stored;
    std::printf("stored chars %lld cws %lld words %lld (%s)\n", (long long)st.characters.value_or(-1),
                (long long)st.charactersWithSpaces.value_or(-1), (long long)st.words.value_or(-1),
                st.application.c_str());
    return 0;
}

int main(int argc, char** argv)
{
    if (argc > 2 && std::string(argv[1]) == "--dump")
        return dump(argv[2]);
    fs::path corpus = argc > 1 && argv[1][0] != '-' ? fs::path(argv[1]) : fs::path(QM_CORPUS_DIR);
    const bool list = argc > 1 && std::string(argv[argc - 1]) == "--list";
    const bool tsv = argc > 1 && std::string(argv[argc - 1]) == "--tsv";
    if (!fs::exists(corpus / "manifest.json")) {
        std::printf("no corpus at %s\n", corpus.c_str());
        return 0;
    }
    const std::map<std::string, std::string> saved = wordSavedFiles(corpus / "manifest.json");
    std::vector<Row> rows;
    for (const auto& entry : fs::recursive_directory_iterator(corpus / "files")) {
        if (!entry.is_regular_file())
            continue;
        std::string ext = entry.path().extension().string();
        std::transform(ext.begin(), ext.end(), ext.begin(), ::tolower);
        if (ext != ".docx" && ext != ".docm" && ext != ".dotx" && ext != ".dotm")
            continue;
        Row row;
        row.file = fs::relative(entry.path(), corpus / "files").string();
        row.wordSaved = saved.count(row.file) > 0;
        if (row.wordSaved)
            row.agreement = saved.at(row.file);
        const auto t0 = std::chrono::steady_clock::now();
        ReadResult r = readDocument(entry.path());
        row.ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
        if (!r.ok()) {
            row.error = r.error;
        } else {
            row.ours = computeWordStatistics(*r.document);
            row.stored = r.document->stored;
            const Story& main = r.document->mainStory();
            for (uint32_t i = 0; i < main.size(); ++i) {
                const char16_t ch = main.text[i];
                row.marks += ch == Ch::ParagraphMark || ch == Ch::CellEnd || ch == Ch::PageBreak;
                if (ch == Ch::ParagraphMark)
                    ++row.kinds[0];
                else if (ch == Ch::CellEnd)
                    ++row.kinds[r.document->paraFormatOf(main, i).rowEnd ? 2 : 1];
                else if (ch == Ch::PageBreak)
                    ++row.kinds[r.document->isSectionBreak(i) ? 3 : 4];
                else if (ch == Ch::LineBreak)
                    ++row.kinds[5];
                else if (ch == Ch::Object)
                    ++row.inlineObjects;
                else if (ch == Ch::Anchor)
                    ++row.anchors;
            }
            // Marks that stand between shown text, not after the last of it.
            int64_t pending = 0;
            for (uint32_t i = 0; i < main.size(); ++i) {
                const char16_t ch = main.text[i];
                if (ch == Ch::ParagraphMark || ch == Ch::CellEnd || ch == Ch::PageBreak)
                    ++pending;
                else if (ch > 32 && !r.document->charFormatAt(main, i).hidden) {
                    row.marksBeforeLastText += pending;
                    pending = 0;
                }
            }
            for (size_t s = 1; s < r.document->stories.size(); ++s) {
                const StoryType t = r.document->stories[s].type;
                WordStatistics st = computeWordStatistics(*r.document, s);
                if (t == StoryType::TextFrame) {
                    row.boxChars += st.characters;
                    row.boxWords += st.words;
                } else if (t == StoryType::Footnotes || t == StoryType::Endnotes) {
                    row.noteChars += st.characters;
                    row.noteWords += st.words;
                }
            }
        }
        rows.push_back(std::move(row));
    }

    int errors = 0, savedCount = 0, charsEq = 0, cwsEq = 0, wordsEq = 0, allEq = 0;
    int withBoxesEq = 0, withNotesEq = 0;
    std::map<std::string, std::pair<int, int>> byAgreement; // agreement -> (files, all three equal)
    for (const Row& r : rows) {
        if (!r.error.empty()) {
            ++errors;
            std::printf("ERROR %s: %s\n", r.file.c_str(), r.error.c_str());
            continue;
        }
        if (!r.wordSaved || !r.stored.characters || !r.stored.words || !r.stored.charactersWithSpaces)
            continue;
        ++savedCount;
        const bool c = r.ours.characters == *r.stored.characters;
        const bool s = r.ours.charactersWithSpaces == *r.stored.charactersWithSpaces;
        const bool w = r.ours.words == *r.stored.words;
        charsEq += c;
        cwsEq += s;
        wordsEq += w;
        allEq += c && s && w;
        byAgreement[r.agreement].first++;
        byAgreement[r.agreement].second += c && s && w;
        withBoxesEq += r.boxChars > 0 && r.ours.characters + r.boxChars == *r.stored.characters;
        withNotesEq += r.noteChars > 0 && r.ours.characters + r.noteChars == *r.stored.characters;
        if (tsv)
            std::printf("TSV\t%s\t%s\t%lld\t%lld\t%lld\t%lld\t%lld\t%lld\t%lld\t%lld\t%lld\t%lld\t%lld\t%s\t%lld\t%lld\t%lld\t%lld\t%lld\t%lld\t%lld\t%lld\t%lld\n", r.agreement.c_str(),
                        r.file.c_str(), (long long)r.ours.characters, (long long)*r.stored.characters,
                        (long long)r.ours.charactersWithSpaces, (long long)*r.stored.charactersWithSpaces,
                        (long long)r.ours.words, (long long)*r.stored.words, (long long)r.ours.paragraphs,
                        (long long)r.marks, (long long)r.boxChars, (long long)r.noteChars, (long long)r.boxWords + r.noteWords, r.stored.application.c_str(), (long long)r.kinds[0], (long long)r.kinds[1], (long long)r.kinds[2],
                        (long long)r.kinds[3], (long long)r.kinds[4], (long long)r.kinds[5], (long long)r.marksBeforeLastText,
                        (long long)r.inlineObjects, (long long)r.anchors);
        if (list && !(c && s && w))
            std::printf("DIFF [%s] %s chars %lld/%lld cws %lld/%lld words %lld/%lld box %lld/%lld notes %lld/%lld\n",
                        r.agreement.c_str(), r.file.c_str(), (long long)r.ours.characters, (long long)*r.stored.characters,
                        (long long)r.ours.charactersWithSpaces, (long long)*r.stored.charactersWithSpaces,
                        (long long)r.ours.words, (long long)*r.stored.words, (long long)r.boxChars,
                        (long long)r.boxWords, (long long)r.noteChars, (long long)r.noteWords);
    }
    std::vector<const Row*> slow;
    for (const Row& r : rows)
        slow.push_back(&r);
    std::sort(slow.begin(), slow.end(), [](const Row* a, const Row* b) { return a->ms > b->ms; });
    double total = 0;
    for (const Row& r : rows)
        total += r.ms;
    std::printf("files %zu, errors %d, total %.0f ms\n", rows.size(), errors, total);
    for (size_t i = 0; i < std::min<size_t>(5, slow.size()); ++i)
        std::printf("slow %.1f ms %s\n", slow[i]->ms, slow[i]->file.c_str());
    auto pct = [&](int n) { return savedCount ? 100.0 * n / savedCount : 0.0; };
    std::printf("word_saved with figures: %d\n", savedCount);
    std::printf("characters equal %d (%.1f%%), with spaces %d (%.1f%%), words %d (%.1f%%), all three %d (%.1f%%)\n",
                charsEq, pct(charsEq), cwsEq, pct(cwsEq), wordsEq, pct(wordsEq), allEq, pct(allEq));
    for (const auto& [agreement, counts] : byAgreement)
        std::printf("  stored figures %s with a rough count: %d files, all three equal %d\n", agreement.c_str(),
                    counts.first, counts.second);
    std::printf("mismatches that text boxes would close: %d; that notes would close: %d\n", withBoxesEq, withNotesEq);
    return 0;
}
