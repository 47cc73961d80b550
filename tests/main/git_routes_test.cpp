#include <gtest/gtest.h>

#include <set>

#include "bridge.hpp"
#include "proc/proc.hpp"
#include "util/util.hpp"

namespace {

using mbjson::Json;
using mbtest::Answer;
using mbtest::Bridge;
using mbtest::list;
using mbtest::object;

// The bridge's home is the test's own, so no configuration of the machine's user counts but the
// system's, which is shut out.
struct GitRoutes : testing::Test {
    mbtest::ScopedEnv environment{
        std::map<std::string, std::optional<std::string>>{{"GIT_CONFIG_NOSYSTEM", "1"},
                                                          {"GIT_AUTHOR_NAME", "A"},
                                                          {"GIT_AUTHOR_EMAIL", "a@b"},
                                                          {"GIT_COMMITTER_NAME", "C"},
                                                          {"GIT_COMMITTER_EMAIL", "c@d"}}};
    Bridge bridge;

    // Runs a line of the shell in a folder below the test's own.
    std::string sh(const std::string& folder, const std::string& line) {
        mbproc::Options options;
        options.cwd = bridge.dir.at(folder);
        options.timeoutMs = 30000;
        const mbproc::Result result = mbproc::run(line, options);
        EXPECT_EQ(result.code, 0) << line << "\n" << result.err;
        return mbutil::trim(result.out);
    }
    std::string addRepository(const std::string& name) {
        const std::string root = bridge.addRoot(name);
        bridge.dir.write(name + "/a.txt", "one\n");
        sh(name, "git init -q -b main && git add -A && git commit -q -m first");
        bridge.app.repoRoots.clear();
        bridge.app.findRepositories();
        return root;
    }
    Json get(const std::string& target) {
        const Answer answer = bridge.get(target);
        EXPECT_EQ(answer.status, 200) << answer.body;
        EXPECT_TRUE(answer.json()["ok"].asBool());
        return answer.json();
    }
    Json act(const std::string& action, const Json& body) {
        const Answer answer = bridge.post("/api/git/" + action, body);
        EXPECT_EQ(answer.status, 200) << answer.body;
        return answer.json();
    }
};

TEST_F(GitRoutes, StatusOfAllRepositories) {
    const std::string one = addRepository("one");
    addRepository("two");
    bridge.dir.write("one/new.txt", "x\ny");
    const Json answer = get("/api/git/status");
    EXPECT_TRUE(answer["gitAvailable"].asBool());
    ASSERT_EQ(answer["repos"].asArray().size(), 2U);
    EXPECT_EQ(answer["repos"][0].dump(),
              R"({"ahead":0,"behind":0,"branch":"main","detached":false,"files":[{)"
              R"("conflicted":false,"index":".","path":"new.txt","staged":false,"unstaged":true,)"
              R"("untracked":true,"work":"?"}],"isRepo":true,"name":"one","root":")" +
                  one + R"(","upstream":""})");
    EXPECT_EQ(answer["repos"][1]["name"].asString(), "two");
}

TEST_F(GitRoutes, StatusOfOneWithCounts) {
    addRepository("one");
    addRepository("two");
    bridge.dir.write("two/new.txt", "x\ny");
    const Json answer = get("/api/git/status?repo=two&stats=1");
    ASSERT_EQ(answer["repos"].asArray().size(), 1U);
    EXPECT_EQ(answer["repos"][0]["files"][0]["workAdded"].asInt(), 2);
    EXPECT_TRUE(get("/api/git/status?repo=none")["repos"].asArray().empty());
}

TEST_F(GitRoutes, ABrokenRepositoryLeavesTheOthersAlone) {
    addRepository("one");
    const std::string two = addRepository("two");
    sh("two", "rm .git/HEAD");
    const Json repos = get("/api/git/status")["repos"];
    EXPECT_TRUE(repos[0]["isRepo"].asBool());
    EXPECT_FALSE(repos[1]["isRepo"].asBool(true));
    EXPECT_NE(repos[1]["error"].asString(), "");
}

TEST_F(GitRoutes, TwoRootsInOneRepositoryAreOneEntry) {
    const std::string root = addRepository("one");
    mbws::Config next = *bridge.app.workspace.config();
    next.roots.push_back({"inner", bridge.dir.mkdir("one/inner")});
    next.roots.push_back({"plain", bridge.dir.mkdir("plain")});
    bridge.app.workspace.setConfig(std::move(next));
    bridge.app.repoRoots.clear();
    bridge.app.findRepositories();
    ASSERT_EQ(bridge.app.repoRoots.size(), 1U);
    EXPECT_EQ(bridge.app.repoRoots[0].name, "one");
    EXPECT_EQ(bridge.app.repoRoots[0].root, root);
    // Unknown and later names act on the first.
    EXPECT_EQ(bridge.app.repoRootFor("plain"), root);
}

TEST_F(GitRoutes, DiffGivesBothSides) {
    addRepository("one");
    bridge.dir.write("one/a.txt", "two\n");
    sh("one", "git add a.txt");
    bridge.dir.write("one/a.txt", "caf\xe9\n");
    const Json head = get("/api/git/diff?path=a.txt");
    EXPECT_EQ(
        head.dump(),
        "{\"modified\":\"caf\xc3\xa9\\n\",\"ok\":true,\"original\":\"one\\n\",\"path\":\"a.txt\"}");
    EXPECT_EQ(get("/api/git/diff?path=a.txt&rev=:0")["original"].asString(), "two\n");
    EXPECT_EQ(get("/api/git/diff?path=none.txt")["modified"].asString(), "");
}

