// Word 2003 XML (<w:wordDocument>): rewritten into the parts of a Word package and read by the .docx reader.
//
// Word 2003's XML shares most of its vocabulary with the later package
// format (w:p, w:r, w:t, w:tbl, w:rPr, w:pPr, w:sectPr, styles), so the
// reader moves what differs into the package's shape and lets the .docx
// reader do the rest: the wx:sect and wx:sub-section wrappers are opened,
// headers, footers and notes written inline move to parts of their own with
// references, w:lists becomes numbering (w:listDef and w:list as
// w:abstractNum and w:num, w:listPr as w:numPr, the old number-format codes
// as names), and the stored statistics become the extended properties.
#include "engine/formats/Reader.h"
#include "engine/formats/docx/DocxReader.h"
#include "engine/formats/docx/XmlPart.h"

#include <map>
#include <pugixml.hpp>
#include <sstream>
#include <vector>

namespace qm::engine {

namespace {

constexpr const char* MainNs = "http://schemas.openxmlformats.org/wordprocessingml/2006/main";
constexpr const char* RelNs = "http://schemas.openxmlformats.org/officeDocument/2006/relationships";
constexpr const char* RelBase = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/";

std::string print(const pugi::xml_node& node)
{
    std::ostringstream out;
    node.print(out, "", pugi::format_raw | pugi::format_no_declaration);
    return out.str();
}

// Word 2003's number-format codes (w:nfc) as the package's names.
const char* numberFormatName(std::string_view code)
{
    static constexpr std::pair<std::string_view, const char*> names[] = {
        {"0", "decimal"},      {"1", "upperRoman"}, {"2", "lowerRoman"},   {"3", "upperLetter"},
        {"4", "lowerLetter"},  {"5", "ordinal"},    {"6", "cardinalText"}, {"7", "ordinalText"},
        {"22", "decimalZero"}, {"23", "bullet"},    {"255", "none"}};
    for (const auto& [nfc, name] : names)
        if (nfc == code)
            return name;
    return "decimal";
}

class Converter {
public:
    Converter(pugi::xml_node root, uint32_t maxDepth) : m_root(root), m_maxDepth(maxDepth) {}

    std::map<std::string, std::string> parts()
    {
        const pugi::xml_node body = xml::child(m_root, "body");
        pugi::xml_document document;
        pugi::xml_node top = document.append_child("w:document");
        top.append_attribute("xmlns:w") = MainNs;
        top.append_attribute("xmlns:r") = RelNs;
        pugi::xml_node newBody = top.append_child("w:body");
        if (body)
            copyBlocks(body, newBody, 0);
        // The last section's properties close the body, as in a package.
        if (pugi::xml_node last = lastSectionProperties(newBody))
            newBody.append_move(last);
        m_parts["word/document.xml"] = declaration + print(top);
        addStyles();
        addNumbering();
        addNotes();
        addProperties();
        m_parts["_rels/.rels"] =
            declaration + R"(<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)" +
            R"(<Relationship Id="rId1" Type=")" + RelBase + R"(officeDocument" Target="word/document.xml"/>)" +
            (m_parts.contains("docProps/app.xml")
                 ? R"(<Relationship Id="rId2" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/extended-properties" Target="docProps/app.xml"/>)"
                 : "") +
            "</Relationships>";
        m_parts["word/_rels/document.xml.rels"] = declaration + m_rels + "</Relationships>";
        m_parts["[Content_Types].xml"] = declaration + "<Types/>";
        return std::move(m_parts);
    }

private:
    static inline const std::string declaration = R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)";

    std::string relate(const std::string& type, const std::string& target)
    {
        const std::string id = "rIdW" + std::to_string(++m_relCount);
        m_rels += R"(<Relationship Id=")" + id + R"(" Type=")" + RelBase + type + R"(" Target=")" + target + R"("/>)";
        return id;
    }

    // Copies the body's content, opening the section wrappers, and rewrites
    // what the package spells differently on the way.
    void copyBlocks(const pugi::xml_node& from, pugi::xml_node to, uint32_t depth)
    {
        if (depth > m_maxDepth)
            return;
        for (const pugi::xml_node& n : from.children()) {
            if (n.type() == pugi::node_element && (xml::is(n, "sect") || xml::is(n, "sub-section"))) {
                copyBlocks(n, to, depth + 1);
                continue;
            }
            pugi::xml_node copy = to.append_copy(n);
            rewrite(copy, 0);
        }
    }

    pugi::xml_node lastSectionProperties(pugi::xml_node body)
    {
        pugi::xml_node last;
        for (pugi::xml_node n : body.children())
            if (xml::is(n, "sectPr"))
                last = n;
        return last;
    }

