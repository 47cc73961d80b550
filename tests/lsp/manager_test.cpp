// Servers by id: starting, replacing, events, and what the page is told of the catalogue.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "lsp/lsp.hpp"
#include "lsp_support.hpp"

namespace {

using mbjson::Json;
using mblsp::Manager;
using mbtest::fakeServer;
using mbtest::Possessions;
using mbtest::ScopedEnv;
using mbtest::Stopwatch;
using mbtest::TempDir;
using mbtest::Texts;
using mbtest::waitUntil;

// A manager, the events of all its servers as JSON, and nothing of the machine's on PATH.
struct Desk {
    TempDir folder;
    ScopedEnv scope{{{"PATH", folder.mkdir("bin")}, {"HOME", folder.mkdir("home")}}};
    mbtest::Record record;
    Manager manager;
    std::string error;

    Desk() {
        manager.emit = [this](const Json& event) {
            record.add({event["server"].asString(), event.dump()});
        };
    }

    bool ensure(const std::string& id, const Texts& commands) {
        error.clear();
        return manager.ensure(id, folder.path(), fakeServer(commands), error);
    }
    Texts events(const std::string& id = "x") const { return record.of(id); }
    bool waitForEvents(size_t count) {
        return waitUntil([&] { return record.events().size() >= count; });
    }
    std::string install(const std::string& name, const std::string& script) const {
        const std::string path = folder.write("bin/" + name, "#!/bin/sh\n" + script);
        EXPECT_EQ(::chmod(path.c_str(), 0755), 0);
        return path;
    }
};

std::string messageEvent(const std::string& id, const std::string& body) {
    return R"({"message":")" + body + R"(","server":")" + id + R"(","type":"lsp.message"})";
}

std::string exitEvent(const std::string& id, int code) {
    return R"({"code":)" + std::to_string(code) + R"(,"server":")" + id + R"(","type":"lsp.exit"})";
}

TEST(LspManager, UnknownServerIsRefused) {
    Desk desk;
    EXPECT_FALSE(desk.manager.ensure("cobol", "", "", desk.error));
    EXPECT_EQ(desk.error, "unknown language server: cobol");
    EXPECT_FALSE(desk.manager.running("cobol"));
    EXPECT_FALSE(desk.manager.send("cobol", "{}"));
    EXPECT_EQ(desk.manager.log("cobol"), "");
    desk.manager.stop("cobol");
}

TEST(LspManager, ServerThatIsNotInstalledIsRefusedByItsName) {
    Desk desk;
    EXPECT_FALSE(desk.manager.ensure("php", "", "", desk.error));
    EXPECT_EQ(desk.error, "Intelephense is not installed");
    EXPECT_FALSE(desk.manager.ensure("powershell", "", "", desk.error));
    EXPECT_EQ(desk.error, "PowerShell Editor Services is not installed");
}

TEST(LspManager, InstalledServerIsStartedWithItsArguments) {
    Desk desk;
    desk.install("intelephense", "exec " + fakeServer({"note ready ${cwd}", "send up"}) +
                                     " \"note arguments $*\" drain\n");
    ASSERT_TRUE(desk.manager.ensure("php", desk.folder.path(), "", desk.error)) << desk.error;
    ASSERT_TRUE(desk.waitForEvents(1));
    EXPECT_EQ(desk.events("php"), Texts{messageEvent("php", "up")});
    EXPECT_TRUE(waitUntil([&] { return mbtest::slurp(desk.folder.at("arguments")) == "--stdio"; }));
    EXPECT_EQ(mbtest::slurp(desk.folder.at("ready")), desk.folder.path());
}

TEST(LspManager, CommandOfTheUserIsTakenAsItStands) {
    Desk desk;
    // For an id that the catalogue does not know, too; and nobody looks whether it exists.
    ASSERT_TRUE(desk.ensure("mine", {"send up", "drain"}));
    ASSERT_TRUE(desk.manager.ensure("powershell", "", "marlin-no-such-program", desk.error));
    ASSERT_TRUE(desk.waitForEvents(2));
    EXPECT_EQ(desk.events("mine"), Texts{messageEvent("mine", "up")});
    EXPECT_EQ(desk.events("powershell"), Texts{exitEvent("powershell", 127)});
}

TEST(LspManager, MessagesGoToTheServerOfTheirId) {
    Desk desk;
    ASSERT_TRUE(desk.ensure("a", {"echo"}) && desk.ensure("b", {"echo"}));
    EXPECT_TRUE(desk.manager.send("b", "[1]"));
    EXPECT_TRUE(desk.manager.send("a", "\"q\""));
    ASSERT_TRUE(desk.waitForEvents(2));
    EXPECT_EQ(desk.events("a"), Texts{messageEvent("a", "\\\"q\\\"")});
    EXPECT_EQ(desk.events("b"), Texts{messageEvent("b", "[1]")});
}

TEST(LspManager, EmptyMessageIsAnEventToo) {
    Desk desk;
    ASSERT_TRUE(desk.ensure("x", {"raw Content-Length: 0\\r\\n\\r\\n", "drain"}));
    ASSERT_TRUE(desk.waitForEvents(1));
    EXPECT_EQ(desk.events(), Texts{messageEvent("x", "")});
}

TEST(LspManager, BodyThatIsNoUtf8IsConverted) {
    Desk desk;
    ASSERT_TRUE(desk.ensure("x", {"send \xc3\xa9\xe2\x82\xac",
                                  "raw Content-Length: 2\\r\\n\\r\\n\\xe9\\x80", "drain"}));
    ASSERT_TRUE(desk.waitForEvents(2));
    EXPECT_EQ(desk.events(), (Texts{messageEvent("x", "é€"), messageEvent("x", "é€")}));
}

TEST(LspManager, RunningServerIsLeftAlone) {
    Desk desk;
    ASSERT_TRUE(desk.ensure("x", {"send first", "drain"}));
    ASSERT_TRUE(desk.waitForEvents(1));
    // Not even a command that has changed.
    ASSERT_TRUE(desk.ensure("x", {"send second", "drain"}));
    ASSERT_TRUE(desk.manager.ensure("x", "", "", desk.error));
    desk.manager.stopAll();
    EXPECT_EQ(desk.events(), Texts{messageEvent("x", "first")});
}

TEST(LspManager, StopTellsNoExitAndForgetsTheServer) {
    Desk desk;
    ASSERT_TRUE(desk.ensure("x", {"err words", "send first", "drain"}));
    ASSERT_TRUE(desk.waitForEvents(1));
    ASSERT_TRUE(waitUntil([&] { return desk.manager.log("x") == "words"; }));
    desk.manager.stop("x");
    EXPECT_FALSE(desk.manager.running("x"));
    EXPECT_EQ(desk.manager.log("x"), "");
    ASSERT_TRUE(desk.ensure("x", {"send second", "drain"}));
    ASSERT_TRUE(desk.waitForEvents(2));
    EXPECT_EQ(desk.events(), (Texts{messageEvent("x", "first"), messageEvent("x", "second")}));
}

TEST(LspManager, DeadServerKeepsItsLogUntilItIsReplaced) {
    Desk desk;
    ASSERT_TRUE(desk.ensure("x", {"err why", "send first", "exit 4"}));
    ASSERT_TRUE(desk.waitForEvents(2));
    EXPECT_EQ(desk.events(), (Texts{messageEvent("x", "first"), exitEvent("x", 4)}));
    EXPECT_FALSE(desk.manager.running("x"));
    EXPECT_FALSE(desk.manager.send("x", "{}"));
    EXPECT_EQ(desk.manager.log("x"), "why");
    // A start that fails does not take it away.
    EXPECT_FALSE(desk.manager.ensure("x", "", "", desk.error));
    EXPECT_EQ(desk.manager.log("x"), "why");
    ASSERT_TRUE(desk.ensure("x", {"send second", "drain"}));
    EXPECT_TRUE(desk.manager.running("x"));
    ASSERT_TRUE(desk.waitForEvents(3));
    EXPECT_EQ(desk.manager.log("x"), "");
}

TEST(LspManager, ExitOfADeadServerIsToldBeforeTheNextSpeaks) {
    Desk desk;
    const auto record = desk.manager.emit;
    // The page is slow to take the last message, so the exit waits behind it.
    desk.manager.emit = [&](const Json& event) {
        if (event["message"].asString() == "last")
            std::this_thread::sleep_for(std::chrono::milliseconds(150));
        record(event);
    };
    ASSERT_TRUE(desk.ensure("x", {"send last", "exit 1"}));
    ASSERT_TRUE(waitUntil([&] { return !desk.manager.running("x"); }));
    ASSERT_TRUE(desk.ensure("x", {"send new", "drain"}));
    ASSERT_TRUE(desk.waitForEvents(3));
    EXPECT_EQ(desk.events(),
              (Texts{messageEvent("x", "last"), exitEvent("x", 1), messageEvent("x", "new")}));
}

TEST(LspManager, ManyStartsAtOnceStartOneServer) {
    for (int round = 0; round < 5; ++round) {
        Desk desk;
        std::vector<std::thread> threads;
        for (int i = 0; i < 6; ++i)
            threads.emplace_back([&] {
                std::string error;
                EXPECT_TRUE(desk.manager.ensure("x", "", fakeServer({"send up", "drain"}), error));
                EXPECT_TRUE(desk.manager.running("x"));
            });
        for (std::thread& thread : threads) thread.join();
        ASSERT_TRUE(desk.waitForEvents(1));
        desk.manager.stopAll();
        EXPECT_EQ(desk.events(), Texts{messageEvent("x", "up")});
    }
}

TEST(LspManager, ServerThatTakesLongToStopHoldsOnlyItsOwnId) {
    Desk desk;
    ASSERT_TRUE(desk.ensure("x", {"ignore-term", "send up", "hang"}));
    ASSERT_TRUE(desk.waitForEvents(1));
    const Stopwatch watch;
    std::thread stopper([&] { desk.manager.stop("x"); });
    ASSERT_TRUE(waitUntil([&] { return !desk.manager.running("x"); }));
    ASSERT_TRUE(desk.ensure("y", {"echo"}));
    EXPECT_TRUE(desk.manager.send("y", "{}"));
    EXPECT_FALSE(desk.manager.send("x", "{}"));
    ASSERT_TRUE(waitUntil([&] { return desk.events("y").size() == 1; }));
    EXPECT_LT(watch.ms(), 900);
    // The same id waits: never two processes of one.
    ASSERT_TRUE(desk.ensure("x", {"send again", "drain"}));
    EXPECT_GE(watch.ms(), 1000);
    stopper.join();
    EXPECT_TRUE(desk.manager.running("x"));
}

TEST(LspManager, AllThatResistAreStoppedWithinOneSecondTogether) {
    const Possessions before;
    Desk desk;
    for (const char* id : {"a", "b", "c", "d"})
        ASSERT_TRUE(desk.ensure(id, {"ignore-term", "send up", "hang"}));
    ASSERT_TRUE(desk.waitForEvents(4));
    const Stopwatch watch;
    desk.manager.stopAll();
    EXPECT_GE(watch.ms(), 1000);
    EXPECT_LT(watch.ms(), 3000);
    EXPECT_EQ(desk.record.events().size(), 4U);
    before.expectUnchanged();
    // It is no end for good.
    EXPECT_TRUE(desk.ensure("a", {"drain"}));
}

TEST(LspManager, DestructionStopsAll) {
    const Possessions before;
    {
        Desk desk;
        ASSERT_TRUE(desk.ensure("a", {"echo"}) && desk.ensure("b", {"exit 1"}));
    }
    before.expectUnchanged();
}

TEST(LspManager, WithoutAReceiverEventsAreDropped) {
    Manager manager;
    std::string error;
    ASSERT_TRUE(manager.ensure("x", "", fakeServer({"send up", "exit 0"}), error));
    EXPECT_TRUE(waitUntil([&] { return !manager.running("x"); }));
}

std::string logOf(const Texts& commands) {
    Desk desk;
    Texts all = commands;
    all.push_back("exit 0");
    EXPECT_TRUE(desk.ensure("x", all));
    EXPECT_TRUE(desk.waitForEvents(1));
    return desk.manager.log("x");
}

TEST(LspManager, LogIsUtf8) {
    EXPECT_EQ(logOf({"err caf\xc3\xa9"}), "café");
    EXPECT_EQ(logOf({"err caf\\xe9 au lait"}), "café au lait");
    EXPECT_EQ(logOf({"err \\xe9t\\xe9"}), "été");
    for (const char* text : {"5 €", "done 🎉"}) EXPECT_EQ(logOf({std::string("err ") + text}), text);
}

TEST(LspManager, CharacterCutAtAnEndOfTheLogIsLeftOut) {
    // 2000 bytes behind the cut, the first of which is the second half of a character.
    EXPECT_EQ(logOf({"err \xc3\xa9", "noise 1999"}).substr(0, 2), "0\n");
    EXPECT_EQ(logOf({"err \xe2\x82\xac", "noise 1998"}).substr(0, 2), "0\n");
    EXPECT_EQ(logOf({"err \xf0\x9f\x8e\x89", "noise 1997"}).substr(0, 2), "0\n");
    EXPECT_EQ(logOf({"err \xf0\x9f\x8e\x89", "noise 1996"}).substr(0, 6), "🎉0\n");
    for (const char* half : {"\\xc3", "\\xe2", "\\xe2\\x82", "\\xf0\\x9f\\x8e"})
        EXPECT_EQ(logOf({std::string("err \xc3\xa9 and ") + half}), "é and ") << half;
}

Json rowOf(const Json& rows, const std::string& id) {
    for (const Json& row : rows.asArray())
        if (row["id"].asString() == id) return row;
    ADD_FAILURE() << id;
    return {};
}

TEST(LspManager, CatalogueComesInItsOrderWithItsTexts) {
    const Desk desk;
    const Json rows = desk.manager.serversJson(Json::object());
    ASSERT_EQ(rows.asArray().size(), mblsp::knownServers().size());
    for (size_t i = 0; i < rows.asArray().size(); ++i) {
        const mblsp::ServerSpec& spec = mblsp::knownServers()[i];
        EXPECT_EQ(rows[i]["id"].asString(), spec.id);
        EXPECT_EQ(rows[i]["name"].asString(), spec.name);
        EXPECT_EQ(rows[i]["install"].asString(), spec.install);
        EXPECT_EQ(rows[i]["homepage"].asString(), spec.homepage);
        Texts languages;
        for (const Json& language : rows[i]["languages"].asArray())
            languages.push_back(language.asString());
        EXPECT_EQ(languages, spec.languages);
        EXPECT_EQ(rows[i].asObject().size(), rows[i]["available"].asBool() ? 8U : 7U);
    }
    EXPECT_EQ(rowOf(rows, "kotlin").dump(),
              R"({"available":false,"homepage":"https://github.com/fwcd/kotlin-language-server",)"
              R"("id":"kotlin","install":"","languages":["kotlin"],)"
              R"("name":"Kotlin Language Server","running":false})");
}

TEST(LspManager, CatalogueTellsWhatIsInstalledAndWhatRuns) {
    Desk desk;
    const std::string path = desk.install("zls", "exec /bin/cat\n");
    Json row = rowOf(desk.manager.serversJson(Json::object()), "zig");
    EXPECT_TRUE(row["available"].asBool());
    EXPECT_EQ(row["path"].asString(), path);
    EXPECT_FALSE(row["running"].asBool(true));
    ASSERT_TRUE(desk.manager.ensure("zig", "", "", desk.error)) << desk.error;
    EXPECT_TRUE(rowOf(desk.manager.serversJson(Json::object()), "zig")["running"].asBool());
    desk.manager.stop("zig");
    EXPECT_FALSE(rowOf(desk.manager.serversJson(Json::object()), "zig")["running"].asBool(true));
}

TEST(LspManager, CommandOfTheUserMakesAServerAvailable) {
    const Desk desk;
    Json custom = Json::object();
    custom.set("powershell", "pwsh -File start.ps1");
    custom.set("php", "");
    custom.set("ruby", 7);
    const Json rows = desk.manager.serversJson(custom);
    EXPECT_TRUE(rowOf(rows, "powershell")["available"].asBool());
    EXPECT_TRUE(rowOf(rows, "powershell")["path"].isString());
    EXPECT_FALSE(rowOf(rows, "php")["available"].asBool(true));
    EXPECT_FALSE(rowOf(rows, "ruby")["available"].asBool(true));
    EXPECT_FALSE(rowOf(rows, "ruby").has("path"));
    EXPECT_FALSE(rowOf(desk.manager.serversJson(Json("odd")), "php")["available"].asBool(true));
}

}  // namespace
