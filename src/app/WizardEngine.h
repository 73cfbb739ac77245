// The count run's engine: a WordWizard session with its measurements and layout.
#pragma once

#include "app/CountRun.h"
#include "engine/wizard/EngineLayout.h"
#include "engine/wizard/Measurements.h"
#include "engine/wizard/WordWizard.h"
#include "settings/SettingsContext.h"

#include <functional>
#include <memory>
#include <optional>

namespace qm::app {

/// Drives our document engine for a count run. Profile keys are read from
/// Profiles.ini of the settings folder at the moment each measurement needs
/// them; `currentProfile` is the main screen's profile box.
class WizardEngine : public CountingEngine {
public:
    WizardEngine(Prompter& prompter, settings::SettingsContext settings, std::function<std::string()> currentProfile);

    void OpenWord(bool visible) override;
    bool openJustDoc(const std::string& path, bool readOnly) override;
    double measure(Measurement what, const std::string& path, const std::string& profile) override;
    bool CloseDocument() override;
    void resizeWordBack() override {}
    void CompleteClose() override;
    std::vector<std::pair<std::string, double>> lastMeasurementParts() const override;

    engine::WordWizard& wizard() { return m_wizard; }
    engine::Measurements& measurements() { return m_measurements; }

private:
    settings::SettingsContext m_settings;
    engine::EngineLayout m_layout;
    engine::WordWizard m_wizard;
    engine::Measurements m_measurements;
    std::optional<engine::LineBreakdown> m_lastLines;
};

} // namespace qm::app
