// The one seam through which the cores show messages and ask questions.
#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace qm {

enum class MessageIcon { None, Information, Exclamation, Critical, Question };
enum class MessageButtons { Ok, OkCancel, YesNo, YesNoCancel };
enum class MessageAnswer { Ok, Cancel, Yes, No };

/// A message box as the user sees it: the exact title, text and icon.
struct Message {
    std::string title;
    std::string text; ///< line breaks as "\r" where the product breaks a line with character 13
    MessageIcon icon = MessageIcon::None;
    MessageButtons buttons = MessageButtons::Ok;
    /// Whether Enter presses the last button (Cancel, No) rather than the
    /// first: questions whose "yes" loses something default to keeping it.
    bool defaultIsLast = false;
    bool operator==(const Message&) const = default;
};

/// The error report every failing operation shows: title "Error", the
/// critical icon, a first line that says what happened and what to do, a line
/// break and "Error Message <<" with the description and ">>". The
/// operation's location tag (such as "-Opening DOC-"), when given, follows on
/// its own line. An operation that fails returns what it has and the work
/// around it goes on, which is what the first line tells the user.
/// The first line of every error report.
inline constexpr std::string_view kErrorReportLead =
    "Quillmeter Could Not Finish This Step And Went On With The Rest. If This Error Keeps Occurring, "
    "Please Report It With The Message Below To Quillmeter Support.";

inline Message errorReport(std::string_view description, std::string_view locationTag = {})
{
    Message m;
    m.title = "Error";
    m.icon = MessageIcon::Critical;
    m.buttons = MessageButtons::Ok;
    m.text = kErrorReportLead;
    m.text += "\rError Message <<";
    m.text += description;
    m.text += ">>";
    if (!locationTag.empty()) {
        m.text += "\r";
        m.text += locationTag;
    }
    return m;
}

/// Shows messages and returns the user's answer. The GUI shows dialogs, the
/// command line prints to stderr and answers from its flags, tests record.
class Prompter {
public:
    virtual ~Prompter() = default;
    virtual MessageAnswer show(const Message& message) = 0;
    /// The system's alert sound, where there is one.
    virtual void beep() {}
};

/// Records every message and answers from a script (Ok, or the first choice,
/// when the script runs out). For tests and for collecting a run's messages.
class RecordingPrompter : public Prompter {
public:
    MessageAnswer show(const Message& message) override
    {
        messages.push_back(message);
        if (answers.empty())
            return message.buttons == MessageButtons::YesNo || message.buttons == MessageButtons::YesNoCancel
                       ? MessageAnswer::Yes
                       : MessageAnswer::Ok;
        MessageAnswer a = answers.front();
        answers.pop_front();
        return a;
    }
    void beep() override { ++beeps; }

    std::vector<Message> messages;
    std::deque<MessageAnswer> answers;
    int beeps = 0;
};

} // namespace qm
