// Measuring a document under a profile, each measurement on the document as read.
#include "cli/Breakdown.h"

#include "app/Money.h"
#include "app/WizardEngine.h"

#include <functional>
#include <ostream>

namespace qm::cli {

namespace {

Json breakdownJson(const engine::LineBreakdown& b)
{
    Json json = Json::object();
    json.set(b.charactersWithSpaces ? "characters_with_spaces" : "characters", b.characters);
    Json& formatting = json.set("formatting", Json::object());
    for (const auto& [name, value] : b.formattingParts)
        formatting.set(name, value);
    json.set("formatting_total", b.formatting);
    json.set("returns", b.returns);
    json.set("tabs", b.tabs);
    json.set("caps", b.caps);
    json.set("characters_per_line", b.charactersPerLine);
    json.set("lines", b.lines);
    return json;
}

} // namespace

ProfileFigures measureUnderProfile(const std::string& file, const std::string& profile,
                                   const settings::SettingsContext& settings, Prompter& prompter)
{
    app::WizardEngine engine(prompter, settings, [profile] { return profile; });
    engine.OpenWord(false);
    engine::Measurements& m = engine.measurements();
    using Op = std::function<double()>;
    const std::pair<const char*, Op> operations[] = {
        {"CountWords", [&] { return double(m.CountWords(file)); }},
        {"CountChar", [&] { return double(m.CountChar(file)); }},
        {"CountCharWspace", [&] { return double(m.CountCharWspace(file)); }},
        {"CountReturnAndEnters", [&] { return double(m.CountReturnAndEnters()); }},
        {"CountPages", [&] { return double(m.CountPages()); }},
        {"CountGrossLines", [&] { return double(m.CountGrossLines()); }},
        {"CountBoldchars", [&] { return m.CountBoldchars(); }},
        {"CountItalicChars", [&] { return m.CountItalicChars(); }},
        {"CountUnderlinechars", [&] { return m.CountUnderlinechars(); }},
        {"CountCapsChars", [&] { return m.CountCapsChars(); }},
        {"CountBoldCharsONOFF", [&] { return m.CountBoldCharsONOFF(); }},
        {"CountUnderLineCharsONOFF", [&] { return m.CountUnderLineCharsONOFF(); }},
        {"CountItalicCharsONOFF", [&] { return m.CountItalicCharsONOFF(); }},
        {"CountCapsCharsONOFF", [&] { return m.CountCapsCharsONOFF(); }},
        {"CountSuperScriptCharsONOFF", [&] { return m.CountSuperScriptCharsONOFF(); }},
        {"CountSubScriptCharsONOFF", [&] { return m.CountSubScriptCharsONOFF(); }},
        {"CountNumTables", [&] { return m.CountNumTables(); }},
        {"CountTabs", [&] { return m.CountTabs(); }},
    };
    ProfileFigures figures;
    for (const auto& [name, op] : operations) {
        if (!engine.openJustDoc(file, true))
            break;
        figures.measurements.emplace_back(name, op());
        engine.CloseDocument();
    }
    if (engine.openJustDoc(file, true)) {
        figures.measurements.emplace_back("Countlines", m.Countlines(file, profile, &figures.lines));
        engine.CloseDocument();
    }
    engine.CompleteClose();
    return figures;
}

void addProfileFigures(Json& json, const ProfileFigures& figures)
{
    Json& measurements = json.set("measurements", Json::object());
    for (const auto& [name, value] : figures.measurements)
        measurements.set(name, value);
    json.set("breakdown", breakdownJson(figures.lines));
}

void writeProfileFigures(std::ostream& out, const ProfileFigures& figures)
{
    for (const auto& [name, value] : figures.measurements)
        out << "  " << name << std::string(name.size() < 28 ? 28 - name.size() : 1, ' ')
            << app::plainNumber(value) << "\n";
    const engine::LineBreakdown& b = figures.lines;
    out << "  Countlines = (" << (b.charactersWithSpaces ? "characters with spaces " : "characters ")
        << b.characters << " + formatting " << b.formatting << " + returns " << b.returns << " + tabs "
        << b.tabs << " + caps " << b.caps << ") / " << b.charactersPerLine << " characters per line\n";
    for (const auto& [name, value] : b.formattingParts)
        out << "    formatting: " << name << " " << app::plainNumber(value) << "\n";
}

} // namespace qm::cli
