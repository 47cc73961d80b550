// Paths that are to be opened: given at the start, or while the program runs.

#include <gtest/gtest.h>

#include "app/app_test.hpp"

namespace {

using mbjson::Json;
using mbtest::Events;
using mbtest::Layout;
using mbtest::Program;
using Paths = std::vector<std::string>;

std::string openBody(const Paths& paths) {
    Json list = Json::array();
    for (const std::string& path : paths) list.push(path);
    Json object = Json::object();
    object.set("paths", std::move(list));
    return object.dump();
}

TEST(AppOpen, FileOnTheCommandLineWaitsForTheFirstCallerOnly) {
    const Layout layout;
    Program program(layout, {.arguments = {layout.write("home/proj/a.txt", "text")}});
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    const Json first = program.ask("/api/state");
    ASSERT_EQ(first["pendingOpen"].asArray().size(), 1U);
    EXPECT_EQ(first["pendingOpen"][0]["path"].asString(), "proj/a.txt");
    EXPECT_TRUE(first["pendingOpen"][0]["directory"].isBool());
    EXPECT_FALSE(first["pendingOpen"][0]["directory"].asBool());
    const Json second = program.ask("/api/state");
    EXPECT_TRUE(second["pendingOpen"].isArray());
    EXPECT_TRUE(second["pendingOpen"].asArray().empty());
}

TEST(AppOpen, FolderOfAFileBecomesARootThatIsSaved) {
    const Layout layout;
    Program program(layout, {.arguments = {layout.write("home/proj/a.txt", "text")}});
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    const Json root = layout.settings()["roots"][0];
    EXPECT_EQ(root["name"].asString(), "proj");
    EXPECT_EQ(root["path"].asString(), layout.at("home/proj"));
    EXPECT_EQ(program.request("/api/file/raw?path=proj/a.txt").body, "text");
}

TEST(AppOpen, SecondStartKnowsTheRootOfTheFirst) {
    const Layout layout;
    const std::string file = layout.write("home/proj/sub/a.txt", "text");
    {
        Program program(layout, {.arguments = {layout.at("home/proj")}});
        ASSERT_TRUE(program.awaitBridge()) << program.errors();
        EXPECT_EQ(mbtest::pendingPaths(program), Paths{"proj"});
    }
    Program program(layout, {.arguments = {file}});
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    EXPECT_EQ(mbtest::pendingPaths(program), Paths{"proj/sub/a.txt"});
    EXPECT_EQ(layout.settings()["roots"].asArray().size(), 1U);
}

TEST(AppOpen, TwoPathsKeepTheirOrderAndMissingOnesAreDropped) {
    const Layout layout;
    const std::string file = layout.write("home/b/two.txt", "2");
    const std::string folder = layout.mkdir("home/a");
    Program program(layout, {.arguments = {file, layout.at("home/none/at/all.txt"), folder}});
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    const Json pending = program.ask("/api/state")["pendingOpen"];
    ASSERT_EQ(pending.asArray().size(), 2U);
    EXPECT_EQ(pending[0]["path"].asString(), "b/two.txt");
    EXPECT_EQ(pending[1]["path"].asString(), "a");
    EXPECT_TRUE(pending[1]["directory"].asBool());
}

TEST(AppOpen, MissingPathAloneStartsNormallyAndAddsNoRoot) {
    const Layout layout;
    Program program(layout, {.arguments = {layout.at("home/none.txt")}});
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    EXPECT_TRUE(mbtest::pendingPaths(program).empty());
    EXPECT_TRUE(layout.settings()["roots"].asArray().empty());
}

TEST(AppOpen, LaterRequestIsPushedAndDoesNotWait) {
    const Layout layout;
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    Events events(program);
    ASSERT_TRUE(events.connected()) << events.error();
    const std::string file = layout.write("home/proj/a.txt", "text");
    EXPECT_EQ(program.request("/api/open", openBody({file})).body, R"({"ok":true})");
    const auto event = events.await("open.request");
    ASSERT_TRUE(event) << events.error();
    EXPECT_EQ((*event)["targets"][0]["path"].asString(), "proj/a.txt");
    EXPECT_TRUE((*event)["rootsChanged"].asBool());
    EXPECT_TRUE(mbtest::pendingPaths(program).empty());
}

// A browser ends the whole channel at the first frame that is not UTF-8.
TEST(AppOpen, PathWithLatin1BytesReachesThePageAsUtf8) {
    const Layout layout;
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    Events events(program);
    const std::string file = layout.write("home/caf\xE9/na\xEFve.txt", "text");
    (void)program.request("/api/open", openBody({file}));
    const auto event = events.await("open.request");
    ASSERT_TRUE(event) << events.error();
    EXPECT_EQ((*event)["targets"][0]["path"].asString(), "caf\xC3\xA9/na\xC3\xAFve.txt");
    EXPECT_TRUE(events.catchUp(layout)) << events.error();
}

TEST(AppOpen, Latin1BytesOnTheCommandLineReachThePageAsUtf8) {
    const Layout layout;
    Program program(layout, {.arguments = {layout.write("home/caf\xE9/a.txt", "text")}});
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    const std::string state = program.request("/api/state").body;
    EXPECT_EQ(state.find('\xE9'), std::string::npos) << state;
    EXPECT_NE(state.find("caf\xC3\xA9/a.txt"), std::string::npos) << state;
}

}  // namespace
