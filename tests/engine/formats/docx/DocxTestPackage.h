// Small Word packages assembled from XML strings for the reader's tests.
#pragma once

#include "../support/TestZip.h"

#include <string>
#include <vector>

namespace qm::engine::test {

inline const char* const WordNamespaces =
    R"(xmlns:w="http://schemas.openxmlformats.org/wordprocessingml/2006/main" )"
    R"(xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships" )"
    R"(xmlns:mc="http://schemas.openxmlformats.org/markup-compatibility/2006" )"
    R"(xmlns:wp="http://schemas.openxmlformats.org/drawingml/2006/wordprocessingDrawing" )"
    R"(xmlns:a="http://schemas.openxmlformats.org/drawingml/2006/main" )"
    R"(xmlns:wps="http://schemas.microsoft.com/office/word/2010/wordprocessingShape" )"
    R"(xmlns:v="urn:schemas-microsoft-com:vml" )"
    R"(xmlns:m="http://schemas.openxmlformats.org/officeDocument/2006/math")";

/// A Word package: the body and whichever optional parts a test needs.
/// Headers and footers are named "header1.xml", "footer2.xml", ...; the
/// relationship id of each is its name without ".xml".
struct DocxPackage {
    std::string body;
    std::string styles, numbering, settings, fontTable, footnotes, endnotes, comments, app;
    std::vector<std::pair<std::string, std::string>> headers; // part name, content inside w:hdr / w:ftr
    std::vector<ZipEntry> extra;
    std::string extraRels;

    std::string build() const
    {
        auto part = [](const std::string& root, const std::string& content) {
            return R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)" "\n<" + root + " " +
                   WordNamespaces + ">" + content + "</" + root + ">";
        };
        const std::string relBase = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/";
        std::string rels = R"(<?xml version="1.0"?><Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)";
        std::vector<ZipEntry> entries{
            {"[Content_Types].xml", R"(<?xml version="1.0"?><Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types"/>)"},
            {"_rels/.rels",
             R"(<?xml version="1.0"?><Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)"
             R"(<Relationship Id="rId1" Type=")" + relBase + R"(officeDocument" Target="word/document.xml"/>)"
             R"(<Relationship Id="rId2" Type=")" + relBase + R"(extended-properties" Target="docProps/app.xml"/>)"
             "</Relationships>"},
            {"word/document.xml", part("w:document", "<w:body>" + body + "</w:body>")},
        };
        auto add = [&](const std::string& type, const std::string& name, const std::string& root,
                       const std::string& content) {
            if (content.empty())
                return;
            rels += R"(<Relationship Id=")" + type + R"(" Type=")" + relBase + type + R"(" Target=")" + name + R"("/>)";
            entries.push_back({"word/" + name, part(root, content)});
        };
        add("styles", "styles.xml", "w:styles", styles);
        add("numbering", "numbering.xml", "w:numbering", numbering);
        add("settings", "settings.xml", "w:settings", settings);
        add("fontTable", "fontTable.xml", "w:fonts", fontTable);
        add("footnotes", "footnotes.xml", "w:footnotes", footnotes);
        add("endnotes", "endnotes.xml", "w:endnotes", endnotes);
        add("comments", "comments.xml", "w:comments", comments);
        for (const auto& [name, content] : headers) {
            const bool header = name.starts_with("header");
            const std::string id = name.substr(0, name.find('.'));
            rels += R"(<Relationship Id=")" + id + R"(" Type=")" + relBase + (header ? "header" : "footer") +
                    R"(" Target=")" + name + R"("/>)";
            entries.push_back({"word/" + name, part(header ? "w:hdr" : "w:ftr", content)});
        }
        rels += extraRels + "</Relationships>";
        entries.push_back({"word/_rels/document.xml.rels", rels});
        if (!app.empty())
            entries.push_back({"docProps/app.xml",
                               R"(<?xml version="1.0"?><Properties xmlns="http://schemas.openxmlformats.org/officeDocument/2006/extended-properties">)" +
                                   app + "</Properties>"});
        entries.insert(entries.end(), extra.begin(), extra.end());
        return makeZip(entries);
    }
};

/// A paragraph holding one run of plain text.
inline std::string para(const std::string& text)
{
    return R"(<w:p><w:r><w:t xml:space="preserve">)" + text + "</w:t></w:r></w:p>";
}

} // namespace qm::engine::test
