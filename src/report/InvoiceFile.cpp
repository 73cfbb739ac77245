// Keeping the finished invoice in a file (.docx or .pdf) and handing it to the user.
#include "report/InvoiceFile.h"

#include "engine/layout/Layout.h"
#include "engine/wizard/WordWizard.h"
#include "render/PdfRenderer.h"
#include "settings/IniRW.h"
#include "settings/Options.h"

#include <algorithm>
#include <cctype>

namespace qm::report {

std::optional<InvoiceFormat> invoiceFormatOf(const std::filesystem::path& path)
{
    std::string extension = path.extension().string();
    std::ranges::transform(extension, extension.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (extension == ".docx")
        return InvoiceFormat::Docx;
    if (extension == ".pdf")
        return InvoiceFormat::Pdf;
    return std::nullopt;
}

engine::WriteResult saveInvoice(const engine::Document& invoice, const std::filesystem::path& path)
{
    const auto format = invoiceFormatOf(path);
    if (!format)
        return {"an invoice is written as .docx or .pdf, not as \"" + path.extension().string() + "\""};
    if (*format == InvoiceFormat::Docx)
        return engine::writeDocx(invoice, path);

    // The PDF shows the invoice as our layout places it, page for page as
    // the .docx of the same invoice lays out.
    render::PdfOptions options;
    options.title = "Invoice";
    const engine::layout::LayoutResult layout =
        engine::layout::layoutDocument(invoice, options.layout);
    const render::Result rendered = render::renderPdf(invoice, layout, path.string(), options);
    if (!rendered.ok)
        return {rendered.error};
    return {};
}

std::optional<std::filesystem::path> handOverInvoice(const engine::Document& invoice, const std::string& profileName,
                                                     const settings::SettingsContext& context, Prompter& prompter,
                                                     const InvoiceHandover& handover)
{
    // A name the file system takes whatever the profile is called.
    std::string name = "Invoice " + profileName;
    std::ranges::replace_if(name, [](char c) { return c == '/' || c == '\\' || c == ':' || c == '\0'; }, '_');
    const std::filesystem::path temporary = handover.temporaryFolder / (name + ".docx");

    std::optional<std::filesystem::path> target;
    const std::string ask =
        settings::ReadINI(context, settings::kOptionsBaseName, settings::kOptionsSection, "AskSaveWindow", "0");
    if (ask == "0" && handover.askSavePath)
        target = handover.askSavePath(temporary.filename());
    if (!target)
        target = temporary;

    const engine::WriteResult written = saveInvoice(invoice, *target);
    if (!written.ok()) {
        prompter.show(engine::errorReportMessage(target->string() + ": " + written.error, "-Export To Report-"));
        return std::nullopt;
    }
    if (handover.open)
        handover.open(*target);
    return target;
}

} // namespace qm::report
