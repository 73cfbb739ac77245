// The engine session: lifecycle, the exact error reports, and files left untouched.
#include "engine/wizard/WordWizard.h"
#include "../access/TestDocuments.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <new>

using namespace qm;
using namespace qm::engine;

namespace {

const std::string ReportStart = "An Error Has Occurred, If This Error Keeps Occurring Please Contact Brennock \rError Message <<";

// A loader that reads the file as plain UTF-8 text, so the session can be
// tested whichever readers are built.
ReadResult textLoader(const std::filesystem::path& file, const ReadOptions&)
{
    std::ifstream in(file, std::ios::binary);
    if (!in)
        return ReadResult::failure("the file cannot be opened for reading");
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    DocumentBuilder b("txt");
    const uint32_t f = b.charFormat(CharFormat{});
    b.appendUtf8(bytes, f);
    return ReadResult{b.finish(SectionFormat{}, HeaderFooterRefs{}), {}};
}

class TempFile {
public:
    explicit TempFile(std::string_view content)
    {
        m_path = std::filesystem::temp_directory_path() /
                 ("qm-wizard-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "-" +
                  std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()) + ".txt");
        std::ofstream(m_path, std::ios::binary) << content;
    }
    ~TempFile() { std::filesystem::remove(m_path); }
    const std::filesystem::path& path() const { return m_path; }
    std::string bytes() const
    {
        std::ifstream in(m_path, std::ios::binary);
        return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    }

private:
    std::filesystem::path m_path;
};

} // namespace

TEST(WordWizard, ErrorReportHasTheExactTextTitleAndIcon)
{
    const Message m = errorReportMessage("something broke", "-Count Words-");
    EXPECT_EQ(m.title, "Error");
    EXPECT_EQ(m.icon, MessageIcon::Critical);
    EXPECT_EQ(m.text, ReportStart + "something broke>>\r-Count Words-");
}

TEST(WordWizard, LifecycleAndItsResults)
{
    RecordingPrompter prompter;
    TempFile file("Some words here.\n");
    WordWizard wizard(prompter, {}, textLoader);
    EXPECT_FALSE(wizard.hasSession());

    wizard.OpenWord(Visibility::Hidden);
    EXPECT_TRUE(wizard.hasSession());
    EXPECT_FALSE(wizard.visible());
    EXPECT_EQ(wizard.windowState(), WindowState::Minimized);
    wizard.MaxWord();
    EXPECT_EQ(wizard.windowState(), WindowState::Maximized);
    wizard.resetView();
    EXPECT_FALSE(wizard.viewResetBusy());

    ASSERT_TRUE(wizard.openJustDoc(file.path(), OpenMode::ReadOnly));
    ASSERT_NE(wizard.document(), nullptr);
    EXPECT_EQ(wizard.documentPath(), file.path());
    EXPECT_EQ(wizard.document()->content().wordsCount(), 3);

    EXPECT_TRUE(wizard.CloseDocument());
    EXPECT_EQ(wizard.document(), nullptr);
    EXPECT_FALSE(wizard.CloseDocument()); // nothing open: false, and no message
    wizard.CompleteClose();
    EXPECT_FALSE(wizard.hasSession());
    EXPECT_TRUE(prompter.messages.empty());

    // OpenDocument starts its own visible session.
    EXPECT_TRUE(wizard.OpenDocument(file.path(), OpenMode::ReadWrite));
    EXPECT_TRUE(wizard.hasSession());
    EXPECT_TRUE(wizard.visible());
    wizard.CompleteClose();
    EXPECT_EQ(wizard.document(), nullptr);
    EXPECT_TRUE(prompter.messages.empty());
    EXPECT_FALSE(wizard.versionText().starts_with("8"));
}

