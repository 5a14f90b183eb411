#include "sha256_file.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>

#include <openssl/evp.h>

#include "access_log.h"

namespace qsfpctl {

namespace {

struct DigestFree {
    void operator()(EVP_MD_CTX *c) const { EVP_MD_CTX_free(c); }
};

}  // namespace

std::string sha256_of_file(const std::string &path, std::string &digest) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return "firmware image " + path + " cannot be read: " + std::strerror(errno);
    }
    const std::unique_ptr<EVP_MD_CTX, DigestFree> md(EVP_MD_CTX_new());
    if (!md || EVP_DigestInit_ex(md.get(), EVP_sha256(), nullptr) != 1) {
        return "SHA-256 is not available from OpenSSL";
    }
    std::array<char, 65536> chunk{};
    while (in) {
        in.read(chunk.data(), chunk.size());
        const std::streamsize got = in.gcount();
        if (got > 0 && EVP_DigestUpdate(md.get(), chunk.data(), static_cast<std::size_t>(got)) != 1) {
            return "SHA-256 of " + path + " failed";
        }
    }
    if (in.bad()) {
        return "firmware image " + path + " could not be read to its end";
    }
    std::array<std::uint8_t, EVP_MAX_MD_SIZE> out{};
    unsigned int length = 0;
    if (EVP_DigestFinal_ex(md.get(), out.data(), &length) != 1) {
        return "SHA-256 of " + path + " failed";
    }
    digest = hex_bytes({out.data(), length});
    return "";
}

}  // namespace qsfpctl
