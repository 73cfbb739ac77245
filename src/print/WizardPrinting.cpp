// One open document laid out, drawn as PDF and sent to the chosen printer's queue.
#include "print/WizardPrinting.h"

#include "engine/formats/Reader.h"
#include "engine/layout/Layout.h"
#include "render/PdfRenderer.h"

#include <exception>

namespace qm::print {

namespace {

/// Printed pages show what Word prints, the text metafile pictures draw
/// among it (counting leaves it out all the same).
engine::ReadOptions printingReadOptions()
{
    engine::ReadOptions options;
    options.pictureText = true;
    return options;
}

} // namespace

WizardPrinting::WizardPrinting(Prompter& prompter, PrinterSystem& printers, settings::SettingsContext settings)
    : m_printers(printers), m_settings(std::move(settings)), m_wizard(prompter, printingReadOptions())
{
}

void WizardPrinting::OpenWord() { m_wizard.OpenWord(engine::Visibility::Hidden); }

bool WizardPrinting::openJustDoc(const std::string& path)
{
    return m_wizard.openJustDoc(path, engine::OpenMode::ReadOnly);
}

bool WizardPrinting::CloseDocument() { return m_wizard.CloseDocument(); }

void WizardPrinting::CompleteClose() { m_wizard.CompleteClose(); }

bool WizardPrinting::PrintDocument()
{
    m_lastError.clear();
    try {
        const std::string systemDefault = DefaultPrinterName(m_printers);
        std::string printer = printerToUse(m_printers, m_settings, chosenPrinter);
        // A stored printer that is gone leaves the document to the printer
        // the application prints on otherwise: the system's default.
        if (!PrinterExists(m_printers, printer))
            printer = systemDefault;
        const engine::DocumentAccess* open = m_wizard.document();
        if (!open) {
            m_lastError = "no document is open";
            return false;
        }
        if (printer.empty()) {
            m_lastError = "there is no printer to print on";
            return false;
        }
        const engine::Document& document = open->document();
        render::PdfOptions options;
        options.title = m_wizard.documentPath().filename().string();
        const engine::layout::LayoutResult pages = engine::layout::layoutDocument(document, options.layout);
        const settings::Result<int> job = m_printers.printPdf(printer, options.title, [&](const render::PdfSink& sink) {
            return render::renderPdfToSink(document, pages, sink, options);
        });
        if (!job) {
            m_lastError = job.error();
            return false;
        }
        return true;
    } catch (const std::exception& e) {
        m_lastError = e.what();
    } catch (...) {
        m_lastError = "internal failure";
    }
    return false;
}

} // namespace qm::print
