// The font answers file: read whole, replaced whole through a temporary file.
#include "engine/layout/FontDiskCache.h"

#include <fontconfig/fontconfig.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace qm::engine::layout {

namespace {

// Changes whenever the layout of the file changes, so an old file is ignored.
constexpr std::string_view Magic = "quillmeter font answers 1\n";

class Writer {
public:
    void u32(uint32_t v) { m_out.append(reinterpret_cast<const char*>(&v), sizeof v); }
    void i64(int64_t v) { m_out.append(reinterpret_cast<const char*>(&v), sizeof v); }
    void str(std::string_view s)
    {
        u32(static_cast<uint32_t>(s.size()));
        m_out.append(s);
    }
    void u16s(const uint16_t* p, size_t n) { m_out.append(reinterpret_cast<const char*>(p), n * sizeof(uint16_t)); }
    std::string& bytes() { return m_out; }

private:
    std::string m_out;
};

// Reads what Writer wrote; any read past the end marks the whole file bad.
class Reader {
public:
    explicit Reader(std::string_view in) : m_in(in) {}
    bool ok() const { return m_ok; }
    uint32_t u32() { return fixed<uint32_t>(); }
    int64_t i64() { return fixed<int64_t>(); }
    std::string str()
    {
        const uint32_t n = u32();
        if (!take(n))
            return {};
        std::string s(m_in.substr(m_pos - n, n));
        return s;
    }
    bool u16s(uint16_t* p, size_t n)
    {
        if (n > m_in.size() || !take(n * sizeof(uint16_t)))
            return false;
        std::memcpy(p, m_in.data() + m_pos - n * sizeof(uint16_t), n * sizeof(uint16_t));
        return true;
    }
    bool atEnd() const { return m_pos == m_in.size(); }

private:
    template <typename T> T fixed()
    {
        T v{};
        if (take(sizeof v))
            std::memcpy(&v, m_in.data() + m_pos - sizeof v, sizeof v);
        return v;
    }
    bool take(size_t n)
    {
        if (!m_ok || n > m_in.size() - m_pos) {
            m_ok = false;
            return false;
        }
        m_pos += n;
        return true;
    }
    std::string_view m_in;
    size_t m_pos = 0;
    bool m_ok = true;
};

std::string faceKey(const std::string& file, int index) { return file + '#' + std::to_string(index); }

constexpr std::string_view FilePrefix = "font-answers-";
constexpr time_t Day = 24 * 60 * 60;

// A file in use is touched once a day when it is read, so its time tells
// how long ago a program last used it.
void markUsed(const std::string& path)
{
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0 && st.st_mtim.tv_sec < std::time(nullptr) - Day)
        ::utimensat(AT_FDCWD, path.c_str(), nullptr, 0);
}

// Answer files (and temporary files a crash left) beside `keep` that no
// program has read for 30 days: those of configurations that are gone, one
// a change of the installed fonts, about 1 MB each.
void removeUnused(const std::string& keep)
{
    const size_t slash = keep.rfind('/');
    if (slash == std::string::npos)
        return;
    const std::string folder = keep.substr(0, slash);
    DIR* dir = ::opendir(folder.c_str());
    if (!dir)
        return;
    const time_t before = std::time(nullptr) - 30 * Day;
    while (const dirent* e = ::readdir(dir)) {
        const std::string path = folder + '/' + e->d_name;
        struct stat st {};
        if (std::string_view(e->d_name).starts_with(FilePrefix) && path != keep &&
            ::lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && st.st_mtim.tv_sec < before)
            ::unlink(path.c_str());
    }
    ::closedir(dir);
}

// Replaces `path` with `bytes` through a temporary file beside it, so a
// reader at the same time sees the old file or the new one, never a part.
bool replaceWhole(const std::string& path, const std::string& bytes)
{
    // The folders may not exist yet (a fresh home has no cache folder).
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        ::mkdir(path.substr(0, slash).c_str(), 0755);
    std::string temp = path + ".XXXXXX";
    const int fd = ::mkstemp(temp.data());
    if (fd < 0)
        return false;
    size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + written, bytes.size() - written);
        if (n <= 0)
            break;
        written += static_cast<size_t>(n);
    }
    const bool ok = ::close(fd) == 0 && written == bytes.size() && ::rename(temp.c_str(), path.c_str()) == 0;
    if (!ok)
        ::unlink(temp.c_str());
    return ok;
}

std::string readWhole(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return {};
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

} // namespace