    void rewrite(pugi::xml_node node, uint32_t depth)
    {
        if (depth > m_maxDepth || node.type() != pugi::node_element)
            return;
        if (xml::is(node, "sectPr"))
            moveHeadersAndFooters(node);
        // Word 2003 keeps every space of a text element; the package
        // format keeps edge spaces only when told to.
        if (xml::is(node, "t") && !node.attribute("xml:space"))
            node.append_attribute("xml:space") = "preserve";
        if (xml::is(node, "listPr")) {
            // <w:listPr><w:ilvl/><w:ilfo/></w:listPr> is the package's numPr.
            node.set_name("w:numPr");
            if (pugi::xml_node ilfo = xml::child(node, "ilfo"))
                ilfo.set_name("w:numId");
        }
        if (xml::is(node, "r"))
            if (pugi::xml_node note = xml::child(node, "footnote"); note || (note = xml::child(node, "endnote"))) {
                moveNote(node, note);
                return;
            }
        // Sub-sections and section wrappers also occur inside cells.
        for (pugi::xml_node child = node.first_child(); child;) {
            pugi::xml_node next = child.next_sibling();
            if (child.type() == pugi::node_element && (xml::is(child, "sect") || xml::is(child, "sub-section"))) {
                for (pugi::xml_node inner = child.first_child(); inner;) {
                    pugi::xml_node after = inner.next_sibling();
                    node.insert_move_before(inner, child);
                    inner = after;
                }
                node.remove_child(child);
                next = node.first_child(); // look again from the start: the moved nodes are now children
            } else {
                rewrite(child, depth + 1);
            }
            child = next;
        }
    }

    // <w:hdr w:type="odd"> inside w:sectPr becomes a header part and a
    // w:headerReference; odd is the package's default, even and first stay.
    void moveHeadersAndFooters(pugi::xml_node sectPr)
    {
        std::vector<pugi::xml_node> moved;
        for (pugi::xml_node n : sectPr.children()) {
            const bool header = xml::is(n, "hdr"), footer = xml::is(n, "ftr");
            if (!header && !footer)
                continue;
            std::string type(xml::value(n, "type"));
            if (type == "odd" || type.empty())
                type = "default";
            const std::string kind = header ? "header" : "footer";
            const std::string name = kind + std::to_string(++m_storyCount) + ".xml";
            pugi::xml_document part;
            pugi::xml_node top = part.append_child(header ? "w:hdr" : "w:ftr");
            top.append_attribute("xmlns:w") = MainNs;
            top.append_attribute("xmlns:r") = RelNs;
            for (pugi::xml_node c : n.children())
                rewrite(top.append_copy(c), 0);
            m_parts["word/" + name] = declaration + print(top);
            pugi::xml_node ref = sectPr.prepend_child(header ? "w:headerReference" : "w:footerReference");
            ref.append_attribute("w:type") = type.c_str();
            ref.append_attribute("r:id") = relate(kind, name).c_str();
            moved.push_back(n);
        }
        for (pugi::xml_node n : moved)
            sectPr.remove_child(n);
    }

    // A note written inside its run moves to the notes part; the run keeps
    // a reference to it.
    void moveNote(pugi::xml_node run, pugi::xml_node note)
    {
        const bool foot = xml::is(note, "footnote");
        const std::string id = std::to_string(++m_noteCount);
        std::string& notes = foot ? m_footnotes : m_endnotes;
        pugi::xml_document holder;
        pugi::xml_node copy = holder.append_copy(note);
        copy.set_name(foot ? "w:footnote" : "w:endnote");
        copy.remove_attributes();
        copy.append_attribute("w:id") = id.c_str();
        for (pugi::xml_node c : copy.children())
            rewrite(c, 0);
        notes += print(copy);
        run.remove_child(note);
        pugi::xml_node ref = run.append_child(foot ? "w:footnoteReference" : "w:endnoteReference");
        ref.append_attribute("w:id") = id.c_str();
    }

    void addNotes()
    {
        const std::string open = std::string(" xmlns:w=\"") + MainNs + "\" xmlns:r=\"" + RelNs + "\">";
        if (!m_footnotes.empty()) {
            m_parts["word/footnotes.xml"] = declaration + "<w:footnotes" + open + m_footnotes + "</w:footnotes>";
            relate("footnotes", "footnotes.xml");
        }
        if (!m_endnotes.empty()) {
            m_parts["word/endnotes.xml"] = declaration + "<w:endnotes" + open + m_endnotes + "</w:endnotes>";
            relate("endnotes", "endnotes.xml");
        }
    }

