// SHA-256 through OpenSSL's libcrypto, the implementation Debian keeps patched.
#include "ledger/Sha256.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <openssl/evp.h>
#include <vector>

namespace qm::ledger {

namespace {

std::string hex(const unsigned char* digest, unsigned length)
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string out;
    out.reserve(length * 2);
    for (unsigned i = 0; i < length; ++i) {
        out += digits[digest[i] >> 4];
        out += digits[digest[i] & 0xF];
    }
    return out;
}

struct ContextFree {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

} // namespace

std::string sha256Hex(std::string_view bytes)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_sha256(), nullptr) != 1)
        return {};
    return hex(digest, length);
}

std::optional<std::string> sha256OfFile(const std::filesystem::path& file, std::string& error)
{
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        error = std::strerror(errno);
        return std::nullopt;
    }
    const std::unique_ptr<EVP_MD_CTX, ContextFree> context(EVP_MD_CTX_new());
    if (!context || EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) != 1) {
        error = "the SHA-256 digest is not available";
        return std::nullopt;
    }
    std::vector<char> block(1 << 16);
    while (in) {
        in.read(block.data(), std::streamsize(block.size()));
        const std::streamsize got = in.gcount();
        if (got > 0 && EVP_DigestUpdate(context.get(), block.data(), size_t(got)) != 1) {
            error = "the SHA-256 digest failed";
            return std::nullopt;
        }
    }
    if (in.bad()) {
        error = "read error";
        return std::nullopt;
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    if (EVP_DigestFinal_ex(context.get(), digest, &length) != 1) {
        error = "the SHA-256 digest failed";
        return std::nullopt;
    }
    return hex(digest, length);
}

} // namespace qm::ledger