FontDiskCache::FontDiskCache(std::string path, std::string stamp) : m_path(std::move(path)), m_stamp(std::move(stamp))
{
    if (m_path.empty())
        return;
    std::ifstream in(m_path, std::ios::binary);
    if (!in)
        return;
    std::ostringstream bytes;
    bytes << in.rdbuf();
    if (!load(bytes.str())) {
        m_matches.clear();
        m_faces.clear();
        return;
    }
    markUsed(m_path);
}

bool FontDiskCache::load(const std::string& bytes)
{
    if (bytes.compare(0, Magic.size(), Magic) != 0)
        return false;
    Reader r(std::string_view(bytes).substr(Magic.size()));
    if (r.str() != m_stamp || !r.ok())
        return false;
    for (uint32_t n = r.u32(); r.ok() && n > 0; --n) {
        std::string key = r.str();
        Match m;
        m.hasFile = r.u32() != 0;
        m.file = r.str();
        m.index = static_cast<int>(r.u32());
        m.family = r.str();
        m.exact = r.u32() != 0;
        m_matches.emplace(std::move(key), std::move(m));
    }
    for (uint32_t n = r.u32(); r.ok() && n > 0; --n) {
        std::string key = r.str();
        KeptFace f;
        f.mtime = r.i64();
        f.size = r.i64();
        f.metrics.unitsPerEm = static_cast<int32_t>(r.u32());
        f.metrics.ascent = static_cast<int32_t>(r.u32());
        f.metrics.descent = static_cast<int32_t>(r.u32());
        f.metrics.lineGap = static_cast<int32_t>(r.u32());
        uint64_t end = 0;
        for (uint32_t runs = r.u32(); r.ok() && runs > 0; --runs) {
            const uint32_t first = r.u32();
            const uint32_t count = r.u32();
            // Runs lie inside the BMP, in order, without overlapping.
            if (first < end || uint64_t(first) + count > 0x10000)
                return false;
            end = uint64_t(first) + count;
            std::vector<uint16_t> advances(count);
            if (!r.u16s(advances.data(), count))
                return false;
            f.runs.emplace_back(first, std::move(advances));
        }
        m_faces.emplace(std::move(key), std::move(f));
    }
    return r.ok() && r.atEnd();
}

std::optional<FontDiskCache::Match> FontDiskCache::match(const std::string& key) const
{
    if (auto it = m_matches.find(key); it != m_matches.end())
        return it->second;
    return std::nullopt;
}

void FontDiskCache::storeMatch(const std::string& key, const Match& match)
{
    m_matches[key] = match;
    m_dirty = true;
}

bool FontDiskCache::fileState(const std::string& file, int64_t& mtime, int64_t& size)
{
    struct stat st {};
    if (::stat(file.c_str(), &st) != 0)
        return false;
    mtime = static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    size = static_cast<int64_t>(st.st_size);
    return true;
}

std::optional<FontDiskCache::FaceData> FontDiskCache::face(const std::string& file, int index) const
{
    auto it = m_faces.find(faceKey(file, index));
    if (it == m_faces.end())
        return std::nullopt;
    int64_t mtime = 0, size = 0;
    if (!fileState(file, mtime, size) || mtime != it->second.mtime || size != it->second.size)
        return std::nullopt;
    FaceData data;
    data.metrics = it->second.metrics;
    data.advances.assign(0x10000, Face::Missing);
    for (const auto& [first, advances] : it->second.runs)
        std::copy(advances.begin(), advances.end(), data.advances.begin() + first);
    return data;
}

void FontDiskCache::storeFace(const std::string& file, int index, const FaceData& data)
{
    KeptFace f;
    if (!fileState(file, f.mtime, f.size) || data.advances.size() != 0x10000)
        return;
    f.metrics = data.metrics;
    for (uint32_t c = 0; c < 0x10000;) {
        if (data.advances[c] == Face::Missing) {
            ++c;
            continue;
        }
        uint32_t end = c;
        while (end < 0x10000 && data.advances[end] != Face::Missing)
            ++end;
        f.runs.emplace_back(c, std::vector<uint16_t>(data.advances.begin() + c, data.advances.begin() + end));
        c = end;
    }
    m_faces[faceKey(file, index)] = std::move(f);
    m_dirty = true;
}

