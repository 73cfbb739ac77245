// Format detection and dispatch to the reader of each format.
#include "engine/formats/Reader.h"

#include "engine/formats/Content.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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
    if (bytes.starts_with("\xFFWPC"))
        return DocumentFormat::WordPerfect;
    // Word for Windows 1 and 2 wrote their block straight into the file; the
    // .doc reader names them in its refusal.
    if (bytes.starts_with("\xDB\xA5") || bytes.starts_with("\x9B\xA5"))
        return DocumentFormat::Doc;
    if (bytes.starts_with("PK\x03\x04")) {
        // The first entry of an OpenDocument package is its uncompressed
        // mimetype; only its text kinds are documents we read.
        std::string_view head = bytes.substr(0, 200);
        if (head.find("application/vnd.oasis.opendocument.text") != std::string_view::npos)
            return DocumentFormat::Odt;
        if (head.find("application/vnd.oasis.opendocument") != std::string_view::npos)
            return DocumentFormat::Unknown;
        // Every Word package holds a content-types part, and part names stand
        // uncompressed in the archive; without it, it is some other archive.
        if (bytes.find("[Content_Types].xml") == std::string_view::npos)
            return ext == "odt" || ext == "ott" ? DocumentFormat::Odt : DocumentFormat::Unknown;
        if (bytes.find("word/") == std::string_view::npos && bytes.find("xl/workbook") != std::string_view::npos)
            return DocumentFormat::Unknown;
        if (bytes.find("word/") == std::string_view::npos && bytes.find("ppt/presentation") != std::string_view::npos)
            return DocumentFormat::Unknown;
        return DocumentFormat::Docx;
    }
    std::string_view head = bytes.substr(0, 4096);
    if (head.starts_with("\xEF\xBB\xBF"))
        head.remove_prefix(3);
    if (head.starts_with("<?xml") || head.starts_with("<")) {
        // Word's single-file XML forms name their root's namespace early.
        if (head.contains("schemas.microsoft.com/office/2006/xmlPackage") || head.contains("<pkg:package"))
            return DocumentFormat::FlatOpc;
        if (head.contains("schemas.microsoft.com/office/word/2003/wordml") || head.contains("<w:wordDocument"))
            return DocumentFormat::WordMl;
        if (head.starts_with("<?xml") && head.contains("office:document"))
            return DocumentFormat::FlatOdt;
    }
    if (startsLikeHtml(bytes))
        return DocumentFormat::Html;
    // A fragment of RTF without its header is refused by the RTF reader
    // rather than counted with its control words as text.
    if (ext == "rtf" && bytes.find_first_not_of(" \t\r\n") != std::string_view::npos &&
        bytes[bytes.find_first_not_of(" \t\r\n")] == '{')
        return DocumentFormat::Rtf;
    // An empty file is an empty text, except under the name of a format
    // that cannot be empty, where the .doc reader says the file is empty.
    if (bytes.empty())
        return ext == "doc" || ext == "dot" || ext == "docx" || ext == "odt" ? DocumentFormat::Doc
                                                                             : DocumentFormat::PlainText;
    // A file of no format above is read as text only when its bytes are
    // text, whatever its name: a binary file read as text would count its
    // bytes as words. Word likewise opens a text file named .doc as text.
    if (const std::string kind = describeContent(bytes); kind != "text") {
        // Works for DOS, Word for DOS and Write files, and WordPerfect 4.2
        // and earlier, carry no signature of their own; their libraries
        // recognise them.
        if (kind == "binary data" || kind == "a Word for DOS or Write document") {
            if (isWorksDocument(bytes))
                return DocumentFormat::Works;
            if (isWordPerfectDocument(bytes))
                return DocumentFormat::WordPerfect;
        }
        return DocumentFormat::Unknown;
    }
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
    case DocumentFormat::Html: return "html";
    case DocumentFormat::FlatOpc: return "flatopc";
    case DocumentFormat::WordMl: return "wordml";
    case DocumentFormat::WordPerfect: return "wpd";
    case DocumentFormat::Works: return "wps";
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
    case DocumentFormat::Doc: {
        // Works 4 and later keep their text in the same container as Word,
        // without Word's document stream.
        ReadResult r = readDoc(bytes, options);
        if (!r.ok() && r.error.contains("no document stream") && isWorksDocument(bytes))
            return readWorks(bytes, options);
        return r;
    }
    case DocumentFormat::Html: return readHtml(bytes, options);
    case DocumentFormat::FlatOpc: return readFlatOpc(bytes, options);
    case DocumentFormat::WordMl: return readWordMl(bytes, options);
    case DocumentFormat::WordPerfect: return readWordPerfect(bytes, options);
    case DocumentFormat::Works: return readWorks(bytes, options);
    case DocumentFormat::Unknown: break;
    }
    return ReadResult::failure(unreadableContentError(bytes));
}

ReadResult readDocument(const std::filesystem::path& path, const ReadOptions& options)
{
    // Opened, measured and read with the system's calls directly: a stream
    // looked the file up twice and sought three times to learn its size,
    // seven calls a document where four do.
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        std::error_code ec;
        if (std::filesystem::is_directory(path, ec))
            return ReadResult::failure("it is a folder, not a document");
        return ReadResult::failure("the file cannot be opened for reading");
    }
    struct Closer {
        int fd;
        ~Closer() { ::close(fd); }
    } closer{fd};
    struct stat st {};
    if (::fstat(fd, &st) != 0)
        return ReadResult::failure("the file cannot be read");
    if (S_ISDIR(st.st_mode))
        return ReadResult::failure("it is a folder, not a document");
    // A regular file's size is known; anything else (a device) is asked
    // where its end lies, as a stream would, and one that cannot say is
    // not read.
    off_t size = st.st_size;
    if (!S_ISREG(st.st_mode)) {
        size = ::lseek(fd, 0, SEEK_END);
        if (size < 0 || ::lseek(fd, 0, SEEK_SET) != 0)
            return ReadResult::failure("the file cannot be read");
    }
    if (size < 0)
        return ReadResult::failure("the file cannot be read");
    if (static_cast<uint64_t>(size) > options.limits.maxInputBytes)
        return ReadResult::failure("the file is larger than the engine reads");
    // Read straight into the string, without first filling it with zeros.
    std::string bytes;
    size_t got = 0;
    bytes.resize_and_overwrite(static_cast<size_t>(size), [&](char* data, size_t n) {
        while (got < n) {
            const ssize_t r = ::read(fd, data + got, n - got);
            if (r < 0 && errno == EINTR)
                continue;
            if (r <= 0)
                break;
            got += static_cast<size_t>(r);
        }
        return got;
    });
    if (got != static_cast<size_t>(size))
        return ReadResult::failure("the file could not be read to its end");
    return readDocumentBytes(bytes, path.extension().string(), options);
}

} // namespace qm::engine
