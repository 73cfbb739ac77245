// Zips entries in memory for reader tests, and shows a story's marks as visible characters.
#pragma once

#include "engine/formats/Reader.h"
#include "engine/model/Document.h"

#include <gtest/gtest.h>
#include "engine/model/Unicode.h"

#include <zip.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace qm::engine::test {

struct ZipEntry {
    std::string name;
    std::string data;
    bool stored = false; ///< keep uncompressed (an OpenDocument mimetype)
};

/// The bytes of a zip archive holding `entries` in order.
inline std::string makeZip(const std::vector<ZipEntry>& entries)
{
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* buffer = zip_source_buffer_create(nullptr, 0, 0, &error);
    zip_t* archive = zip_open_from_source(buffer, ZIP_TRUNCATE, &error);
    if (!archive)
        throw std::runtime_error("cannot create a zip in memory");
    zip_source_keep(buffer);
    for (const ZipEntry& e : entries) {
        zip_source_t* data = zip_source_buffer(archive, e.data.data(), e.data.size(), 0);
        const zip_int64_t index = zip_file_add(archive, e.name.c_str(), data, ZIP_FL_ENC_UTF_8);
        if (index < 0)
            throw std::runtime_error("cannot add " + e.name);
        if (e.stored)
            zip_set_file_compression(archive, static_cast<zip_uint64_t>(index), ZIP_CM_STORE, 0);
    }
    if (zip_close(archive) != 0)
        throw std::runtime_error("cannot write the zip");
    zip_source_open(buffer);
    zip_source_seek(buffer, 0, SEEK_END);
    const zip_int64_t size = zip_source_tell(buffer);
    zip_source_seek(buffer, 0, SEEK_SET);
    std::string out(static_cast<size_t>(size), '\0');
    zip_source_read(buffer, out.data(), static_cast<zip_uint64_t>(size));
    zip_source_close(buffer);
    zip_source_free(buffer);
    return out;
}

/// A story's text with its marks drawn: ¶ paragraph, ¤ cell or row end,
/// § page or section break, → tab, ↵ line break, ‡ column break, ² note
/// reference, □ inline object, ⚓ floating anchor, ‑ nonbreaking hyphen,
/// ¬ optional hyphen.
inline std::string visible(const Story& s)
{
    std::u16string out;
    for (char16_t c : s.text) {
        switch (c) {
        case 13: out += u'¶'; break;
        case 7: out += u'¤'; break;
        case 12: out += u'§'; break;
        case 9: out += u'→'; break;
        case 11: out += u'↵'; break;
        case 14: out += u'‡'; break;
        case 2: out += u'²'; break;
        case 1: out += u'□'; break;
        case 8: out += u'⚓'; break;
        case 30: out += u'‑'; break;
        case 31: out += u'¬'; break;
        default: out += c;
        }
    }
    return utf16ToUtf8(out);
}

/// A read that failed with an error containing `part`.
inline ::testing::AssertionResult failsWith(const ReadResult& r, std::string_view part)
{
    if (!r.ok() && r.error.find(part) != std::string::npos)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "read ok " << r.ok() << ", error \"" << r.error << "\"";
}

/// The list label of each paragraph of the main story, in order.
inline std::vector<std::u16string> listLabels(const Document& doc)
{
    std::vector<std::u16string> out;
    const Story& s = doc.mainStory();
    for (uint32_t i = 0; i < s.size(); ++i)
        if (s.text[i] == Ch::ParagraphMark)
            out.push_back(doc.paraFormatOf(s, i).listLabel);
    return out;
}

} // namespace qm::engine::test
