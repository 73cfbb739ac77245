// Keeping the finished invoice in a file (.docx or .pdf) and handing it to the user.
#pragma once

#include "engine/Prompter.h"
#include "engine/formats/docxwriter/DocxWriter.h"
#include "engine/model/Document.h"
#include "settings/SettingsContext.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace qm::report {

enum class InvoiceFormat { Docx, Pdf };

/// The format a file name asks for by its extension, in any letter case;
/// nothing for any other extension.
[[nodiscard]] std::optional<InvoiceFormat> invoiceFormatOf(const std::filesystem::path& path);

/// Writes the invoice as a Word document or a PDF, by the path's extension.
[[nodiscard]] engine::WriteResult saveInvoice(const engine::Document& invoice, const std::filesystem::path& path);

/// What the desktop offers for the hand-over: a save dialog (given a
/// suggested file, returns the chosen one, or nothing when cancelled) and
/// the opener of a file in its default application.
struct InvoiceHandover {
    std::function<std::optional<std::filesystem::path>(const std::filesystem::path& suggested)> askSavePath;
    std::function<bool(const std::filesystem::path&)> open;
    std::filesystem::path temporaryFolder;
};

/// Hands a finished invoice to the user. When the option `AskSaveWindow` is
/// "0" (its default) the save dialog asks where to keep it; otherwise, or
/// when the dialog is cancelled, the invoice goes to a file of its own in
/// the temporary folder, as an unsaved document would. The file is then
/// opened. A failed write shows the "-Export To Report-" error report and
/// gives nothing.
std::optional<std::filesystem::path> handOverInvoice(const engine::Document& invoice, const std::string& profileName,
                                                     const settings::SettingsContext& context, Prompter& prompter,
                                                     const InvoiceHandover& handover);

} // namespace qm::report