bool FontDiskCache::save()
{
    if (!m_dirty || m_path.empty())
        return true;
    Writer w;
    w.bytes().append(Magic);
    w.str(m_stamp);
    w.u32(static_cast<uint32_t>(m_matches.size()));
    for (const auto& [key, m] : m_matches) {
        w.str(key);
        w.u32(m.hasFile);
        w.str(m.file);
        w.u32(static_cast<uint32_t>(m.index));
        w.str(m.family);
        w.u32(m.exact);
    }
    w.u32(static_cast<uint32_t>(m_faces.size()));
    for (const auto& [key, f] : m_faces) {
        w.str(key);
        w.i64(f.mtime);
        w.i64(f.size);
        w.u32(static_cast<uint32_t>(f.metrics.unitsPerEm));
        w.u32(static_cast<uint32_t>(f.metrics.ascent));
        w.u32(static_cast<uint32_t>(f.metrics.descent));
        w.u32(static_cast<uint32_t>(f.metrics.lineGap));
        w.u32(static_cast<uint32_t>(f.runs.size()));
        for (const auto& [first, advances] : f.runs) {
            w.u32(first);
            w.u32(static_cast<uint32_t>(advances.size()));
            w.u16s(advances.data(), advances.size());
        }
    }
    if (!replaceWhole(m_path, w.bytes()))
        return false;
    m_dirty = false;
    removeUnused(m_path);
    return true;
}

std::string FontDiskCache::configStamp(void* fcConfig, std::vector<std::string>* sources)
{
    auto* config = static_cast<FcConfig*>(fcConfig);
    std::ostringstream stamp;
    stamp << "fontconfig " << FcGetVersion() << '\n';
    // The environment fontconfig reads its configuration from.
    for (const char* name : {"FONTCONFIG_FILE", "FONTCONFIG_PATH", "FONTCONFIG_SYSROOT", "FC_LANG"})
        if (const char* v = std::getenv(name))
            stamp << name << '=' << v << '\n';
    std::set<std::string> folders;
    auto entry = [&](const std::string& path) {
        int64_t mtime = 0, size = 0;
        const bool there = fileState(path, mtime, size);
        stamp << path << ' ' << (there ? mtime : -1) << ' ' << (there ? size : -1) << '\n';
        if (sources)
            sources->push_back(path);
    };
    auto list = [&](FcStrList* strings, bool withFolder) {
        if (!strings)
            return;
        while (FcChar8* s = FcStrListNext(strings)) {
            const std::string path(reinterpret_cast<const char*>(s));
            entry(path);
            // A configuration file added to or dropped from a folder changes the folder.
            if (const size_t slash = path.rfind('/'); withFolder && slash != std::string::npos)
                folders.insert(path.substr(0, slash));
        }
        FcStrListDone(strings);
    };
    stamp << "configuration files\n";
    list(FcConfigGetConfigFiles(config), true);
    for (const std::string& folder : folders)
        entry(folder);
    stamp << "configuration folders\n";
    list(FcConfigGetConfigDirs(config), false);
    // Every folder fonts are read from, with its subfolders: installing or
    // removing a font changes the folder's modification time.
    stamp << "font folders\n";
    list(FcConfigGetFontDirs(config), false);
    // What fontconfig adds to every request before matching: the default
    // languages (from the locale), which steer the choice of a family.
    stamp << "defaults\n";
    if (FcPattern* empty = FcPatternCreate()) {
        FcDefaultSubstitute(empty);
        if (FcChar8* text = FcNameUnparse(empty)) {
            stamp << reinterpret_cast<const char*>(text) << '\n';
            FcStrFree(text);
        }
        FcPatternDestroy(empty);
    }
    return stamp.str();
}

