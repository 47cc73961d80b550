#include "update/manifest.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace {

using mbupdate::isNewer;
using mbupdate::readManifest;
using mbupdate::Release;

constexpr const char* kBase = "https://host.example/updates/linux/stable";

std::string digest() { return std::string(64, 'a'); }

std::string manifestWith(const std::string& asset, const std::string& version = "0.3.0") {
    return R"({"version":")" + version +
           R"(","notes":"All new","published":"2026-01-31","assets":{"deb":)" + asset + "}}";
}

std::string asset(const std::string& url, const std::string& sha256) {
    return R"({"url":")" + url + R"(","sha256":")" + sha256 + R"(","size":1234})";
}

// The error, empty for a manifest that was read.
std::string errorOf(const std::string& text, Release* release = nullptr) {
    Release found;
    std::string error;
    const bool read = readManifest(text, "deb", kBase, release ? *release : found, error);
    EXPECT_EQ(read, error.empty());
    return error;
}

constexpr const char* kIncomplete = "the update manifest is incomplete";
constexpr const char* kInvalid = "the update manifest is not valid JSON";

TEST(UpdateManifest, GivesTheRelease) {
    Release release;
    EXPECT_EQ(
        errorOf(manifestWith(asset("https://cdn.example/a.deb", std::string(64, 'B'))), &release),
        "");
    EXPECT_EQ(release.version, "0.3.0");
    EXPECT_EQ(release.notes, "All new");
    EXPECT_EQ(release.published, "2026-01-31");
    EXPECT_EQ(release.url, "https://cdn.example/a.deb");
    EXPECT_EQ(release.sha256, std::string(64, 'b'));
    EXPECT_EQ(release.size, 1234U);
}

TEST(UpdateManifest, ARelativeUrlLiesBelowTheChannel) {
    const auto urlOf = [](const std::string& url) {
        Release release;
        EXPECT_EQ(errorOf(manifestWith(asset(url, digest())), &release), "");
        return release.url;
    };
    EXPECT_EQ(urlOf("files/a.deb?x=1"), std::string(kBase) + "/files/a.deb?x=1");
    EXPECT_EQ(urlOf("/a.deb"), std::string(kBase) + "//a.deb");
    EXPECT_EQ(urlOf("mailto:a.deb"), std::string(kBase) + "/mailto:a.deb");
}

TEST(UpdateManifest, WhatIsMissingOrOfAnotherTypeMakesItIncomplete) {
    for (const std::string& text : {
             std::string("{}"),
             std::string("[1]"),
             std::string("null"),
             std::string(R"({"assets":[]})"),
             manifestWith(asset("https://h/a.deb", digest()), ""),
             manifestWith(asset("", digest())),
             manifestWith(asset("http://h/a.deb", digest())),
             manifestWith(asset("HTTPS://h/a.deb", digest())),
             manifestWith(asset("ftp://h/a.deb", digest())),
             manifestWith(asset("https://h/a.deb", std::string(63, 'a'))),
             manifestWith(asset("https://h/a.deb", std::string(65, 'a'))),
             manifestWith("[]"),
             manifestWith(R"({"url":["https://h/a"],"sha256":")" + digest() + "\"}"),
             manifestWith(R"({"url":"https://h/a","sha256":7})"),
         })
        EXPECT_EQ(errorOf(text), kIncomplete) << text;
    Release release;
    std::string error;
    EXPECT_FALSE(readManifest(manifestWith(asset("https://h/a.deb", digest())), "rpm", kBase,
                              release, error));
    EXPECT_EQ(error, kIncomplete);
}

// It shows when the file is there.
TEST(UpdateManifest, TheDigestsCharactersAreNotLookedAt) {
    EXPECT_EQ(errorOf(manifestWith(asset("https://h/a.deb", std::string(64, '?')))), "");
}

TEST(UpdateManifest, NotesDateAndSizeMayBeMissing) {
    Release release;
    release.notes = release.published = "old";
    release.size = 7;
    EXPECT_EQ(
        errorOf(R"({"version":"1","notes":1,"assets":{"deb":{"url":"https://h/a","sha256":")" +
                    digest() + R"(","size":"12"}}})",
                &release),
        "");
    EXPECT_EQ(release.notes, "");
    EXPECT_EQ(release.published, "");
    EXPECT_EQ(release.size, 0U);
}

TEST(UpdateManifest, ASizeIsHeldWithinItsBits) {
    const auto sizeOf = [](const std::string& number) {
        Release release;
        EXPECT_EQ(errorOf(manifestWith(R"({"url":"https://h/a","sha256":")" + digest() +
                                       R"(","size":)" + number + "}"),
                          &release),
                  "");
        return release.size;
    };
    EXPECT_EQ(sizeOf("5.9"), 5U);
    EXPECT_EQ(sizeOf("-1"), 0U);
    EXPECT_EQ(sizeOf("1e300"), std::numeric_limits<uint64_t>::max());
    EXPECT_EQ(sizeOf("18446744073709551616"), std::numeric_limits<uint64_t>::max());
    EXPECT_EQ(sizeOf("9223372036854775808"), 9223372036854775808U);
}

TEST(UpdateManifest, IsOneJsonValueAndBlanks) {
    const std::string good = manifestWith(asset("https://h/a.deb", digest()));
    EXPECT_EQ(errorOf("\xef\xbb\xbf" + good), "");
    EXPECT_EQ(errorOf(good + " \t\r\n"), "");
    for (const std::string& text :
         {std::string(), good + "x", good + "{}", good + "\v", good + std::string(1, '\0'),
          good.substr(0, good.size() - 1), "\xef\xbb\xbf\xef\xbb\xbf" + good})
        EXPECT_EQ(errorOf(text), kInvalid) << text;
}

TEST(UpdateManifest, ANumberThatNoDoubleHoldsIsNoJson) {
    EXPECT_EQ(errorOf(R"({"version":"1","assets":{"deb":{"url":"https://h/a","size":1e999}}})"),
              kInvalid);
    EXPECT_EQ(errorOf(R"({"unused":-1e999})"), kInvalid);
}

TEST(UpdateManifest, AFailureLeavesTheReleaseAlone) {
    Release release;
    release.version = "kept";
    EXPECT_EQ(errorOf(manifestWith(asset("", digest())), &release), kIncomplete);
    EXPECT_EQ(release.version, "kept");
}

TEST(UpdateVersions, AreComparedByTheirNumbers) {
    struct {
        const char* a;
        const char* b;
        bool newer;
    } const cases[] = {
        {"1.10.0", "1.9.9", true},
        {"1.9.9", "1.10.0", false},
        {"1.2", "1.2.0", false},
        {"1.2.0", "1.2", false},
        {"1.2.0.1", "1.2", true},
        {"1.2", "1.2.0.1", false},
        {"0.2.5-beta1", "0.2.5", false},
        {"0.2.5", "0.2.5-beta1", false},
        {"0.2.6-beta1", "0.2.5", true},
        {"0.2.5-1.9", "0.2.5", true},
        {"2", "10", false},
        {"10", "2", true},
        {"v1.0", "0.9", false},
        {"1.x", "1.0", false},
        {"1.x", "1.1", false},
        {"", "0", false},
        {"1", "", true},
        {"1..1", "1.0.0", true},
        {"1.0", "1.-1", true},
        {"0.0x9", "0.0", false},
        {"1.99999999999999999999", "1.9", true},
    };
    for (const auto& row : cases)
        EXPECT_EQ(isNewer(row.a, row.b), row.newer) << row.a << " and " << row.b;
}

}  // namespace
