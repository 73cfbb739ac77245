// quillmeter count: fills a Chase List as the buttons do, runs the count, prints the grid.
#include "cli/CountCommand.h"

#include "app/ChaseList.h"
#include "app/WizardEngine.h"
#include "browser/FolderSearch.h"
#include "cli/Breakdown.h"
#include "cli/Json.h"
#include "cli/LedgerCommand.h"
#include "cli/Progress.h"
#include "cli/StderrPrompter.h"
#include "report/InvoiceFile.h"
#include "report/Report.h"
#include "settings/IniRW.h"
#include "settings/Options.h"
#include "settings/ProfileStore.h"

#include <algorithm>
#include <iomanip>
#include <mutex>
#include <ostream>
#include <sstream>

namespace fs = std::filesystem;

namespace qm::cli {

namespace {

/// A result row's name on one line: the file date line joins with a blank.
std::string oneLine(std::string text)
{
    std::replace(text.begin(), text.end(), '\r', ' ');
    return text;
}

std::string csvField(const std::string& text)
{
    if (text.find_first_of(",\"\r\n") == std::string::npos)
        return text;
    std::string out = "\"";
    for (char c : text) {
        if (c == '"')
            out += '"';
        out += c;
    }
    return out + "\"";
}

struct Totals {
    size_t documents = 0;
    double count = 0;
    app::Currency amount;
};

// The amount total adds the amounts as each row shows them, in whole cents,
// as the invoice and the totals screen do: the figures a customer checks.
Totals totalsOf(const app::RunResult& result, const app::CurrencyFormat& currency)
{
    Totals t;
    t.documents = app::countedDocuments(result.rows);
    for (const auto& row : result.rows) {
        t.count += row.countValue;
        t.amount = t.amount + app::shownAmount(row.amountValue, currency);
    }
    return t;
}

/// A row's count in the table: two decimals at most; a row without a count
/// stays empty.
std::string tableCount(const app::ResultRow& row)
{
    return row.count.empty() ? std::string() : app::shownCount(row.countValue);
}

void printTable(std::ostream& out, const app::RunResult& result, const Totals& totals,
                const app::CurrencyFormat& currency)
{
    size_t nameWidth = 8, countWidth = 5, amountWidth = 6;
    for (const auto& row : result.rows) {
        nameWidth = std::max(nameWidth, oneLine(row.name).size());
        countWidth = std::max(countWidth, tableCount(row).size());
        amountWidth = std::max(amountWidth, row.amount.size());
    }
    const std::string totalName =
        std::to_string(totals.documents) + (totals.documents == 1 ? " document" : " documents");
    const std::string totalCount = app::shownCount(totals.count);
    const std::string totalAmount = app::formatCurrency(totals.amount, currency);
    nameWidth = std::max(nameWidth, totalName.size());
    countWidth = std::max(countWidth, totalCount.size());
    amountWidth = std::max(amountWidth, totalAmount.size());
    auto line = [&](const std::string& name, const std::string& count, const std::string& amount,
                    const std::string& path) {
        out << std::left << std::setw(int(nameWidth)) << name << "  " << std::right << std::setw(int(countWidth))
            << count << "  " << std::setw(int(amountWidth)) << amount;
        if (!path.empty())
            out << "  " << path;
        out << "\n";
    };
    line("Document", "Count", "Amount", "Path");
    for (const auto& row : result.rows)
        line(oneLine(row.name), tableCount(row), row.amount, row.path);
    out << std::string(nameWidth + countWidth + amountWidth + 4, '-') << "\n";
    line(totalName, totalCount, totalAmount, result.unitLabel.empty() ? "" : "per " + result.unitLabel);
}

void printCsv(std::ostream& out, const app::RunResult& result, const Totals& totals,
              const app::CurrencyFormat& currency)
{
    out << "name,count,amount,path\r\n";
    for (const auto& row : result.rows)
        out << csvField(oneLine(row.name)) << "," << csvField(row.count) << "," << csvField(row.amount) << ","
            << csvField(row.path) << "\r\n";
    out << "Total," << csvField(app::plainNumber(totals.count)) << ","
        << csvField(app::formatCurrency(totals.amount, currency)) << ",\r\n";
}

void printJson(std::ostream& out, const std::string& profile, const app::RunResult& result, const Totals& totals,
               const std::vector<Message>& messages, const std::vector<ProfileFigures>& breakdowns,
               const std::optional<std::string>& invoiceNumber)
{
    Json doc = Json::object();
    doc.set("profile", profile);
    // The ledger's number for the run; null when there is none (the ledger
    // is off or could not record the run).
    doc.set("invoice_number", invoiceNumber && !invoiceNumber->empty() ? Json(*invoiceNumber) : Json());
    doc.set("unit", result.unitLabel);
    Json& rows = doc.set("rows", Json::array());
    for (size_t i = 0; i < result.rows.size(); ++i) {
        const app::ResultRow& row = result.rows[i];
        Json r = Json::object();
        r.set("name", row.name);
        r.set("count", row.countValue);
        r.set("amount", row.amountValue.toDouble());
        r.set("path", row.path);
        r.set("count_text", row.count);
        r.set("amount_text", row.amount);
        if (i < breakdowns.size())
            addProfileFigures(r, breakdowns[i]);
        rows.push(std::move(r));
    }
    Json& t = doc.set("totals", Json::object());
    t.set("documents", totals.documents);
    t.set("count", totals.count);
    t.set("amount", totals.amount.toDouble());
    doc.set("stopped", result.ending == app::RunEnding::Stopped);
    Json& unopened = doc.set("unopened", Json::array());
    for (const auto& path : result.unopened)
        unopened.push(path);
    Json& shown = doc.set("messages", Json::array());
    for (const Message& m : messages) {
        Json message = Json::object();
        message.set("title", m.title);
        message.set("text", m.text);
        message.set("icon", iconName(m.icon));
        shown.push(std::move(message));
    }
    doc.write(out);
    out << "\n";
}

/// The date range of "Add By Date", with the question when none is stored.
std::optional<app::DateRange> dateRange(const settings::SettingsContext& settings, Prompter& prompter)
{
    auto stored = [&](std::string_view key) {
        return settings::ReadINI(settings, settings::kOptionsBaseName, settings::kOptionsSection, key, "");
    };
    if (stored("DateRangeFrom").empty() || stored("DateRangeTo").empty()) {
        prompter.beep();
        const MessageAnswer answer = prompter.show(
            Message{"Date Range", "You Have Not Set A Date Range.  The Range Has Defaultly Been Set To Today",
                    MessageIcon::Information, MessageButtons::OkCancel});
        if (answer == MessageAnswer::Cancel)
            return std::nullopt;
    }
    const std::string today = settings::formatOptionDate(settings.today());
    auto day = [&](std::string_view key) {
        const std::string text =
            settings::ReadINI(settings, settings::kOptionsBaseName, settings::kOptionsSection, key, today);
        const auto parsed = browser::parseDay(text);
        if (!parsed)
            throw UsageError("the option " + std::string(key) + " of " +
                             settings::iniFilePath(settings, settings::kOptionsBaseName).string() +
                             " is not a date (mm/dd/yyyy): \"" + text + "\"");
        return *parsed;
    };
    return app::DateRange{day("DateRangeFrom"), day("DateRangeTo")};
}

} // namespace

std::optional<std::string> listedProfile(Context& ctx, std::string_view command, const std::string& name)
{
    const settings::ProfileStore store(settings::SettingsContext{ctx.settingsFolder});
    const auto listed = store.loadProfileList();
    if (!listed)
        throw std::runtime_error(listed.error());
    // Section names match without regard to case, and so do profile names.
    const auto found = std::find_if(listed->begin(), listed->end(), [&](const std::string& entry) {
        return std::equal(entry.begin(), entry.end(), name.begin(), name.end(), [](char a, char b) {
            return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
        });
    });
    if (found == listed->end()) {
        ctx.err << "quillmeter " << command << ": " << store.profileListFile().string() << ": no profile named \""
                << name << "\"\n";
        return std::nullopt;
    }
    return *found;
}

namespace {

/// What an error report says between "Error Message <<" and ">>".
std::string reportedDescription(const std::string& text)
{
    const std::string open = "Error Message <<";
    const size_t from = text.find(open);
    const size_t to = text.rfind(">>");
    if (from == std::string::npos || to == std::string::npos || to < from + open.size())
        return text;
    return text.substr(from + open.size(), to - from - open.size());
}

/// The messages of a count run on a terminal: a document the engine cannot
/// open is one line naming the file and the engine's reason, printed as it
/// happens; any other error report is one line with its location tag; other
/// messages as StderrPrompter shows them. Every message is kept for --json.
class CountPrompter : public Prompter {
public:
    CountPrompter(std::ostream& err, ProgressLine& progress) : m_boxes(err), m_progress(progress) {}

