// ZipPackage: libzip over a memory buffer, with size, count and ratio caps.
#include "engine/formats/docx/ZipPackage.h"

#include <libdeflate.h>
#include <zip.h>

#include <algorithm>
#include <cctype>
#include <memory>

namespace qm::engine {

namespace {

std::string normalName(std::string_view name)
{
    while (!name.empty() && name.front() == '/')
        name.remove_prefix(1);
    std::string out(name);
    std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::tolower(c); });
    return out;
}

// Below this size a high ratio is harmless (a page of spaces compresses a
// thousandfold) and is not worth refusing a real document over.
constexpr uint64_t RatioCheckFloor = 1u << 20;

// One decompressor a thread, made on first use: it holds no state between
// calls, only its tables.
libdeflate_decompressor* decompressor()
{
    struct Free {
        void operator()(libdeflate_decompressor* d) const { libdeflate_free_decompressor(d); }
    };
    thread_local std::unique_ptr<libdeflate_decompressor, Free> d(libdeflate_alloc_decompressor());
    return d.get();
}

} // namespace

bool ZipPackage::wholeReadable(const zip_stat_t& st) const
{
    // Stored and deflated entries, not encrypted, whose central directory
    // gives the sizes and the checksum: the common case, read in one go.
    constexpr auto needed = ZIP_STAT_SIZE | ZIP_STAT_COMP_SIZE | ZIP_STAT_CRC | ZIP_STAT_COMP_METHOD |
                            ZIP_STAT_ENCRYPTION_METHOD;
    if ((st.valid & needed) != needed || st.encryption_method != ZIP_EM_NONE)
        return false;
    if (st.comp_method != ZIP_CM_DEFLATE && st.comp_method != ZIP_CM_STORE)
        return false;
    if (st.comp_method == ZIP_CM_STORE && st.comp_size != st.size)
        return false;
    // The raw bytes lie inside the file: a central directory claiming more
    // is lying, and the buffer is not sized by its word.
    if (st.comp_size > m_packageBytes)
        return false;
    // Whatever would break a limit is left to the streaming read, which
    // counts the bytes as they come and reports the limit the way it always has.
    if (st.size > m_limits.maxEntryBytes || m_inflated + st.size > m_limits.maxUncompressedBytes)
        return false;
    if (st.size > RatioCheckFloor && st.size / std::max<uint64_t>(st.comp_size, 1) > m_limits.maxCompressionRatio)
        return false;
    return true;
}

bool ZipPackage::readWhole(uint64_t index, const zip_stat_t& st, std::string& out)
{
    if (!wholeReadable(st))
        return false;
    libdeflate_decompressor* inflater = decompressor();
    if (!inflater)
        return false;
    zip_file_t* file = zip_fopen_index(m_zip, index, ZIP_FL_COMPRESSED);
    if (!file)
        return false;
    // The raw bytes go straight into the part when stored, else into a
    // buffer kept for the thread's next entry.
    thread_local std::string raw;
    std::string& in = st.comp_method == ZIP_CM_STORE ? out : raw;
    // Strings are sized without being zero-filled first: every byte is
    // written by the read or the inflate, or the entry is given up.
    zip_int64_t got = 0;
    in.resize_and_overwrite(static_cast<size_t>(st.comp_size), [&](char* data, size_t n) {
        got = n ? zip_fread(file, data, n) : 0;
        return got < 0 ? size_t(0) : static_cast<size_t>(got);
    });
    zip_fclose(file);
    if (got < 0 || static_cast<uint64_t>(got) != st.comp_size)
        return false;
    if (st.comp_method == ZIP_CM_DEFLATE) {
        libdeflate_result inflated = LIBDEFLATE_BAD_DATA;
        out.resize_and_overwrite(static_cast<size_t>(st.size), [&](char* data, size_t n) {
            // Succeeds only when the stream fills exactly the declared size.
            inflated = libdeflate_deflate_decompress(inflater, in.data(), in.size(), data, n, nullptr);
            return inflated == LIBDEFLATE_SUCCESS ? n : size_t(0);
        });
        if (inflated != LIBDEFLATE_SUCCESS)
            return false;
        if (raw.capacity() > (4u << 20))
            std::string().swap(raw); // a rare huge entry is not kept for the rest of the run
    }
    if (libdeflate_crc32(0, out.data(), out.size()) != st.crc)
        return false;
    m_inflated += st.size;
    return true;
}

