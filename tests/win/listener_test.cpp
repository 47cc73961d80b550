// What the owner makes of messages, from senders of all kinds.

#include "util/util.hpp"
#include "win/instance_support.hpp"

namespace {

using mbtest::Owner;
using mbtest::Paths;
using mbtest::Sender;
using mbtest::WinInstance;

constexpr size_t kMessageLimit = 1048577;

TEST(WinInstanceMessage, IsReadAsOneJsonValue) {
    struct Row {
        const char* text;
        bool ok;
        Paths paths;
    };
    const Row rows[] = {
        {R"({"paths":["/a","/b"]})", true, {"/a", "/b"}},
        {"\xEF\xBB\xBF{\"paths\":[\"/a\"]} \t\r\n", true, {"/a"}},
        {R"({"paths":["/a",1,null,["/b"]]})", true, {"/a", "", "", ""}},
        {R"({"paths":"/a"})", true, {}},
        {R"({"paths":{"0":"/a"}})", true, {}},
        {"{}", true, {}},
        {"[]", true, {}},
        {"1", true, {}},
        {R"({"paths":["/a"]} x)", false, {"kept"}},
        {R"({"paths":["/a"]}{})", false, {"kept"}},
        {R"({"paths":["/a")", false, {"kept"}},
        {R"({"paths":[1e999]})", false, {"kept"}},
        {"", false, {"kept"}},
        {"ok", false, {"kept"}},
    };
    for (const Row& row : rows) {
        Paths paths = {"kept"};
        EXPECT_EQ(mbwin::readInstanceMessage(row.text, paths), row.ok) << row.text;
        EXPECT_EQ(paths, row.paths) << row.text;
    }
}

TEST_F(WinInstance, GarbageIsAnsweredAndNothingComesOfIt) {
    const Owner owner(socketPath);
    const std::string bytes("\0\xFF\xFE{]", 6);
    for (const std::string& text : {std::string("garbage"), bytes, std::string(), bytes + bytes})
        EXPECT_EQ(Sender(socketPath).say(text), "ok");
    EXPECT_EQ(Sender(socketPath).say(R"({"paths":["/last"]})"), "ok");
    ASSERT_TRUE(owner.awaitMessages(1));
    EXPECT_EQ(owner.received(), std::vector<Paths>{Paths{"/last"}});
}

TEST_F(WinInstance, MessageArrivingByteByByteIsDeliveredOnce) {
    const Owner owner(socketPath);
    const Sender sender(socketPath);
    for (const char byte : std::string(R"({"paths":["/a"]})")) ASSERT_TRUE(sender.send({&byte, 1}));
    EXPECT_TRUE(owner.received().empty());
    sender.finish();
    EXPECT_EQ(sender.answer(), "ok");
    ASSERT_TRUE(owner.awaitMessages(1));
    EXPECT_EQ(owner.received(), std::vector<Paths>{Paths{"/a"}});
}

TEST_F(WinInstance, SenderThatFallsSilentHasSaidAll) {
    const Owner owner(socketPath, 30);
    const Sender cut(socketPath);
    ASSERT_TRUE(cut.send(R"({"paths":["/cu)"));
    EXPECT_EQ(cut.answer(), "ok");
    const Sender whole(socketPath);
    ASSERT_TRUE(whole.send(R"({"paths":["/whole"]})"));
    EXPECT_EQ(whole.answer(), "ok");
    ASSERT_TRUE(owner.awaitMessages(1));
    EXPECT_EQ(owner.received(), std::vector<Paths>{Paths{"/whole"}});
}

std::string messageOfSize(size_t size) {
    const std::string begin = R"({"paths":["/)";
    const std::string end = R"("]})";
    return begin + std::string(size - begin.size() - end.size(), 'a') + end;
}

TEST_F(WinInstance, LongestMessageIsReadAndWhatFollowsIsCut) {
    const Owner owner(socketPath);
    EXPECT_EQ(Sender(socketPath).say(messageOfSize(kMessageLimit)), "ok");
    EXPECT_EQ(Sender(socketPath).say(messageOfSize(kMessageLimit + 1)), "ok");
    EXPECT_EQ(Sender(socketPath).say(messageOfSize(kMessageLimit) + "cut"), "ok");
    EXPECT_EQ(Sender(socketPath).say(R"({"paths":[]})"), "ok");
    ASSERT_TRUE(owner.awaitMessages(3));
    const std::vector<Paths> received = owner.received();
    ASSERT_EQ(received.size(), 3U);
    EXPECT_EQ(received[0], received[1]);
    EXPECT_EQ(received[0][0].size(), kMessageLimit - 14);
    EXPECT_TRUE(received[2].empty());
}

// A start that is told "ok" ends; nobody would open its paths.
TEST_F(WinInstance, WhoSpeaksWhileTheOwnerStopsGetsNoAnswer) {
    Owner owner(socketPath);
    const Sender stalled(socketPath);
    ASSERT_TRUE(stalled.send(R"({"paths":["/a"]})"));
    ASSERT_EQ(Sender(socketPath).connected(), true);
    // Now its owner waits for more.
    ASSERT_TRUE(mbtest::waitUntil([&] { return stalled.unread() == 0; }, 20000));
    owner.stop();
    EXPECT_EQ(stalled.answer(), "");
    EXPECT_TRUE(owner.received().empty());
    EXPECT_FALSE(mbutil::fileExists(socketPath));
}

}  // namespace
