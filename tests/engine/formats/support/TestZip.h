// Zips entries in memory for the package readers' tests.
#pragma once

#include "Describe.h"

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>
#include <zip.h>

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

} // namespace qm::engine::test
