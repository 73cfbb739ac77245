// Fidelity benchmark: our statistics against the figures Word stored in real documents.
//
// Reads the corpus manifest, opens every document Word saved last with our
// engine, and compares characters, characters with spaces and words (and,
// when the layout engine is built in, pages and lines) with Word's figures.
// Prints per format and overall: files compared, % exact, % close (within 1%
// for characters and words, within 1 for pages and lines), the median absolute
// error, and the worst files with both figures; a format followed by "!" is
// the part of it whose files say Word counted exactly. `--sweep` instead opens every
// file of the corpus and reports read failures and the slowest files.
#include "engine/access/WordStatistics.h"
#include "engine/formats/Reader.h"
#ifdef QM_HAVE_LAYOUT
#include "engine/layout/Layout.h"
#endif

#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;
using namespace qm::engine;

namespace {

enum class Metric { Characters, CharactersWithSpaces, Words, Pages, Lines, Count };
constexpr const char* metricNames[] = {"characters", "chars+spaces", "words", "pages", "lines"};
constexpr size_t metricCount = static_cast<size_t>(Metric::Count);

struct Entry {
    std::string file;
    std::string format;
    std::array<std::optional<int64_t>, metricCount> word; // Word's figures, when comparable
};

struct Outcome {
    std::string error;
    bool storedExact = false; ///< the file says its stored figures are an exact count
    std::array<std::optional<int64_t>, metricCount> ours;
    double seconds = 0;
};

struct Options {
    fs::path corpus = QM_CORPUS_DIR;
    std::string format;   // only this format when set
    std::string contains; // only files whose path contains this
    size_t worst = 20;
    unsigned jobs = std::max(1u, std::thread::hardware_concurrency());
    bool sweep = false;
};

std::optional<int64_t> number(const nlohmann::json& stats, const char* key)
{
    auto it = stats.find(key);
    if (it == stats.end() || !it->is_number_integer())
        return std::nullopt;
    return it->get<int64_t>();
}

std::vector<Entry> loadManifest(const Options& options)
{
    std::ifstream in(options.corpus / "manifest.json");
    if (!in)
        return {};
    const nlohmann::json manifest = nlohmann::json::parse(in, nullptr, false);
    std::vector<Entry> entries;
    if (!manifest.is_array())
        return entries;
    for (const auto& item : manifest) {
        Entry e;
        e.file = item.value("file", "");
        e.format = item.value("format", "");
        if (!options.format.empty() && e.format != options.format)
            continue;
        if (!options.contains.empty() && e.file.find(options.contains) == std::string::npos)
            continue;
        if (!options.sweep) {
            if (!item.value("word_saved", false))
                continue;
            const auto& stats = item["stats"];
            e.word[size_t(Metric::Characters)] = number(stats, "characters");
            e.word[size_t(Metric::CharactersWithSpaces)] = number(stats, "characters_with_spaces");
            e.word[size_t(Metric::Words)] = number(stats, "words");
            if (!item.value("pages_suspect", false))
                e.word[size_t(Metric::Pages)] = number(stats, "pages");
            if (item.value("lines_kind", "") == "counted")
                e.word[size_t(Metric::Lines)] = number(stats, "lines");
        }
        entries.push_back(std::move(e));
    }
    return entries;
}

Outcome measure(const fs::path& path)
{
    Outcome out;
    const auto start = std::chrono::steady_clock::now();
    ReadResult read = readDocument(path);
    if (!read.ok()) {
        out.error = read.error.empty() ? "unreadable" : read.error;
    } else {
        out.storedExact = read.document->stored.exact.value_or(false);
        const WordStatistics s = computeWordStatistics(*read.document);
        out.ours[size_t(Metric::Characters)] = s.characters;
        out.ours[size_t(Metric::CharactersWithSpaces)] = s.charactersWithSpaces;
        out.ours[size_t(Metric::Words)] = s.words;
#ifdef QM_HAVE_LAYOUT
        const auto laidOut = layout::layoutDocument(*read.document);
        out.ours[size_t(Metric::Pages)] = laidOut.pageCount();
        out.ours[size_t(Metric::Lines)] = laidOut.lineCount();
#endif
    }
    out.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return out;
}

std::vector<Outcome> measureAll(const Options& options, const std::vector<Entry>& entries)
{
    std::vector<Outcome> outcomes(entries.size());
    std::atomic<size_t> next{0};
    auto worker = [&] {
        for (size_t i = next++; i < entries.size(); i = next++)
            outcomes[i] = measure(options.corpus / "files" / entries[i].file);
    };
    std::vector<std::thread> threads;
    for (unsigned j = 0; j < options.jobs; ++j)
        threads.emplace_back(worker);
    for (auto& t : threads)
        t.join();
    return outcomes;
}

bool close(Metric m, int64_t ours, int64_t word)
{
    const int64_t diff = std::llabs(ours - word);
    if (m == Metric::Pages || m == Metric::Lines)
        return diff <= 1;
    return diff * 100 <= std::llabs(word); // within 1%
}

double relativeError(int64_t ours, int64_t word)
{
    return double(std::llabs(ours - word)) / double(std::max<int64_t>(1, std::llabs(word)));
}

void printTable(const std::vector<Entry>& entries, const std::vector<Outcome>& outcomes)
{
    std::map<std::string, std::vector<size_t>> byFormat;
    for (size_t i = 0; i < entries.size(); ++i) {
        byFormat[entries[i].format].push_back(i);
        byFormat["all"].push_back(i);
        // Word 97-2003 files say whether Word counted exactly before saving;
        // those are the fairest references.
        if (outcomes[i].storedExact)
            byFormat[entries[i].format + "!"].push_back(i);
    }
    std::printf("%-6s %-13s %7s %8s %8s %8s\n", "format", "metric", "files", "exact%", "close%",
                "median");
    for (const auto& [format, indices] : byFormat) {
        size_t failed = 0;
        for (size_t i : indices)
            failed += outcomes[i].error.empty() ? 0 : 1;
        for (size_t m = 0; m < metricCount; ++m) {
            std::vector<int64_t> errors;
            size_t exact = 0, near = 0;
            for (size_t i : indices) {
                const auto& word = entries[i].word[m];
                const auto& ours = outcomes[i].ours[m];
                if (!word || !ours)
                    continue;
                errors.push_back(std::llabs(*ours - *word));
                exact += *ours == *word;
                near += close(Metric(m), *ours, *word);
            }
            if (errors.empty())
                continue;
            std::nth_element(errors.begin(), errors.begin() + errors.size() / 2, errors.end());
            const double n = double(errors.size());
            std::printf("%-6s %-13s %7zu %7.1f%% %7.1f%% %8lld\n", format.c_str(), metricNames[m],
                        errors.size(), 100.0 * exact / n, 100.0 * near / n,
                        static_cast<long long>(errors[errors.size() / 2]));
        }
        if (failed)
            std::printf("%-6s %zu of %zu files could not be read\n", format.c_str(), failed,
                        indices.size());
    }
}

void printWorst(const Options& options, const std::vector<Entry>& entries,
                const std::vector<Outcome>& outcomes)
{
    std::vector<std::pair<double, size_t>> ranked;
    for (size_t i = 0; i < entries.size(); ++i) {
        double worst = 0;
        for (size_t m = 0; m < metricCount; ++m)
            if (entries[i].word[m] && outcomes[i].ours[m])
                worst = std::max(worst, relativeError(*outcomes[i].ours[m], *entries[i].word[m]));
        if (worst > 0)
            ranked.emplace_back(worst, i);
    }
    std::sort(ranked.begin(), ranked.end(), std::greater<>());
    if (ranked.size() > options.worst)
        ranked.resize(options.worst);
    if (ranked.empty())
        return;
    std::printf("\nworst files (ours/Word's):\n");
    for (const auto& [error, i] : ranked) {
        std::printf("%6.1f%%  %s\n        ", 100 * error, entries[i].file.c_str());
        for (size_t m = 0; m < metricCount; ++m)
            if (entries[i].word[m] && outcomes[i].ours[m])
                std::printf(" %s %lld/%lld", metricNames[m], static_cast<long long>(*outcomes[i].ours[m]),
                            static_cast<long long>(*entries[i].word[m]));
        std::printf("\n");
    }
}

void printSweep(const std::vector<Entry>& entries, const std::vector<Outcome>& outcomes)
{
    std::map<std::string, std::vector<size_t>> failures;
    double total = 0;
    for (size_t i = 0; i < entries.size(); ++i) {
        total += outcomes[i].seconds;
        if (!outcomes[i].error.empty())
            failures[outcomes[i].error].push_back(i);
    }
    std::printf("%zu files read in %.2f s of reading (%.0f files/s per core)\n", entries.size(), total,
                total > 0 ? entries.size() / total : 0.0);
    for (const auto& [error, indices] : failures) {
        std::printf("%zu × %s\n", indices.size(), error.c_str());
        for (size_t k = 0; k < std::min<size_t>(3, indices.size()); ++k)
            std::printf("    %s\n", entries[indices[k]].file.c_str());
    }
    std::vector<size_t> order(entries.size());
    for (size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::sort(order.begin(), order.end(),
              [&](size_t a, size_t b) { return outcomes[a].seconds > outcomes[b].seconds; });
    std::printf("slowest:\n");
    for (size_t k = 0; k < std::min<size_t>(5, order.size()); ++k)
        std::printf("  %8.3f s  %s\n", outcomes[order[k]].seconds, entries[order[k]].file.c_str());
}

int usage()
{
    std::fprintf(stderr, "usage: fidelity [--sweep] [--corpus DIR] [--format FMT] [--contains TEXT]"
                         " [--worst N] [--jobs N]\n");
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--sweep")
            options.sweep = true;
        else if (arg == "--corpus" && hasValue)
            options.corpus = argv[++i];
        else if (arg == "--format" && hasValue)
            options.format = argv[++i];
        else if (arg == "--contains" && hasValue)
            options.contains = argv[++i];
        else if (arg == "--worst" && hasValue)
            options.worst = std::stoul(argv[++i]);
        else if (arg == "--jobs" && hasValue)
            options.jobs = std::max(1ul, std::stoul(argv[++i]));
        else
            return usage();
    }
    const std::vector<Entry> entries = loadManifest(options);
    if (entries.empty()) {
        std::fprintf(stderr, "fidelity: no documents to compare under %s\n", options.corpus.c_str());
        return 1;
    }
    const std::vector<Outcome> outcomes = measureAll(options, entries);
    if (options.sweep) {
        printSweep(entries, outcomes);
    } else {
        printTable(entries, outcomes);
        printWorst(options, entries, outcomes);
    }
    return 0;
}
