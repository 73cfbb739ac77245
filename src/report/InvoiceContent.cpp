// The texts of the invoice, worked out before any document is built from them.
#include "report/InvoiceContent.h"

#include "report/ReportFormats.h"
#include "report/Totals.h"

#include <algorithm>
#include <cctype>

namespace qm::report {

namespace {

std::string trimmed(std::string_view text)
{
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    const auto last = text.find_last_not_of(" \t");
    return std::string(text.substr(first, last - first + 1));
}

std::string zipText(const std::string& zip) { return zip.size() == 9 ? formatDigits(zip, "#####-####") : zip; }

std::string upper(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

} // namespace

UnitLabels unitLabels(std::string_view donePer)
{
    if (donePer == "Word")
        return {"Words", "Word"};
    if (donePer == "Line")
        return {"Lines", "Line"};
    if (donePer == "Gross Line")
        return {"Gross Lines", "Gross Line"};
    if (donePer == "Character")
        return {"Characters", "Character"};
    if (donePer == "Character And Space")
        return {"Characters & Spaces", "Character & Space"};
    if (donePer == "Page")
        return {"Pages", "Page"};
    return {};
}

InvoiceContent invoiceContent(const InvoiceSettings& settings, std::span<const app::ResultRow> rows,
                              std::chrono::year_month_day today, const app::CurrencyFormat& currency,
                              const FileDateText& fileDate)
{
    InvoiceContent content;
    const UnitLabels labels = unitLabels(settings.donePer);
    content.unitPlural = labels.plural;
    content.unitSingular = labels.singular;

    content.senderLines = {
        settings.companyName, settings.address,
        settings.city + ", " + upper(settings.state) + " " + zipText(settings.zip),
        trimmed(settings.phone).empty() ? std::string() : "Phone: " + formatDigits(settings.phone, "(###) ###-####"),
        trimmed(settings.fax).empty() ? std::string() : "Fax:    " + formatDigits(settings.fax, "(###) ###-####")};
    if (settings.includeDate)
        content.senderLines.push_back(formatLongDate(today));
    if (settings.invoiceNumber)
        content.senderLines.push_back(settings.invoiceNumber->empty() ? std::string("Invoice No.: none (not recorded)")
                                                                      : "Invoice No. " + *settings.invoiceNumber);

    content.billToLines = {"Bill To:", settings.profileName, settings.billAddress,
                           settings.billCity + ", " + settings.billState + " " + zipText(settings.billZip)};

    content.hasTable = settings.printCountedDoc;
    if (!content.hasTable)
        return content;

    const char* countPattern = settings.roundCountToNearestWholeNumber ? "##0" : "##0.00";
    const bool withDate = settings.showFileCreateInfo == "Date Created" ||
                          settings.showFileCreateInfo == "Date Last Modified" ||
                          settings.showFileCreateInfo == "Date Last Accessed";
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const app::ResultRow& row = rows[i];
        InvoiceRow out;
        // Grid row 0 is the heading, so document i is grid row i + 1; bands fall on odd
        // grid rows after the first document, leaving the first two documents white.
        const std::size_t gridRow = i + 1;
        out.banded = gridRow % 2 == 1 && gridRow != 1 && settings.tableColor;
        // The grid's name cell may already carry the run's file date line for the
        // screen; the invoice writes its own below, so the name alone is taken
        // and the date shows once.
        const std::string name = row.name.substr(0, row.name.find('\r'));
        out.document = trimmed(settings.showDocPath ? row.path : name);
        if (withDate)
            out.document += "\r|" + settings.showFileCreateInfo + " " +
                            (fileDate ? fileDate(row.path, settings.showFileCreateInfo) : std::string()) + "|";
        // An empty count cell is typed as it is, not as a zero.
        out.count = trimmed(row.count).empty() ? std::string() : formatNumber(leadingNumber(row.count), countPattern);
        out.amount = trimmed(row.amount);
        content.rows.push_back(std::move(out));
    }

    const auto totals = computeTotals(
        rows, content.unitPlural,
        settings.roundCountToNearestWholeNumber ? CountRounding::WholeUnits : CountRounding::Plain, currency);
    content.totalLabel = "Total:" + totals->documents;
    if (settings.showBillingRate)
        content.billedAt = " Billed @ " + settings.billAmount + " / " + content.unitSingular + " ";
    content.countTotal = totals->countTotal;
    content.amountTotal = totals->amountTotal;
    return content;
}

} // namespace qm::report
