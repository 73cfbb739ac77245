// From a finished count run to the ledger.
#include "ledger/RunRecorder.h"

#include "ledger/InvoiceNumber.h"
#include "ledger/PostgresLedger.h"
#include "ledger/Sha256.h"
#include "ledger/SqliteLedger.h"
#include "settings/IniFile.h"
#include "settings/IniRW.h"
#include "settings/Options.h"

#include <cctype>
#include <ctime>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace qm::ledger {

namespace {

std::string option(const settings::SettingsContext& settings, std::string_view key, std::string_view def)
{
    return settings::ReadINI(settings, settings::kOptionsBaseName, settings::kOptionsSection, key, def);
}

std::string trimmed(std::string text)
{
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
        text.pop_back();
    size_t first = 0;
    while (first < text.size() && std::isspace(static_cast<unsigned char>(text[first])))
        ++first;
    return text.substr(first);
}

std::string isoUtc(std::time_t t)
{
    std::tm tm{};
    ::gmtime_r(&t, &tm);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &tm);
    return text;
}

std::string localDay(std::time_t t)
{
    std::tm tm{};
    ::localtime_r(&t, &tm);
    char text[16];
    std::strftime(text, sizeof text, "%Y-%m-%d", &tm);
    return text;
}

/// Every key of one section as stored, in the file's order.
NamedValues sectionKeys(const settings::SettingsContext& settings, std::string_view baseName, std::string_view section)
{
    NamedValues values;
    const auto file = settings::IniFile::load(settings::iniFilePath(settings, baseName));
    if (!file)
        return values;
    if (const auto keys = file->keyNames(section))
        for (const std::string& key : *keys)
            values.emplace_back(key, file->value(section, key).value_or(""));
    return values;
}

} // namespace

LedgerSettings readLedgerSettings(const settings::SettingsContext& settings,
                                  const std::optional<std::string>& locationOverride)
{
    LedgerSettings ledger;
    ledger.location = trimmed(locationOverride ? *locationOverride : option(settings, "Ledger", ""));
    std::string lowered = ledger.location;
    for (char& c : lowered)
        c = char(std::tolower(static_cast<unsigned char>(c)));
    ledger.on = lowered != "off";
    ledger.numberFormat = option(settings, "InvoiceNumberFormat", kDefaultInvoiceNumberFormat);
    if (trimmed(ledger.numberFormat).empty())
        ledger.numberFormat = kDefaultInvoiceNumberFormat;
    ledger.checkBilled = settings::optionFlagIsOn(option(settings, "CheckBilled", "1"));
    return ledger;
}

bool isServerAddress(const std::string& location)
{
    return location.starts_with("postgresql://") || location.starts_with("postgres://");
}

std::unique_ptr<LedgerStore> openLedger(const LedgerSettings& ledger, const settings::SettingsContext& settings)
{
    if (!ledger.on)
        throw LedgerError("the ledger is off");
    if (isServerAddress(ledger.location))
        return std::make_unique<PostgresLedger>(ledger.location);
    const fs::path file = ledger.location.empty() ? settings.folder / kLedgerFileName : fs::path(ledger.location);
    return std::make_unique<SqliteLedger>(file);
}

std::optional<std::string> Fingerprints::of(const std::string& path, std::string& error)
{
    if (const auto known = m_known.find(path); known != m_known.end())
        return known->second;
    auto sha = sha256OfFile(path, error);
    if (sha)
        m_known.emplace(path, *sha);
    return sha;
}

std::vector<BilledDocument> findBilledDocuments(LedgerStore& ledger, const std::string& profile,
                                                const std::vector<std::string>& paths, Fingerprints& fingerprints)
{
    std::vector<std::pair<std::string, std::string>> documents;
    for (const std::string& path : paths) {
        std::string error;
        if (const auto sha = fingerprints.of(path, error))
            documents.emplace_back(path, *sha);
    }
    return ledger.findBilled(profile, documents);
}

RunRecord makeRunRecord(const app::RunResult& result, const std::string& profile,
                        const settings::SettingsContext& settings, const app::CurrencyFormat& currency,
                        Fingerprints& fingerprints, std::chrono::system_clock::time_point when)
{
    RunRecord run;
    const std::time_t t = std::chrono::system_clock::to_time_t(when);
    run.time = isoUtc(t);
    run.localDate = localDay(t);
    run.profile = profile;
    run.profileKeys = sectionKeys(settings, "Profiles", profile);
    run.optionKeys = sectionKeys(settings, settings::kOptionsBaseName, settings::kOptionsSection);
    run.unit = settings::ReadINI(settings, "Profiles", profile, "DonePer", "");
    run.unitLabel = result.unitLabel;
    run.rate = settings::ReadINI(settings, "Profiles", profile, "BillAmount", "0.00");
    run.stopped = result.ending != app::RunEnding::Finished;
    run.programVersion = QM_VERSION;
    app::Currency total;
    for (const app::ResultRow& row : result.rows) {
        DocumentRecord d;
        d.path = row.path;
        d.name = row.name;
        struct stat st {};
        if (::stat(row.path.c_str(), &st) == 0) {
            d.size = int64_t(st.st_size);
            d.modified = isoUtc(st.st_mtime);
        } else {
            d.size = -1;
        }
        std::string error;
        d.sha256 = fingerprints.of(row.path, error).value_or("");
        d.count = row.countValue;
        d.countText = row.count;
        d.amountText = row.amount;
        d.amountUnits = row.amountValue.units;
        d.measurements = row.measurements;
        run.countTotal += row.countValue;
        // The total adds the amounts as shown, as the invoice does.
        total = total + app::shownAmount(row.amountValue, currency);
        run.documents.push_back(std::move(d));
    }
    run.amountTotalUnits = total.units;
    run.amountTotal = app::formatCurrency(total, currency);
    return run;
}

std::vector<app::ResultRow> resultRows(const RunRecord& run)
{
    std::vector<app::ResultRow> rows;
    for (const DocumentRecord& d : run.documents) {
        app::ResultRow row;
        row.name = d.name;
        row.count = d.countText;
        row.amount = d.amountText;
        row.path = d.path;
        row.countValue = d.count;
        row.amountValue = app::Currency{d.amountUnits};
        row.measurements = d.measurements;
        rows.push_back(std::move(row));
    }
    return rows;
}

std::string describeBilled(const BilledDocument& billed)
{
    std::string text = billed.path + " (billed";
    if (billed.billedPath != billed.path)
        text += " as " + billed.billedPath;
    text += " in run " + std::to_string(billed.run) + " on " + billed.time.substr(0, 10);
    if (billed.invoiceNumber)
        text += ", invoice " + *billed.invoiceNumber;
    return text + ")";
}

} // namespace qm::ledger
