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
#include <set>
#include <string>

using namespace qm::engine;
namespace fs = std::filesystem;

namespace {

// The manifest is pretty-printed JSON with one key a line: the files Word saved last.
std::set<std::string> wordSavedFiles(const fs::path& manifest)
{
    std::set<std::string> out;
    std::ifstream in(manifest);
    std::string line, current;
    while (std::getline(in, line)) {
        if (auto p = line.find("\"file\": \""); p != std::string::npos && p < 4)
            current = line.substr(p + 9, line.rfind('"') - p - 9);
        if (line.find("\"word_saved\": true") != std::string::npos)
            out.insert(current);
    }
    return out;
}

// Prints each story with its marks made visible and hidden text struck through.
int dump(const char* path)
{
    ReadResult r = readDocument(path);
    if (!r.ok())
        return std::printf("error: %s\n", r.error.c_str()), 1;
    for (size_t s = 0; s < r.document->stories.size(); ++s) {
        const Story& story = r.document->stories[s];
        std::u16string text;
        for (uint32_t i = 0; i < story.size(); ++i) {
            const char16_t c = story.text[i];
            text += c == 13 ? u'¶' : c == 7 ? u'¤' : c == 12 ? u'§' : c == 9 ? u'→' : c == 11 ? u'↵' : c < 32 ? u'#' : c;
            if (r.document->charFormatAt(story, i).hidden)
                text += u'\u0336';
        }
        const WordStatistics st = computeWordStatistics(*r.document, s);
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

} // namespace

int main(int argc, char** argv)
{
    if (argc > 2 && std::string(argv[1]) == "--dump")
        return dump(argv[2]);
    const fs::path corpus = argc > 1 && argv[1][0] != '-' ? fs::path(argv[1]) : fs::path(QM_CORPUS_DIR);
    const bool list = argc > 1 && std::string(argv[argc - 1]) == "--list";
    if (!fs::exists(corpus / "manifest.json"))
        return std::printf("no corpus at %s\n", corpus.c_str()), 0;
    const std::set<std::string> saved = wordSavedFiles(corpus / "manifest.json");
    int files = 0, errors = 0, compared = 0, chars = 0, cws = 0, words = 0, all = 0;
    double total = 0, slowest = 0;
    std::string slowestFile;
    for (const auto& entry : fs::recursive_directory_iterator(corpus / "files")) {
        std::string ext = entry.path().extension().string();
        std::transform(ext.begin(), ext.end(), ext.begin(), ::tolower);
        if (!entry.is_regular_file() || (ext != ".docx" && ext != ".docm" && ext != ".dotx" && ext != ".dotm"))
            continue;
        const std::string file = fs::relative(entry.path(), corpus / "files").string();
        const auto t0 = std::chrono::steady_clock::now();
        ReadResult r = readDocument(entry.path());
        const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
        ++files;
        total += ms;
        if (ms > slowest)
            slowest = ms, slowestFile = file;
        if (!r.ok()) {
            ++errors;
            std::printf("ERROR %s: %s\n", file.c_str(), r.error.c_str());
            continue;
        }
        const StoredStatistics& st = r.document->stored;
        if (!saved.count(file) || !st.characters || !st.words || !st.charactersWithSpaces)
            continue;
        const WordStatistics ours = computeWordStatistics(*r.document);
        const bool c = ours.characters == *st.characters, s = ours.charactersWithSpaces == *st.charactersWithSpaces,
                   w = ours.words == *st.words;
        ++compared;
        chars += c, cws += s, words += w, all += c && s && w;
        if (list && !(c && s && w))
            std::printf("DIFF %s chars %lld/%lld cws %lld/%lld words %lld/%lld\n", file.c_str(),
                        (long long)ours.characters, (long long)*st.characters, (long long)ours.charactersWithSpaces,
                        (long long)*st.charactersWithSpaces, (long long)ours.words, (long long)*st.words);
    }
    auto pct = [&](int n) { return compared ? 100.0 * n / compared : 0.0; };
    std::printf("files %d, errors %d, total %.0f ms, slowest %.1f ms %s\n", files, errors, total, slowest,
                slowestFile.c_str());
    std::printf("word_saved with figures: %d; characters equal %d (%.1f%%), with spaces %d (%.1f%%), "
                "words %d (%.1f%%), all three %d (%.1f%%)\n",
                compared, chars, pct(chars), cws, pct(cws), words, pct(words), all, pct(all));
    return 0;
}
