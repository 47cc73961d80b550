#include "update/digest.hpp"

#include <array>

namespace mbupdate {

Sha256::Sha256() : context(EVP_MD_CTX_new(), &EVP_MD_CTX_free) {
    good = context != nullptr && EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) == 1;
}

void Sha256::update(const char* data, size_t length) {
    good = good && EVP_DigestUpdate(context.get(), data, length) == 1;
}

std::string Sha256::finish() {
    constexpr char kDigits[] = "0123456789abcdef";
    std::array<unsigned char, 32> bytes = {};
    if (!good || EVP_DigestFinal_ex(context.get(), bytes.data(), nullptr) != 1) return {};
    std::string text;
    for (const unsigned byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

}  // namespace mbupdate
