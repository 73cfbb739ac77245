// The count run's steps, messages and clean-up.
#include "app/CountRun.h"

#include "browser/FileDates.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

namespace qm::app {

namespace {

// A profile value that is not what its key needs (a rate that is not an
// amount): reported as a profile error, as a type mismatch always was.
struct ProfileValueError : std::runtime_error {
    ProfileValueError() : std::runtime_error("Type mismatch") {}
};

constexpr int typeMismatchNumber = 13;

std::string trimmed(std::string_view s)
{
    while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front())))
        s.remove_prefix(1);
    while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back())))
        s.remove_suffix(1);
    return std::string(s);
}

bool flagOn(const ProfileReader& profile, std::string_view key) { return profile(key, "0") == "1"; }

struct Extra {
    const char* key;
    Measurement measurement;
};

// The extras of the two character units, each in the order the run has
// always added them; the orders differ on purpose.
constexpr Extra characterExtras[] = {
    {"CountReturnAndEnter", Measurement::ReturnAndEnters},
    {"CountBoldCharAs2", Measurement::BoldChars},
    {"BoldONOFF2", Measurement::BoldOnOff},
    {"CountUnderlineCharAs2", Measurement::UnderlineChars},
    {"UnderLineONOFF2", Measurement::UnderlineOnOff},
    {"ItalicONOFF2", Measurement::ItalicOnOff},
    {"CountItalicCharAs2", Measurement::ItalicChars},
    {"SuperScriptCharsONOFF", Measurement::SuperscriptOnOff},
    {"SubScriptCharsONOFF", Measurement::SubscriptOnOff},
    {"CountTables", Measurement::Tables},
    {"CountTabs", Measurement::Tabs},
    {"CountCaps", Measurement::CapsChars},
};
constexpr Extra charactersWithSpacesExtras[] = {
    {"CountBoldCharAs2", Measurement::BoldChars},
    {"BoldONOFF2", Measurement::BoldOnOff},
    {"UnderLineONOFF2", Measurement::UnderlineOnOff},
    {"CountUnderlineCharAs2", Measurement::UnderlineChars},
    {"ItalicONOFF2", Measurement::ItalicOnOff},
    {"CountItalicCharAs2", Measurement::ItalicChars},
    {"SuperScriptCharsONOFF", Measurement::SuperscriptOnOff},
    {"SubScriptCharsONOFF", Measurement::SubscriptOnOff},
    {"CountTables", Measurement::Tables},
    {"CountTabs", Measurement::Tabs},
    {"CountCaps", Measurement::CapsChars},
    {"CountReturnAndEnter", Measurement::ReturnAndEnters},
};

// `CountCapsONOFF` is a stored switch that no unit adds: the run reads it
// and deliberately makes no call for it.

std::string fileDateLine(const ProfileReader& profile, const std::string& path)
{
    const std::string which = profile("ShowFileCreateInfo", "NONE");
    struct Kind {
        const char* setting;
        const char* label;
        browser::FileDateKind kind;
    };
    static constexpr Kind kinds[] = {
        {"Date Created", "|Date Created ", browser::FileDateKind::Created},
        {"Date Last Modified", "|Date Last Modified ", browser::FileDateKind::Modified},
        {"Date Last Accessed", "|Date Last Accessed ", browser::FileDateKind::Accessed},
    };
    for (const Kind& k : kinds) {
        if (which == k.setting) {
            const auto date = browser::fileDate(path, k.kind);
            return std::string("\r") + k.label + (date ? browser::formatDay(date->day) : "") + "|";
        }
    }
    // "NONE" (the readers' default) and the editor's "None" both mean no date.
    return {};
}

} // namespace

CountRun::CountRun(CountingEngine& engine, Prompter& prompter, RunControl control, CurrencyFormat currencyFormat)
    : m_engine(engine), m_prompter(prompter), m_control(std::move(control)), m_currencyFormat(std::move(currencyFormat))
{
}

void CountRun::showProgress(const std::string& text)
{
    if (progress)
        progress(text);
}

void CountRun::cleanUp(const ChaseList& list)
{
    m_engine.resizeWordBack();
    m_engine.CompleteClose();
    showProgress(list.counterText());
}

size_t countedDocuments(std::span<const ResultRow> rows)
{
    return static_cast<size_t>(std::count_if(rows.begin(), rows.end(), [](const ResultRow& row) {
        return row.count.find_first_not_of(" \t") != std::string::npos;
    }));
}

