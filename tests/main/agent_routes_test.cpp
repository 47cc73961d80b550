#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "bridge.hpp"
#include "util/util.hpp"

namespace {

using mbjson::Json;
using mbtest::Answer;
using mbtest::Bridge;
using mbtest::list;
using mbtest::object;

// A bridge whose CLI plays a script, and a client that hears the events.
struct AgentRoutes : testing::Test {
    Bridge bridge;
    std::string log = bridge.dir.mkdir("log");
    mbtest::ScopedEnv scripted{std::map<std::string, std::optional<std::string>>{
        {"FAKE_CLAUDE_SCRIPT", bridge.dir.at("script")},
        {"FAKE_CLAUDE_LOG", log},
        {"FAKE_CLAUDE_AUTH", bridge.dir.at("auth")}}};
    mbtest::WsClient events = bridge.events();

    AgentRoutes() {
        setConfig([](mbws::Config& config) { config.claudeCommand = FAKE_CLAUDE; });
    }
    ~AgentRoutes() override { bridge.app.agent.stop(); }

    void setConfig(const std::function<void(mbws::Config&)>& change) {
        mbws::Config next = *bridge.app.workspace.config();
        change(next);
        bridge.app.workspace.setConfig(std::move(next));
    }
    Answer start(const std::string& script, const Json& body = Json::object()) {
        bridge.dir.write("script", script);
        return bridge.post("/api/agent/start", body);
    }
    // The arguments of the latest start, one a line, once they hold `part`.
    std::string arguments(const std::string& part) {
        mbtest::waitUntil(
            [&] { return mbtest::slurp(log + "/argv").find(part) != std::string::npos; });
        return mbtest::slurp(log + "/argv");
    }
    // What the CLI has read, once it holds `part`.
    std::string heard(const std::string& part) {
        mbtest::waitUntil(
            [&] { return mbtest::slurp(log + "/stdin").find(part) != std::string::npos; });
        return mbtest::slurp(log + "/stdin");
    }
};

TEST_F(AgentRoutes, AnswersWhileNothingRuns) {
    EXPECT_EQ(bridge.get("/api/agent/status").body,
              std::string(R"({"executable":")") + FAKE_CLAUDE +
                  R"(","ok":true,"running":false,"sessionId":""})");
    EXPECT_EQ(bridge.get("/api/agent/stop").body, R"({"ok":true})");
    const Answer interrupt = bridge.get("/api/agent/interrupt");
    EXPECT_EQ(interrupt.status, 409);
    EXPECT_EQ(interrupt.error(), "the Claude session is not running");
}

TEST_F(AgentRoutes, AConversationGoesThroughTheBridge) {
    const std::string root = bridge.addRoot("proj");
    const Json started = start(R"(out {"type":"system","subtype":"init"}
expect "text"
out {"type":"stream_event","event":{"delta":{"text":"Hel"}}}
out {"type":"control_request","request_id":"q1","request":{"subtype":"can_use_tool"}}
expect "q1"
out {"type":"result","is_error":false}
)")
                             .json();
    EXPECT_EQ(started["executable"].asString(), FAKE_CLAUDE);
    EXPECT_EQ(started["cwd"].asString(), root);
    EXPECT_EQ(Json::parse(events.recvTextWith("init").value_or(""))["line"].asString(),
              R"({"type":"system","subtype":"init"})");
    EXPECT_EQ(bridge.post("/api/agent/send", object({{"text", "hello \"you\""}})).body,
              R"({"ok":true})");
    EXPECT_TRUE(events.recvTextWith("can_use_tool"));
    const Json answer = object({{"requestId", "q1"},
                                {"behavior", "allow"},
                                {"input", object({{"command", "ls"}})},
                                {"updatedPermissions", list({object({{"type", "addRules"}})})}});
    EXPECT_EQ(bridge.post("/api/agent/permission", answer).body, R"({"ok":true})");
    EXPECT_TRUE(events.recvTextWith("is_error"));
    EXPECT_EQ(
        heard("q1"),
        R"({"type":"user","message":{"role":"user","content":[{"type":"text","text":"hello \"you\""}]}})"
        "\n"
        R"({"type":"control_response","response":{"request_id":"q1","response":{"behavior":"allow",)"
        R"("updatedInput":{"command":"ls"},"updatedPermissions":[{"type":"addRules"}]},)"
        R"("subtype":"success"}})"
        "\n");
    EXPECT_EQ(bridge.get("/api/agent/stop").body, R"({"ok":true})");
    EXPECT_EQ(events.recvTextWith("agent.exit"), R"({"code":0,"type":"agent.exit"})");
    EXPECT_FALSE(bridge.get("/api/agent/status").json()["running"].asBool(true));
}

TEST_F(AgentRoutes, ASecondStartLeavesTheSessionAlone) {
    ASSERT_EQ(start("out {}").status, 200);
    const int before = bridge.app.agent.processId();
    EXPECT_EQ(bridge.post("/api/agent/start", object({{"model", "other"}})).body,
              R"({"alreadyRunning":true,"ok":true,"sessionId":""})");
    EXPECT_EQ(bridge.app.agent.processId(), before);
}