ZipPackage::ZipPackage(std::string_view bytes, const Limits& limits) : m_limits(limits), m_packageBytes(bytes.size())
{
    if (bytes.size() < 22) {
        m_error = "the file is not a zip package (it is too short)";
        return;
    }
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* source = zip_source_buffer_create(bytes.data(), bytes.size(), 0, &error);
    if (!source) {
        m_error = "the package cannot be opened";
        zip_error_fini(&error);
        return;
    }
    m_zip = zip_open_from_source(source, ZIP_RDONLY, &error);
    if (!m_zip) {
        zip_source_free(source);
        const int code = zip_error_code_zip(&error);
        m_error = code == ZIP_ER_NOZIP ? "the file is not a zip package, or it is truncated"
                                       : std::string("the zip package is damaged: ") + zip_error_strerror(&error);
        zip_error_fini(&error);
        return;
    }
    zip_error_fini(&error);
    const zip_int64_t count = zip_get_num_entries(m_zip, 0);
    if (count < 0 || static_cast<uint64_t>(count) > m_limits.maxArchiveEntries) {
        m_error = "the package has more entries than the engine reads";
        zip_close(m_zip);
        m_zip = nullptr;
        return;
    }
    for (zip_int64_t i = 0; i < count; ++i) {
        const char* name = zip_get_name(m_zip, static_cast<zip_uint64_t>(i), ZIP_FL_ENC_GUESS);
        if (name)
            m_index.try_emplace(normalName(name), static_cast<uint64_t>(i));
    }
}

ZipPackage::ZipPackage(std::map<std::string, std::string> parts, const Limits& limits)
    : m_limits(limits), m_heldInline(true)
{
    if (parts.size() > m_limits.maxArchiveEntries) {
        m_error = "the package has more parts than the engine reads";
        m_heldInline = false;
        return;
    }
    for (auto& [name, bytes] : parts)
        if (m_index.try_emplace(normalName(name), m_inline.size()).second)
            m_inline.push_back(std::move(bytes));
}

ZipPackage::~ZipPackage()
{
    if (m_zip)
        zip_discard(m_zip); // read only: nothing to write back
}

bool ZipPackage::contains(std::string_view name) const
{
    return m_index.count(normalName(name)) > 0;
}

std::vector<std::string> ZipPackage::names() const
{
    std::vector<std::string> out;
    for (const auto& [name, index] : m_index)
        out.push_back(name);
    return out;
}

bool ZipPackage::statEntry(std::string_view name, uint64_t& index, zip_stat_t& st)
{
    if (!m_zip)
        return false;
    const auto it = m_index.find(normalName(name));
    if (it == m_index.end())
        return false;
    index = it->second;
    zip_stat_init(&st);
    if (zip_stat_index(m_zip, index, 0, &st) != 0)
        return false;
    return !((st.valid & ZIP_STAT_SIZE) && st.size > m_limits.maxEntryBytes);
}

std::string ZipPackage::rawText(std::string_view name)
{
    uint64_t index = 0;
    zip_stat_t st;
    if (!statEntry(name, index, st) || !wholeReadable(st))
        return {};
    zip_file_t* file = zip_fopen_index(m_zip, index, ZIP_FL_COMPRESSED);
    if (!file)
        return {};
    // Method, checksum and size first, in fixed widths, then the bytes.
    std::string out;
    const uint64_t header[] = {st.comp_method, st.crc, st.size};
    out.append(reinterpret_cast<const char*>(header), sizeof header);
    const size_t at = out.size();
    zip_int64_t got = 0;
    out.resize_and_overwrite(at + static_cast<size_t>(st.comp_size), [&](char* data, size_t n) {
        got = n > at ? zip_fread(file, data + at, n - at) : 0;
        return got < 0 ? at : at + static_cast<size_t>(got);
    });
    zip_fclose(file);
    if (got < 0 || static_cast<uint64_t>(got) != st.comp_size)
        return {};
    return out;
}