TEST_F(GitRoutes, WithoutARepositoryNothingElseIsTouched) {
    bridge.addRoot("plain");
    bridge.app.findRepositories();
    EXPECT_TRUE(get("/api/git/status")["repos"].asArray().empty());
    EXPECT_TRUE(get("/api/git/graph")["commits"].asArray().empty());
    // The process may have been started inside of some repository.
    for (const char* action : {"stage", "commit", "discard", "checkout"})
        EXPECT_EQ(bridge
                      .post(std::string("/api/git/") + action, object({{"paths", list({"a.txt"})},
                                                                       {"message", "m"},
                                                                       {"stageAll", true},
                                                                       {"branch", "main"}}))
                      .status,
                  400);
}

TEST_F(GitRoutes, HistoryAndItsParts) {
    addRepository("one");
    bridge.dir.write("one/a.txt", "two\n");
    sh("one", "git commit -q -a -m second && git branch side");
    const std::string hash = sh("one", "git rev-parse HEAD");
    const std::string parent = sh("one", "git rev-parse HEAD^");
    EXPECT_EQ(get("/api/git/graph?limit=1")["commits"][0]["hash"].asString(), hash);
    EXPECT_EQ(get("/api/git/graph")["refs"].asArray().size(), 2U);
    const Json log = get("/api/git/log?path=a.txt&unpushed=1");
    EXPECT_EQ(log["commits"][1]["subject"].asString(), "first");
    EXPECT_FALSE(log["hasUpstream"].asBool(true));
    EXPECT_FALSE(log["commits"][0]["pushed"].asBool(true));
    const Json detail = get("/api/git/commit-detail?hash=" + hash);
    EXPECT_EQ(detail["files"][0]["path"].asString(), "a.txt");
    const Json sides =
        get("/api/git/commit-diff?hash=" + hash + "&parent=" + parent + "&path=a.txt");
    EXPECT_EQ(sides["original"].asString(), "one\n");
    EXPECT_EQ(sides["modified"].asString(), "two\n");
    EXPECT_EQ(get("/api/git/branches")["branches"].dump(), R"(["main","side"])");
    for (const char* target : {"/api/git/commit-detail?hash=123456", "/api/git/commit-diff?hash=x"})
        EXPECT_EQ(bridge.get(target).error(), "not a commit id");
}

TEST_F(GitRoutes, ActionsAnswerWithTheFreshStatus) {
    addRepository("one");
    bridge.dir.write("one/b c.txt", "x");
    const Json staged = act("stage", object({{"paths", list({"b c.txt"})}}));
    EXPECT_EQ(staged["status"]["name"].asString(), "one");
    EXPECT_TRUE(staged["status"]["files"][0]["staged"].asBool());
    EXPECT_EQ(staged["output"].asString(), "");
    const Json made = act("commit", object({{"repo", "one"}, {"message", "it's \"done\""}}));
    EXPECT_TRUE(made["status"]["files"].asArray().empty());
    EXPECT_NE(made["output"].asString().find("it's \"done\""), std::string::npos);
    EXPECT_EQ(sh("one", "git log -1 --format=%s"), "it's \"done\"");
    EXPECT_EQ(sh("one", "ls .git | grep MARLIN || true"), "");
}

TEST_F(GitRoutes, ActionsThatFailSayWhy) {
    addRepository("one");
    EXPECT_EQ(bridge.post("/api/git/stage", Json::object()).error(), "no paths given");
    const Answer refused = bridge.post("/api/git/commit", Json::object());
    EXPECT_EQ(refused.status, 400);
    EXPECT_EQ(refused.error(), "a commit message is required");
}

// Names come from clones, and none of them may ever run.
TEST_F(GitRoutes, NoNameRunsAsACommand) {
    addRepository("one");
    const std::string name = "x;touch $(echo ran)`touch ran`'\"";
    bridge.dir.write("one/" + name, "x");
    sh("one", "git checkout -q -b 'x;touch${IFS}ran'");
    act("stage", object({{"paths", list({Json(name)})}}));
    act("commit", object({{"message", name}}));
    for (const char* route : {"diff?path=", "log?path=", "diff?path=a.txt&rev=", "graph?limit=",
                              "commit-detail?hash=", "commit-diff?hash=", "branches?remote="})
        bridge.get(std::string("/api/git/") + route +
                   "x%3Btouch%20ran%60touch%20ran%60%24(touch%20ran)'%22");
    for (const char* action : {"unstage", "discard", "checkout", "merge", "push"})
        bridge.post(
            std::string("/api/git/") + action,
            object({{"paths", list({Json(name)})}, {"branch", name}, {"setUpstream", true}}));
    EXPECT_EQ(sh("one", "ls | grep -x ran || true"), "");
}

// The table gives each route exactly once, and nine of them are made in a loop.
TEST_F(GitRoutes, AllActionsAreThere) {
    std::set<std::string> paths;
    for (const mbnet::Route& route : bridge.app.server.routeTable()) paths.insert(route.prefix);
    for (const char* action :
         {"stage", "unstage", "discard", "commit", "push", "pull", "fetch", "checkout", "merge"})
        EXPECT_TRUE(paths.contains(std::string("/api/git/") + action)) << action;
}

}  // namespace