TEST_F(AgentRoutes, TheBodyComesBeforeTheSettings) {
    setConfig([](mbws::Config& config) {
        config.claude = object({{"model", "m1"}, {"permissionMode", "plan"}, {"effort", "high"}});
    });
    ASSERT_EQ(start("await-end").status, 200);
    const std::string wanted = "--permission-mode\nplan\n--model\nm1\n--effort\nhigh\n";
    EXPECT_NE(arguments(wanted).find(wanted), std::string::npos) << arguments("");
    bridge.get("/api/agent/stop");
    ::unlink((log + "/argv").c_str());
    ASSERT_EQ(
        start("await-end",
              object({{"model", "default"}, {"permissionMode", "nonsense"}, {"resume", "abc"}}))
            .status,
        200);
    const std::string resumed = "--permission-mode\nacceptEdits\n--resume\nabc\n";
    const std::string again = arguments(resumed);
    EXPECT_NE(again.find(resumed), std::string::npos) << again;
    EXPECT_EQ(again.find("--model"), std::string::npos) << again;
}

TEST_F(AgentRoutes, OtherRootsAndFoldersThatExistAreAdded) {
    bridge.addRoot("one");
    const std::string two = bridge.addRoot("two");
    const std::string extra = bridge.dir.mkdir("extra");
    const Json folders = list({Json(5), " " + extra + " ", bridge.dir.at("gone"), Json(""), extra});
    ASSERT_EQ(start("await-end", object({{"additionalDirectories", folders}})).status, 200);
    const std::string wanted =
        "--add-dir\n" + two + "\n--add-dir\n" + extra + "\n--add-dir\n" + extra + "\n";
    EXPECT_NE(arguments(wanted).find(wanted), std::string::npos) << arguments("");
}

TEST_F(AgentRoutes, AMissingCliIsExplained) {
    setConfig([](mbws::Config& config) { config.claudeCommand = "/nowhere/claude"; });
    const Answer answer = bridge.post("/api/agent/start", Json::object());
    EXPECT_EQ(answer.status, 500);
    EXPECT_TRUE(mbutil::startsWith(answer.error(), "The Claude CLI was not found. Install it"));
}

TEST_F(AgentRoutes, AnEmptyMessageIsRefusedBeforeTheSessionIsLookedAt) {
    const auto send = [&](const Json& body) { return bridge.post("/api/agent/send", body); };
    const Json bitmap = object({{"mediaType", "image/bmp"}, {"data", "AA=="}});
    const Json noData = object({{"mediaType", "image/png"}, {"data", ""}});
    for (const Json& body : {Json::object(), object({{"text", 3}}),
                             object({{"images", list({bitmap, noData, Json(1)})}})}) {
        const Answer answer = send(body);
        EXPECT_EQ(answer.status, 400) << body.dump();
        EXPECT_EQ(answer.error(), "empty message") << body.dump();
    }
    EXPECT_EQ(send(object({{"text", "x"}})).status, 409);
}

TEST_F(AgentRoutes, ImagesGoBeforeTheirWords) {
    ASSERT_EQ(start("read\nread").status, 200);
    const Json image = object({{"mediaType", "image/png"}, {"data", "AAAA"}});
    const Json bitmap = object({{"mediaType", "image/bmp"}, {"data", "AAAA"}});
    bridge.post("/api/agent/send", object({{"images", list({bitmap, image})}}));
    bridge.post("/api/agent/send", object({{"text", "plain"}, {"images", list({bitmap})}}));
    EXPECT_EQ(
        heard("plain"),
        R"({"type":"user","message":{"role":"user","content":[{"source":{"data":"AAAA",)"
        R"("media_type":"image/png","type":"base64"},"type":"image"},)"
        R"x({"text":"(see the image)","type":"text"}]}})x"
        "\n"
        R"({"type":"user","message":{"role":"user","content":[{"type":"text","text":"plain"}]}})"
        "\n");
}

TEST_F(AgentRoutes, ControlRequestsAreChecked) {
    const auto control = [&](const Json& request) {
        return bridge.post("/api/agent/control", object({{"request", request}}));
    };
    EXPECT_EQ(control(object({{"subtype", "set_permission_mode"}, {"mode", "x"}})).error(),
              "unknown permission mode");
    EXPECT_EQ(control(object({{"subtype", "rewind"}})).error(),
              "unsupported control request: rewind");
    EXPECT_EQ(control(Json(1)).error(), "unsupported control request: ");
    for (const char* subtype :
         {"set_model", "initialize", "interrupt", "get_usage", "get_context_usage"})
        EXPECT_EQ(control(object({{"subtype", subtype}})).status, 409) << subtype;
    ASSERT_EQ(start("read").status, 200);
    const Json answer =
        control(object({{"subtype", "set_permission_mode"}, {"mode", "bypassPermissions"}})).json();
    const std::string id = answer["requestId"].asString();
    EXPECT_TRUE(mbutil::startsWith(id, "mb-control-")) << id;
    EXPECT_EQ(heard("bypass"),
              R"({"type":"control_request","request_id":")" + id +
                  R"(","request":{"mode":"bypassPermissions","subtype":"set_permission_mode"}})"
                  "\n");
}

