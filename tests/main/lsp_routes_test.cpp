#include <gtest/gtest.h>

#include "bridge.hpp"
#include "util/util.hpp"

namespace {

using mbjson::Json;
using mbtest::Answer;
using mbtest::Bridge;
using mbtest::object;

struct LspRoutes : testing::Test {
    Bridge bridge;
    mbtest::WsClient events = bridge.events();

    ~LspRoutes() override { bridge.app.lsp.stopAll(); }

    // The server "yaml" becomes the fake, with these commands of its own.
    void setServer(const std::string& commands) {
        mbws::Config next = *bridge.app.workspace.config();
        next.languageServers = object({{"yaml", std::string(FAKE_LANGUAGE_SERVER) + commands}});
        bridge.app.workspace.setConfig(std::move(next));
    }
    Answer start(bool restart = false) {
        return bridge.post("/api/lsp/start", object({{"server", "yaml"}, {"restart", restart}}));
    }
    Answer send(const Json& message) {
        return bridge.post("/api/lsp/send", object({{"server", "yaml"}, {"message", message}}));
    }
    Json yaml() {
        const Json servers = bridge.get("/api/lsp/servers").json()["servers"];
        for (const Json& row : servers.asArray())
            if (row["id"].asString() == "yaml") return row;
        return {};
    }
};

TEST_F(LspRoutes, ListsTheCatalogue) {
    const Json answer = bridge.get("/api/lsp/servers").json();
    EXPECT_TRUE(answer["ok"].asBool());
    EXPECT_EQ(answer["servers"].asArray().size(), 28U);
    setServer(" serve");
    const Json row = yaml();
    EXPECT_TRUE(row["available"].asBool());
    EXPECT_FALSE(row["running"].asBool(true));
}

TEST_F(LspRoutes, AMessageGoesThereAndBack) {
    setServer(" serve");
    EXPECT_EQ(start().body, R"({"ok":true})");
    EXPECT_TRUE(yaml()["running"].asBool());
    EXPECT_EQ(send(object({{"id", 1}, {"method", "shutdown"}})).body, R"({"ok":true})");
    const Json event = Json::parse(events.recvText().value_or(""));
    EXPECT_EQ(event["type"].asString(), "lsp.message");
    EXPECT_EQ(event["server"].asString(), "yaml");
    EXPECT_EQ(event["message"].asString(), R"({"id":1,"jsonrpc":"2.0","result":null})");
}

TEST_F(LspRoutes, RunsInTheFirstRoot) {
    const std::string root = bridge.addRoot("proj");
    bridge.addRoot("other");
    setServer(" 'note " + bridge.dir.at("told") + " ${cwd}'");
    start();
    ASSERT_TRUE(mbtest::waitUntil([&] { return !mbtest::slurp(bridge.dir.at("told")).empty(); }));
    EXPECT_EQ(mbtest::slurp(bridge.dir.at("told")), root);
}

TEST_F(LspRoutes, OnlyObjectsAreSentAndOnlyToWhatRuns) {
    setServer(" echo");
    const auto refused = [&](const Json& message) {
        const Answer answer = send(message);
        return answer.status == 409 && answer.error() == "the language server is not running";
    };
    EXPECT_TRUE(refused(Json::object()));
    start();
    EXPECT_TRUE(refused("text"));
    EXPECT_TRUE(refused(Json()));
    EXPECT_EQ(send(Json::object()).status, 200);
}

TEST_F(LspRoutes, FailuresHaveWords) {
    const Answer answer = bridge.post("/api/lsp/start", object({{"server", "none"}}));
    EXPECT_EQ(answer.status, 400);
    EXPECT_EQ(answer.error(), "unknown language server: none");
}

TEST_F(LspRoutes, ARestartIsNoDeath) {
    setServer(" 'err first' serve");
    start();
    ASSERT_TRUE(mbtest::waitUntil([&] {
        return bridge.get("/api/lsp/log?server=yaml").body == R"({"log":"first","ok":true})";
    }));
    EXPECT_EQ(start().status, 200);
    setServer(" 'err second' 'send hello' 'exit 3'");
    EXPECT_EQ(start(true).status, 200);
    EXPECT_EQ(Json::parse(events.recvText().value_or(""))["message"].asString(), "hello");
    EXPECT_EQ(events.recvText(), R"({"code":3,"server":"yaml","type":"lsp.exit"})");
    EXPECT_EQ(bridge.get("/api/lsp/log?server=yaml").json()["log"].asString(), "second");
    EXPECT_EQ(bridge.get("/api/lsp/log?server=none").json()["log"].asString(), "");
}

TEST_F(LspRoutes, StopAlwaysSucceeds) {
    setServer(" serve");
    start();
    for (const char* id : {"yaml", "yaml", "none"})
        EXPECT_EQ(bridge.post("/api/lsp/stop", object({{"server", id}})).body, R"({"ok":true})");
    EXPECT_FALSE(yaml()["running"].asBool(true));
}

// One frame that is not UTF-8 would close the page's socket.
TEST_F(LspRoutes, BytesThatAreNoTextStillGoOut) {
    setServer(" 'raw Content-Length: 3\\r\\n\\r\\na\\xff\\x80' hang");
    start();
    EXPECT_TRUE(events.recvTextWith("lsp.message")) << events.error();
}

}  // namespace
