#include <gtest/gtest.h>
#include <sys/stat.h>

#include "bridge.hpp"
#include "util/util.hpp"

namespace {

using mbjson::Json;
using mbtest::Bridge;
using mbtest::object;

struct TerminalRoutes : testing::Test {
    Bridge bridge;
    mbtest::ScopedEnv shell{
        std::map<std::string, std::optional<std::string>>{{"SHELL", "/bin/sh"}, {"ENV", ""}}};
    mbtest::WsClient events = bridge.events();

    ~TerminalRoutes() override { bridge.app.terminals.killAll(); }

    void setShell(const std::string& command) {
        mbws::Config next = *bridge.app.workspace.config();
        next.shellCommand = command;
        bridge.app.workspace.setConfig(std::move(next));
    }
    Json create(const Json& body = Json::object()) {
        return bridge.post("/api/terminal/create", body).json();
    }
    // All output of a terminal up to its exit, and the exit's code.
    std::pair<std::string, int> runToEnd(const std::string& id) {
        std::string output;
        for (;;) {
            const auto text = events.recvText();
            if (!text) return {output + " [" + events.error() + "]", -2};
            const Json event = Json::parse(*text);
            if (event["id"].asString() != id) continue;
            if (event["type"].asString() == "terminal.exit") return {output, event["code"].asInt()};
            output += event["data"].asString();
        }
    }
};

TEST_F(TerminalRoutes, AShellIsStartedTypedIntoAndEnds) {
    const std::string root = bridge.addRoot("proj");
    const Json made = create();
    EXPECT_TRUE(made["ok"].asBool());
    EXPECT_EQ(made["kind"].asString(), "shell");
    EXPECT_EQ(made["command"].asString(), "/bin/sh");
    EXPECT_EQ(made["cwd"].asString(), root);
    const std::string id = made["id"].asString();
    EXPECT_EQ(
        bridge
            .post("/api/terminal/input", object({{"id", id}, {"data", "pwd; stty size; exit 7\n"}}))
            .body,
        R"({"ok":true})");
    const auto [output, code] = runToEnd(id);
    EXPECT_NE(output.find(root + "\r\n"), std::string::npos) << output;
    EXPECT_NE(output.find("30 120\r\n"), std::string::npos) << output;
    EXPECT_EQ(code, 7);
    // The ended one is still there until it is released.
    EXPECT_EQ(bridge.post("/api/terminal/input", object({{"id", id}, {"data", "x"}})).body,
              R"({"ok":true})");
    EXPECT_EQ(bridge.post("/api/terminal/kill", object({{"id", id}})).body, R"({"ok":true})");
    EXPECT_EQ(bridge.post("/api/terminal/input", object({{"id", id}, {"data", "x"}})).body,
              R"({"ok":false})");
}

TEST_F(TerminalRoutes, UnknownIdsAreNoErrors) {
    EXPECT_EQ(bridge.post("/api/terminal/input", object({{"id", "term9"}})).body,
              R"({"ok":false})");
    EXPECT_EQ(bridge.post("/api/terminal/resize", object({{"id", "term9"}})).body,
              R"({"ok":true})");
    EXPECT_EQ(bridge.post("/api/terminal/kill", object({{"id", "term9"}})).body, R"({"ok":true})");
}

TEST_F(TerminalRoutes, SizesAreRaisedToTwo) {
    setShell("sh -c 'read go; stty size; read go; stty size'");
    const std::string id = create(object({{"cols", -5}, {"rows", 1.9}}))["id"].asString();
    bridge.post("/api/terminal/input", object({{"id", id}, {"data", "\n"}}));
    EXPECT_TRUE(events.recvTextWith("2 2"));
    bridge.post("/api/terminal/resize", object({{"id", id}, {"cols", 1}, {"rows", 50}}));
    bridge.post("/api/terminal/input", object({{"id", id}, {"data", "\n"}}));
    EXPECT_NE(runToEnd(id).first.find("50 2"), std::string::npos);
}

TEST_F(TerminalRoutes, TheFolderIsThatOfThePath) {
    const std::string root = bridge.addRoot("proj");
    bridge.dir.write("proj/sub/a.txt", "x");
    setShell("pwd");
    const auto folder = [&](const Json& body) { return create(body)["cwd"].asString(); };
    EXPECT_EQ(folder(object({{"cwd", "proj/sub"}})), root + "/sub");
    EXPECT_EQ(folder(object({{"cwd", "proj/sub/a.txt"}})), root + "/sub");
    EXPECT_EQ(folder(object({{"cwd", "../elsewhere"}})), root);
    EXPECT_EQ(folder(Json::object()), root);
}

TEST_F(TerminalRoutes, WithoutRootsItStartsWhereTheProgramIs) {
    setShell("pwd");
    const Json made = create();
    EXPECT_EQ(made["cwd"].asString(), "");
    EXPECT_EQ(runToEnd(made["id"].asString()).second, 0);
}

TEST_F(TerminalRoutes, TheClaudeKindRunsTheCliWithoutIntegration) {
    mbws::Config next = *bridge.app.workspace.config();
    next.claudeCommand = FAKE_CLAUDE;
    bridge.app.workspace.setConfig(std::move(next));
    const Json made = create(object({{"kind", "claude"}}));
    EXPECT_EQ(made["command"].asString(), FAKE_CLAUDE);
    EXPECT_EQ(made["kind"].asString(), "claude");
}

TEST_F(TerminalRoutes, TheClaudeKindRunsACliInAFolderWithABlank) {
    bridge.dir.write("my tools/claude", "#!/bin/sh\nexit 7\n");
    const std::string command = bridge.dir.at("my tools/claude");
    ASSERT_EQ(::chmod(command.c_str(), 0755), 0);
    mbws::Config next = *bridge.app.workspace.config();
    next.claudeCommand = command;
    bridge.app.workspace.setConfig(std::move(next));
    EXPECT_EQ(runToEnd(create(object({{"kind", "claude"}}))["id"].asString()).second, 7);
}

TEST_F(TerminalRoutes, BashGetsItsMarks) {
    setShell("/bin/bash");
    const Json made = create();
    EXPECT_EQ(made["command"].asString(),
              "/bin/bash --init-file " + bridge.dir.at("home/.cache/marlin-bench/shell/bashrc") +
                  " -i");
    const std::string id = made["id"].asString();
    EXPECT_TRUE(events.recvTextWith("633;A"));
    bridge.post("/api/terminal/input", object({{"id", id}, {"data", "(exit 3)\n"}}));
    EXPECT_TRUE(events.recvTextWith("633;D;3"));
}

TEST_F(TerminalRoutes, AnUnknownProgramEndsWithTheShellsCode) {
    setShell("/nowhere/shell");
    EXPECT_EQ(runToEnd(create()["id"].asString()).second, 127);
}

TEST_F(TerminalRoutes, KilledTerminalsTellOfTheirExit) {
    setShell("sleep 100");
    const std::string id = create()["id"].asString();
    bridge.post("/api/terminal/kill", object({{"id", id}}));
    EXPECT_EQ(runToEnd(id).second, 129);
}

TEST_F(TerminalRoutes, ABinaryFileDoesNotCloseTheChannel) {
    std::string bytes;
    for (int i = 0; i < 100000; ++i) bytes += static_cast<char>(i * 7919 >> 3);
    const std::string file = bridge.dir.write("binary", bytes);
    setShell("cat " + file);
    EXPECT_EQ(runToEnd(create()["id"].asString()).second, 0) << events.error();
    EXPECT_TRUE(events.connected()) << events.error();
}

}  // namespace
