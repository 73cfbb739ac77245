// The totals screen and the report after a finished run, driven through the controls' names.
#include "ScreenTest.h"
#include "engine/formats/Reader.h"
#include "report/Report.h"
#include "settings/IniRW.h"
#include "ui/main/frmMain.h"
#include "ui/totals/ReportCommands.h"
#include "ui/totals/frmTotals.h"

#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <filesystem>
#include <fstream>

using namespace qm;
using namespace qm::ui;
using qm::testing::child;
namespace fs = std::filesystem;

namespace {

app::ResultRow row(const char* name, const char* count, const char* amount)
{
    app::ResultRow r;
    r.name = name;
    r.count = count;
    r.amount = amount;
    r.path = std::string("/docs/") + name;
    return r;
}

/// Three rows, one of them without figures: two documents, 1.5 + 2.5 lines.
std::vector<app::ResultRow> threeDocuments()
{
    return {row("a.doc", "1.5", "$1.88"), row("b.doc", "2.5", "$3.13"), row("c.doc", "", "")};
}

QString text(QObject& screen, const char* name) { return child<QLabel>(screen, name)->text(); }

} // namespace

class TotalsScreenTest : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<QTemporaryDir> m_dir;
    fs::path m_folder;
    RecordingPrompter m_prompter;

    void setProfileKey(std::string_view key, std::string_view value) const
    {
        settings::WriteINI(settings::SettingsContext{m_folder}, "Profiles", "Demo Transcription", key, value);
    }

    /// The totals screen ReportToWindow would show for `rows` under the
    /// sample profile, handed to `inspect` instead of being shown.
    void withTotalsScreen(const std::vector<app::ResultRow>& rows, const std::function<void(frmTotals&)>& inspect)
    {
        report::ReportSources sources;
        sources.settings.folder = m_folder;
        sources.rows = rows;
        report::Report report(std::move(sources), m_prompter);
        bool shown = false;
        QVERIFY(report.ReportToWindow("Demo Transcription", [&](const report::Totals& totals, const std::string& name) {
            frmTotals form(totals);
            form.setProfileName(QString::fromStdString(name));
            inspect(form);
            shown = true;
        }));
        QVERIFY(shown);
    }

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_folder = m_dir->path().toStdString();
        testing::copySampleSettings(m_folder);
        settings::WriteINI(settings::SettingsContext{m_folder}, "Options", "MAIN", "ProfileToUse",
                           "Demo Transcription");
        setProfileKey("DonePer", "Line");
        m_prompter = RecordingPrompter{};
    }

    // Headings and figures as the screen shows them, with and without rounding.
    void labelsShowTheRunsFigures()
    {
        setProfileKey("RoundCountToNearestWholeNumber", "1");
        withTotalsScreen(threeDocuments(), [](frmTotals& form) {
            QCOMPARE(text(form, "Label1"), QString("Documents Counted"));
            QCOMPARE(text(form, "Label2"), QString("Lines"));
            QCOMPARE(text(form, "Label3"), QString("Amount"));
            QCOMPARE(text(form, "Label4"), QString("2"));
            QCOMPARE(text(form, "Label5"), QString("4")); // 1.5 and 2.5 round to 2 each
            QCOMPARE(text(form, "Label6"), QString("$5.01"));
        });
        setProfileKey("RoundCountToNearestWholeNumber", "0");
        setProfileKey("DonePer", "Character And Space");
        withTotalsScreen({}, [](frmTotals& form) {
            QCOMPARE(text(form, "Label2"), QString("Characters & Spaces"));
            QCOMPARE(text(form, "Label4"), QString("0"));
            QCOMPARE(text(form, "Label5"), QString("0.00"));
            QCOMPARE(text(form, "Label6"), QString("$0.00"));
        });
    }

    // A finished run with ShowReportInWord other than "0": the invoice is
    // written where the save dialog says and opened; with "0" the totals
    // screen comes first and its "&Create Invoice" writes it.
    void finishedRunHandsOverToTheReport()
    {
        settings::WriteINI(settings::SettingsContext{m_folder}, "Options", "MAIN", "AskSaveWindow", "0");
        setProfileKey("ShowReportInWord", "1");
        setProfileKey("PrintCountedDoc", "1");
        auto screen = std::make_unique<frmMain>(testing::screenServices(m_folder, m_prompter));
        QCOMPARE(screen->currentProfile(), QString("Demo Transcription"));

        std::vector<fs::path> asked, opened;
        fs::path answer = m_folder / "kept.pdf";
        int totalsShown = 0;
        ReportServices services;
        services.askSavePath = [&](QWidget*, const fs::path& suggested) -> std::optional<fs::path> {
            asked.push_back(suggested);
            return answer;
        };
        services.open = [&](const fs::path& file) {
            opened.push_back(file);
            return true;
        };
        services.temporaryFolder = m_folder;
        services.runTotals = [&](frmTotals& form) {
            ++totalsShown;
            QCOMPARE(text(form, "Label4"), QString("2"));
            QTest::mouseClick(child<QPushButton>(form, "cmdDisplayReport"), Qt::LeftButton);
        };
        attachReportCommands(*screen, services);

        app::RunResult run;
        run.ending = app::RunEnding::Finished;
        run.rows = threeDocuments();
        emit screen->runFinished(run);
        QCOMPARE(asked, (std::vector<fs::path>{"Invoice Demo Transcription.docx"}));
        QCOMPARE(opened, (std::vector<fs::path>{answer}));
        QCOMPARE(totalsShown, 0);
        std::ifstream pdf(answer, std::ios::binary);
        std::string magic(5, '\0');
        pdf.read(magic.data(), 5);
        QCOMPARE(magic, std::string("%PDF-"));

        setProfileKey("ShowReportInWord", "0");
        answer = m_folder / "kept.docx";
        emit screen->runFinished(run);
        QCOMPARE(totalsShown, 1);
        QCOMPARE(opened.size(), size_t(2));
        const engine::ReadResult read = engine::readDocument(answer);
        QVERIFY2(read.ok(), read.error.c_str());
        const std::u16string& body = read.document->mainStory().text;
        QVERIFY(body.starts_with(u"Demo Transcription\r"));
        QVERIFY(body.find(u"b.doc\a2.50\a$3.13\a") != std::u16string::npos);
        QVERIFY(body.find(u"Total:2") != std::u16string::npos); // c.doc has no result: not a document
        QVERIFY(m_prompter.messages.empty());

        // No application for the file: the user learns where the invoice is.
        services.open = [](const fs::path&) { return false; };
        setProfileKey("ShowReportInWord", "1");
        answer = m_folder / "again.docx";
        QObject::disconnect(screen.get(), &frmMain::runFinished, nullptr, nullptr);
        attachReportCommands(*screen, services);
        emit screen->runFinished(run);
        QVERIFY(fs::exists(answer));
        QCOMPARE(m_prompter.messages.size(), size_t(1));
        QCOMPARE(m_prompter.messages[0].text,
                 "The Invoice Was Saved As\r" + answer.string() + "\rNo Program Could Be Found To Open It.");
    }
};

QTEST_MAIN(TotalsScreenTest)
#include "TotalsScreenTest.moc"
