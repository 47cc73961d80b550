#include "discord/discord.hpp"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <memory>

#include "support/fake_discord.hpp"
#include "support/support.hpp"

namespace {

using mbdiscord::Activity;
using mbdiscord::Presence;
using mbjson::Json;
using mbtest::FakeDiscord;
using mbtest::ScopedEnv;
using mbtest::TempDir;
using std::chrono::milliseconds;
using Texts = std::vector<std::string>;

TEST(DiscordSocket, CandidatesInOrder) {
    const ScopedEnv environment{
        {{"XDG_RUNTIME_DIR", "/run/me"}, {"TMPDIR", ""}, {"TMP", std::nullopt}, {"TEMP", "/t"}}};
    Texts wanted;
    for (const char* folder : {"/run/me", "/t", "/tmp"})
        for (const char* place : {"", "/app/com.discordapp.Discord", "/snap.discord",
                                  "/.flatpak/com.discordapp.Discord/xdg-run"})
            for (int number = 0; number < 10; ++number)
                wanted.push_back(std::string(folder) + place + "/discord-ipc-" +
                                 std::to_string(number));
    EXPECT_EQ(mbdiscord::candidatePaths(), wanted);
}

TEST(DiscordSocket, AllFourVariablesInTheirOrder) {
    const ScopedEnv environment{
        {{"XDG_RUNTIME_DIR", "/a"}, {"TMPDIR", "/b"}, {"TMP", "/c"}, {"TEMP", "/d"}}};
    const Texts paths = mbdiscord::candidatePaths();
    ASSERT_EQ(paths.size(), 200u);
    EXPECT_EQ((Texts{paths[0], paths[40], paths[80], paths[120], paths[160]}),
              (Texts{"/a/discord-ipc-0", "/b/discord-ipc-0", "/c/discord-ipc-0", "/d/discord-ipc-0",
                     "/tmp/discord-ipc-0"}));
}

TEST(DiscordSocket, FrameIsLittleEndian) {
    EXPECT_EQ(mbdiscord::frameBytes(mbdiscord::Opcode::Ping, "{}"),
              std::string("\3\0\0\0\2\0\0\0{}", 10));
    const std::string long300(300, 'x');
    EXPECT_EQ(mbdiscord::frameBytes(mbdiscord::Opcode::Frame, long300).substr(0, 8),
              std::string("\1\0\0\0\x2c\1\0\0", 8));
}

TEST(DiscordSocket, PathThatDoesNotFitIsNotCut) {
    const TempDir dir;
    const std::string path = dir.at(std::string(107 - dir.path().size() - 1, 'x'));
    const FakeDiscord discord(path);
    mbdiscord::Connection connection;
    EXPECT_TRUE(connection.open(path));
    EXPECT_FALSE(connection.open(path + "x"));
}

TEST(DiscordTiming, WhatTheUserSees) {
    const mbdiscord::Timing timing;
    EXPECT_EQ(timing.reconnect, milliseconds(15000));
    EXPECT_EQ(timing.handshake, milliseconds(500));
    EXPECT_EQ(timing.interval, milliseconds(4000));
}

size_t threads() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<size_t>(std::distance(begin(tasks), end(tasks)));
}

struct DiscordPresence : testing::Test {
    static constexpr milliseconds kInterval{300};

    TempDir dir;
    ScopedEnv environment{{{"XDG_RUNTIME_DIR", dir.path()},
                           {"TMPDIR", dir.mkdir("t")},
                           {"TMP", std::nullopt},
                           {"TEMP", std::nullopt}}};
    std::unique_ptr<FakeDiscord> discord = std::make_unique<FakeDiscord>(dir.at("discord-ipc-0"));
    Presence presence{{milliseconds(20), milliseconds(5), kInterval}};

    // Up to the moment at which activities are sent.
    void startReady() {
        presence.start("42");
        discord->frame(0);
        discord->ready();
        ASSERT_TRUE(mbtest::waitUntil([this] { return presence.isReady(); }));
    }
};

TEST_F(DiscordPresence, EmptyIdStartsNothing) {
    const size_t before = threads();
    presence.start("");
    EXPECT_EQ(threads(), before);
    presence.start("42");
    EXPECT_EQ(threads(), before + 1);
    presence.start("43");
    EXPECT_EQ(threads(), before + 1);
    EXPECT_EQ(discord->frame(0).body, R"({"client_id":"42","v":1})");
}

