// Every measurement of a document under a billing profile, on the document-access layer.
#pragma once

#include "engine/wizard/WordWizard.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qm::engine {

/// Reads one key of a profile: (profile name, key, the reader's default) →
/// the stored text or the default. Read at the moment a measurement needs it.
using ProfileKeyReader =
    std::function<std::string(std::string_view profile, std::string_view key, std::string_view defaultValue)>;

/// The parts of the billed-line figure, for a client who checks a bill line by line.
struct LineBreakdown {
    int64_t characters = 0;
    bool charactersWithSpaces = false;
    int64_t caps = 0;
    int64_t tabs = 0;
    int64_t formatting = 0;
    int64_t returns = 0;
    /// Each switched-on formatting measurement and what it added, in order.
    std::vector<std::pair<std::string, double>> formattingParts;
    int64_t charactersPerLine = 0;
    double lines = 0;
};

/// The measurements of the current document of a WordWizard session. Each
/// runs the view reset first where it always has, reads its rules from the
/// profile named by `currentProfile` when it runs (the main screen's profile
/// box), walks headers and footers by the traversal keys, undoes its own
/// counting edits, and never throws: a failure is reported through the
/// session's error report with the measurement's location tag, and what had
/// been counted so far is returned.
class Measurements {
public:
    Measurements(WordWizard& wizard, ProfileKeyReader readKey, std::function<std::string()> currentProfile);

    // Character, word and line counts.
    int64_t CountWords(std::string_view text = {});
    int64_t CountChar(std::string_view text = {});
    int64_t CountCharWspace(std::string_view text = {});
    int64_t CountReturnAndEnters();
    int64_t CountPages();
    int64_t CountCharTemp();
    int64_t CountCharTempHead();
    int64_t CountCharTempFooter();
    int64_t CountCharTempHeadByIndex(size_t section, int index);
    int64_t CountCharTempFooterByIndex(size_t section, int index);
    int64_t CountGrossLines();

    // Formatting counts: characters with a format, and switches of a format.
    double CountBoldchars();
    double CountItalicChars();
    double CountUnderlinechars();
    double CountCapsChars();
    double CountBoldCharsONOFF();
    double CountUnderLineCharsONOFF();
    double CountItalicCharsONOFF();
    double CountCapsCharsONOFF();
    double CountSuperScriptCharsONOFF();
    double CountSubScriptCharsONOFF();

    // Structure counts and the clean-up edits of the gross-line count.
    double CountNumTables();
    double CountTabs();
    void clearPageBreaks();
    void clearSpaceOnlyLines();
    void clearBlankLines();

    /// The billed lines of the document under `profileName`: characters plus
    /// the switched-on extras, divided by the characters per line.
    double Countlines(std::string_view text, const std::string& profileName, LineBreakdown* breakdown = nullptr);

private:
    enum class Unit { Words, Characters };
    enum class SwitchFormat { Bold, Underline, Italic, Caps, Superscript, Subscript };
    enum class CharFormat { Bold, Italic, Underline };

    DocumentAccess& document();
    /// Runs one measurement under its error trap (see the class comment).
    /// While it runs, and any measurement it calls, each profile key is read
    /// once: the settings layer opens the profile's file on every read, and
    /// a billed-line count needs some keys a dozen times.
    template <class Body>
    void run(std::string_view tag, Body&& body);
    std::string readKey(std::string_view profile, std::string_view name, std::string_view defaultValue);
    std::string key(std::string_view name, std::string_view defaultValue);
    bool flag(std::string_view name);
    double amount(std::string_view name, std::string_view defaultValue);

    /// Calls `measure` for every header and footer range the traversal keys
    /// name, in order, adding what each returns.
    template <class Measure>
    void traverseHeadersAndFooters(Measure&& measure);
    /// Calls `edit` on every header and footer range of every section when
    /// the profile traverses them all.
    template <class Edit>
    void forEveryHeaderAndFooter(Edit&& edit);
    int64_t replaceAndCompare(Range& range, std::string_view pattern, std::string_view marker, Unit unit,
                              std::optional<std::pair<FontCriterion, CriterionState>> font = std::nullopt);
    int64_t replaceAndCompareDocument(std::string_view pattern, std::string_view marker,
                                      std::optional<FontCriterion> font = std::nullopt);
    int64_t statistic(BuiltInProperty property);
    double countSwitches(SwitchFormat format, std::string_view amountKey, std::string_view amountDefault);
    double countFormattedCharacters(CharFormat format, std::string_view amountKey);
    int64_t visibleCharacters(Range range);

    WordWizard& m_wizard;
    ProfileKeyReader m_readKey;
    std::function<std::string()> m_currentProfile;
    std::string m_profile; // the profile a measurement reads, fixed when it starts
    /// Keys read by the measurement running: a few dozen, looked up in turn.
    struct KeyRead {
        std::string profile, key, defaultValue, value;
    };
    std::vector<KeyRead> m_keysRead;
    int m_running = 0; ///< measurements running, one inside another
};

} // namespace qm::engine