namespace {

std::string cacheFolder()
{
    if (const char* xdg = std::getenv("XDG_CACHE_HOME"); xdg && *xdg == '/')
        return std::string(xdg) + "/quillmeter";
    if (const char* home = std::getenv("HOME"); home && *home == '/')
        return std::string(home) + "/.cache/quillmeter";
    return {};
}

// FNV-1a, as a file name's sixteen hexadecimal digits after `prefix`.
std::string hashedName(std::string_view prefix, std::string_view text)
{
    uint64_t hash = 0xcbf29ce484222325ull;
    for (unsigned char c : text)
        hash = (hash ^ c) * 0x100000001b3ull;
    char name[64];
    std::snprintf(name, sizeof name, "/%.*s%016llx", static_cast<int>(prefix.size()), prefix.data(),
                  static_cast<unsigned long long>(hash));
    return name;
}

// Everything besides its files that a configuration's stamp depends on:
// fontconfig's version and the environment it reads, the locale's
// variables (its default languages), the desktop and the program (both
// named in its defaults), and the home and XDG folders its configuration
// names files in.
std::string stampDependencies()
{
    std::string out = "fontconfig " + std::to_string(FcGetVersion()) + '\n';
    for (const char* name : {"FONTCONFIG_FILE", "FONTCONFIG_PATH", "FONTCONFIG_SYSROOT", "FC_LANG", "FC_DEBUG",
                             "LC_ALL", "LC_CTYPE", "LC_MESSAGES", "LANG", "LANGUAGE", "HOME", "XDG_CONFIG_HOME",
                             "XDG_DATA_HOME", "XDG_DATA_DIRS", "XDG_CACHE_HOME", "XDG_CURRENT_DESKTOP"}) {
        out += name;
        if (const char* v = std::getenv(name))
            out.append("=").append(v);
        out += '\n';
    }
    char exe[4096];
    const ssize_t n = ::readlink("/proc/self/exe", exe, sizeof exe);
    out.append("program ").append(exe, n > 0 ? static_cast<size_t>(n) : 0).append("\n");
    return out;
}

// Where a user's own configuration would be read from (fontconfig's usual
// rules include them when they exist): a file created there changes the
// configuration without changing any file it read before.
std::vector<std::string> userConfigurationPlaces()
{
    std::vector<std::string> out;
    std::string config;
    if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg == '/')
        config = xdg;
    const char* home = std::getenv("HOME");
    if (config.empty() && home && *home == '/')
        config = std::string(home) + "/.config";
    if (!config.empty()) {
        out.push_back(config + "/fontconfig");
        out.push_back(config + "/fontconfig/conf.d");
        out.push_back(config + "/fontconfig/fonts.conf");
    }
    if (home && *home == '/') {
        out.push_back(std::string(home) + "/.fonts.conf");
        out.push_back(std::string(home) + "/.fonts.conf.d");
    }
    return out;
}

constexpr std::string_view StampMagic = "quillmeter font stamp 1\n";

} // namespace

std::string FontDiskCache::defaultPath(std::string_view stamp)
{
    const std::string folder = cacheFolder();
    if (folder.empty())
        return {};
    // One file a stamp, named by its hash: the stamp holds the program's
    // name, which fontconfig's rules may test, so each program keeps its own
    // answers instead of each replacing the other's.
    return folder + hashedName(FilePrefix, stamp);
}

std::string FontDiskCache::stampPath()
{
    const std::string folder = cacheFolder();
    if (folder.empty())
        return {};
    return folder + hashedName(std::string(FilePrefix) + "stamp-", stampDependencies());
}

bool FontDiskCache::keepStamp(const std::string& path, const std::string& stamp, const std::vector<std::string>& sources)
{
    if (path.empty())
        return false;
    Writer w;
    w.bytes().append(StampMagic);
    // The dependencies in full, not only their hash in the file's name.
    w.str(stampDependencies());
    w.str(stamp);
    std::vector<std::string> all = sources;
    for (std::string& place : userConfigurationPlaces())
        all.push_back(std::move(place));
    w.u32(static_cast<uint32_t>(all.size()));
    for (const std::string& source : all) {
        int64_t mtime = -1, size = -1;
        if (!fileState(source, mtime, size))
            mtime = size = -1;
        w.str(source);
        w.i64(mtime);
        w.i64(size);
    }
    if (readWhole(path) == w.bytes())
        return true;
    return replaceWhole(path, w.bytes());
}

std::optional<std::string> FontDiskCache::keptStamp(const std::string& path)
{
    if (path.empty())
        return std::nullopt;
    const std::string bytes = readWhole(path);
    if (bytes.compare(0, StampMagic.size(), StampMagic) != 0)
        return std::nullopt;
    Reader r(std::string_view(bytes).substr(StampMagic.size()));
    if (r.str() != stampDependencies() || !r.ok())
        return std::nullopt;
    std::string stamp = r.str();
    for (uint32_t n = r.u32(); r.ok() && n > 0; --n) {
        const std::string source = r.str();
        const int64_t mtime = r.i64();
        const int64_t size = r.i64();
        int64_t nowTime = -1, nowSize = -1;
        if (!fileState(source, nowTime, nowSize))
            nowTime = nowSize = -1;
        if (!r.ok() || nowTime != mtime || nowSize != size)
            return std::nullopt;
    }
    if (!r.ok() || !r.atEnd())
        return std::nullopt;
    markUsed(path);
    return stamp;
}

} // namespace qm::engine::layout