bool ZipPackage::countAsRead(std::string_view name)
{
    uint64_t index = 0;
    zip_stat_t st;
    if (!statEntry(name, index, st) || !wholeReadable(st))
        return false;
    m_inflated += st.size;
    return true;
}

PartData ZipPackage::readAgain(std::string_view name, uint64_t counted)
{
    const uint64_t before = m_inflated;
    m_inflated -= std::min(counted, m_inflated);
    PartData part = read(name);
    m_inflated = before;
    return part;
}

PartData ZipPackage::read(std::string_view name)
{
    PartData part;
    auto it = m_zip || m_heldInline ? m_index.find(normalName(name)) : m_index.end();
    if (it == m_index.end()) {
        part.found = false;
        part.error = "the package has no part " + std::string(name);
        return part;
    }
    if (m_heldInline) {
        const std::string& bytes = m_inline[it->second];
        if (bytes.size() > m_limits.maxEntryBytes || m_inflated + bytes.size() > m_limits.maxUncompressedBytes) {
            part.error = "the part is larger than the engine reads";
            return part;
        }
        m_inflated += bytes.size();
        part.bytes = bytes;
        return part;
    }
    zip_stat_t st;
    zip_stat_init(&st);
    if (zip_stat_index(m_zip, it->second, 0, &st) != 0) {
        part.error = "the entry's header is damaged";
        return part;
    }
    const uint64_t declared = (st.valid & ZIP_STAT_SIZE) ? st.size : 0;
    const uint64_t compressed = (st.valid & ZIP_STAT_COMP_SIZE) ? st.comp_size : 0;
    if (declared > m_limits.maxEntryBytes) {
        part.error = "the part inflates to more than the engine reads";
        return part;
    }
    if (readWhole(it->second, st, part.bytes))
        return part;
    // Anything out of the ordinary (another method, encryption, a damaged
    // stream or checksum, a limit) is read again as a stream, whose
    // reports say what is wrong.
    part.bytes.clear();
    zip_file_t* file = zip_fopen_index(m_zip, it->second, 0);
    if (!file) {
        part.error = zip_error_code_zip(zip_get_error(m_zip)) == ZIP_ER_NOPASSWD
                         ? "the part is encrypted"
                         : "the part cannot be opened (unsupported compression or a damaged entry)";
        return part;
    }
    // The declared size is a hint for the first allocation only; a hostile
    // entry may inflate to far more, so the loop counts what really comes out.
    part.bytes.reserve(static_cast<size_t>(std::min<uint64_t>(declared, 64u << 20)));
    char buffer[65536];
    for (;;) {
        const zip_int64_t n = zip_fread(file, buffer, sizeof buffer);
        if (n < 0) {
            part.error = "the part is damaged (its data or checksum does not match)";
            break;
        }
        if (n == 0)
            break;
        const uint64_t size = part.bytes.size() + static_cast<uint64_t>(n);
        if (size > m_limits.maxEntryBytes || m_inflated + static_cast<uint64_t>(n) > m_limits.maxUncompressedBytes) {
            part.error = "the part inflates to more than the engine reads";
            break;
        }
        if (size > RatioCheckFloor && size / std::max<uint64_t>(compressed, 1) > m_limits.maxCompressionRatio) {
            part.error = "the part's compression ratio is too high (a zip bomb?)";
            break;
        }
        m_inflated += static_cast<uint64_t>(n);
        part.bytes.append(buffer, static_cast<size_t>(n));
    }
    zip_fclose(file);
    if (!part.error.empty())
        part.bytes.clear();
    return part;
}

} // namespace qm::engine
