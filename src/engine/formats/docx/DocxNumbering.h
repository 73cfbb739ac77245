// List numbering: the label text Word shows in front of a numbered or bulleted paragraph.
#pragma once

#include "engine/formats/docx/DocxStyles.h"

#include <pugixml.hpp>

#include <array>
#include <map>
#include <string>

namespace qm::engine::docx {

/// The label of one paragraph, with the properties its level brings.
struct ListLabel {
    std::u16string text;  ///< empty: the paragraph shows no label
    ParaProps para;       ///< the level's indents, below the paragraph's own
    RunProps run;         ///< the level's label formatting
    bool numbered = false;
};

/// The numbering part, with the counters of the lists read so far. Lists
/// count per abstract definition, so that two list instances sharing one
/// definition continue each other, as Word numbers them; a level override
/// with a start value restarts the list where that instance is first used.
class Numbering {
public:
    /// One level of a list definition.
    struct Level {
        int32_t start = 1;
        std::string format = "decimal";
        std::string text;
        int32_t restart = -1; ///< lvlRestart; -1: restart after any higher level
        bool legal = false;
        ParaProps para;
        RunProps run;
    };
    void load(const pugi::xml_node& numberingRoot, const ThemeFonts& theme);
    /// Advances the counters for a paragraph at `level` of list `numId` and
    /// returns its label. numId 0 or an unknown list gives no label.
    ListLabel next(int32_t numId, int32_t level);

private:
    struct Definition {
        std::array<Level, 9> levels;
    };
    struct Instance {
        std::string abstractId;
        std::array<std::optional<int32_t>, 9> startOverride;
        std::array<std::optional<Level>, 9> levelOverride;
        bool used = false;
    };
    struct Counters {
        std::array<int32_t, 9> value{};
        std::array<bool, 9> started{};
    };

    std::map<std::string, Definition> m_definitions;
    std::map<int32_t, Instance> m_instances;
    std::map<std::string, Counters> m_counters;
};

/// A number in one of Word's list formats ("decimal" 3 → "3", "lowerRoman" 4
/// → "iv", "upperLetter" 28 → "BB"). Unknown formats read as decimal.
std::u16string formatListNumber(int32_t number, std::string_view format);

} // namespace qm::engine::docx
