// The engine session a print job drives: our readers open, our layout and renderer print.
#pragma once

#include "engine/wizard/WordWizard.h"
#include "print/PrintJob.h"
#include "print/Printers.h"
#include "settings/SettingsContext.h"

#include <optional>
#include <string>

namespace qm::print {

/// Opens documents with our own engine and prints each as the layout lays
/// it out: the pages are drawn into a PDF that streams to the printer's
/// queue. The printer is `PrinterToUse`, read at every document; when it is
/// not installed, the system's default printer takes the document.
class WizardPrinting : public PrintingEngine {
public:
    WizardPrinting(Prompter& prompter, PrinterSystem& printers, settings::SettingsContext settings);

    void OpenWord() override;
    bool openJustDoc(const std::string& path) override;
    bool PrintDocument() override;
    bool CloseDocument() override;
    void CompleteClose() override;

    /// Why the last PrintDocument failed; empty after a success. The screen
    /// shows nothing then; the command line says it.
    std::string lastError() const override { return m_lastError; }
    /// A printer named for this session only, in place of `PrinterToUse`.
    std::optional<std::string> chosenPrinter;

private:
    PrinterSystem& m_printers;
    settings::SettingsContext m_settings;
    engine::WordWizard m_wizard;
    std::string m_lastError;
};

} // namespace qm::print
