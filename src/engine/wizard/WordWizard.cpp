// The engine session's lifecycle and the common error report.
#include "engine/wizard/WordWizard.h"

#include <exception>
#include <new>

#ifndef QM_VERSION
#define QM_VERSION "0"
#endif

namespace qm::engine {

namespace {

constexpr std::string_view NoSessionText = "the counting engine has not been started";

std::string describeException(const std::exception& e) { return std::string("internal failure: ") + e.what(); }

std::string quoted(const std::filesystem::path& file) { return "\"" + file.string() + "\""; }

} // namespace

WordWizard::WordWizard(Prompter& prompter, ReadOptions options, DocumentLoader loader)
    : m_prompter(prompter), m_options(std::move(options)), m_loader(std::move(loader))
{
    if (!m_loader)
        m_loader = [](const std::filesystem::path& file, const ReadOptions& o) { return readDocument(file, o); };
}

void WordWizard::reportError(std::string_view description, std::string_view locationTag)
{
    m_prompter.show(errorReportMessage(description, locationTag));
}

std::string WordWizard::versionText() const { return "Quillmeter engine " QM_VERSION; }

void WordWizard::setLayoutProvider(LayoutProvider* layout)
{
    m_layout = layout;
    if (m_document)
        m_document->setLayoutProvider(layout);
}

void WordWizard::OpenWord(Visibility visible)
{
    // Starting our own engine cannot fail; "-Opening Word-" stays the tag for
    // callers that report a failure around it.
    m_session = true;
    m_windowState = WindowState::Minimized;
    m_visible = visible == Visibility::Visible;
    m_viewResetBusy = false;
}

void WordWizard::MaxWord()
{
    if (!m_session) {
        Message m;
        m.title = "ERROR";
        m.icon = MessageIcon::Critical;
        m.text = "Err In Opening The Document Engine: " + std::string(NoSessionText) +
                 " err number=" + std::to_string(static_cast<int>(EngineErrorNumber::NoSession));
        m_prompter.show(m);
        return;
    }
    m_windowState = WindowState::Maximized;
}

std::unique_ptr<DocumentAccess> WordWizard::load(const std::filesystem::path& file, std::string& error)
{
    try {
        ReadResult result = m_loader(file, m_options);
        if (!result.ok()) {
            error = "cannot open " + quoted(file) + ": " +
                    (result.error.empty() ? std::string("the document could not be read") : result.error);
            return nullptr;
        }
        auto access = std::make_unique<DocumentAccess>(std::move(result.document));
        access->setLayoutProvider(m_layout);
        return access;
    } catch (const std::bad_alloc&) {
        error = "cannot open " + quoted(file) + ": not enough memory to read it";
    } catch (const std::exception& e) {
        error = "cannot open " + quoted(file) + ": " + describeException(e);
    } catch (...) {
        error = "cannot open " + quoted(file) + ": internal failure";
    }
    return nullptr;
}

bool WordWizard::OpenDocument(const std::filesystem::path& file, OpenMode mode)
{
    (void)mode; // documents are only ever read, whatever the mode asked
    m_session = true;
    m_visible = true;
    m_windowState = WindowState::Normal;
    std::string error;
    std::unique_ptr<DocumentAccess> doc = load(file, error);
    if (!doc)
        return false;
    m_document = std::move(doc);
    m_documentPath = file;
    return true;
}

bool WordWizard::openJustDoc(const std::filesystem::path& file, OpenMode mode)
{
    (void)mode;
    if (!m_session) {
        reportError("cannot open " + quoted(file) + ": " + std::string(NoSessionText), "-Opening DOC-");
        return false;
    }
    std::string error;
    std::unique_ptr<DocumentAccess> doc = load(file, error);
    if (!doc) {
        reportError(error, "-Opening DOC-");
        return false;
    }
    m_document = std::move(doc);
    m_documentPath = file;
    return true;
}

bool WordWizard::CloseDocument()
{
    if (!m_document)
        return false;
    // Closing discards every edit: the document is never saved.
    m_document.reset();
    m_documentPath.clear();
    return true;
}

void WordWizard::CompleteClose()
{
    const bool hadSession = m_session;
    m_document.reset();
    m_documentPath.clear();
    m_session = false;
    m_visible = false;
    m_windowState = WindowState::Normal;
    if (!hadSession)
        reportError(NoSessionText, "-Closing The Document Engine-");
}

void WordWizard::resetView()
{
    if (m_viewResetBusy) {
        m_viewResetBusy = false;
        return;
    }
    m_viewResetBusy = true;
    // No special pane to close, no view type to switch, no pane to show the
    // main document in: the engine always measures the main document as laid out.
    m_viewResetBusy = false;
}

} // namespace qm::engine
