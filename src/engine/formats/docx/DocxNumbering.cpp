// List labels from numbering definitions and running counters.
#include "engine/formats/docx/DocxNumbering.h"

#include "engine/formats/docx/XmlPart.h"
#include "engine/model/Unicode.h"

#include <algorithm>

namespace qm::engine::docx {

using xml::child;
using xml::is;
using xml::value;

namespace {

std::u16string ascii(const std::string& s)
{
    return std::u16string(s.begin(), s.end());
}

std::string roman(int32_t n, bool upper)
{
    if (n <= 0 || n >= 4000)
        return std::to_string(n);
    static const std::pair<int, const char*> table[] = {{1000, "m"}, {900, "cm"}, {500, "d"}, {400, "cd"},
                                                        {100, "c"},  {90, "xc"},  {50, "l"},  {40, "xl"},
                                                        {10, "x"},   {9, "ix"},   {5, "v"},   {4, "iv"},
                                                        {1, "i"}};
    std::string out;
    for (auto [v, s] : table)
        while (n >= v) {
            out += s;
            n -= v;
        }
    if (upper)
        std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::toupper(c); });
    return out;
}

Numbering::Level readLevel(const pugi::xml_node& lvl, const ThemeFonts& theme)
{
    Numbering::Level level;
    if (auto v = xml::toInt(value(child(lvl, "start"), "val")))
        level.start = xml::clampInt32(*v);
    if (pugi::xml_node f = child(lvl, "numFmt"))
        level.format = value(f, "val");
    if (pugi::xml_node t = child(lvl, "lvlText"))
        level.text = value(t, "val");
    if (auto v = xml::toInt(value(child(lvl, "lvlRestart"), "val")))
        level.restart = xml::clampInt32(*v);
    if (pugi::xml_node l = child(lvl, "isLgl"))
        level.legal = onOff(l);
    if (pugi::xml_node pPr = child(lvl, "pPr"))
        level.para = parseParaProps(pPr);
    if (pugi::xml_node rPr = child(lvl, "rPr"))
        level.run = parseRunProps(rPr, theme);
    return level;
}

} // namespace

std::u16string formatListNumber(int32_t n, std::string_view format)
{
    if (format == "none" || format == "bullet")
        return {};
    if (format == "lowerRoman" || format == "upperRoman")
        return ascii(roman(n, format == "upperRoman"));
    if ((format == "lowerLetter" || format == "upperLetter") && n > 0) {
        // Word repeats the letter: 27 is "aa", 53 is "aaa".
        const char letter = static_cast<char>((format == "lowerLetter" ? 'a' : 'A') + (n - 1) % 26);
        return std::u16string(static_cast<size_t>(std::min((n - 1) / 26 + 1, 50)), static_cast<char16_t>(letter));
    }
    if (format == "decimalZero" && n >= 0 && n < 10)
        return u"0" + ascii(std::to_string(n));
    if (format == "ordinal") {
        const int32_t tens = n % 100;
        const char* suffix = (tens >= 11 && tens <= 13) ? "th"
                             : n % 10 == 1             ? "st"
                             : n % 10 == 2             ? "nd"
                             : n % 10 == 3             ? "rd"
                                                       : "th";
        return ascii(std::to_string(n) + suffix);
    }
    return ascii(std::to_string(n));
}

void Numbering::load(const pugi::xml_node& root, const ThemeFonts& theme)
{
    for (pugi::xml_node e = root.first_child(); e; e = e.next_sibling()) {
        if (is(e, "abstractNum")) {
            Definition def;
            for (pugi::xml_node lvl = e.first_child(); lvl; lvl = lvl.next_sibling()) {
                if (!is(lvl, "lvl"))
                    continue;
                auto ilvl = xml::toInt(value(lvl, "ilvl"));
                if (ilvl && *ilvl >= 0 && *ilvl < 9)
                    def.levels[static_cast<size_t>(*ilvl)] = readLevel(lvl, theme);
            }
            m_definitions.try_emplace(std::string(value(e, "abstractNumId")), std::move(def));
        } else if (is(e, "num")) {
            auto id = xml::toInt(value(e, "numId"));
            if (!id)
                continue;
            Instance inst;
            inst.abstractId = value(child(e, "abstractNumId"), "val");
            for (pugi::xml_node o = e.first_child(); o; o = o.next_sibling()) {
                if (!is(o, "lvlOverride"))
                    continue;
                auto ilvl = xml::toInt(value(o, "ilvl"));
                if (!ilvl || *ilvl < 0 || *ilvl >= 9)
                    continue;
                const size_t l = static_cast<size_t>(*ilvl);
                if (auto v = xml::toInt(value(child(o, "startOverride"), "val")))
                    inst.startOverride[l] = xml::clampInt32(*v);
                if (pugi::xml_node lvl = child(o, "lvl"))
                    inst.levelOverride[l] = readLevel(lvl, theme);
            }
            m_instances.try_emplace(xml::clampInt32(*id), std::move(inst));
        }
    }
}

ListLabel Numbering::next(int32_t numId, int32_t levelIndex)
{
    ListLabel label;
    auto inst = m_instances.find(numId);
    if (numId <= 0 || inst == m_instances.end())
        return label;
    auto def = m_definitions.find(inst->second.abstractId);
    if (def == m_definitions.end())
        return label;
    const size_t lvl = static_cast<size_t>(std::clamp(levelIndex, 0, 8));
    auto levelAt = [&](size_t l) -> const Level& {
        return inst->second.levelOverride[l] ? *inst->second.levelOverride[l] : def->second.levels[l];
    };
    auto startAt = [&](size_t l) {
        return inst->second.startOverride[l] ? *inst->second.startOverride[l] : levelAt(l).start;
    };

    Counters& c = m_counters[inst->second.abstractId];
    if (!inst->second.used) {
        inst->second.used = true;
        for (size_t l = 0; l < 9; ++l)
            if (inst->second.startOverride[l])
                c.started[l] = false;
    }
    c.value[lvl] = c.started[lvl] ? c.value[lvl] + 1 : startAt(lvl);
    c.started[lvl] = true;
    for (size_t l = lvl + 1; l < 9; ++l) {
        const int32_t restart = levelAt(l).restart;
        if (restart != 0 && (restart < 0 || static_cast<size_t>(restart) > lvl))
            c.started[l] = false;
    }

    const Level& level = levelAt(lvl);
    label.para = level.para;
    label.run = level.run;
    label.numbered = level.format != "bullet" && level.format != "none";
    const std::u16string pattern = utf8ToUtf16(level.text);
    for (size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == u'%' && i + 1 < pattern.size() && pattern[i + 1] >= u'1' && pattern[i + 1] <= u'9') {
            const size_t ref = static_cast<size_t>(pattern[i + 1] - u'1');
            const int32_t n = c.started[ref] ? c.value[ref] : startAt(ref);
            std::string_view fmt = levelAt(ref).format;
            if (level.legal && fmt != "none")
                fmt = "decimal";
            if (fmt == "bullet")
                fmt = "decimal";
            label.text += formatListNumber(n, fmt);
            ++i;
        } else {
            label.text += pattern[i];
        }
    }
    if (label.text.size() > 256)
        label.text.resize(256);
    return label;
}

} // namespace qm::engine::docx