    MessageAnswer show(const Message& message) override
    {
        // Engines on several threads report here at once.
        const std::lock_guard lock(m_mutex);
        if (message.icon != MessageIcon::Critical || message.title != "Error") {
            m_progress.clear();
            const MessageAnswer answer = m_boxes.show(message);
            messages.push_back(message);
            return answer;
        }
        messages.push_back(message);
        std::string reason = reportedDescription(message.text);
        const size_t tag = message.text.rfind("\r-");
        const std::string location = tag == std::string::npos ? std::string() : message.text.substr(tag + 1);
        if (location == "-Opening DOC-") {
            // The engine names the file in its own words ("cannot open "F":
            // ..."), which also tells which of the documents in flight it is;
            // the line names it once, first.
            std::string document = currentDocument;
            const std::string open = "cannot open \"";
            const size_t close = reason.find("\": ");
            if (reason.starts_with(open) && close != std::string::npos) {
                document = reason.substr(open.size(), close - open.size());
                reason.erase(0, close + 3);
            }
            m_progress.print("quillmeter count: " + document + ": " + reason + "; left out of the count");
            reported.push_back(document);
        } else {
            m_progress.print("quillmeter count: " + (currentDocument.empty() ? "" : currentDocument + ": ") + reason +
                             (location.empty() ? "" : " " + location));
        }
        return MessageAnswer::Ok;
    }

