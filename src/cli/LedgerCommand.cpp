// The ledger from the command line: the count run's records and the "ledger"
// command (list, show, invoice, statement).
#include "cli/LedgerCommand.h"

#include "cli/Json.h"
#include "cli/StderrPrompter.h"
#include "engine/model/DocumentBuilder.h"
#include "ledger/LedgerInvoice.h"
#include "ledger/SqliteLedger.h"
#include "report/InvoiceFile.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <iomanip>
#include <ostream>

namespace qm::cli {

namespace {

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

/// A date as the ledger commands take it: yyyy-mm-dd, a day that exists.
std::string dateOption(const std::string& option, const std::string& text)
{
    int y = 0;
    unsigned m = 0, d = 0;
    char tail = 0;
    if (text.size() != 10 || std::sscanf(text.c_str(), "%4d-%2u-%2u%c", &y, &m, &d, &tail) != 3 ||
        !std::chrono::year_month_day{std::chrono::year{y}, std::chrono::month{m}, std::chrono::day{d}}.ok())
        throw UsageError(option + " takes a date as yyyy-mm-dd: \"" + text + "\"");
    return text;
}

int64_t runId(const std::string& text)
{
    int64_t id = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
    if (error != std::errc() || end != text.data() + text.size() || id <= 0)
        throw UsageError("RUN is a run's number as `ledger list` shows it: \"" + text + "\"");
    return id;
}

constexpr std::string_view kLedgerUsage =
    "ledger list [--profile P] [--from DATE] [--to DATE] [--json|--csv] | show RUN [--json] | invoice RUN --out "
    "FILE.docx|FILE.pdf | statement --profile P --from DATE --to DATE --out FILE.docx|FILE.pdf";

/// The options of every ledger subcommand, taken before the subcommand is known.
struct LedgerArgs {
    std::optional<std::string> location, profile, from, to, out;
    bool json = false, csv = false;
    std::vector<std::string> words; ///< the subcommand and its RUN
};

std::unique_ptr<ledger::LedgerStore> openForReading(Context& ctx, const std::optional<std::string>& location)
{
    const settings::SettingsContext settings{ctx.settingsFolder};
    const ledger::LedgerSettings options = ledger::readLedgerSettings(settings, location);
    if (!options.on)
        throw std::runtime_error("the ledger is off (option Ledger=off); give --ledger to read one");
    // Reading never creates a ledger where there is none.
    if (!ledger::isServerAddress(options.location)) {
        const std::filesystem::path file = options.location.empty() ? settings.folder / ledger::kLedgerFileName
                                                                    : std::filesystem::path(options.location);
        if (!std::filesystem::exists(file))
            throw std::runtime_error("there is no ledger at " + file.string() + " (no run has been recorded)");
    }
    return ledger::openLedger(options, settings);
}

Json runSummaryJson(const ledger::RunSummary& run)
{
    Json r = Json::object();
    r.set("run", run.id);
    r.set("invoice_number", run.invoiceNumber ? Json(*run.invoiceNumber) : Json());
    r.set("profile", run.profile);
    r.set("time", run.time);
    r.set("date", run.localDate);
    r.set("documents", run.documents);
    r.set("count", run.countTotal);
    r.set("amount_text", run.amountTotal);
    r.set("stopped", run.stopped);
    return r;
}

int listRuns(Context& ctx, const LedgerArgs& a)
{
    ledger::RunFilter filter;
    filter.profile = a.profile;
    if (a.from)
        filter.from = dateOption("--from", *a.from);
    if (a.to)
        filter.to = dateOption("--to", *a.to);
    if (a.json && a.csv)
        throw UsageError("choose one of --csv and --json");
    const auto store = openForReading(ctx, a.location);
    const auto runs = store->listRuns(filter);
    if (a.json) {
        Json list = Json::array();
        for (const auto& run : runs)
            list.push(runSummaryJson(run));
        list.write(ctx.out);
        ctx.out << "\n";
    } else if (a.csv) {
        ctx.out << "run,invoice_number,profile,time,documents,count,amount,stopped\r\n";
        for (const auto& run : runs)
            ctx.out << run.id << "," << csvField(run.invoiceNumber.value_or("")) << "," << csvField(run.profile) << ","
                    << run.time << "," << run.documents << "," << app::plainNumber(run.countTotal) << ","
                    << csvField(run.amountTotal) << "," << (run.stopped ? "1" : "0") << "\r\n";
    } else {
        ctx.out << std::left << std::setw(6) << "Run" << std::setw(22) << "Time" << std::setw(14) << "Invoice"
                << std::setw(10) << "Documents"
                << "  " << std::setw(14) << "Amount"
                << "Profile\n";
        for (const auto& run : runs)
            ctx.out << std::left << std::setw(6) << run.id << std::setw(22) << run.time << std::setw(14)
                    << (run.stopped ? std::string("(stopped)") : run.invoiceNumber.value_or("")) << std::setw(10)
                    << run.documents << "  " << std::setw(14) << run.amountTotal << run.profile << "\n";
    }
    return Success;
}

std::optional<ledger::RunRecord> loadRun(Context& ctx, ledger::LedgerStore& store, int64_t id)
{
    auto run = store.loadRun(id);
    if (!run)
        ctx.err << "quillmeter ledger: " << store.location() << ": no run " << id << "\n";
    return run;
}

int showRun(Context& ctx, const LedgerArgs& a)
{
    const int64_t id = runId(a.words[1]);
    const auto store = openForReading(ctx, a.location);
    const auto run = loadRun(ctx, *store, id);
    if (!run)
        return Failure;
    if (a.json) {
        Json r =
            runSummaryJson(ledger::RunSummary{run->id, run->time, run->localDate, run->profile, run->documents.size(),
                                              run->countTotal, run->amountTotal, run->stopped, run->invoiceNumber});
        r.set("amount", double(run->amountTotalUnits) / 10000.0);
        r.set("unit", run->unit);
        r.set("rate", run->rate);
        r.set("invoice_file", run->invoiceFile);
        r.set("program_version", run->programVersion);
        Json& keys = r.set("profile_keys", Json::object());
        for (const auto& [key, value] : run->profileKeys)
            keys.set(key, value);
        Json& docs = r.set("rows", Json::array());
        for (const auto& d : run->documents) {
            Json doc = Json::object();
            doc.set("path", d.path);
            doc.set("name", d.name);
            doc.set("size", d.size);
            doc.set("modified", d.modified);
            doc.set("sha256", d.sha256);
            doc.set("count", d.count);
            doc.set("count_text", d.countText);
            doc.set("amount", double(d.amountUnits) / 10000.0);
            doc.set("amount_text", d.amountText);
            Json& figures = doc.set("measurements", Json::object());
            for (const auto& [name, value] : d.measurements)
                figures.set(name, value);
            docs.push(std::move(doc));
        }
        r.write(ctx.out);
        ctx.out << "\n";
        return Success;
    }
    ctx.out << "Run " << run->id << "  " << run->time << (run->stopped ? "  (stopped)" : "") << "\n"
            << "Invoice " << run->invoiceNumber.value_or("(none)") << "\n"
            << "Profile " << run->profile << ", " << run->unit << " at " << run->rate << "\n";
    if (!run->invoiceFile.empty())
        ctx.out << "Invoice file " << run->invoiceFile << "\n";
    for (const auto& d : run->documents)
        ctx.out << "  " << std::right << std::setw(10) << app::shownCount(d.count) << "  " << std::setw(12)
                << d.amountText << "  " << d.path << "\n    sha256 " << d.sha256 << ", " << d.size
                << " bytes, modified " << d.modified << "\n";
    ctx.out << "Total " << run->documents.size() << (run->documents.size() == 1 ? " document, " : " documents, ")
            << app::plainNumber(run->countTotal) << ", " << run->amountTotal << "\n";
    return Success;
}

const std::string& outFile(const LedgerArgs& a, std::string_view usage)
{
    if (!a.out)
        throw UsageError("usage: quillmeter " + std::string(usage));
    if (!report::invoiceFormatOf(*a.out))
        throw UsageError("--out writes a .docx or a .pdf file: " + *a.out);
    return *a.out;
}

int writeDocument(Context& ctx, const engine::Document& document, const std::string& out)
{
    const engine::WriteResult written = report::saveInvoice(document, out);
    if (!written.ok()) {
        ctx.err << "quillmeter ledger: " << out << ": " << written.error << "\n";
        return Failure;
    }
    return Success;
}

int invoiceAgain(Context& ctx, const LedgerArgs& a)
{
    const std::string& out = outFile(a, "ledger invoice RUN --out FILE.docx|FILE.pdf");
    const int64_t id = runId(a.words[1]);
    const auto store = openForReading(ctx, a.location);
    const auto run = loadRun(ctx, *store, id);
    if (!run)
        return Failure;
    StderrPrompter prompter(ctx.err);
    const auto invoice = ledger::recreateInvoice(*run, prompter, app::CurrencyFormat::fromEnvironment());
    return writeDocument(ctx, *invoice, out);
}

/// The statement: the invoiced runs of a profile in a period with their
/// numbers and totals, typed as one plain document.
std::unique_ptr<engine::Document> statementDocument(const std::string& profile, const std::string& from,
                                                    const std::string& to, const std::vector<ledger::RunSummary>& runs,
                                                    const std::vector<int64_t>& totals,
                                                    const app::CurrencyFormat& currency)
{
    engine::DocumentBuilder builder("docx");
    engine::CharFormat font;
    font.fontName = "Courier New";
    font.sizeHalfPoints = 20;
    engine::CharFormat heading = font;
    heading.bold = true;
    const auto line = [&](const std::string& text, const engine::CharFormat& f) {
        const uint32_t format = builder.charFormat(f);
        builder.appendUtf8(text, format);
        builder.endParagraph(builder.paraFormat(engine::ParaFormat{}), format);
    };
    line("Statement: " + profile, heading);
    line("From " + from + " to " + to, font);
    line("", font);
    char row[512];
    const auto columns = [&](const std::string& date, const std::string& invoice, const std::string& documents,
                             const std::string& amount) {
        std::snprintf(row, sizeof row, "%-12s  %-16s  %9s  %16s", date.c_str(), invoice.c_str(), documents.c_str(),
                      amount.c_str());
        return std::string(row);
    };
    line(columns("Date", "Invoice", "Documents", "Amount"), heading);
    int64_t sum = 0;
    size_t documents = 0;
    for (size_t i = 0; i < runs.size(); ++i) {
        line(columns(runs[i].localDate, runs[i].invoiceNumber.value_or(""), std::to_string(runs[i].documents),
                     runs[i].amountTotal),
             font);
        sum += totals[i];
        documents += runs[i].documents;
    }
    line(columns("Total", std::to_string(runs.size()) + (runs.size() == 1 ? " invoice" : " invoices"),
                 std::to_string(documents), app::formatCurrency(app::Currency{sum}, currency)),
         heading);
    return builder.finish(engine::SectionFormat{}, engine::HeaderFooterRefs{});
}

int statement(Context& ctx, const LedgerArgs& a)
{
    constexpr std::string_view usage = "ledger statement --profile P --from DATE --to DATE --out FILE.docx|FILE.pdf";
    const std::string& out = outFile(a, usage);
    if (!a.profile || !a.from || !a.to)
        throw UsageError("usage: quillmeter " + std::string(usage));
    const ledger::RunFilter filter{*a.profile, dateOption("--from", *a.from), dateOption("--to", *a.to)};
    const auto store = openForReading(ctx, a.location);
    std::vector<ledger::RunSummary> invoiced;
    std::vector<int64_t> totals;
    // A stopped run has no invoice, so it bills nothing.
    for (const auto& run : store->listRuns(filter)) {
        if (run.stopped)
            continue;
        const auto full = store->loadRun(run.id);
        totals.push_back(full ? full->amountTotalUnits : 0);
        invoiced.push_back(run);
    }
    const auto document =
        statementDocument(*a.profile, *a.from, *a.to, invoiced, totals, app::CurrencyFormat::fromEnvironment());
    return writeDocument(ctx, *document, out);
}

} // namespace

CountLedger::CountLedger(Context& ctx, const settings::SettingsContext& settings) : m_ctx(ctx), m_settings(settings)
{
    const auto location = ctx.args.option("--ledger");
    m_rebill = ctx.args.flag("--rebill");
    m_skipBilled = ctx.args.flag("--skip-billed");
    const bool noCheck = ctx.args.flag("--no-billed-check");
    if (m_rebill && m_skipBilled)
        throw UsageError("choose one of --rebill and --skip-billed");
    m_options = ledger::readLedgerSettings(settings, location);
    if (noCheck)
        m_options.checkBilled = false;
}

void CountLedger::open()
{
    if (m_opened || !m_options.on)
        return;
    m_opened = true;
    try {
        m_store = ledger::openLedger(m_options, m_settings);
    } catch (const ledger::LedgerError& e) {
        // The count goes on: its results matter more than their record.
        m_ctx.err << "quillmeter count: " << e.what() << "; the ledger is off for this run\n";
    }
}

CountLedger::~CountLedger() = default;

std::optional<int> CountLedger::checkBilled(app::ChaseList& list, const std::string& profile)
{
    open();
    if (!m_store || !m_options.checkBilled)
        return std::nullopt;
    std::vector<std::string> paths;
    for (const auto& entry : list.entries())
        paths.push_back(entry.path);
    std::vector<ledger::BilledDocument> billed;
    try {
        billed = ledger::findBilledDocuments(*m_store, profile, paths, m_fingerprints);
    } catch (const ledger::LedgerError& e) {
        m_ctx.err << "quillmeter count: " << e.what() << "\n";
        return Failure;
    }
    if (billed.empty())
        return std::nullopt;
    const char* what = m_rebill ? ", counted again (--rebill)" : m_skipBilled ? ", left out (--skip-billed)" : "";
    m_ctx.err << "quillmeter count: " << billed.size() << (billed.size() == 1 ? " document " : " documents ")
              << "already billed under \"" << profile << "\"" << what << ":\n";
    for (const auto& b : billed)
        m_ctx.err << "  " << ledger::describeBilled(b) << "\n";
    if (m_rebill)
        return std::nullopt;
    if (!m_skipBilled) {
        m_ctx.err << "quillmeter count: nothing counted; give --rebill to bill them again or --skip-billed to "
                     "leave them out\n";
        return UsageFailure;
    }
    app::ChaseList kept;
    for (const auto& entry : list.entries())
        if (std::none_of(billed.begin(), billed.end(), [&](const auto& b) { return b.path == entry.path; }))
            kept.append(entry.display, entry.path);
    list = std::move(kept);
    return std::nullopt;
}

std::optional<std::string> CountLedger::record(const app::RunResult& result, const std::string& profile,
                                               const app::CurrencyFormat& currency, const std::string& invoiceFile)
{
    if (!m_options.on)
        return std::nullopt;
    open();
    if (!m_store)
        return std::string();
    if (result.ending != app::RunEnding::Finished && result.ending != app::RunEnding::Stopped)
        return std::string();
    try {
        ledger::RunRecord record = ledger::makeRunRecord(result, profile, m_settings, currency, m_fingerprints,
                                                         std::chrono::system_clock::now());
        if (result.ending == app::RunEnding::Finished)
            record.invoiceFile = invoiceFile;
        record = m_store->recordRun(std::move(record), m_options.numberFormat);
        m_run = record.id;
        return record.invoiceNumber.value_or("");
    } catch (const std::exception& e) {
        m_failed = true;
        m_ctx.err << "quillmeter count: " << e.what() << "; the run was not written to the ledger\n";
        return std::string();
    }
}

int ledgerCommand(Context& ctx)
{
    LedgerArgs a;
    a.location = ctx.args.option("--ledger");
    a.profile = ctx.args.option("--profile");
    a.from = ctx.args.option("--from");
    a.to = ctx.args.option("--to");
    a.out = ctx.args.option("--out");
    a.json = ctx.args.flag("--json");
    a.csv = ctx.args.flag("--csv");
    a.words = ctx.args.positionals(1, 2, kLedgerUsage);
    const std::string& action = a.words[0];
    // Each subcommand takes only its own options.
    const auto expect = [&](size_t words, bool filters, bool json, bool csv, bool out) {
        if (a.words.size() != words || (!filters && (a.profile || a.from || a.to)) || (!json && a.json) ||
            (!csv && a.csv) || (!out && a.out))
            throw UsageError("usage: quillmeter " + std::string(kLedgerUsage));
    };
    if (action == "list") {
        expect(1, true, true, true, false);
        return listRuns(ctx, a);
    }
    if (action == "show") {
        expect(2, false, true, false, false);
        return showRun(ctx, a);
    }
    if (action == "invoice") {
        expect(2, false, false, false, true);
        return invoiceAgain(ctx, a);
    }
    if (action == "statement") {
        expect(1, true, false, false, true);
        return statement(ctx, a);
    }
    throw UsageError("usage: quillmeter " + std::string(kLedgerUsage));
}

} // namespace qm::cli
