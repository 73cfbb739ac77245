// A recorded run's invoice made again from the ledger alone.
#include "ledger/LedgerInvoice.h"

#include "ledger/RunRecorder.h"
#include "report/Report.h"
#include "settings/IniFile.h"
#include "settings/IniRW.h"
#include "settings/Options.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace fs = std::filesystem;

namespace qm::ledger {

namespace {

/// A private folder holding the settings of the run, removed when done.
struct SnapshotFolder {
    fs::path path;
    SnapshotFolder()
    {
        std::string pattern = (fs::temp_directory_path() / "quillmeter-invoice-XXXXXX").string();
        if (!::mkdtemp(pattern.data()))
            throw LedgerError("cannot make a temporary folder for the invoice in " +
                              fs::temp_directory_path().string());
        path = pattern;
    }
    ~SnapshotFolder()
    {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
};

void writeSection(const fs::path& file, const std::string& section, const NamedValues& values)
{
    settings::IniFile ini;
    for (const auto& [key, value] : values)
        if (const auto set = ini.setValue(section, key, value); !set)
            throw LedgerError("the recorded setting " + key + " cannot be used: " + set.error());
    std::ofstream out(file, std::ios::binary);
    out << ini.serialize();
    if (!out)
        throw LedgerError("cannot write " + file.string());
}

/// The date a recorded row shows on its file date line ("...|Date Created 01/02/2026|").
std::string recordedDate(const std::vector<app::ResultRow>& rows, const std::string& path, const std::string& kind)
{
    for (const app::ResultRow& row : rows) {
        if (row.path != path)
            continue;
        const std::string label = "|" + kind + " ";
        const size_t at = row.name.find(label);
        if (at == std::string::npos)
            return {};
        const size_t from = at + label.size();
        const size_t to = row.name.find('|', from);
        return row.name.substr(from, to == std::string::npos ? std::string::npos : to - from);
    }
    return {};
}

} // namespace

std::unique_ptr<engine::Document> recreateInvoice(const RunRecord& run, Prompter& prompter,
                                                  const app::CurrencyFormat& currency)
{
    if (run.stopped)
        throw LedgerError("run " + std::to_string(run.id) + " was stopped before it finished; it has no invoice");
    const SnapshotFolder folder;
    writeSection(folder.path / "Profiles.ini", run.profile, run.profileKeys);
    writeSection(folder.path / "Options.ini", std::string(settings::kOptionsSection), run.optionKeys);

    int y = 0;
    unsigned m = 0, d = 0;
    std::sscanf(run.localDate.c_str(), "%d-%u-%u", &y, &m, &d);
    const std::chrono::year_month_day day{std::chrono::year{y}, std::chrono::month{m}, std::chrono::day{d}};

    report::ReportSources sources;
    sources.settings = settings::SettingsContext{folder.path, [day] { return day; }};
    sources.rows = resultRows(run);
    sources.currency = currency;
    // The file dates as the run showed them; the files may be gone.
    sources.fileDate = [rows = sources.rows](const std::string& path, const std::string& kind) {
        return recordedDate(rows, path, kind);
    };
    sources.invoiceNumber = run.invoiceNumber.value_or("");
    report::Report report(std::move(sources), prompter);
    return report.writereport(run.profile);
}

} // namespace qm::ledger