    std::string currentDocument;
    std::vector<Message> messages;
    /// The documents whose failure to open was already reported.
    std::vector<std::string> reported;

private:
    std::mutex m_mutex;
    StderrPrompter m_boxes;
    ProgressLine& m_progress;
};

} // namespace

int runCount(Context& ctx, const EngineFactory& makeEngine)
{
    const std::optional<std::string> profileOption = ctx.args.option("--profile");
    const bool subFolders = ctx.args.flag("--subfolders");
    const bool byDate = ctx.args.flag("--by-date");
    const std::optional<std::string> patternOption = ctx.args.option("--pattern");
    const bool csv = ctx.args.flag("--csv");
    const bool json = ctx.args.flag("--json");
    const bool breakdown = ctx.args.flag("--breakdown");
    const std::optional<std::string> invoiceOption = ctx.args.option("--invoice");
    const bool quiet = ctx.args.flag("--quiet");
    const unsigned jobs = jobsOption(ctx.args);
    CountLedger ledger(ctx, settings::SettingsContext{ctx.settingsFolder});
    const std::vector<std::string> paths = ctx.args.positionals();
    if (!profileOption || paths.empty())
        throw UsageError("usage: quillmeter count --profile NAME [--subfolders] [--by-date] [--pattern P] PATH... "
                         "[--csv|--json] [--breakdown] [--invoice FILE.docx|FILE.pdf] [--quiet] [--jobs N] "
                         "[--ledger LOCATION|off] [--rebill|--skip-billed] [--no-billed-check]");
    if (invoiceOption && !report::invoiceFormatOf(*invoiceOption))
        throw UsageError("--invoice writes a .docx or a .pdf file: " + *invoiceOption);
    if (csv && json)
        throw UsageError("choose one of --csv and --json");
    if (csv && breakdown)
        throw UsageError("--breakdown goes with the table or --json, not with --csv");
    const std::string& profileName = *profileOption;

    const settings::SettingsContext settings{ctx.settingsFolder};
    const auto found = listedProfile(ctx, "count", profileName);
    if (!found)
        return UsageFailure;
    ProgressLine progressLine(ctx.err, ctx.stderrIsTerminal && !quiet);
    CountPrompter prompter(ctx.err, progressLine);
    const settings::OptionsStore options(settings);
    const app::Duplicates duplicates =
        settings::optionFlagIsOn(options.read(*settings::findOptionKey("AddDupilcateFiles"))) ? app::Duplicates::Refuse
                                                                                              : app::Duplicates::Allow;
    const auto readProfile = [&](std::string_view key, std::string_view def) {
        return settings::ReadINI(settings, "Profiles", *found, key, def);
    };
    const browser::FilePattern pattern(patternOption ? *patternOption
                                                     : readProfile("DocType", "*.doc;*.rtf;*.txt;*.text"));

    app::ChaseList list;
    app::StopFlag stop;
    const app::RunControl control{nullptr, &stop};
    std::optional<app::DateRange> dates;
    if (byDate) {
        dates = dateRange(settings, prompter);
        if (!dates)
            return Failure; // the question was answered with Cancel: nothing added, nothing counted
    }
    for (const std::string& path : paths) {
        std::error_code error;
        const fs::path absolute = fs::absolute(path, error);
        if (fs::is_directory(absolute, error)) {
            if (subFolders || byDate) {
                list.addFromSearch(absolute, pattern, dates, duplicates, prompter, control);
            } else {
                const auto names = browser::listFiles(absolute, pattern, error);
                if (error) {
                    ctx.err << "quillmeter count: " << path << ": " << error.message() << "\n";
                    return Failure;
                }
                list.addFiles(absolute, names, nullptr, duplicates, prompter, control);
            }
        } else if (fs::is_regular_file(absolute, error)) {
            list.addFiles(absolute.parent_path(), {absolute.filename().string()}, nullptr, duplicates, prompter,
                          control);
        } else {
            throw UsageError(path + ": no such file or folder");
        }
    }

    // Documents already billed under the profile are found before anything is counted.
    if (const auto refused = ledger.checkBilled(list, *found))
        return *refused;

    std::unique_ptr<app::CountingEngine> engine = makeEngine(prompter, settings, *found);
    if (!engine)
        throw std::runtime_error("the counting engine is not available");
    const app::CurrencyFormat currency = app::CurrencyFormat::fromEnvironment();
    app::CountRun run(*engine, prompter, control, currency);
    run.setJobs(jobs, [&](Prompter& held) { return makeEngine(held, settings, *found); });
    size_t attempted = 0;
    run.documentStarted = [&](size_t index, size_t total, const std::string& path) {
        prompter.currentDocument = path;
        attempted = index + 1;
        progressLine.update(index, total, path);
    };
    const app::RunResult result = run.run(list, *found, readProfile);
    prompter.currentDocument.clear();
    progressLine.clear();
    for (const std::string& path : result.unopened)
        if (std::find(prompter.reported.begin(), prompter.reported.end(), path) == prompter.reported.end())
            ctx.err << "quillmeter count: " << path << ": could not be opened; left out of the count\n";
    if (!quiet) {
        const std::string summary = failureSummary(result.unopened.size(), attempted);
        if (!summary.empty())
            ctx.err << summary << "\n";
    }

    // The breakdown measures each counted document again, every measurement
    // on the document as read, so a client can follow the bill line by line.
    std::vector<ProfileFigures> breakdowns;
    if (breakdown)
        for (const app::ResultRow& row : result.rows)
            breakdowns.push_back(measureUnderProfile(row.path, *found, settings, prompter));

    // The run is recorded before its invoice is made, so the invoice carries
    // the number the ledger gave it.
    const std::optional<std::string> invoiceNumber =
        ledger.record(result, *found, currency, invoiceOption ? fs::absolute(*invoiceOption).string() : "");

    // The invoice is the report a finished run hands over to; a stopped or
    // failed run has none, as on the screen.
    bool invoiceFailed = false;
    if (invoiceOption) {
        if (result.ending == app::RunEnding::Finished) {
            report::ReportSources sources;
            sources.settings = settings;
            sources.rows = result.rows;
            sources.currency = currency;
            sources.invoiceNumber = invoiceNumber;
            report::Report report(std::move(sources), prompter);
            const auto invoice = report.writereport(*found);
            const engine::WriteResult written = report::saveInvoice(*invoice, *invoiceOption);
            if (!written.ok()) {
                ctx.err << "quillmeter count: " << *invoiceOption << ": " << written.error << "\n";
                invoiceFailed = true;
            }
        } else {
            ctx.err << "quillmeter count: the run did not finish; no invoice written\n";
        }
    }

    const Totals totals = totalsOf(result, currency);
    if (json) {
        printJson(ctx.out, *found, result, totals, prompter.messages, breakdowns, invoiceNumber);
    } else if (csv) {
        printCsv(ctx.out, result, totals, currency);
    } else if (result.ending != app::RunEnding::NotStarted) {
        printTable(ctx.out, result, totals, currency);
        if (invoiceNumber && !invoiceNumber->empty())
            ctx.out << "Invoice " << *invoiceNumber << "\n";
        for (size_t i = 0; i < breakdowns.size(); ++i) {
            ctx.out << "\n" << oneLine(result.rows[i].name) << "\n";
            writeProfileFigures(ctx.out, breakdowns[i]);
        }
    }

    switch (result.ending) {
    case app::RunEnding::Finished:
        return result.unopened.empty() && !invoiceFailed && !ledger.failed() ? Success : Failure;
    case app::RunEnding::ProfileError: return UsageFailure;
    case app::RunEnding::NotStarted:
    case app::RunEnding::Stopped:
    case app::RunEnding::Failed: break;
    }
    return Failure;
}

int countCommand(Context& ctx)
{
    return runCount(ctx, [](Prompter& prompter, const settings::SettingsContext& settings, const std::string& profile) {
        return std::make_unique<app::WizardEngine>(prompter, settings, [profile] { return profile; });
    });
}

} // namespace qm::cli
