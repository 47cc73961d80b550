// The services in the whole program: what it finds at its start, what it hears of the disk, and
// that its children end with it.

#include <gtest/gtest.h>

#include "app/app_test.hpp"
#include "proc/proc.hpp"

namespace {

using mbjson::Json;
using mbtest::Layout;
using mbtest::Program;

constexpr int kSoonMs = 12000;

bool runIn(const std::string& folder, const std::string& line) {
    mbproc::Options options;
    options.cwd = folder;
    options.timeoutMs = 30000;
    return mbproc::run(line, options).code == 0;
}

// Settings with one root, "proj", and the fields of `more`, which is the inside of an object.
void settle(const Layout& layout, const std::string& more = "") {
    layout.write("home/.config/marlin-bench/marlin-bench.json",
                 R"({"roots":[{"name":"proj","path":")" + layout.mkdir("home/proj") + "\"}]" +
                     (more.empty() ? "" : "," + more) + "}");
}

bool indexed(const Program& program, const std::string& name) {
    return mbtest::waitUntil(
        [&] { return !program.ask("/api/search/files?q=" + name)["results"].asArray().empty(); });
}

TEST(AppServices, TheStartIndexesTheRootsAndFindsTheirRepositories) {
    const Layout layout;
    settle(layout);
    layout.write("home/proj/old.txt", "needle");
    ASSERT_TRUE(runIn(layout.at("home/proj"), "git init -q"));
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    EXPECT_TRUE(indexed(program, "old.txt"));
    EXPECT_EQ(program.ask("/api/git/status")["repos"][0]["name"].asString(), "proj");
    EXPECT_EQ(program.ask("/api/search/text?q=needle")["results"][0]["path"].asString(),
              "proj/old.txt");
}

TEST(AppServices, AChangeOnDiskReachesThePageAndTheIndex) {
    const Layout layout;
    settle(layout);
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    mbtest::WsClient events(program.port(), program.token());
    // The folder is watched a moment after the start, which nothing tells: until then the first
    // files go unseen.
    int written = 0;
    ASSERT_TRUE(mbtest::waitUntil([&] {
        layout.write("home/proj/probe" + std::to_string(++written), "");
        return events.recvTextWith("fs.changed", 500).has_value();
    })) << events.error();
    layout.write("home/proj/late.txt", "x");
    EXPECT_TRUE(events.recvTextWith("proj/late.txt")) << events.error();
    EXPECT_TRUE(indexed(program, "late.txt"));
}

TEST(AppServices, AFolderThatIsAddedIsIndexedAndWatched) {
    const Layout layout;
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    mbtest::WsClient events(program.port(), program.token());
    layout.write("home/later/a.txt", "");
    program.request("/api/workspace/add", R"({"path":")" + layout.at("home/later") + "\"}");
    EXPECT_TRUE(indexed(program, "a.txt"));
    int written = 0;
    EXPECT_TRUE(mbtest::waitUntil([&] {
        layout.write("home/later/probe" + std::to_string(++written), "");
        return events.recvTextWith("later/probe", 500).has_value();
    })) << events.error();
}

// One of each that a service sends by itself; those of the window have tests of their own.
TEST(AppServices, TellThePageWhatHappens) {
    const Layout layout;
    settle(layout, R"("claudeCommand":")" FAKE_CLAUDE
                   R"(","languageServers":{"yaml":")" FAKE_LANGUAGE_SERVER
                   R"( 'send up' 'exit 3'"},"shellCommand":"echo hello",)"
                   R"("updateUrl":"https://127.0.0.1:1")");
    layout.write("app/install-kind", "deb");
    const std::string script =
        layout.write("script", "err up\nout {\"type\":\"system\",\"subtype\":\"init\"}\nexit 3\n");
    Program program(layout, {.environment = {{"FAKE_CLAUDE_SCRIPT", script}}});
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    mbtest::Events events(program);
    const struct {
        const char* path;
        const char* body;
        std::vector<const char*> types;
    } rows[] = {
        {"/api/reindex", "{}", {"index.progress"}},
        {"/api/terminal/create", "{}", {"terminal.data", "terminal.exit"}},
        {"/api/agent/start", "{}", {"agent.stderr", "agent.event", "agent.exit"}},
        {"/api/dispatch/create",
         R"({"task":"t","worktree":false})",
         {"dispatch.state", "dispatch.stderr", "dispatch.event"}},
        {"/api/lsp/start", R"({"server":"yaml"})", {"lsp.message", "lsp.exit"}},
        {"/api/update?action=check", "{}", {"update.state"}},
    };
    for (const auto& [path, body, types] : rows) {
        EXPECT_EQ(program.request(path, body).status, 200) << path;
        for (const char* type : types)
            EXPECT_TRUE(mbtest::waitUntil(
                [&] { return events.count(type) > 0 || events.await(type, 200).has_value(); },
                30000))
                << type << events.error();
    }
}

// None of them listens to any polite word.
TEST(AppServices, EndWithTheWindow) {
    const Layout layout;
    settle(layout, R"("claudeCommand":")" FAKE_CLAUDE
                   R"(","languageServers":{"yaml":")" FAKE_LANGUAGE_SERVER
                   R"( ignore-term 'send up' hang"})");
    const std::string script = layout.write("script", "ignore-end\nignore-term\nerr up\nhang\n");
    Program program(layout, {.environment = {{"FAKE_CLAUDE_SCRIPT", script}}});
    ASSERT_TRUE(program.awaitBridge() && program.awaitWindow()) << program.errors();
    mbtest::WsClient events(program.port(), program.token());
    program.request("/api/lsp/start", R"({"server":"yaml"})");
    ASSERT_TRUE(events.recvTextWith("lsp.message")) << events.error();
    program.request("/api/dispatch/create", R"({"task":"wait","worktree":false})");
    ASSERT_TRUE(events.recvTextWith("dispatch.stderr")) << events.error();
    EXPECT_EQ(program.request("/api/shutdown").body, R"({"ok":true})");
    EXPECT_EQ(program.process.waitForExit(kSoonMs), 0) << program.errors();
    EXPECT_TRUE(program.awaitNothingLeft());
}

}  // namespace
