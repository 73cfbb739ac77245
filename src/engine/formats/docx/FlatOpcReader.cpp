// Flat OPC (Word's single-file XML, <pkg:package>): the package's parts held inline, read by the .docx reader.
#include "engine/formats/Reader.h"
#include "engine/formats/docx/DocxReader.h"
#include "engine/formats/docx/XmlPart.h"

#include <array>
#include <map>
#include <pugixml.hpp>
#include <sstream>

namespace qm::engine {

namespace {

// Base64 as Flat OPC writes binary parts, line breaks and spaces allowed
// anywhere; nothing is returned for any other character.
std::optional<std::string> decodeBase64(std::string_view text)
{
    static constexpr std::array<int8_t, 256> table = [] {
        std::array<int8_t, 256> t{};
        t.fill(-1);
        constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        for (size_t i = 0; i < alphabet.size(); ++i)
            t[static_cast<unsigned char>(alphabet[i])] = static_cast<int8_t>(i);
        return t;
    }();
    std::string out;
    out.reserve(text.size() / 4 * 3);
    uint32_t bits = 0;
    int count = 0;
    for (const char ch : text) {
        const auto c = static_cast<unsigned char>(ch);
        if (c == '=' || c == ' ' || c == '\t' || c == '\r' || c == '\n')
            continue;
        if (table[c] < 0)
            return std::nullopt;
        bits = (bits << 6) | static_cast<uint32_t>(table[c]);
        if (++count == 4) {
            out += static_cast<char>(bits >> 16);
            out += static_cast<char>(bits >> 8);
            out += static_cast<char>(bits);
            bits = 0;
            count = 0;
        }
    }
    if (count == 2)
        out += static_cast<char>(bits >> 4);
    else if (count == 3)
        out += static_cast<char>(bits >> 10), out += static_cast<char>(bits >> 2);
    return out;
}

} // namespace

/// Reads a Flat OPC file: each <pkg:part> becomes a part of a package held
/// in memory, XML parts written out again from their <pkg:xmlData> and
/// binary parts decoded from base64, and the .docx reader reads that
/// package as it reads a zip archive. A part that cannot be decoded is left
/// out with a diagnostic.
ReadResult readFlatOpc(std::string_view bytes, const ReadOptions& options)
{
    if (bytes.size() > options.limits.maxInputBytes)
        return ReadResult::failure("the file is larger than the engine reads");
    try {
        pugi::xml_document xml;
        if (const std::string error = xml::parse(std::string(bytes), xml, options.limits.maxNestingDepth);
            !error.empty())
            return ReadResult::failure("the Flat OPC package cannot be read: " + error);
        const pugi::xml_node root = xml.document_element();
        if (!xml::is(root, "package"))
            return ReadResult::failure("the file is not a Flat OPC package");
        std::map<std::string, std::string> parts;
        std::vector<std::string> undecoded;
        for (const pugi::xml_node& part : root.children()) {
            if (!xml::is(part, "part"))
                continue;
            const std::string name(xml::value(part, "name"));
            if (name.empty())
                continue;
            if (const pugi::xml_node data = xml::child(part, "xmlData")) {
                std::ostringstream out;
                out << R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)";
                for (const pugi::xml_node& element : data.children())
                    element.print(out, "", pugi::format_raw | pugi::format_no_declaration);
                parts[name] = out.str();
            } else if (const pugi::xml_node binary = xml::child(part, "binaryData")) {
                if (auto decoded = decodeBase64(binary.child_value()))
                    parts[name] = std::move(*decoded);
                else
                    undecoded.push_back(name);
            }
        }
        ZipPackage package(std::move(parts), options.limits);
        if (!package.isOpen())
            return ReadResult::failure(package.error());
        ReadResult result = readDocxPackage(package, options, "flatopc");
        if (result.ok())
            for (const std::string& name : undecoded)
                result.document->diagnostics.push_back(
                    Diagnostic{"flatopc.base64", Severity::Warning, name,
                               "the part's base64 data is damaged; the part is left out"});
        return result;
    } catch (const std::bad_alloc&) {
        return ReadResult::failure("the document needs more memory than the engine can take");
    } catch (const std::exception& e) {
        return ReadResult::failure(std::string("the document cannot be read: ") + e.what());
    }
}

} // namespace qm::engine
