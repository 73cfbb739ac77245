// The billing report of a count run: the invoice document and the totals screen's figures.
#include "report/Report.h"

#include "browser/FileDates.h"
#include "engine/wizard/WordWizard.h"
#include "report/InvoiceDocument.h"
#include "settings/IniRW.h"
#include "settings/Options.h"

#include <exception>

namespace qm::report {

namespace {

constexpr const char* kLocationTag = "-Export To Report-";

} // namespace

InvoiceSettings readInvoiceSettings(const settings::SettingsContext& context, const std::string& profileName)
{
    const auto profile = [&](std::string_view key, std::string_view def) {
        return settings::ReadINI(context, "Profiles", profileName, key, def);
    };
    const auto option = [&](std::string_view key) {
        return settings::ReadINI(context, settings::kOptionsBaseName, settings::kOptionsSection, key, "");
    };
    // Some switches are on when their text is "1", others when their value
    // as a number is 1 (" 1" and "1.0" too): each is read as it always was.
    const auto numericFlag = [&](std::string_view key) { return settings::optionFlagIsOn(profile(key, "0")); };

    InvoiceSettings s;
    s.profileName = profileName;
    s.donePer = profile("DonePer", "");
    s.billAmount = profile("BillAmount", "$0.00");
    s.roundCountToNearestWholeNumber = profile("RoundCountToNearestWholeNumber", "0") == "1";
    s.printCountedDoc = numericFlag("PrintCountedDoc");
    s.tableColor = numericFlag("TableColor");
    s.showDocPath = numericFlag("ShowDocPath");
    s.showBillingRate = numericFlag("ShowBillingRate");
    s.showFileCreateInfo = profile("ShowFileCreateInfo", "NONE");
    s.includeDate = profile("IncludeDate", "") == "1";
    s.billAddress = profile("Address", "");
    s.billCity = profile("City", "");
    s.billState = profile("State", "");
    s.billZip = profile("zip", "");
    s.companyName = option("CompanyName");
    s.address = option("Address");
    s.city = option("City");
    s.state = option("State");
    s.zip = option("Zip");
    s.phone = option("Phone");
    s.fax = option("Fax");
    return s;
}

std::string fileDateText(const std::string& path, const std::string& kind)
{
    const browser::FileDateKind which = kind == "Date Created"         ? browser::FileDateKind::Created
                                        : kind == "Date Last Modified" ? browser::FileDateKind::Modified
                                                                       : browser::FileDateKind::Accessed;
    const auto date = browser::fileDate(path, which);
    return date ? browser::formatDay(date->day) : std::string();
}

Report::Report(ReportSources sources, Prompter& prompter) : m_sources(std::move(sources)), m_prompter(prompter) {}

std::unique_ptr<engine::Document> Report::writereport(const std::string& profileName)
{
    InvoiceDocument invoice;
    try {
        invoice.typeHiddenFirstLine(profileName);
        InvoiceSettings s = readInvoiceSettings(m_sources.settings, profileName);
        s.invoiceNumber = m_sources.invoiceNumber;
        const InvoiceContent content =
            invoiceContent(s, m_sources.rows, m_sources.settings.today(), m_sources.currency, m_sources.fileDate);
        invoice.typeLetterhead(content);
        invoice.typeResults(content, s.tableColor);
    } catch (const std::exception& e) {
        m_prompter.show(engine::errorReportMessage(e.what(), kLocationTag));
    }
    return invoice.finish();
}

bool Report::ReportToWindow(const std::string& profileName, const ShowTotals& show)
{
    const auto profile = [&](std::string_view key, std::string_view def) {
        return settings::ReadINI(m_sources.settings, "Profiles", profileName, key, def);
    };
    const UnitLabels labels = unitLabels(profile("DonePer", ""));
    const CountRounding rounding =
        profile("RoundCountToNearestWholeNumber", "0") == "1" ? CountRounding::WholeUnits : CountRounding::Plain;
    const auto totals =
        computeTotals(m_sources.rows, labels.plural, rounding, m_sources.currency, m_sources.stopRequested);
    if (!totals)
        return false;
    if (show)
        show(*totals, profileName);
    return true;
}

} // namespace qm::report