TEST_F(DiscordPresence, HandshakeThenActivity) {
    const auto before = std::time(nullptr);
    presence.set({"Editing a.cpp", "proj", "Marlin Bench"});
    EXPECT_FALSE(presence.isReady());
    startReady();
    EXPECT_EQ(discord->frame(0).opcode, 0u);
    const FakeDiscord::Frame frame = discord->frame(1);
    EXPECT_EQ(frame.opcode, 1u);
    const Json body = frame.json();
    EXPECT_EQ(body["cmd"].asString(), "SET_ACTIVITY");
    EXPECT_EQ(body["nonce"].asString().size(), 16u);
    EXPECT_EQ(body["args"]["pid"].asInt(), ::getpid());
    const Json activity = frame.activity();
    EXPECT_EQ(activity["details"].asString(), "Editing a.cpp");
    EXPECT_EQ(activity["state"].asString(), "proj");
    EXPECT_EQ(activity["assets"].dump(), R"({"large_image":"logo","large_text":"Marlin Bench"})");
    EXPECT_GE(activity["timestamps"]["start"].asNumber(), static_cast<double>(before));
    EXPECT_LE(activity["timestamps"]["start"].asNumber(), static_cast<double>(std::time(nullptr)));
}

TEST_F(DiscordPresence, EmptyLinesAreLeftOut) {
    startReady();
    presence.set({"Idle", "", ""});
    const Json activity = discord->frame(1).activity();
    EXPECT_FALSE(activity.has("state"));
    EXPECT_EQ(activity["assets"]["large_text"].asString(), "Marlin Bench");
    presence.set({"", "", ""});
    const Json cleared = discord->frame(2).activity();
    EXPECT_FALSE(cleared.has("details") || cleared.has("state"));
}

TEST_F(DiscordPresence, OfQuickChangesTheLastArrivesAndOnlyAfterTheInterval) {
    startReady();
    presence.set({"one", "", ""});
    const FakeDiscord::Frame first = discord->frame(1);
    presence.set({"two", "", ""});
    presence.set({"three", "", ""});
    const FakeDiscord::Frame second = discord->frame(2);
    EXPECT_EQ(second.activity()["details"].asString(), "three");
    // What the other side notes is late by at most the delay of its own thread.
    EXPECT_GE(second.arrived - first.arrived, kInterval - milliseconds(100));
    presence.set({"four", "", ""});
    EXPECT_EQ(discord->frame(3).activity()["details"].asString(), "four");
}

TEST_F(DiscordPresence, SameLinesAgainSendNothing) {
    startReady();
    presence.set({"one", "p", "x"});
    discord->frame(1);
    presence.set({"one", "p", "x"});
    presence.set({"one", "p", "other tool tip"});
    presence.set({"two", "p", "x"});
    EXPECT_EQ(discord->frame(2).activity()["details"].asString(), "two");
}

TEST_F(DiscordPresence, PingIsAnsweredAlsoBeforeReady) {
    presence.start("42");
    discord->frame(0);
    discord->sendFrame(3, "early \x01");
    EXPECT_EQ(discord->frame(1).opcode, 4u);
    EXPECT_EQ(discord->frame(1).body, "early \x01");
    EXPECT_FALSE(presence.isReady());
    discord->ready();
    ASSERT_TRUE(mbtest::waitUntil([this] { return presence.isReady(); }));
    discord->sendFrame(3, "");
    EXPECT_EQ(discord->frame(2).opcode, 4u);
    EXPECT_EQ(discord->frame(2).body, "");
}

TEST_F(DiscordPresence, OnlyReadyMakesReady) {
    presence.start("42");
    discord->frame(0);
    for (const char* body :
         {"not json", "[]", R"({"evt":"ERROR"})", R"({"evt":1})", R"({"evt":"READY","n":1e999})"})
        discord->sendFrame(1, body);
    discord->sendFrame(7, R"({"evt":"READY"})");
    discord->sendFrame(3, "after all of them");
    EXPECT_EQ(discord->frame(1).opcode, 4u);
    EXPECT_FALSE(presence.isReady());
}