TEST(WordWizard, FailuresAreReportedWithTheirTagsAndNeverThrown)
{
    const std::filesystem::path missing = std::filesystem::temp_directory_path() / "qm-no-such-dir" / "gone.rtf";
    struct Case {
        const char* name;
        std::function<void(WordWizard&)> act;
        std::string title;
        std::string textStart; // empty: no message at all
        std::string textEnd;
    };
    std::vector<Case> cases = {
        {"open without a session", [&](WordWizard& w) { EXPECT_FALSE(w.openJustDoc(missing, OpenMode::ReadOnly)); },
         "Error", ReportStart + "cannot open \"" + missing.string() + "\"", ">>\r-Opening DOC-"},
        {"open a missing file",
         [&](WordWizard& w) {
             w.OpenWord(Visibility::Visible);
             EXPECT_FALSE(w.openJustDoc(missing, OpenMode::ReadOnly));
             EXPECT_EQ(w.document(), nullptr);
         },
         "Error", ReportStart + "cannot open \"" + missing.string() + "\": the file cannot be opened for reading",
         ">>\r-Opening DOC-"},
        {"OpenDocument of a missing file says nothing",
         [&](WordWizard& w) { EXPECT_FALSE(w.OpenDocument(missing, OpenMode::ReadOnly)); }, "", "", ""},
        {"close without a session", [](WordWizard& w) { w.CompleteClose(); }, "Error", ReportStart,
         ">>\r-Closing Microsoft Word-"},
        {"maximise without a session", [](WordWizard& w) { w.MaxWord(); }, "ERROR",
         "Err In opening Microsoft Word the counting engine has not been started err number=1", ""},
    };
    for (Case& c : cases) {
        SCOPED_TRACE(c.name);
        RecordingPrompter prompter;
        WordWizard wizard(prompter);
        c.act(wizard);
        if (c.textStart.empty()) {
            EXPECT_TRUE(prompter.messages.empty());
            continue;
        }
        ASSERT_EQ(prompter.messages.size(), 1u);
        const Message& m = prompter.messages.front();
        EXPECT_EQ(m.title, c.title);
        EXPECT_EQ(m.icon, MessageIcon::Critical);
        EXPECT_TRUE(m.text.starts_with(c.textStart)) << m.text;
        EXPECT_TRUE(m.text.ends_with(c.textEnd)) << m.text;
    }
}

TEST(WordWizard, AReaderThatThrowsIsReportedNotPropagated)
{
    RecordingPrompter prompter;
    WordWizard wizard(prompter, {}, [](const std::filesystem::path&, const ReadOptions&) -> ReadResult {
        throw std::bad_alloc();
    });
    wizard.OpenWord(Visibility::Hidden);
    EXPECT_FALSE(wizard.openJustDoc("huge.doc", OpenMode::ReadOnly));
    ASSERT_EQ(prompter.messages.size(), 1u);
    EXPECT_NE(prompter.messages[0].text.find("\"huge.doc\": not enough memory"), std::string::npos);
    EXPECT_FALSE(wizard.OpenDocument("huge.doc", OpenMode::ReadOnly));
    EXPECT_EQ(prompter.messages.size(), 1u);
}

// Every operation edits the model only: the file's bytes and time stay as they were.
TEST(WordWizard, FileOnDiskIsNeverWritten)
{
    const std::string content = "Alpha beta\tgamma.\n\nDelta \x0C epsilon\n";
    TempFile file(content);
    const auto written = std::filesystem::last_write_time(file.path());
    RecordingPrompter prompter;
    WordWizard wizard(prompter, {}, textLoader);
    wizard.OpenWord(Visibility::Hidden);
    ASSERT_TRUE(wizard.openJustDoc(file.path(), OpenMode::ReadOnly));
    DocumentAccess& doc = *wizard.document();

    const std::function<void()> steps[] = {
        [&] { wizard.resetView(); },
        [&] {
            Range r = doc.content();
            r.find().setText(u"<*>");
            r.find().setSyntax(PatternSyntax::Wildcards);
            r.find().setReplacementText(u"B B");
            r.replaceAll();
        },
        [&] { doc.undo(); },
        [&] {
            Selection& s = doc.selection();
            s.homeKeyStory();
            s.endKeyLineExtend();
            s.deleteText();
        },
        [&] {
            Range r = doc.content();
            r.find().setText(u"^m");
            r.find().setReplacementText(u"  ");
            r.replaceAll();
        },
        [&] { (void)doc.builtInProperty(BuiltInProperty::Lines); },
        [&] { EXPECT_TRUE(wizard.CloseDocument()); },
        [&] { wizard.CompleteClose(); },
    };
    for (size_t i = 0; i < std::size(steps); ++i) {
        SCOPED_TRACE(i);
        steps[i]();
        EXPECT_EQ(file.bytes(), content);
        EXPECT_EQ(std::filesystem::last_write_time(file.path()), written);
    }
    EXPECT_TRUE(prompter.messages.empty());
}
