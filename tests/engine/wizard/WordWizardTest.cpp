// The engine session: lifecycle, the exact error reports, and files left untouched.
#include "engine/wizard/WordWizard.h"

#include "../../settings/TempFolder.h"
#include "../access/TestDocuments.h"

#include <gtest/gtest.h>
#include <new>

using namespace qm;
using namespace qm::engine;
using qm::settings::test::readBytes;
using qm::settings::test::TempFolder;
using qm::settings::test::writeBytes;

namespace {

const std::string ReportStart = "Quillmeter Could Not Finish This Step And Went On With The Rest. If This Error Keeps "
                                "Occurring, Please Report It With The Message Below To Quillmeter Support.\rError "
                                "Message <<";

// A loader that reads the file as plain UTF-8 text, so the session can be
// tested whichever readers are built.
ReadResult textLoader(const std::filesystem::path& file, const ReadOptions&)
{
    DocumentBuilder b("txt");
    b.appendUtf8(readBytes(file), b.charFormat(CharFormat{}));
    return ReadResult{b.finish(SectionFormat{}, HeaderFooterRefs{}), {}};
}

} // namespace

TEST(WordWizard, LifecycleAndItsResults)
{
    RecordingPrompter prompter;
    TempFolder folder;
    const std::filesystem::path file = folder / "doc.txt";
    writeBytes(file, "Some words here.\n");
    WordWizard wizard(prompter, {}, textLoader);
    wizard.OpenWord(Visibility::Hidden);
    EXPECT_TRUE(wizard.hasSession());
    ASSERT_TRUE(wizard.openJustDoc(file, OpenMode::ReadOnly));
    EXPECT_EQ(wizard.document()->content().wordsCount(), 3);

    EXPECT_TRUE(wizard.CloseDocument());
    EXPECT_EQ(wizard.document(), nullptr);
    EXPECT_FALSE(wizard.CloseDocument()); // nothing open: false, and no message
    wizard.CompleteClose();
    EXPECT_FALSE(wizard.hasSession());

    // OpenDocument starts its own session.
    EXPECT_TRUE(wizard.OpenDocument(file, OpenMode::ReadWrite));
    EXPECT_TRUE(wizard.hasSession());
    wizard.CompleteClose();
    EXPECT_EQ(wizard.document(), nullptr);
    EXPECT_TRUE(prompter.messages.empty());
}

// Each row: what is done, the loader (none: the built-in readers), the
// message's title, the start and end of its text.
TEST(WordWizard, FailuresAreReportedWithTheirTagsAndNeverThrown)
{
    const std::filesystem::path missing = std::filesystem::temp_directory_path() / "qm-no-such-dir" / "gone.rtf";
    // OpenDocument after the failed open must fail silently: one message in all.
    const auto opens = [&](bool started) {
        return [=](WordWizard& w) {
            if (started)
                w.OpenWord(Visibility::Visible);
            EXPECT_FALSE(w.openJustDoc(missing, OpenMode::ReadOnly));
            EXPECT_EQ(w.document(), nullptr);
            EXPECT_FALSE(w.OpenDocument(missing, OpenMode::ReadOnly));
        };
    };
    const WordWizard::DocumentLoader throws = [](const std::filesystem::path&, const ReadOptions&) -> ReadResult {
        throw std::bad_alloc();
    };
    struct Case {
        const char* name;
        std::function<void(WordWizard&)> act;
        WordWizard::DocumentLoader loader;
        std::string title, textStart, textEnd;
    };
    const std::string cannotOpen = ReportStart + "cannot open \"" + missing.string() + "\"";
    const std::vector<Case> cases = {
        {"open without a session", opens(false), {}, "Error", cannotOpen, ">>\r-Opening DOC-"},
        {"open a missing file",
         opens(true),
         {},
         "Error",
         cannotOpen + ": the file cannot be opened for reading",
         ">>\r-Opening DOC-"},
        {"a reader that throws", opens(true), throws, "Error", cannotOpen + ": not enough memory", ">>\r-Opening DOC-"},
        {"close without a session",
         [](WordWizard& w) { w.CompleteClose(); },
         {},
         "Error",
         ReportStart,
         ">>\r-Closing The Document Engine-"},
        {"maximise without a session",
         [](WordWizard& w) { w.MaxWord(); },
         {},
         "ERROR",
         "Err In Opening The Document Engine: the counting engine has not been started err number=1",
         ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        RecordingPrompter prompter;
        WordWizard wizard(prompter, ReadOptions{}, c.loader);
        c.act(wizard);
        ASSERT_EQ(prompter.messages.size(), 1u);
        const Message& m = prompter.messages.front();
        EXPECT_EQ(m.title, c.title);
        EXPECT_EQ(m.icon, MessageIcon::Critical);
        EXPECT_TRUE(m.text.starts_with(c.textStart)) << m.text;
        EXPECT_TRUE(m.text.ends_with(c.textEnd)) << m.text;
    }
}

// Every operation edits the model only: the file's bytes and time stay as they were.
TEST(WordWizard, FileOnDiskIsNeverWritten)
{
    const std::string content = "Alpha beta\tgamma.\n\nDelta \x0C epsilon\n";
    TempFolder folder;
    const std::filesystem::path file = folder / "doc.txt";
    writeBytes(file, content);
    const auto written = std::filesystem::last_write_time(file);
    RecordingPrompter prompter;
    WordWizard wizard(prompter, {}, textLoader);
    wizard.OpenWord(Visibility::Hidden);
    ASSERT_TRUE(wizard.openJustDoc(file, OpenMode::ReadOnly));
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
        EXPECT_EQ(readBytes(file), content);
        EXPECT_EQ(std::filesystem::last_write_time(file), written);
    }
    EXPECT_TRUE(prompter.messages.empty());
}