RunResult CountRun::run(const ChaseList& list, const std::string& profileName, const ProfileReader& profile,
                        RunScope scope)
{
    RunResult result;
    if (list.empty()) {
        m_prompter.show(
            Message{"Traverse", "There Are No Files To Traverse", MessageIcon::Information, MessageButtons::Ok});
        return result;
    }
    if (m_control.stop)
        m_control.stop->clear();
    if (profileName.empty()) {
        m_prompter.show(
            Message{"Profile", "Select A Profile From The Profile's List", MessageIcon::None, MessageButtons::Ok});
        showProgress(list.counterText());
        return result;
    }
    try {
        if (profile("DonePer", "").empty()) {
            m_prompter.show(Message{"Profile Error", "You Must Enter A \"Done BY\" In This Profile.",
                                    MessageIcon::Information, MessageButtons::Ok});
            cleanUp(list);
            result.ending = RunEnding::ProfileError;
            return result;
        }
        const auto bill = parseCurrency(profile("BillAmount", "0.00"));
        if (!bill)
            throw ProfileValueError();
        result.billAmount = *bill;
        m_engine.OpenWord(false);
        result.ending = RunEnding::Finished;
        for (size_t index = 0; index < list.size(); ++index) {
            m_control.pump();
            const ChaseList::Entry& entry = list[index];
            if (scope == RunScope::SelectedEntries && !entry.selected)
                continue;
            showProgress("Files To Count:" + std::to_string(index + 1) + " of " + std::to_string(list.size()));
            const std::string path = trimmed(entry.path);
            if (documentStarted)
                documentStarted(index, list.size(), path);
            if (!browser::fileExists(path)) {
                m_prompter.show(Message{"File Not Found",
                                        "File:" + path + "\rNo Longer Exists. Traversing Will Now Stop.",
                                        MessageIcon::Critical, MessageButtons::Ok});
                if (m_control.stop)
                    m_control.stop->set();
                result.ending = RunEnding::Stopped;
                break;
            }
            if (m_engine.openJustDoc(path, true)) {
                ChaseList::Entry measured = entry;
                measured.path = path;
                measureDocument(measured, profileName, profile, result);
                m_engine.CloseDocument();
            } else {
                result.unopened.push_back(path);
            }
            if (m_control.stopRequested()) {
                result.ending = RunEnding::Stopped;
                break;
            }
        }
    } catch (const ProfileValueError& e) {
        m_prompter.show(Message{"Profile Error",
                                std::string("There Is An Error With The Profile, Please Check The Profile.\r") +
                                    "Error Message <<" + e.what() + " number " + std::to_string(typeMismatchNumber) +
                                    ">>",
                                MessageIcon::None, MessageButtons::Ok});
        result.ending = RunEnding::ProfileError;
    } catch (const std::exception& e) {
        m_prompter.show(errorReport(e.what()));
        result.ending = RunEnding::Failed;
    }
    cleanUp(list);
    if (result.ending == RunEnding::Finished && report)
        report(result);
    return result;
}

bool CountRun::measureDocument(const ChaseList::Entry& entry, const std::string& profileName,
                               const ProfileReader& profile, RunResult& result)
{
    const std::string unit = profile("DonePer", "");
    const std::string& path = entry.path;
    auto measure = [&](Measurement m) { return m_engine.measure(m, path, profileName); };
    auto addExtras = [&](auto& extras, double count) {
        for (const Extra& extra : extras)
            if (flagOn(profile, extra.key))
                count += measure(extra.measurement);
        profile("CountCapsONOFF", "0");
        return count;
    };

    double count = 0;
    bool roundable = true;
    if (unit == "Gross Line") {
        count = measure(Measurement::GrossLines);
        roundable = false;
        result.unitLabel = "Gross Line";
    } else if (unit == "Character") {
        count = addExtras(characterExtras, measure(Measurement::Characters));
        result.unitLabel = "Character";
    } else if (unit == "Character And Space" || unit == "Character And Spaces") {
        count = addExtras(charactersWithSpacesExtras, measure(Measurement::CharactersWithSpaces));
        result.unitLabel = "Character"; // the same label as the character unit, as users know it
    } else if (unit == "Words" || unit == "Word") {
        count = measure(Measurement::Words);
        result.unitLabel = "Words";
    } else if (unit == "Line" || unit == "Lines") {
        count = measure(Measurement::Lines);
        result.unitLabel = "Lines";
    } else if (unit == "Page") {
        count = measure(Measurement::Pages);
        result.unitLabel = "Page";
    } else {
        return false; // an unknown unit measures nothing and fills no row
    }

    ResultRow row;
    if (roundable && flagOn(profile, "RoundCountToNearestWholeNumber")) {
        count = roundHalfEven(count);
        row.count = plainNumber(count); // "##0": a whole number without separators
    } else {
        row.count = plainNumber(count);
    }
    row.countValue = count;
    row.amountValue = Currency::fromDouble(result.billAmount.toDouble() * count);
    row.amount = formatCurrency(row.amountValue, m_currencyFormat);
    row.name = entry.display + fileDateLine(profile, path);
    row.path = path;
    result.rows.push_back(std::move(row));
    return true;
}

} // namespace qm::app
