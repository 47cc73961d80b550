#pragma once
// A signer of releases, made anew for each test.

#include <openssl/evp.h>

#include <memory>
#include <string>
#include <string_view>

namespace mbtest {

class TestKey {
public:
    TestKey();

    // Both in Base64, as the updater reads them.
    const std::string& publicText() const { return text; }
    std::string sign(std::string_view message) const;

private:
    std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key;
    std::string text;
};

// 64 lower-case hexadecimal characters.
std::string sha256(std::string_view bytes);

}  // namespace mbtest
