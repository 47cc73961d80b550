#pragma once
// SHA-256 of what comes in pieces.

#include <openssl/evp.h>

#include <cstddef>
#include <memory>
#include <string>

namespace mbupdate {

class Sha256 {
public:
    Sha256();

    void update(const char* data, size_t length);
    // 64 lower-case hexadecimal characters; empty when the library failed at any step. Once only.
    std::string finish();

private:
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context;
    bool good = false;
};

}  // namespace mbupdate
