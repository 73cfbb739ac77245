// Maps the count run's measurements onto the engine's operations.
#include "app/WizardEngine.h"

#include "settings/IniRW.h"

namespace qm::app {

WizardEngine::WizardEngine(Prompter& prompter, settings::SettingsContext settings,
                           std::function<std::string()> currentProfile)
    : m_settings(std::move(settings))
    , m_wizard(prompter)
    , m_measurements(
          m_wizard,
          [this](std::string_view profile, std::string_view key, std::string_view def) {
              return settings::ReadINI(m_settings, "Profiles", profile, key, def);
          },
          std::move(currentProfile))
{
    m_wizard.setLayoutProvider(&m_layout);
}

void WizardEngine::OpenWord(bool visible)
{
    m_wizard.OpenWord(visible ? engine::Visibility::Visible : engine::Visibility::Hidden);
}

bool WizardEngine::openJustDoc(const std::string& path, bool readOnly)
{
    return m_wizard.openJustDoc(path, readOnly ? engine::OpenMode::ReadOnly : engine::OpenMode::ReadWrite);
}

bool WizardEngine::CloseDocument() { return m_wizard.CloseDocument(); }

void WizardEngine::CompleteClose() { m_wizard.CompleteClose(); }

double WizardEngine::measure(Measurement what, const std::string& path, const std::string& profile)
{
    engine::Measurements& m = m_measurements;
    switch (what) {
    case Measurement::GrossLines: return double(m.CountGrossLines());
    case Measurement::Characters: return double(m.CountChar(path));
    case Measurement::CharactersWithSpaces: return double(m.CountCharWspace(path));
    case Measurement::Words: return double(m.CountWords(path));
    case Measurement::Lines: {
        m_lastLines.emplace();
        return m.Countlines(path, profile, &*m_lastLines);
    }
    case Measurement::Pages: return double(m.CountPages());
    case Measurement::ReturnAndEnters: return double(m.CountReturnAndEnters());
    case Measurement::BoldChars: return m.CountBoldchars();
    case Measurement::BoldOnOff: return m.CountBoldCharsONOFF();
    case Measurement::UnderlineChars: return m.CountUnderlinechars();
    case Measurement::UnderlineOnOff: return m.CountUnderLineCharsONOFF();
    case Measurement::ItalicChars: return m.CountItalicChars();
    case Measurement::ItalicOnOff: return m.CountItalicCharsONOFF();
    case Measurement::SuperscriptOnOff: return m.CountSuperScriptCharsONOFF();
    case Measurement::SubscriptOnOff: return m.CountSubScriptCharsONOFF();
    case Measurement::Tables: return m.CountNumTables();
    case Measurement::Tabs: return m.CountTabs();
    case Measurement::CapsChars: return m.CountCapsChars();
    }
    return 0;
}

std::vector<std::pair<std::string, double>> WizardEngine::lastMeasurementParts() const
{
    if (!m_lastLines)
        return {};
    const engine::LineBreakdown& b = *m_lastLines;
    std::vector<std::pair<std::string, double>> parts;
    parts.emplace_back(b.charactersWithSpaces ? "characters_with_spaces" : "characters", double(b.characters));
    for (const auto& [name, value] : b.formattingParts)
        parts.emplace_back("formatting." + name, value);
    parts.emplace_back("formatting_total", double(b.formatting));
    parts.emplace_back("returns", double(b.returns));
    parts.emplace_back("tabs", double(b.tabs));
    parts.emplace_back("caps", double(b.caps));
    parts.emplace_back("characters_per_line", double(b.charactersPerLine));
    parts.emplace_back("lines", b.lines);
    return parts;
}

} // namespace qm::app
