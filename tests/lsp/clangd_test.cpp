// A real server: clangd, from the handshake to the farewell.

#include <gtest/gtest.h>

#include <string>

#include "lsp/lsp.hpp"
#include "lsp_support.hpp"

namespace {

using mbjson::Json;
using mbtest::ScopedEnv;
using mbtest::waitUntil;

Json object(std::initializer_list<std::pair<const char*, Json>> fields) {
    Json result = Json::object();
    for (const auto& [key, value] : fields) result.set(key, value);
    return result;
}

class Clangd : public ::testing::Test {
protected:
    mbtest::Rig rig;
    // Its index and settings stay in the test's folder.
    ScopedEnv scope{{{"HOME", rig.folder.mkdir("home")},
                     {"XDG_CACHE_HOME", std::nullopt},
                     {"XDG_CONFIG_HOME", std::nullopt}}};
    std::string source = "int twice(int number) { return number * 2; }\nint bad = undeclared;\n";
    std::string uri = "file://" + rig.folder.write("a.cpp", source);

    void SetUp() override {
        std::string path, command;
        ASSERT_TRUE(mblsp::resolve(mblsp::knownServers()[0], path, command))
            << "this test needs clangd (Debian: clangd)";
        ASSERT_TRUE(rig.startLine(command));
    }

    void notify(const char* method, const Json& params) {
        const Json message = object({{"jsonrpc", "2.0"}, {"method", method}, {"params", params}});
        EXPECT_TRUE(rig.server.send(message.dump()));
    }
    // The whole answer; null when none comes.
    Json ask(int id, const char* method, const Json& params) {
        const Json message =
            object({{"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", params}});
        EXPECT_TRUE(rig.server.send(message.dump()));
        return await([id](const Json& heard) {
            return !heard.has("method") && heard["id"].asInt(-1) == id;
        });
    }
    Json await(const std::function<bool(const Json&)>& wanted) {
        Json found;
        EXPECT_TRUE(waitUntil(
            [&] {
                for (const std::string& body : rig.record.messages())
                    if (Json message = Json::parse(body); wanted(message)) {
                        found = std::move(message);
                        return true;
                    }
                return false;
            },
            30000))
            << rig.server.recentLog();
        return found;
    }
    Json position(int line, int character) {
        return object({{"textDocument", object({{"uri", uri}})},
                       {"position", object({{"line", line}, {"character", character}})}});
    }
};

TEST_F(Clangd, SpeaksFromTheHandshakeToTheFarewell) {
    const Json hello = ask(1, "initialize",
                           object({{"processId", Json()},
                                   {"rootUri", "file://" + rig.folder.path()},
                                   {"capabilities", Json::object()}}));
    EXPECT_TRUE(hello["result"]["capabilities"]["hoverProvider"].asBool()) << hello.dump();
    notify("initialized", Json::object());
    notify(
        "textDocument/didOpen",
        object(
            {{"textDocument",
              object({{"uri", uri}, {"languageId", "cpp"}, {"version", 1}, {"text", source}})}}));
    const Json diagnostics = await([](const Json& message) {
        return message["method"].asString() == "textDocument/publishDiagnostics";
    });
    EXPECT_EQ(diagnostics["params"]["uri"].asString(), uri);
    EXPECT_NE(diagnostics["params"]["diagnostics"][0]["message"].asString().find("undeclared"),
              std::string::npos)
        << diagnostics.dump();
    EXPECT_EQ(diagnostics["params"]["diagnostics"][0]["range"]["start"]["line"].asInt(), 1);

    const Json hover = ask(2, "textDocument/hover", position(0, 5));
    EXPECT_NE(hover["result"]["contents"]["value"].asString().find("twice"), std::string::npos)
        << hover.dump();

    const Json farewell = ask(3, "shutdown", Json());
    EXPECT_TRUE(farewell.has("result") && farewell["result"].isNull()) << farewell.dump();
    notify("exit", Json());
    ASSERT_TRUE(rig.waitForExit());
    EXPECT_EQ(rig.record.exits(), mbtest::Texts{"0"});
    EXPECT_NE(rig.server.recentLog(), "") << "it says on standard error what it does";
}

TEST_F(Clangd, EndsWhenItIsStopped) {
    (void)ask(
        1, "initialize",
        object({{"processId", Json()}, {"rootUri", Json()}, {"capabilities", Json::object()}}));
    const mbtest::Stopwatch watch;
    rig.server.stop();
    EXPECT_LT(watch.ms(), 3000);
    EXPECT_EQ(rig.record.exits(), mbtest::Texts{});
}

}  // namespace
