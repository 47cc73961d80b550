#include <gtest/gtest.h>

#include "bridge.hpp"

namespace {

using mbjson::Json;
using mbtest::Answer;
using mbtest::Bridge;
using mbtest::list;
using mbtest::object;

std::vector<std::string> rootNames(const Bridge& bridge) {
    std::vector<std::string> names;
    for (const mbindex::Root& root : bridge.app.workspace.config()->roots)
        names.push_back(root.name);
    return names;
}

TEST(WorkspaceRoutes, AddedFolderIsSavedAndFoundAgain) {
    Bridge bridge;
    const std::string folder = bridge.dir.mkdir("proj");
    const Json first = bridge.post("/api/workspace/add", object({{"path", folder}})).json();
    EXPECT_TRUE(first["ok"].asBool());
    EXPECT_EQ(first["name"].asString(), "proj");
    EXPECT_FALSE(first["alreadyOpen"].asBool(true));
    const Json again = bridge.post("/api/workspace/add", object({{"path", folder + "/./"}})).json();
    EXPECT_EQ(again["name"].asString(), "proj");
    EXPECT_TRUE(again["alreadyOpen"].asBool());
    EXPECT_EQ(rootNames(bridge), std::vector<std::string>{"proj"});

    mbws::Workspace reloaded;
    ASSERT_TRUE(reloaded.loadConfig(bridge.app.configPath));
    EXPECT_EQ(reloaded.config()->roots.at(0).path, folder);
}

TEST(WorkspaceRoutes, AddRefusesWhatIsNoFolder) {
    Bridge bridge;
    const std::string file = bridge.dir.write("a.txt", "x");
    for (const std::string& path : {file, bridge.dir.at("missing"), std::string()}) {
        const Answer answer = bridge.post("/api/workspace/add", object({{"path", path}}));
        EXPECT_EQ(answer.status, 400);
        EXPECT_EQ(answer.error(), "not a folder: " + path);
    }
}

TEST(WorkspaceRoutes, APathWithANulByteIsRefusedNotCut) {
    Bridge bridge;
    const std::string folder = bridge.dir.mkdir("proj");
    const std::string path = folder + std::string("\0evil", 5);
    EXPECT_EQ(bridge.post("/api/workspace/add", object({{"path", path}})).status, 400);
    EXPECT_TRUE(bridge.post("/api/open", object({{"paths", list({path})}})).json()["ok"].asBool());
    EXPECT_TRUE(rootNames(bridge).empty());
}

TEST(WorkspaceRoutes, BackslashesInAnAddedPathAreSlashes) {
    Bridge bridge;
    bridge.dir.mkdir("a/b");
    const Json answer =
        bridge.post("/api/workspace/add", object({{"path", bridge.dir.at("a\\b")}})).json();
    EXPECT_EQ(answer["name"].asString(), "b");
}

TEST(WorkspaceRoutes, NamesAreUniqueRegardlessOfCase) {
    Bridge bridge;
    for (const char* folder : {"x/app", "y/App", "z/app"})
        bridge.post("/api/workspace/add", object({{"path", bridge.dir.mkdir(folder)}}));
    EXPECT_EQ(rootNames(bridge), (std::vector<std::string>{"app", "App-2", "app-3"}));
}

TEST(WorkspaceRoutes, TheWholeDiskIsCalledFolder) {
    Bridge bridge;
    const Json answer = bridge.post("/api/workspace/add", object({{"path", "/"}})).json();
    EXPECT_EQ(answer["name"].asString(), "folder");
    EXPECT_EQ(bridge.app.workspace.config()->roots.at(0).path, "/");
}

TEST(WorkspaceRoutes, RemoveTakesTheNamedRootAndSaves) {
    Bridge bridge;
    for (const char* name : {"one", "two", "three"}) bridge.addRoot(name);
    const Json answer = bridge.post("/api/workspace/remove", object({{"name", "two"}})).json();
    EXPECT_TRUE(answer["ok"].asBool());
    EXPECT_EQ(answer["config"]["roots"].asArray().size(), 2U);
    EXPECT_EQ(rootNames(bridge), (std::vector<std::string>{"one", "three"}));
    mbws::Workspace reloaded;
    ASSERT_TRUE(reloaded.loadConfig(bridge.app.configPath));
    EXPECT_EQ(reloaded.config()->roots.size(), 2U);
}

TEST(WorkspaceRoutes, TheLastRootCanBeRemoved) {
    Bridge bridge;
    bridge.addRoot("one");
    EXPECT_EQ(bridge.post("/api/workspace/remove", object({{"name", "one"}})).status, 200);
    EXPECT_TRUE(rootNames(bridge).empty());
    EXPECT_EQ(mbapp::rootPathFor(bridge.app, "one"), "");
}

TEST(WorkspaceRoutes, RemoveOfAnUnknownNameIsA404) {
    Bridge bridge;
    bridge.addRoot("One");
    const Answer answer = bridge.post("/api/workspace/remove", object({{"name", "one"}}));
    EXPECT_EQ(answer.status, 404);
    EXPECT_EQ(answer.error(), "no folder called one in the workspace");
    EXPECT_EQ(bridge.post("/api/workspace/remove", Json::object()).error(),
              "no folder called  in the workspace");
}

TEST(WorkspaceRoutes, UnknownNamesFallBackToTheFirstRoot) {
    Bridge bridge;
    const std::string first = bridge.addRoot("one");
    const std::string second = bridge.addRoot("two");
    EXPECT_EQ(mbapp::rootPathFor(bridge.app, "two"), second);
    EXPECT_EQ(mbapp::rootPathFor(bridge.app, "gone"), first);
}

TEST(OpenRequests, AFileOutsideEveryRootAddsItsFolder) {
    Bridge bridge;
    mbtest::WsClient events = bridge.events();
    const std::string file = bridge.dir.write("proj/a.txt", "x");
    EXPECT_EQ(bridge.post("/api/open", object({{"paths", list({file})}})).body, R"({"ok":true})");
    EXPECT_EQ(events.recvTextWith("open.request"),
              R"({"rootsChanged":true,"targets":[{"directory":false,"path":"proj/a.txt"}],)"
              R"("type":"open.request"})");
    EXPECT_EQ(rootNames(bridge), std::vector<std::string>{"proj"});
}

TEST(OpenRequests, KnownFoldersAndFilesChangeNoRoot) {
    Bridge bridge;
    const std::string root = bridge.addRoot("proj");
    bridge.dir.write("proj/sub/a.txt", "x");
    mbtest::WsClient events = bridge.events();
    bridge.post("/api/open", object({{"paths", list({root, root + "/sub/a.txt"})}}));
    EXPECT_EQ(events.recvTextWith("open.request"),
              R"({"rootsChanged":false,"targets":[{"directory":true,"path":"proj"},)"
              R"({"directory":false,"path":"proj/sub/a.txt"}],"type":"open.request"})");
}

TEST(OpenRequests, WhatDoesNotExistIsDroppedAndStillOk) {
    Bridge bridge;
    mbtest::WsClient events = bridge.events();
    const Json paths = list({bridge.dir.at("missing"), Json(3), Json(""), Json()});
    EXPECT_EQ(bridge.post("/api/open", object({{"paths", paths}})).body, R"({"ok":true})");
    // Nothing was pushed: the next event is that of the next request.
    const std::string folder = bridge.dir.mkdir("later");
    bridge.post("/api/open", object({{"paths", list({folder})}}));
    const std::string text = events.recvTextWith("open.request").value_or("");
    EXPECT_NE(text.find("\"later\""), std::string::npos) << text;
}

TEST(OpenRequests, QueuedTargetsGoToTheFirstCallerOnly) {
    Bridge bridge;
    const std::string file = bridge.dir.write("proj/a.txt", "x");
    bridge.app.requestOpen({file, bridge.dir.at("proj")}, true);
    const Json first = bridge.get("/api/state").json();
    ASSERT_EQ(first["pendingOpen"].asArray().size(), 2U);
    EXPECT_EQ(first["pendingOpen"][0]["path"].asString(), "proj/a.txt");
    EXPECT_FALSE(first["pendingOpen"][0]["directory"].asBool(true));
    EXPECT_EQ(first["pendingOpen"][1]["path"].asString(), "proj");
    EXPECT_TRUE(bridge.get("/api/state").json()["pendingOpen"].isArray());
    EXPECT_TRUE(bridge.get("/api/state").json()["pendingOpen"].asArray().empty());
}

TEST(OpenRequests, OpenedPathsThatAreNotUtf8KeepStrictClientsConnected) {
    Bridge bridge;
    mbtest::WsClient events = bridge.events();
    const std::string file = bridge.dir.write("proj/caf\xe9.txt", "x");
    bridge.app.requestOpen({file}, false);
    const std::string text = events.recvTextWith("open.request").value_or("");
    EXPECT_NE(text.find("proj/caf\xc3\xa9.txt"), std::string::npos) << text;
    bridge.app.requestOpen({bridge.dir.at("proj")}, false);
    EXPECT_TRUE(events.recvTextWith("open.request")) << events.error();
}

TEST(OpenRequests, AFolderWhoseNameIsNotUtf8CanBeUsedByThePage) {
    Bridge bridge;
    const std::string file = bridge.dir.write("caf\xe9/a.txt", "x");
    bridge.app.requestOpen({file}, true);
    const Json state = bridge.get("/api/state").json();
    EXPECT_EQ(state["config"]["roots"][0]["name"].asString(), "caf\xc3\xa9");
    EXPECT_EQ(state["pendingOpen"][0]["path"].asString(), "caf\xc3\xa9/a.txt");
    EXPECT_EQ(bridge.get("/api/file/read?path=caf%c3%a9/a.txt").json()["contents"].asString(), "x");
}

TEST(OpenRequests, HalfASurrogatePairIsNoReasonToLoseTheChannel) {
    Bridge bridge;
    mbtest::WsClient events = bridge.events();
    const std::string file = bridge.dir.write("proj/\xed\xa0\xbd.txt", "x");
    bridge.app.requestOpen({file}, false);
    EXPECT_TRUE(events.recvTextWith("open.request")) << events.error();
}

TEST(OpenRequests, EventsReachAllClientsAlike) {
    Bridge bridge;
    mbtest::WsClient one = bridge.events();
    mbtest::WsClient two = bridge.events();
    bridge.app.requestOpen({bridge.dir.mkdir("proj")}, false);
    const auto first = one.recvText();
    ASSERT_TRUE(first);
    EXPECT_EQ(first, two.recvText());
}

}  // namespace
