// Messages the screens would show in a box, printed on stderr with their title.
#pragma once

#include "engine/Prompter.h"

#include <algorithm>
#include <mutex>
#include <ostream>
#include <vector>

namespace qm::cli {

inline const char* iconName(MessageIcon icon)
{
    switch (icon) {
    case MessageIcon::Information: return "information";
    case MessageIcon::Exclamation: return "exclamation";
    case MessageIcon::Critical: return "critical";
    case MessageIcon::Question: return "question";
    case MessageIcon::None: break;
    }
    return "none";
}

/// Shows what the screen would put in a message box on stderr, with its
/// title, and answers as the default button would (OK, or Yes).
class StderrPrompter : public Prompter {
public:
    explicit StderrPrompter(std::ostream& err) : m_err(err) {}

    MessageAnswer show(const Message& message) override
    {
        messages.push_back(message);
        std::string text = message.text;
        std::replace(text.begin(), text.end(), '\r', '\n');
        m_err << message.title << ": " << text << "\n";
        return message.buttons == MessageButtons::YesNo || message.buttons == MessageButtons::YesNoCancel
                   ? MessageAnswer::Yes
                   : MessageAnswer::Ok;
    }

    std::vector<Message> messages;

private:
    std::ostream& m_err;
};

/// Passes messages on one at a time, for engines on several threads.
class LockedPrompter : public Prompter {
public:
    explicit LockedPrompter(Prompter& inner) : m_inner(inner) {}
    MessageAnswer show(const Message& message) override
    {
        const std::lock_guard lock(m_mutex);
        return m_inner.show(message);
    }

private:
    std::mutex m_mutex;
    Prompter& m_inner;
};

} // namespace qm::cli
