// Format detection and dispatch to the reader of each format.
#include "engine/formats/Reader.h"

#include <algorithm>
#include <cctype>
#include <fstream>

namespace qm::engine {

static std::string lowerExtension(std::string_view extension)
{
    if (!extension.empty() && extension.front() == '.')
        extension.remove_prefix(1);
    std::string ext(extension);
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
    return ext;
}

DocumentFormat detectFormat(std::string_view bytes, std::string_view extension)
{
    const std::string ext = lowerExtension(extension);
    if (bytes.starts_with("{\\rtf"))
        return DocumentFormat::Rtf;
    if (bytes.starts_with("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"))
        return DocumentFormat::Doc; // also an encrypted package, which the reader recognises
    if (bytes.starts_with("PK\x03\x04")) {
        // The first entry of an OpenDocument package is its uncompressed mimetype.
        std::string_view head = bytes.substr(0, 200);
        if (head.find("application/vnd.oasis.opendocument") != std::string_view::npos)
            return DocumentFormat::Odt;
        if (ext == "odt" || ext == "ott")
            return DocumentFormat::Odt;
        return DocumentFormat::Docx;
    }
    std::string_view head = bytes.substr(0, 4096);
    if (head.starts_with("<?xml") && head.find("office:document") != std::string_view::npos)
        return DocumentFormat::FlatOdt;
    if (ext == "rtf")
        return DocumentFormat::Rtf;
    if (ext == "doc" || ext == "dot")
        return DocumentFormat::Doc;
    if (ext == "docx" || ext == "docm" || ext == "dotx" || ext == "dotm")
        return DocumentFormat::Docx;
    if (ext == "odt" || ext == "ott")
        return DocumentFormat::Odt;
    if (ext == "fodt")
        return DocumentFormat::FlatOdt;
    // Anything else opens as text, as a word processor does with an unknown file.
    return DocumentFormat::PlainText;
}

std::string_view formatName(DocumentFormat format)
{
    switch (format) {
    case DocumentFormat::PlainText: return "txt";
    case DocumentFormat::Rtf: return "rtf";
    case DocumentFormat::Docx: return "docx";
    case DocumentFormat::Odt: return "odt";
    case DocumentFormat::FlatOdt: return "fodt";
    case DocumentFormat::Doc: return "doc";
    case DocumentFormat::Unknown: break;
    }
    return "unknown";
}

ReadResult readDocumentBytes(std::string_view bytes, std::string_view extension, const ReadOptions& options)
{
    if (bytes.size() > options.limits.maxInputBytes)
        return ReadResult::failure("the file is larger than the engine reads");
    switch (detectFormat(bytes, extension)) {
    case DocumentFormat::PlainText: return readPlainText(bytes, options);
    case DocumentFormat::Rtf: return readRtf(bytes, options);
    case DocumentFormat::Docx: return readDocx(bytes, options);
    case DocumentFormat::Odt: return readOdt(bytes, options);
    case DocumentFormat::FlatOdt: return readFlatOdt(bytes, options);
    case DocumentFormat::Doc: return readDoc(bytes, options);
    case DocumentFormat::Unknown: break;
    }
    return ReadResult::failure("the file's format is not known");
}

ReadResult readDocument(const std::filesystem::path& path, const ReadOptions& options)
{
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec))
        return ReadResult::failure("it is a folder, not a document");
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return ReadResult::failure("the file cannot be opened for reading");
    in.seekg(0, std::ios::end);
    std::streamoff size = in.tellg();
    if (size < 0)
        return ReadResult::failure("the file cannot be read");
    if (static_cast<uint64_t>(size) > options.limits.maxInputBytes)
        return ReadResult::failure("the file is larger than the engine reads");
    std::string bytes(static_cast<size_t>(size), '\0');
    in.seekg(0);
    in.read(bytes.data(), size);
    if (in.gcount() != size)
        return ReadResult::failure("the file could not be read to its end");
    return readDocumentBytes(bytes, path.extension().string(), options);
}

} // namespace qm::engine
