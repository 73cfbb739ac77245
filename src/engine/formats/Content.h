// What a file's bytes look like when no reader recognises them: text, or a
// kind of file named for the user ("a PDF document", "binary data").
#pragma once

#include "engine/model/Unicode.h"

#include <string>
#include <string_view>

namespace qm::engine {

/// True when the bytes are text in an encoding the plain-text reader decodes:
/// a UTF-8 or UTF-16 byte-order mark, UTF-16 without one (see below), or
/// bytes with almost no control characters (UTF-8 or the Windows ANSI page).
/// An empty file is text.
bool looksLikeText(std::string_view bytes);

/// True when the file opens as a web page: a doctype or html element first,
/// after any byte-order mark, XML declaration, white space and comments.
bool startsLikeHtml(std::string_view bytes);

/// A short phrase for what a file that is not a readable document looks like
/// ("a ZIP archive that is not a Word or OpenDocument file", "a WordPerfect
/// document", "binary data"), for an error that names the file and its kind.
/// Recognised by signature only; never reads beyond the bytes given.
std::string describeContent(std::string_view bytes);

/// The refusal shown for such a file: "the file looks like <kind>, not a
/// document that can be counted".
std::string unreadableContentError(std::string_view bytes);

} // namespace qm::engine
