#include "test_key.hpp"

#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/sha.h>

#include <array>
#include <vector>

#include "util/util.hpp"

namespace mbtest {

TestKey::TestKey() : key(EVP_EC_gen("P-256"), &EVP_PKEY_free) {
    std::array<unsigned char, 65> point = {};
    size_t length = 0;
    EVP_PKEY_get_octet_string_param(key.get(), OSSL_PKEY_PARAM_PUB_KEY, point.data(), point.size(),
                                    &length);
    std::vector<unsigned char> blob = {'E', 'C', 'S', '1', 32, 0, 0, 0};
    blob.insert(blob.end(), point.begin() + 1, point.end());
    text = mbutil::base64Encode(blob.data(), blob.size());
}

std::string TestKey::sign(std::string_view message) const {
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                          &EVP_MD_CTX_free);
    const auto* bytes = reinterpret_cast<const unsigned char*>(message.data());
    std::vector<unsigned char> encoded(256);
    size_t length = encoded.size();
    EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key.get());
    EVP_DigestSign(context.get(), encoded.data(), &length, bytes, message.size());
    const unsigned char* cursor = encoded.data();
    const std::unique_ptr<ECDSA_SIG, decltype(&ECDSA_SIG_free)> signature(
        d2i_ECDSA_SIG(nullptr, &cursor, static_cast<long>(length)), &ECDSA_SIG_free);
    std::array<unsigned char, 64> halves = {};
    BN_bn2binpad(ECDSA_SIG_get0_r(signature.get()), halves.data(), 32);
    BN_bn2binpad(ECDSA_SIG_get0_s(signature.get()), halves.data() + 32, 32);
    return mbutil::base64Encode(halves.data(), halves.size());
}

std::string sha256(std::string_view bytes) {
    std::array<unsigned char, 32> digest = {};
    SHA256(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), digest.data());
    std::string hex;
    for (const unsigned byte : digest) {
        hex += "0123456789abcdef"[byte >> 4];
        hex += "0123456789abcdef"[byte & 15];
    }
    return hex;
}

}  // namespace mbtest
