// Checks against a site that is really there.

#include <gtest/gtest.h>

#include <atomic>

#include "site.hpp"

namespace {

using mbtest::Reply;
using mbupdate::Channel;
using mbupdate::InstallKind;
using Words = std::vector<std::string>;

constexpr const char* kBadSignature =
    "failed: the update did not carry a valid signature and was ignored";

using UpdateCheck = mbtest::SiteTest;

TEST_F(UpdateCheck, FindsARelease) {
    publish(manifest("0.3.0"));
    const int64_t before = std::time(nullptr);
    EXPECT_EQ(check(), "available");
    EXPECT_EQ(heard.words(), (Words{"checking", "available"}));
    const mbupdate::Status status = updater.status();
    EXPECT_EQ(status.currentVersion, "0.2.5");
    EXPECT_EQ(status.release.version, "0.3.0");
    EXPECT_EQ(status.release.url, server.url("/updates/linux/stable/app.bin"));
    EXPECT_GE(status.lastCheck, before);
    EXPECT_LE(status.lastCheck, std::time(nullptr));
    EXPECT_EQ(heard.all().back().lastCheck, status.lastCheck);
}

TEST_F(UpdateCheck, TheSameOrAnOlderVersionIsUpToDate) {
    for (const char* version : {"0.2.5", "0.2.5-beta1", "0.2", "0.1.9"}) {
        publish(manifest(version));
        EXPECT_EQ(check(), "uptodate") << version;
        EXPECT_EQ(updater.status().release.version, version);
    }
}

TEST_F(UpdateCheck, ASkippedVersionIsUpToDateAndTheNextIsNot) {
    publish(manifest("0.3.0"));
    check();
    updater.skipCurrentRelease();
    EXPECT_EQ(mbtest::wordsOf(heard.all().back()), "uptodate");
    EXPECT_EQ(updater.status().skippedVersion, "0.3.0");
    EXPECT_EQ(check(), "uptodate");
    publish(manifest("0.3.1"));
    EXPECT_EQ(check(), "available");
}

TEST_F(UpdateCheck, LooksInTheFolderOfItsChannel) {
    publish(manifest("0.3.0"), "/updates/linux/beta");
    EXPECT_EQ(check(), "failed: no release has been published there yet");
    updater.setChannel(Channel::Beta);
    EXPECT_EQ(check(), "available");
    EXPECT_EQ(updater.status().release.url, server.url("/updates/linux/beta/app.bin"));
    updater.setChannel(Channel::Stable);
    EXPECT_EQ(check(), "failed: no release has been published there yet");
}

TEST_F(UpdateCheck, AKindWithoutAFileMakesTheManifestIncomplete) {
    publish(manifest("0.3.0"));
    configure(InstallKind::Deb, dir.at("updates"));
    EXPECT_EQ(check(), "available");
    configure(InstallKind::Rpm, dir.at("updates"));
    EXPECT_EQ(check(), "failed: the update manifest is incomplete");
}

TEST_F(UpdateCheck, AFailureThatNobodyAskedForStaysQuiet) {
    EXPECT_EQ(check(false), "idle: no release has been published there yet");
    EXPECT_EQ(heard.words(), (Words{"checking", "idle: no release has been published there yet"}));
    EXPECT_GT(updater.status().lastCheck, 0);
    for (const std::string& text : {std::string("{"), std::string("{}")}) {
        publish(text);
        EXPECT_EQ(check(false).rfind("idle: the update manifest is ", 0), 0U);
        EXPECT_EQ(check(true).rfind("failed: the update manifest is ", 0), 0U);
    }
    publish(manifest("0.3.0"));
    EXPECT_EQ(check(false), "available");
}

TEST_F(UpdateCheck, ABadSignatureIsNeverQuiet) {
    const std::string text = manifest("0.3.0");
    for (const std::string& signature :
         {key.sign(text + "\n"), mbtest::TestKey().sign(text), std::string(), std::string("?")}) {
        publish(text, signature, kPublished);
        EXPECT_EQ(check(false), kBadSignature);
        EXPECT_EQ(check(true), kBadSignature);
    }
    EXPECT_EQ(updater.status().release.version, "");
}

TEST_F(UpdateCheck, TheSignatureComesBeforeAnyLookAtTheManifest) {
    publish("{", mbtest::TestKey().sign("{"), kPublished);
    EXPECT_EQ(check(), kBadSignature);
}

TEST_F(UpdateCheck, TheManifestIsVerifiedAsItCame) {
    const std::string text = "\xef\xbb\xbf" + manifest("0.3.0") + " \r\n";
    publish(text);
    EXPECT_EQ(check(), "available");
    publish(text, key.sign(text.substr(0, text.size() - 1)), kPublished);
    EXPECT_EQ(check(), kBadSignature);
}

TEST_F(UpdateCheck, WithoutASignatureThereIsNoRelease) {
    Reply reply;
    reply.body = manifest("0.3.0");
    server.serve("/updates/linux/stable/update.json", reply);
    EXPECT_EQ(check(), "failed: no release has been published there yet");
    EXPECT_GT(updater.status().lastCheck, 0);
}

TEST_F(UpdateCheck, AManifestBelowTheLimitIsTaken) {
    std::string text = manifest("0.3.0");
    text.resize(1048575, ' ');
    publish(text);
    EXPECT_EQ(check(), "available");
    for (const size_t size : {1048576U, 2000000U}) {
        text.resize(size, ' ');
        publish(text);
        EXPECT_EQ(check(), "failed: the download was interrupted");
    }
    EXPECT_EQ(check(false), "idle: the download was interrupted");
}

TEST_F(UpdateCheck, ANumberThatNoDoubleHoldsIsNoJson) {
    publish(R"({"version":"0.3.0","size":1e999})");
    EXPECT_EQ(check(), "failed: the update manifest is not valid JSON");
}

TEST_F(UpdateCheck, ASecondOneMeanwhileIsDropped) {
    std::mutex gate;
    std::unique_lock closed(gate);
    std::atomic<int> asked{0};
    publish(manifest("0.3.0"));
    server.serve("/updates/linux/stable/update.json", [&] {
        ++asked;
        const std::lock_guard pass(gate);
        Reply reply;
        reply.body = manifest("0.3.0");
        return reply;
    });
    updater.checkAsync(false);
    ASSERT_TRUE(mbtest::waitUntil([&] { return asked == 1; }, 30000));
    updater.checkAsync(true);
    updater.downloadAsync();
    EXPECT_EQ(heard.words(), Words{"checking"});
    closed.unlock();
    ASSERT_TRUE(heard.await(2));
    updater.stop();
    EXPECT_EQ(heard.words(), (Words{"checking", "available"}));
    EXPECT_EQ(asked, 1);
}

TEST_F(UpdateCheck, OfManyAtOnceOneRuns) {
    publish(manifest("0.3.0"));
    for (int round = 0; round < 20; ++round) {
        std::vector<std::thread> users;
        for (int i = 0; i < 4; ++i)
            users.emplace_back([this, i] {
                updater.checkAsync(i % 2 == 0);
                (void)updater.status();
            });
        for (std::thread& user : users) user.join();
    }
    EXPECT_EQ(check(), "available");
    updater.stop();
    const Words words = heard.words();
    for (size_t i = 0; i < words.size(); ++i)
        EXPECT_EQ(words[i], i % 2 == 0 ? "checking" : "available") << i;
}

TEST_F(UpdateCheck, TheCallbackMayAskForTheStatus) {
    publish(manifest("0.3.0"));
    std::atomic<int> same{0};
    updater.setCallback([&](const mbupdate::Status& told) {
        same += updater.status().state == told.state ? 1 : 0;
    });
    updater.checkAsync(true);
    EXPECT_TRUE(mbtest::waitUntil([&] { return same == 2; }, 30000));
}

}  // namespace
