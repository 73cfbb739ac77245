// Reading a file into the document model: format detection and the readers' common result.
#pragma once

#include "engine/model/Document.h"
#include "engine/model/Limits.h"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace qm::engine {

enum class DocumentFormat {
    Unknown,
    PlainText,
    Rtf,
    Docx,
    Odt,
    FlatOdt,
    Doc,
    Html,
    FlatOpc,
    WordMl,
    WordPerfect,
    Works
};

/// Page setup and font that a plain-text file takes, since the file carries
/// none; calibrated against what Word shows for a .txt file it opens.
struct PlainTextDefaults {
    std::string fontName = "Calibri";
    uint16_t sizeHalfPoints = 22;
    Twips spaceAfter = 160;
    int32_t lineSpacing = 259; ///< Auto rule, 240ths of a line
    SectionFormat page;
};

struct ReadOptions {
    Limits limits;
    PlainTextDefaults plainText;
    /// Read the text that metafile pictures draw (Document::pictures), for
    /// printing and for comparing with Word's printed pages. Counting never
    /// needs it, so reading for a count leaves the pictures unopened.
    bool pictureText = false;
};

/// What a reader returns: the document with its diagnostics, or no document
/// and a clear error ("password-protected documents cannot be counted"). A
/// damaged file usually still gives a partial document with diagnostics.
struct ReadResult {
    std::unique_ptr<Document> document;
    std::string error;
    bool ok() const { return document != nullptr; }

    static ReadResult failure(std::string message)
    {
        ReadResult r;
        r.error = std::move(message);
        return r;
    }
};

/// The format by content (signatures, package parts, markup); the extension
/// (with or without its dot, any letter case) only settles a zip package
/// without a content-types part. A file that is none of them is plain text
/// only when its bytes are text; otherwise it is Unknown and is refused.
DocumentFormat detectFormat(std::string_view bytes, std::string_view extension);
std::string_view formatName(DocumentFormat format);

/// Reads a file: never writes to it, never keeps it open. Errors name no file;
/// callers add the path.
ReadResult readDocument(const std::filesystem::path& path, const ReadOptions& options = {});
ReadResult readDocumentBytes(std::string_view bytes, std::string_view extension,
                             const ReadOptions& options = {});

// The readers, one per format. Each trusts nothing in its input.
ReadResult readPlainText(std::string_view bytes, const ReadOptions& options);
ReadResult readRtf(std::string_view bytes, const ReadOptions& options);
ReadResult readDocx(std::string_view bytes, const ReadOptions& options);
ReadResult readOdt(std::string_view bytes, const ReadOptions& options);
ReadResult readFlatOdt(std::string_view bytes, const ReadOptions& options);
ReadResult readDoc(std::string_view bytes, const ReadOptions& options);
ReadResult readHtml(std::string_view bytes, const ReadOptions& options);
ReadResult readFlatOpc(std::string_view bytes, const ReadOptions& options);
ReadResult readWordMl(std::string_view bytes, const ReadOptions& options);
ReadResult readWordPerfect(std::string_view bytes, const ReadOptions& options);
ReadResult readWorks(std::string_view bytes, const ReadOptions& options);
/// Whether libwpd, or libwps as a word-processor file, takes the bytes.
bool isWordPerfectDocument(std::string_view bytes);
bool isWorksDocument(std::string_view bytes);

} // namespace qm::engine
