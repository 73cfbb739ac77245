// Messages of the cores shown as Qt message boxes, from any thread.
#pragma once

#include "engine/Prompter.h"

#include <QMessageBox>
#include <QPointer>

#include <memory>

namespace qm::ui {

/// Shows each message in a modal QMessageBox with its exact title, text and
/// icon; "\r" in a text breaks the line as character 13 did.
class QtPrompter : public Prompter {
public:
    explicit QtPrompter(QWidget* parent = nullptr) : m_parent(parent) {}

    MessageAnswer show(const Message& message) override;
    void beep() override;

    /// The box as it will be shown, not yet executed.
    static std::unique_ptr<QMessageBox> makeBox(const Message& message, QWidget* parent);
    /// The answer a closed box stands for.
    static MessageAnswer answerOf(const Message& message, int clickedButton);

private:
    QPointer<QWidget> m_parent;
};

/// Forwards to another prompter on the thread of `guiObject`: a count run on
/// a worker thread asks its questions through this, and waits for the answer
/// while the screen shows the box. The GUI thread must not be blocked waiting
/// for that worker at the same time.
class GuiThreadPrompter : public Prompter {
public:
    GuiThreadPrompter(Prompter& inner, QObject* guiObject) : m_inner(inner), m_gui(guiObject) {}

    MessageAnswer show(const Message& message) override;
    void beep() override;

private:
    Prompter& m_inner;
    QObject* m_gui;
};

} // namespace qm::ui
