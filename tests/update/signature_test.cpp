#include "update/signature.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "update/update.hpp"
#include "util/util.hpp"

namespace {

using mbupdate::verifySignature;

// Made with the openssl command: a key, a message and three signatures of it. The private half is
// gone.
constexpr const char* kKey = "RUNTMSAAAABrqHY7DFXZUA0Ss96tJFbQ4DkmCQ2ieVd7WkJrzI3UhdKeRbBaQdrhRG+"
                             "EI3eg8b4GjMmXuGICQMCWTsk+Utyc";
constexpr const char* kOtherKey = "RUNTMSAAAAATZrYsxUBLcYHNOMM3MP7CjrsZ8HlZoJpz2iFJ/"
                                  "02eEf05gV2NqI1CzJ7HNSG/rkPx1v4I8Tqp40wpC1XZUmrR";
constexpr const char* kMessage = "{\"version\": \"0.3.0\"}\r\n";
constexpr const char* kSignature =
    "Un6pRhDhAkneMBMie21aqJDMJPDkAyshpdauq4iCqByEfVs3+heIchKumWFNAfKWwOxXuRhwJsFtakMMtvfanw==";
// r and s in which the highest byte is 0.
constexpr const char* kShortR =
    "AFS42BH2iI9OmEKjqNlQTP4Cn8GXNXcG0kiMS21Dn1I1igbT87SV3/lTYP9ulB3g4IT9fcrXL6Gc9vpSboZrIA==";
constexpr const char* kShortS =
    "j88ugYIvI1eDAORdMZY6kTCYX/Am607N4uvZj60NJwsAAZ5GP4JGkz57ZUK5tjNRa5peAql/diN+08AlPtNSyQ==";

std::string encode(const std::vector<uint8_t>& bytes) {
    return mbutil::base64Encode(bytes.data(), bytes.size());
}

std::string keyWith(size_t position, uint8_t byte) {
    std::vector<uint8_t> blob = mbutil::base64Decode(kKey);
    blob[position] = byte;
    return encode(blob);
}

TEST(UpdateSignature, AGoodOnePasses) {
    for (const char* signature : {kSignature, kShortR, kShortS})
        EXPECT_TRUE(verifySignature(kKey, kMessage, signature)) << signature;
    EXPECT_TRUE(mbupdate::verifyManifestSignature(kKey, kMessage, kSignature));
}

TEST(UpdateSignature, BlanksAroundItDoNotCount) {
    EXPECT_TRUE(verifySignature(kKey, kMessage, std::string(kSignature) + "\n"));
    EXPECT_TRUE(verifySignature(kKey, kMessage, " \t\r\n" + std::string(kSignature) + " \t\r\n"));
}

TEST(UpdateSignature, IsForTheseBytesOnly) {
    for (const char* other : {"", "{\"version\": \"0.3.0\"}\n", "{\"version\": \"0.3.0\"}",
                              "{\"version\": \"0.3.1\"}\r\n", " {\"version\": \"0.3.0\"}\r\n",
                              "{\"version\": \"0.3.0\"}\r\n\n"})
        EXPECT_FALSE(verifySignature(kKey, other, kSignature)) << other;
}

TEST(UpdateSignature, IsOfThisKeyOnly) {
    EXPECT_FALSE(verifySignature(kOtherKey, kMessage, kSignature));
}

TEST(UpdateSignature, OneBitMoreOrLessFails) {
    for (const size_t position : {0U, 31U, 32U, 63U}) {
        std::vector<uint8_t> halves = mbutil::base64Decode(kSignature);
        halves[position] ^= 1;
        EXPECT_FALSE(verifySignature(kKey, kMessage, encode(halves))) << position;
    }
}

TEST(UpdateSignature, NumbersOutOfRangeFail) {
    const std::vector<uint8_t> good = mbutil::base64Decode(kSignature);
    for (const int filler : {0x00, 0xff})
        for (const size_t half : {0U, 32U}) {
            std::vector<uint8_t> halves = good;
            std::memset(halves.data() + half, filler, 32);
            EXPECT_FALSE(verifySignature(kKey, kMessage, encode(halves))) << half;
        }
    EXPECT_FALSE(verifySignature(kKey, kMessage, encode(std::vector<uint8_t>(64))));
}

TEST(UpdateSignature, AnotherLengthFails) {
    const std::vector<uint8_t> good = mbutil::base64Decode(kSignature);
    std::vector<uint8_t> longer = good, shorter = good;
    longer.push_back(0);
    shorter.pop_back();
    for (const auto& bytes : {longer, shorter, std::vector<uint8_t>()})
        EXPECT_FALSE(verifySignature(kKey, kMessage, encode(bytes))) << bytes.size();
    EXPECT_FALSE(verifySignature(kKey, kMessage, "not Base64!"));
}

TEST(UpdateSignature, AMalformedKeyFails) {
    std::vector<uint8_t> longer = mbutil::base64Decode(kKey), shorter = longer;
    longer.push_back(0);
    shorter.pop_back();
    EXPECT_FALSE(verifySignature(encode(longer), kMessage, kSignature));
    EXPECT_FALSE(verifySignature(encode(shorter), kMessage, kSignature));
    EXPECT_FALSE(verifySignature("", kMessage, kSignature));
    EXPECT_FALSE(verifySignature(keyWith(3, '2'), kMessage, kSignature)) << "ECS2";
    // The size is not looked at: the length of the whole fixes it.
    EXPECT_TRUE(verifySignature(keyWith(4, 0), kMessage, kSignature));
}

TEST(UpdateSignature, AKeyThatIsNoPointOfTheCurveFails) {
    EXPECT_FALSE(verifySignature(keyWith(71, 0), kMessage, kSignature));
    std::vector<uint8_t> zeros = mbutil::base64Decode(kKey);
    std::memset(zeros.data() + 8, 0, 64);
    EXPECT_FALSE(verifySignature(encode(zeros), kMessage, kSignature));
}

TEST(UpdateSignature, TheBuiltInKeyHasTheForm) {
    const std::string key = mbupdate::builtInPublicKey();
    EXPECT_EQ(key.size(), 96U);
    const std::vector<uint8_t> blob = mbutil::base64Decode(key);
    ASSERT_EQ(blob.size(), 72U);
    EXPECT_EQ(std::string(blob.begin(), blob.begin() + 4), "ECS1");
    EXPECT_FALSE(verifySignature(key, kMessage, kSignature));
}

}  // namespace