TEST_F(DiscordPresence, FrameMayArriveByteByByte) {
    presence.start("42");
    discord->frame(0);
    const std::string body = R"({"evt":"READY"})";
    for (const char byte : FakeDiscord::header(1, static_cast<uint32_t>(body.size())) + body)
        discord->sendBytes({&byte, 1});
    EXPECT_TRUE(mbtest::waitUntil([this] { return presence.isReady(); }));
}

TEST_F(DiscordPresence, BodyFromTheLimitOnIsNotRead) {
    presence.start("42");
    discord->frame(0);
    // What follows such a header is taken for the next one.
    discord->sendBytes(FakeDiscord::header(1, 1048576) + FakeDiscord::header(3, 2) + "{}");
    EXPECT_EQ(discord->frame(1).body, "{}");
    const std::string largest = std::string(1048575, ' ');
    discord->sendFrame(3, largest);
    EXPECT_EQ(discord->frame(2).body.size(), largest.size());
}

TEST_F(DiscordPresence, WantedActivityIsSentAgainAfterAReconnect) {
    startReady();
    presence.set({"one", "", ""});
    discord->frame(1);
    discord->sendFrame(2, "{}");
    EXPECT_EQ(discord->frame(2).connection, 2);
    EXPECT_EQ(discord->frame(2).opcode, 0u);
    discord->ready();
    EXPECT_EQ(discord->frame(3).activity()["details"].asString(), "one");
    discord->hangUp();
    EXPECT_EQ(discord->frame(4).connection, 3);
    discord->ready();
    EXPECT_EQ(discord->frame(5).activity()["details"].asString(), "one");
}

TEST_F(DiscordPresence, NothingWasWantedSoNothingIsSentAfterAReconnect) {
    startReady();
    discord->hangUp();
    EXPECT_EQ(discord->frame(1).connection, 2);
    discord->ready();
    discord->sendFrame(3, "x");
    EXPECT_EQ(discord->frame(2).opcode, 4u);
}

TEST_F(DiscordPresence, DiscordThatStartsLaterIsFound) {
    discord.reset();
    std::filesystem::remove(dir.at("discord-ipc-0"));
    // A socket that nobody listens on any more is passed over.
    dir.mkdir("snap.discord");
    { const FakeDiscord gone(dir.at("snap.discord/discord-ipc-1")); }
    presence.start("42");
    dir.mkdir("t/app/com.discordapp.Discord");
    FakeDiscord late(dir.at("t/app/com.discordapp.Discord/discord-ipc-9"));
    EXPECT_EQ(late.frame(0).opcode, 0u);
    presence.stop();
}

TEST_F(DiscordPresence, GoodbyeOnlyToOneThatListens) {
    startReady();
    presence.stop();
    EXPECT_FALSE(presence.isReady());
    EXPECT_TRUE(discord->waitForEnd(1));
    EXPECT_EQ(discord->frame(1).opcode, 2u);
    EXPECT_EQ(discord->frame(1).body, "{}");
    presence.stop();

    presence.start("43");
    EXPECT_EQ(discord->frame(2).json()["client_id"].asString(), "43");
    presence.stop();
    EXPECT_TRUE(discord->waitForEnd(2));
    EXPECT_EQ(discord->frameCount(), 3u) << "no goodbye before READY";
}

TEST_F(DiscordPresence, ListenerThatTakesNobodyDoesNotHoldTheEnd) {
    discord.reset();
    const std::string path = dir.at("discord-ipc-5");
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const mbutil::Fd listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(::bind(listener.value, reinterpret_cast<const sockaddr*>(&address), sizeof address),
              0);
    ASSERT_EQ(::listen(listener.value, 0), 0);
    mbdiscord::Connection filler;
    ASSERT_TRUE(filler.open(path));
    const size_t before = threads();
    presence.start("42");
    presence.stop();
    EXPECT_EQ(threads(), before);
}

TEST_F(DiscordPresence, StartAndStopFromManyThreads) {
    std::vector<std::thread> callers;
    for (int i = 0; i < 4; ++i)
        callers.emplace_back([this, i] {
            for (int round = 0; round < 20; ++round) {
                presence.start("42");
                presence.set({"round " + std::to_string(round * 4 + i), "", ""});
                presence.stop();
            }
        });
    for (std::thread& caller : callers) caller.join();
    EXPECT_FALSE(presence.isReady());
}

}  // namespace
