#include <gtest/gtest.h>

#include "bridge.hpp"
#include "proc/proc.hpp"
#include "util/util.hpp"

namespace {

using mbjson::Json;
using mbtest::Answer;
using mbtest::Bridge;
using mbtest::object;

struct DispatchRoutes : testing::Test {
    Bridge bridge;
    std::string root = bridge.addRoot("proj");
    mbtest::ScopedEnv environment{std::map<std::string, std::optional<std::string>>{
        {"FAKE_CLAUDE_SCRIPT", bridge.dir.write("script", "")},
        {"FAKE_CLAUDE_LOG", bridge.dir.mkdir("log")},
        {"GIT_CONFIG_NOSYSTEM", "1"},
        {"GIT_AUTHOR_NAME", "A"},
        {"GIT_AUTHOR_EMAIL", "a@b"},
        {"GIT_COMMITTER_NAME", "C"},
        {"GIT_COMMITTER_EMAIL", "c@d"}}};
    mbtest::WsClient events = bridge.events();

    ~DispatchRoutes() override { bridge.app.dispatch.shutdown(); }

    void SetUp() override {
        mbws::Config next = *bridge.app.workspace.config();
        next.claudeCommand = FAKE_CLAUDE;
        bridge.app.workspace.setConfig(std::move(next));
        bridge.dir.write("proj/a.txt", "one\n");
        sh("git init -q -b main && git add -A && git commit -q -m first");
    }
    std::string sh(const std::string& line) {
        mbproc::Options options;
        options.cwd = root;
        options.timeoutMs = 30000;
        const mbproc::Result result = mbproc::run(line, options);
        EXPECT_EQ(result.code, 0) << line << "\n" << result.err;
        return result.out;
    }
    Answer post(const std::string& route, const Json& body) {
        return bridge.post("/api/dispatch/" + route, body);
    }
    std::string refusal(const std::string& route, const Json& body) {
        const Answer answer = post(route, body);
        return std::to_string(answer.status) + " " + answer.error();
    }
    void script(const std::string& commands) { bridge.dir.write("script", commands); }
    // The id of one new task.
    std::string create(const Json& body) {
        const Answer answer = post("create", body);
        EXPECT_EQ(answer.status, 200) << answer.body;
        return answer.json()["ids"][0].asString();
    }
    Json task(const std::string& id) {
        const Json answer = bridge.get("/api/dispatch/list").json();
        for (const Json& row : answer["tasks"].asArray())
            if (row["id"].asString() == id) return row;
        return {};
    }
    bool becomes(const std::string& id, const char* status) {
        return mbtest::waitUntil([&] { return task(id)["status"].asString() == status; });
    }
};

constexpr const char* kResult = "out {\"type\":\"result\",\"is_error\":false}\n";

TEST_F(DispatchRoutes, ListsTasksLimitAndRoots) {
    bridge.addRoot("plain");
    EXPECT_EQ(bridge.get("/api/dispatch/list").body,
              R"({"limit":2,"ok":true,"roots":[{"git":true,"name":"proj"},)"
              R"({"git":false,"name":"plain"}],"tasks":[]})");
}

TEST_F(DispatchRoutes, ATaskIsMadeFollowedLookedAtAndLanded) {
    script(std::string("read\nnote new.txt made\n") + kResult);
    const std::string id = create(object({{"task", "make a file"}, {"root", "proj"}}));
    EXPECT_TRUE(events.recvTextWith("\"type\":\"dispatch.event\""));
    EXPECT_TRUE(events.recvTextWith("\"status\":\"done\""));
    ASSERT_TRUE(becomes(id, "done"));
    const Json diff = bridge.get("/api/dispatch/diff?id=" + id).json();
    EXPECT_TRUE(diff["ok"].asBool());
    EXPECT_EQ(diff["files"].dump(), R"([{"added":1,"path":"new.txt","removed":0}])");
    EXPECT_EQ(post("merge", object({{"id", id}})).body, R"({"ok":true})");
    EXPECT_EQ(mbtest::slurp(root + "/new.txt"), "made\n");
    EXPECT_EQ(task(id)["status"].asString(), "merged");
    EXPECT_EQ(refusal("send", object({{"id", id}, {"text", "more"}})), "400 that task is closed");
}

TEST_F(DispatchRoutes, QuestionsAreAnsweredAndRunningTasksControlled) {
    script("read\nread\nread\nhang\n");
    const std::string id = create(object({{"task", "ask"}, {"worktree", false}}));
    ASSERT_TRUE(becomes(id, "running"));
    EXPECT_EQ(
        post("permission",
             object({{"id", id}, {"requestId", "q1"}, {"behavior", "deny"}, {"interrupt", true}}))
            .body,
        R"({"ok":true})");
    EXPECT_EQ(
        post("control",
             object({{"id", id},
                     {"request", object({{"subtype", "set_permission_mode"}, {"mode", "odd"}})}}))
            .body,
        R"({"ok":true})");
    const std::string log = bridge.dir.at("log/stdin");
    ASSERT_TRUE(mbtest::waitUntil(
        [&] { return mbtest::slurp(log).find("set_permission_mode") != std::string::npos; }));
    EXPECT_NE(
        mbtest::slurp(log).find(
            R"({"type":"control_response","response":{"request_id":"q1","response":{)"
            R"("behavior":"deny","message":"The user declined this."},"subtype":"success"}})"),
        std::string::npos)
        << mbtest::slurp(log);
    EXPECT_EQ(post("stop", object({{"id", id}})).body, R"({"ok":true})");
    EXPECT_EQ(task(id)["status"].asString(), "stopped");
    EXPECT_EQ(post("discard", object({{"id", id}})).body, R"({"ok":true})");
    EXPECT_EQ(task(id)["status"].asString(), "discarded");
}

TEST_F(DispatchRoutes, RefusalsHaveTheirStatus) {
    const Json none = object({{"id", "none"}});
    EXPECT_EQ(refusal("create", Json::object()), "400 describe the task first");
    EXPECT_EQ(refusal("send", none), "400 no such task");
    EXPECT_EQ(refusal("stop", none), "400 no such task");
    EXPECT_EQ(refusal("merge", none), "409 no such task");
    EXPECT_EQ(refusal("discard", none), "400 no such task");
    EXPECT_EQ(refusal("permission", none), "400 allow or deny");
    EXPECT_EQ(refusal("permission", object({{"id", "none"}, {"behavior", "allow"}})),
              "409 that task is not running");
    EXPECT_EQ(refusal("control", object({{"request", object({{"subtype", "set_model"}})}})),
              "400 unsupported control request");
    EXPECT_EQ(refusal("control", object({{"request", object({{"subtype", "interrupt"}})}})),
              "409 that task is not running");
    EXPECT_EQ(bridge.get("/api/dispatch/diff?id=none").status, 400);
}

TEST_F(DispatchRoutes, TheLimitIsKeptInTheSettings) {
    const auto stored = [&] {
        return Json::parse(mbtest::slurp(bridge.app.configPath))["claude"].dump();
    };
    mbws::Config next = *bridge.app.workspace.config();
    next.claude = object({{"model", "m"}});
    bridge.app.workspace.setConfig(std::move(next));
    EXPECT_EQ(post("limit", object({{"limit", 0}})).body, R"({"ok":true})");
    EXPECT_EQ(stored(), R"({"dispatchLimit":1,"model":"m"})");
    post("limit", object({{"limit", 12}}));
    EXPECT_EQ(stored(), R"({"dispatchLimit":8,"model":"m"})");
    post("limit", object({{"limit", "many"}}));
    EXPECT_EQ(bridge.get("/api/dispatch/list").json()["limit"].asInt(), 2);
}

}  // namespace
