// Entry point of the RTF reader: signature check, then the parser under one catch-all.
#include "engine/formats/Reader.h"
#include "engine/formats/rtf/RtfParser.h"

#include <new>

namespace qm::engine {

/// Reads an RTF document. Input that does not start with "{\rtf" (after
/// white space) is refused with a clear error; anything after that gives a
/// document, partial with diagnostics when the file is damaged or a limit is
/// reached.
ReadResult readRtf(std::string_view bytes, const ReadOptions& options)
{
    if (bytes.size() > options.limits.maxInputBytes)
        return ReadResult::failure("the file is larger than the engine reads");
    std::string_view body = bytes;
    if (body.starts_with("\xEF\xBB\xBF"))
        body.remove_prefix(3);
    while (!body.empty() && (body.front() == ' ' || body.front() == '\t' || body.front() == '\r' ||
                             body.front() == '\n'))
        body.remove_prefix(1);
    if (body.empty())
        return ReadResult::failure("the file is empty");
    if (!body.starts_with("{\\rtf"))
        return ReadResult::failure("the file is not an RTF document although its name says so");
    try {
        rtf::RtfParser parser(body, options.limits, options.pictureText);
        ReadResult result;
        result.document = parser.run();
        return result;
    } catch (const std::bad_alloc&) {
        return ReadResult::failure("the document needs more memory than is available");
    } catch (...) {
        return ReadResult::failure("the document could not be read");
    }
}

} // namespace qm::engine
