// The counting engine's session: starting the engine, opening and closing documents, the error report.
#pragma once

#include "engine/Prompter.h"
#include "engine/access/DocumentAccess.h"
#include "engine/formats/Reader.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace qm::engine {

enum class Visibility { Hidden, Visible };
enum class OpenMode { ReadWrite, ReadOnly };
/// The engine window's state, numbered as Word numbers its window states.
enum class WindowState : int { Normal = 0, Maximized = 1, Minimized = 2 };

/// Numbers of the engine's own failures, shown where a report gives a number.
enum class EngineErrorNumber : int { NoSession = 1, NoDocument = 2, CannotOpen = 3, Internal = 4 };

/// The error report every engine operation shows when it fails, always
/// with the operation's location tag.
inline Message errorReportMessage(std::string_view description, std::string_view locationTag)
{
    return errorReport(description, locationTag);
}

/// The counting engine object. It owns one session of our own document
/// engine (standing where a word processor's instance stood) and one current
/// document. No operation throws: each reports its failure through the
/// prompter, as its contract says, and returns what it has. Documents are
/// read, never written; closing always discards edits.
class WordWizard {
public:
    /// Reads a file into a document; readDocument unless a test supplies another.
    using DocumentLoader = std::function<ReadResult(const std::filesystem::path&, const ReadOptions&)>;

    explicit WordWizard(Prompter& prompter, ReadOptions options = {}, DocumentLoader loader = {});

    /// Starts a new session: minimised, then shown or hidden as asked; clears
    /// the view-reset busy flag. The current document, if any, stays open.
    void OpenWord(Visibility visible);
    /// Maximises the session's window. Without a session it shows its own
    /// report (title "ERROR", the description and the error number).
    void MaxWord();
    /// Starts a new visible session and opens the file in it. False, without
    /// a message, when the file cannot be opened.
    bool OpenDocument(const std::filesystem::path& file, OpenMode mode);
    /// Opens the file in the running session and makes it the current
    /// document. False after an error, reported with "-Opening DOC-" and naming the file.
    bool openJustDoc(const std::filesystem::path& file, OpenMode mode);
    /// Closes the current document without saving. False, without a
    /// message, when there is none.
    bool CloseDocument();
    /// Ends the session without saving; both the session and the document
    /// are gone afterwards, even when ending failed (reported with
    /// "-Closing The Document Engine-").
    void CompleteClose();

    /// The view reset run before each measurement. Our engine has no panes
    /// and no view types, so there is nothing to close or switch; the busy
    /// flag keeps its rule (a reset that starts while it is set only clears it).
    void resetView();

    /// Shows the error report for a failed operation.
    void reportError(std::string_view description, std::string_view locationTag);

    bool hasSession() const { return m_session; }
    bool visible() const { return m_visible; }
    WindowState windowState() const { return m_windowState; }
    bool viewResetBusy() const { return m_viewResetBusy; }
    /// The current document, or null.
    DocumentAccess* document() { return m_document.get(); }
    const std::filesystem::path& documentPath() const { return m_documentPath; }
    /// The engine's version text. It never begins with "8", the version of
    /// the one word-processor generation the measurements treat specially.
    std::string versionText() const;

    /// The layout for lines and pages, given to every document opened; not owned.
    void setLayoutProvider(LayoutProvider* layout);
    Prompter& prompter() { return m_prompter; }

private:
    /// Reads the file; on failure sets `error` to a description naming the file.
    std::unique_ptr<DocumentAccess> load(const std::filesystem::path& file, std::string& error);

    Prompter& m_prompter;
    ReadOptions m_options;
    DocumentLoader m_loader;
    LayoutProvider* m_layout = nullptr;
    bool m_session = false;
    bool m_visible = false;
    WindowState m_windowState = WindowState::Normal;
    bool m_viewResetBusy = false;
    std::unique_ptr<DocumentAccess> m_document;
    std::filesystem::path m_documentPath;
};

} // namespace qm::engine