TEST_F(AgentRoutes, PermissionAnswersAreCheckedFirst) {
    for (const Json& body :
         {Json::object(), object({{"requestId", "q"}}),
          object({{"requestId", "q"}, {"behavior", "maybe"}}), object({{"behavior", "deny"}})}) {
        const Answer answer = bridge.post("/api/agent/permission", body);
        EXPECT_EQ(answer.status, 400) << body.dump();
        EXPECT_EQ(answer.error(), "a request id and allow or deny are required");
    }
    EXPECT_EQ(
        bridge.post("/api/agent/permission", object({{"requestId", "q"}, {"behavior", "deny"}}))
            .status,
        409);
}

TEST_F(AgentRoutes, DenialsSayWhyAndWhetherToStop) {
    ASSERT_EQ(start("read\nread\nread\nread").status, 200);
    const auto deny = [&](Json body) {
        body.set("requestId", "q");
        body.set("behavior", "deny");
        return bridge.post("/api/agent/permission", body).status;
    };
    EXPECT_EQ(deny(Json::object()), 200);
    EXPECT_EQ(deny(object({{"message", ""}, {"interrupt", false}})), 200);
    EXPECT_EQ(deny(object({{"message", "no"}, {"interrupt", true}})), 200);
    EXPECT_EQ(bridge
                  .post("/api/agent/permission", object({{"requestId", "last"},
                                                         {"behavior", "allow"},
                                                         {"input", list({1})},
                                                         {"updatedPermissions", "x"}}))
                  .status,
              200);
    const std::string begin =
        R"({"type":"control_response","response":{"request_id":"q","response":{"behavior":"deny",)";
    const std::string end = R"(},"subtype":"success"}})"
                            "\n";
    EXPECT_EQ(heard("last"),
              begin + R"("message":"The user declined this.")" + end + begin + R"("message":"")" +
                  end + begin + R"("interrupt":true,"message":"no")" + end +
                  R"({"type":"control_response","response":{"request_id":"last",)"
                  R"("response":{"behavior":"allow","updatedInput":{}},"subtype":"success"}})"
                  "\n");
}

TEST_F(AgentRoutes, AnInterruptIsOneLine) {
    ASSERT_EQ(start("read").status, 200);
    EXPECT_EQ(bridge.get("/api/agent/interrupt").body, R"({"ok":true})");
    const std::string line = heard("interrupt\"}");
    EXPECT_NE(line.find(R"("request_id":"mb-interrupt-)"), std::string::npos) << line;
}

TEST_F(AgentRoutes, ACrashIsToldWithItsCodeAfterTheLastLine) {
    ASSERT_EQ(start("out {\"n\":1}\nerr went wrong\\n\nraw last\nkill 9").status, 200);
    std::string seen;
    while (seen.find("agent.exit") == std::string::npos) {
        const auto text = events.recvText();
        ASSERT_TRUE(text) << events.error();
        seen += *text + "\n";
    }
    EXPECT_NE(seen.find(R"({"line":"last","type":"agent.event"})"), std::string::npos) << seen;
    EXPECT_NE(seen.find(R"({"text":"went wrong\n","type":"agent.stderr"})"), std::string::npos)
        << seen;
    EXPECT_NE(seen.find(R"({"code":137,"type":"agent.exit"})"), std::string::npos) << seen;
    EXPECT_EQ(bridge.post("/api/agent/send", object({{"text", "x"}})).status, 409);
    EXPECT_EQ(start("out {}").status, 200);
}

TEST_F(AgentRoutes, WordsThatAreNoUtf8DoNotCloseTheChannel) {
    ASSERT_EQ(start("raw caf\\xe9\\n\nerr \\xff\\xfe\nraw \\xed\\xa0\\x80\\n\nout end").status,
              200);
    EXPECT_TRUE(events.recvTextWith("\"end\"")) << events.error();
}

TEST_F(AgentRoutes, AuthReadsTheJsonBehindABanner) {
    bridge.dir.write("auth", "Welcome!\n{\"loggedIn\":true,\"authMethod\":\"claude.ai\","
                             "\"email\":\"a@b.c\",\"subscriptionType\":\"max\"}\n");
    EXPECT_EQ(bridge.get("/api/claude/auth").body,
              R"({"authMethod":"claude.ai","email":"a@b.c","known":true,"loggedIn":true,)"
              R"("ok":true,"subscription":"max"})");
    for (const char* words : {"not logged in", "{\"loggedIn\":", "{\"n\":1e999}"}) {
        bridge.dir.write("auth", words);
        EXPECT_EQ(bridge.get("/api/claude/auth").body,
                  R"({"authMethod":"","email":"","known":false,"loggedIn":false,"ok":true,)"
                  R"("subscription":""})")
            << words;
    }
}

}  // namespace
