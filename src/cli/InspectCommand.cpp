// `quillmeter inspect`: what the engine reads and counts in each file, as text or JSON.
#include "Cli.h"
#include "cli/Breakdown.h"
#include "cli/CountCommand.h"
#include "cli/Json.h"
#include "cli/StderrPrompter.h"
#include "engine/access/DocumentSummary.h"
#include "engine/formats/Reader.h"
#include "engine/wizard/EngineLayout.h"

#include <atomic>
#include <limits>
#include <ostream>
#include <sstream>
#include <thread>
#include <vector>

namespace qm::cli {

namespace {

using engine::DocumentSummary;

std::string_view severityName(engine::Severity s)
{
    switch (s) {
    case engine::Severity::Note: return "note";
    case engine::Severity::Warning: return "warning";
    case engine::Severity::Error: return "error";
    }
    return "unknown";
}

struct Inspected {
    std::string file;
    std::string error; ///< the file could not be read
    DocumentSummary summary;
    std::optional<ProfileFigures> profile;
};

Json toJson(const Inspected& item)
{
    Json json = Json::object();
    json.set("file", item.file);
    if (!item.error.empty()) {
        json.set("error", item.error);
        return json;
    }
    const DocumentSummary& s = item.summary;
    json.set("format", s.format);
    Json& statistics = json.set("statistics", Json::object());
    statistics.set("characters", s.statistics.characters);
    statistics.set("characters_with_spaces", s.statistics.charactersWithSpaces);
    statistics.set("words", s.statistics.words);
    statistics.set("asian_characters", s.statistics.asianCharacters);
    statistics.set("non_asian_words", s.statistics.nonAsianWords);
    statistics.set("word_matches", s.wordMatches);
    statistics.set("paragraphs", s.statistics.paragraphs);
    statistics.set("tables", s.tables);
    if (s.lines)
        statistics.set("lines", *s.lines);
    if (s.pages)
        statistics.set("pages", *s.pages);

    Json& stories = json.set("stories", Json::array());
    for (const engine::StorySummary& story : s.stories) {
        Json& entry = stories.push(Json::object());
        entry.set("section", story.section);
        entry.set("kind", story.header ? "header" : "footer");
        entry.set("index", static_cast<int>(story.index));
        entry.set("name", engine::headerFooterName(story.index));
        entry.set("inherited", story.inherited);
        entry.set("characters", story.statistics.characters);
        entry.set("characters_with_spaces", story.statistics.charactersWithSpaces);
        entry.set("words", story.statistics.words);
    }

    Json& diagnostics = json.set("diagnostics", Json::array());
    for (const engine::Diagnostic& d : s.diagnostics) {
        Json& entry = diagnostics.push(Json::object());
        entry.set("code", d.code);
        entry.set("severity", severityName(d.severity));
        entry.set("location", d.location);
        entry.set("message", d.message);
    }

    if (item.profile)
        addProfileFigures(json, *item.profile);

    // What the saving program recorded, for comparing with the engine's figures.
    const engine::StoredStatistics& st = s.stored;
    Json& stored = json.set("stored_statistics", Json::object());
    if (!st.application.empty())
        stored.set("application", st.application);
    const std::pair<const char*, const std::optional<int64_t>*> figures[] = {
        {"pages", &st.pages},           {"words", &st.words},
        {"characters", &st.characters}, {"characters_with_spaces", &st.charactersWithSpaces},
        {"lines", &st.lines},           {"paragraphs", &st.paragraphs},
    };
    for (const auto& [name, number] : figures)
        if (*number)
            stored.set(name, **number);
    return json;
}

void writeText(std::ostream& out, const Inspected& item)
{
    out << item.file << "\n";
    const DocumentSummary& s = item.summary;
    auto line = [&](std::string_view name, const std::string& value) {
        out << "  " << name << std::string(name.size() < 28 ? 28 - name.size() : 1, ' ') << value << "\n";
    };
    line("format", s.format);
    line("characters", std::to_string(s.statistics.characters));
    line("characters_with_spaces", std::to_string(s.statistics.charactersWithSpaces));
    line("words", std::to_string(s.statistics.words));
    // As Word's Word Count dialog, only when there is East Asian text.
    if (s.statistics.asianCharacters > 0) {
        line("asian_characters", std::to_string(s.statistics.asianCharacters));
        line("non_asian_words", std::to_string(s.statistics.nonAsianWords));
    }
    line("word_matches", std::to_string(s.wordMatches));
    line("paragraphs", std::to_string(s.statistics.paragraphs));
    line("tables", std::to_string(s.tables));
    line("lines", s.lines ? std::to_string(*s.lines) : "not available");
    line("pages", s.pages ? std::to_string(*s.pages) : "not available");
    for (const engine::StorySummary& story : s.stories) {
        out << "  section " << story.section << " " << (story.header ? "header " : "footer ")
            << engine::headerFooterName(story.index) << ": " << story.statistics.characters << " characters, "
            << story.statistics.words << " words" << (story.inherited ? " (from an earlier section)" : "") << "\n";
    }
    if (item.profile)
        writeProfileFigures(out, *item.profile);
    for (const engine::Diagnostic& d : s.diagnostics) {
        out << "  " << severityName(d.severity) << " " << d.code;
        if (!d.location.empty())
            out << " at " << d.location;
        out << ": " << d.message << "\n";
    }
}

} // namespace

int inspectCommand(Context& ctx)
{
    const bool json = ctx.args.flag("--json");
    const std::optional<std::string> profileOption = ctx.args.option("--profile");
    const unsigned jobs = jobsOption(ctx.args);
    const std::vector<std::string> files = ctx.args.positionals(1, std::numeric_limits<size_t>::max(),
                                                                "inspect FILE... [--profile NAME] [--json] [--jobs N]");
    std::optional<std::string> profile;
    if (profileOption) {
        profile = listedProfile(ctx, "inspect", *profileOption);
        if (!profile)
            return UsageFailure;
    }
    const settings::SettingsContext settings{ctx.settingsFolder};
    StderrPrompter stderrPrompter(ctx.err);
    LockedPrompter prompter(stderrPrompter);

    // Files are read on up to `jobs` threads, each with a layout of its own,
    // into their places in the list; everything is printed afterwards, in
    // the order the files were given, so the output is the same for any
    // number of jobs.
    std::vector<Inspected> results(files.size());
    std::atomic<size_t> next{0};
    const auto work = [&] {
        engine::EngineLayout layout;
        for (size_t i = next++; i < files.size(); i = next++) {
            Inspected& item = results[i];
            item.file = files[i];
            engine::ReadResult read = engine::readDocument(item.file);
            if (!read.ok()) {
                item.error = read.error.empty() ? "the document could not be read" : read.error;
                continue;
            }
            engine::DocumentAccess access(std::move(read.document));
            access.setLayoutProvider(&layout);
            item.summary = engine::summarizeDocument(access);
            if (profile)
                item.profile = measureUnderProfile(item.file, *profile, settings, prompter);
        }
    };
    std::vector<std::thread> helpers;
    for (unsigned k = 1; k < std::min<size_t>(jobs, files.size()); ++k)
        helpers.emplace_back(work);
    work();
    for (std::thread& t : helpers)
        t.join();

    bool failed = false;
    for (const Inspected& item : results) {
        if (!item.error.empty()) {
            ctx.err << "quillmeter inspect: cannot read " << item.file << ": " << item.error << "\n";
            failed = true;
        } else if (!json) {
            writeText(ctx.out, item);
        }
    }
    if (json) {
        // One file gives one object, several an array of them. The text is
        // built in memory and written at once: written piece by piece to a
        // stream shared with C's stdio, each of its many small pieces would
        // be a locked call of its own.
        std::ostringstream text;
        if (results.size() == 1) {
            toJson(results.front()).write(text);
        } else {
            Json all = Json::array();
            for (const Inspected& item : results)
                all.push(toJson(item));
            all.write(text);
        }
        text << "\n";
        ctx.out << text.view();
    }
    return failed ? Failure : Success;
}

} // namespace qm::cli