    void addStyles()
    {
        pugi::xml_node styles = xml::child(m_root, "styles");
        if (!styles)
            return;
        pugi::xml_document part;
        pugi::xml_node top = part.append_copy(styles);
        top.set_name("w:styles");
        top.append_attribute("xmlns:w") = MainNs;
        // The document's default fonts stand in w:fonts; the package keeps
        // them as the styles' defaults.
        if (const pugi::xml_node fonts = xml::child(xml::child(m_root, "fonts"), "defaultFonts")) {
            pugi::xml_node rFonts = top.prepend_child("w:docDefaults")
                                        .append_child("w:rPrDefault")
                                        .append_child("w:rPr")
                                        .append_copy(fonts);
            rFonts.set_name("w:rFonts");
        }
        m_parts["word/styles.xml"] = declaration + print(top);
        relate("styles", "styles.xml");
    }

    void addNumbering()
    {
        pugi::xml_node lists = xml::child(m_root, "lists");
        if (!lists)
            return;
        pugi::xml_document part;
        pugi::xml_node top = part.append_child("w:numbering");
        top.append_attribute("xmlns:w") = MainNs;
        // Abstract definitions first, then the instances, as the package orders them.
        for (int pass = 0; pass < 2; ++pass)
            for (pugi::xml_node n : lists.children()) {
                if (pass == 0 && xml::is(n, "listDef")) {
                    pugi::xml_node def = top.append_copy(n);
                    def.set_name("w:abstractNum");
                    def.remove_attributes();
                    def.append_attribute("w:abstractNumId") = std::string(xml::value(n, "listDefId")).c_str();
                    for (pugi::xml_node lvl : def.children())
                        if (pugi::xml_node nfc = xml::child(lvl, "nfc")) {
                            nfc.set_name("w:numFmt");
                            const std::string code(xml::value(nfc, "val"));
                            nfc.remove_attributes();
                            nfc.append_attribute("w:val") = numberFormatName(code);
                        }
                } else if (pass == 1 && xml::is(n, "list")) {
                    pugi::xml_node num = top.append_child("w:num");
                    num.append_attribute("w:numId") = std::string(xml::value(n, "ilfo")).c_str();
                    pugi::xml_node abstract = num.append_child("w:abstractNumId");
                    abstract.append_attribute("w:val") = std::string(xml::value(xml::child(n, "ilst"), "val")).c_str();
                }
            }
        m_parts["word/numbering.xml"] = declaration + print(top);
        relate("numbering", "numbering.xml");
    }

    // <o:DocumentProperties> holds the statistics Word stored on saving.
    void addProperties()
    {
        const pugi::xml_node props = xml::child(m_root, "DocumentProperties");
        if (!props)
            return;
        std::string app =
            R"(<Properties xmlns="http://schemas.openxmlformats.org/officeDocument/2006/extended-properties">)";
        for (const char* name : {"Pages", "Words", "Characters", "Lines", "Paragraphs", "CharactersWithSpaces"})
            if (const pugi::xml_node n = xml::child(props, name))
                app += std::string("<") + name + ">" + n.child_value() + "</" + name + ">";
        m_parts["docProps/app.xml"] = declaration + app + "</Properties>";
    }

    pugi::xml_node m_root;
    uint32_t m_maxDepth;
    std::map<std::string, std::string> m_parts;
    std::string m_rels = R"(<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)";
    std::string m_footnotes, m_endnotes;
    int m_relCount = 0, m_storyCount = 0, m_noteCount = 0;
};

} // namespace

/// Reads a Word 2003 XML document through the .docx reader. Parts Word 2003
/// keeps elsewhere (pictures as w:binData, fonts, document variables) give
/// no text and are not carried over.
ReadResult readWordMl(std::string_view bytes, const ReadOptions& options)
{
    if (bytes.size() > options.limits.maxInputBytes)
        return ReadResult::failure("the file is larger than the engine reads");
    try {
        pugi::xml_document xml;
        if (const std::string error = xml::parse(std::string(bytes), xml, options.limits.maxNestingDepth);
            !error.empty())
            return ReadResult::failure("the Word 2003 XML document cannot be read: " + error);
        const pugi::xml_node root = xml.document_element();
        if (!xml::is(root, "wordDocument"))
            return ReadResult::failure("the file is not a Word 2003 XML document");
        ZipPackage package(Converter(root, options.limits.maxNestingDepth).parts(), options.limits);
        return readDocxPackage(package, options, "wordml");
    } catch (const std::bad_alloc&) {
        return ReadResult::failure("the document needs more memory than the engine can take");
    } catch (const std::exception& e) {
        return ReadResult::failure(std::string("the document cannot be read: ") + e.what());
    }
}

} // namespace qm::engine
