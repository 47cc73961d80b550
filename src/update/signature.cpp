#include "update/signature.hpp"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>

#include <array>
#include <cstring>
#include <memory>
#include <vector>

#include "update/update.hpp"
#include "util/util.hpp"

namespace mbupdate {

namespace {

constexpr std::string_view kMagic = "ECS1";
constexpr size_t kCoordinate = 32;  // bytes
constexpr size_t kHead = 8;         // the magic and the coordinates' size
constexpr size_t kKeySize = kHead + 2 * kCoordinate;

template <typename Type, void (*release)(Type*)>
struct Releaser {
    void operator()(Type* object) const { release(object); }
};
template <typename Type, void (*release)(Type*)>
using Owned = std::unique_ptr<Type, Releaser<Type, release>>;

using Key = Owned<EVP_PKEY, EVP_PKEY_free>;
using KeyContext = Owned<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using ParameterBuilder = Owned<OSSL_PARAM_BLD, OSSL_PARAM_BLD_free>;
using Parameters = Owned<OSSL_PARAM, OSSL_PARAM_free>;
using Signature = Owned<ECDSA_SIG, ECDSA_SIG_free>;
using DigestContext = Owned<EVP_MD_CTX, EVP_MD_CTX_free>;
using Number = Owned<BIGNUM, BN_free>;

// Null when X and Y are no point of the curve. `blob` has kKeySize bytes.
Key makeKey(const std::vector<uint8_t>& blob) {
    std::array<uint8_t, 1 + 2 * kCoordinate> point = {0x04};  // not compressed
    std::memcpy(point.data() + 1, blob.data() + kHead, 2 * kCoordinate);
    const ParameterBuilder builder(OSSL_PARAM_BLD_new());
    if (!builder ||
        OSSL_PARAM_BLD_push_utf8_string(builder.get(), OSSL_PKEY_PARAM_GROUP_NAME, "prime256v1",
                                        0) != 1 ||
        OSSL_PARAM_BLD_push_octet_string(builder.get(), OSSL_PKEY_PARAM_PUB_KEY, point.data(),
                                         point.size()) != 1)
        return nullptr;
    const Parameters parameters(OSSL_PARAM_BLD_to_param(builder.get()));
    const KeyContext context(EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr));
    EVP_PKEY* key = nullptr;
    if (!parameters || !context || EVP_PKEY_fromdata_init(context.get()) != 1 ||
        EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_PUBLIC_KEY, parameters.get()) != 1)
        return nullptr;
    return Key(key);
}

// As the library wants it; empty on failure. `halves` are r and s.
std::vector<uint8_t> encodeSignature(const std::vector<uint8_t>& halves) {
    const Signature signature(ECDSA_SIG_new());
    Number r(BN_bin2bn(halves.data(), kCoordinate, nullptr));
    Number s(BN_bin2bn(halves.data() + kCoordinate, kCoordinate, nullptr));
    if (!signature || !r || !s || ECDSA_SIG_set0(signature.get(), r.get(), s.get()) != 1) return {};
    (void)r.release();  // the signature's now
    (void)s.release();
    const int size = i2d_ECDSA_SIG(signature.get(), nullptr);
    if (size <= 0) return {};
    std::vector<uint8_t> encoded(static_cast<size_t>(size));
    uint8_t* cursor = encoded.data();
    if (i2d_ECDSA_SIG(signature.get(), &cursor) != size) return {};
    return encoded;
}

}  // namespace

bool verifySignature(const std::string& publicKey, std::string_view message,
                     std::string_view signature) {
    const std::vector<uint8_t> blob = mbutil::base64Decode(publicKey);
    const std::vector<uint8_t> halves = mbutil::base64Decode(mbutil::trim(signature));
    if (blob.size() != kKeySize || std::memcmp(blob.data(), kMagic.data(), kMagic.size()) != 0)
        return false;
    if (halves.size() != 2 * kCoordinate) return false;
    const Key key = makeKey(blob);
    const std::vector<uint8_t> encoded = encodeSignature(halves);
    const DigestContext digest(EVP_MD_CTX_new());
    if (!key || encoded.empty() || !digest) return false;
    return EVP_DigestVerifyInit(digest.get(), nullptr, EVP_sha256(), nullptr, key.get()) == 1 &&
           EVP_DigestVerifyUpdate(digest.get(), message.data(), message.size()) == 1 &&
           EVP_DigestVerifyFinal(digest.get(), encoded.data(), encoded.size()) == 1;
}

bool verifyManifestSignature(const std::string& publicKey, std::string_view manifest,
                             std::string_view signature) {
    return verifySignature(publicKey, manifest, signature);
}

const char* builtInPublicKey() { return MARLIN_UPDATE_PUBLIC_KEY; }

}  // namespace mbupdate
