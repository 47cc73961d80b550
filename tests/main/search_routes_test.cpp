#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <filesystem>
#include <mutex>

#include "bridge.hpp"
#include "main/events.hpp"

namespace {

using mbjson::Json;
using mbtest::Answer;
using mbtest::Bridge;
using mbtest::list;
using mbtest::object;

struct SearchRoutes : testing::Test {
    Bridge bridge;
    std::string root = bridge.addRoot("proj");

    void scan() {
        bridge.app.startIndex();
        bridge.app.index.waitForScan();
    }
    void write(const std::string& path, const std::string& bytes) {
        bridge.dir.write("proj/" + path, bytes);
    }
    Json search(const std::string& query) {
        const Answer answer = bridge.get("/api/search/text?" + query);
        EXPECT_EQ(answer.status, 200);
        return answer.json();
    }
    static std::vector<std::string> pathsOf(const Json& answer) {
        std::vector<std::string> paths;
        for (const Json& row : answer["results"].asArray()) paths.push_back(row["path"].asString());
        return paths;
    }
    Answer replace(const char* query, const char* replacement, bool regex, const Json& paths) {
        return bridge.post("/api/search/replace", object({{"query", query},
                                                          {"replacement", replacement},
                                                          {"regex", regex},
                                                          {"paths", paths}}));
    }
    std::string text(const std::string& path) { return mbtest::slurp(root + "/" + path); }
};

using Paths = std::vector<std::string>;

TEST_F(SearchRoutes, QuickOpenFindsNamesBeforeFolders) {
    write("readme.md", "");
    write("readme/other.txt", "");
    scan();
    const Json found = bridge.get("/api/search/files?q=README").json();
    EXPECT_TRUE(found["ok"].asBool());
    EXPECT_EQ(pathsOf(found), (Paths{"proj/readme.md", "proj/readme/other.txt"}));
    EXPECT_EQ(found["results"][0]["name"].asString(), "readme.md");
    EXPECT_EQ(bridge.get("/api/search/files?q=none").json()["results"].dump(), "[]");
}

TEST_F(SearchRoutes, AnEmptyQueryGivesTheShortestPaths) {
    for (int i = 0; i < 250; ++i)
        write("a" + std::string(static_cast<size_t>(i % 50), 'b') + std::to_string(i), "");
    scan();
    const Paths found = pathsOf(bridge.get("/api/search/files").json());
    ASSERT_EQ(found.size(), 200U);
    EXPECT_TRUE(std::is_sorted(found.begin(), found.end(),
                               [](const auto& a, const auto& b) { return a.size() < b.size(); }));
}

TEST_F(SearchRoutes, ReindexScansAndTells) {
    write("a.txt", "");
    mbtest::WsClient events = bridge.events();
    EXPECT_EQ(bridge.post("/api/reindex", Json::object()).body, R"({"ok":true})");
    EXPECT_EQ(events.recvText(), R"({"done":1,"phase":"index","total":0,"type":"index.progress"})");
    const Json done = Json::parse(events.recvText().value_or(""));
    EXPECT_EQ(done["phase"].asString(), "done");
    EXPECT_EQ(done["done"].asInt(), 1);
    EXPECT_EQ(done["total"].asInt(), 1);
    EXPECT_EQ(done["stats"]["files"].asInt(), 1);
    EXPECT_FALSE(done["stats"]["scanning"].asBool(true));
}

TEST_F(SearchRoutes, AHitSaysWhere) {
    write("a.txt", "one\n\t Needle here\n");
    scan();
    EXPECT_EQ(search("q=needle").dump(),
              R"({"error":"","ok":true,"results":[{"column":3,"length":6,"line":2,"matchColumn":1,)"
              R"("path":"proj/a.txt","text":"Needle here"}]})");
    EXPECT_TRUE(pathsOf(search("q=needle&case=1")).empty());
    EXPECT_EQ(pathsOf(search("q=N..dle&case=1&regex=1")), Paths{"proj/a.txt"});
    EXPECT_TRUE(pathsOf(search("q=Need&word=1")).empty());
    EXPECT_EQ(pathsOf(search("q=Need&word=1&regex=1")), Paths{"proj/a.txt"});
    EXPECT_EQ(pathsOf(search("q=Need&word=yes")), Paths{"proj/a.txt"});
}

TEST_F(SearchRoutes, ErrorsAnswer200) {
    scan();
    EXPECT_EQ(search("q=").dump(), R"({"error":"nothing to search for","ok":false,"results":[]})");
    const Json refused = search("q=(a&regex=1");
    EXPECT_FALSE(refused["ok"].asBool(true));
    EXPECT_EQ(refused["error"].asString().rfind("invalid pattern: ", 0), 0U);
}

TEST_F(SearchRoutes, ExtensionsAreCleaned) {
    for (const char* name : {"a.txt", "b.md", "c.cpp"}) write(name, "needle");
    scan();
    EXPECT_EQ(pathsOf(search("q=needle&ext=.TXT,,+md+")), (Paths{"proj/a.txt", "proj/b.md"}));
}

TEST_F(SearchRoutes, FoldersCalledBackupsAreLeftOut) {
    write("backups/a.txt", "needle");
    write("Backups/b.txt", "needle");
    write(".marlin/backups/c.txt", "needle");
    write("d.txt", "needle");
    scan();
    EXPECT_EQ(pathsOf(search("q=needle")), (Paths{"proj/Backups/b.txt", "proj/d.txt"}));
    bridge.app.index.removeFile(root);
    EXPECT_EQ(pathsOf(search("q=needle")), Paths{"proj/d.txt"});
}

TEST_F(SearchRoutes, StopsAtFiveHundredHits) {
    std::string lines;
    for (int i = 0; i < 600; ++i) lines += "needle\n";
    write("a.txt", lines);
    scan();
    EXPECT_EQ(pathsOf(search("q=needle")).size(), 500U);
}

TEST_F(SearchRoutes, AFileMadeDuringAScanIsFoundOnDisk) {
    write("old.txt", "needle");
    scan();
    // A list that was scanned before the file was made does not know it.
    write("new.txt", "needle");
    EXPECT_EQ(pathsOf(search("q=needle")), Paths{"proj/old.txt"});
    std::mutex mutex;
    std::condition_variable changed;
    bool held = false;
    bool freed = false;
    bridge.app.index.rescanAsync([&](const std::string& phase, int, int) {
        if (phase != "index") return;
        std::unique_lock lock(mutex);
        held = true;
        changed.notify_all();
        changed.wait(lock, [&] { return freed; });
    });
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return held; });
    }
    EXPECT_EQ(pathsOf(search("q=needle")), (Paths{"proj/new.txt", "proj/old.txt"}));
    {
        const std::lock_guard lock(mutex);
        freed = true;
    }
    changed.notify_all();
    bridge.app.index.waitForScan();
}

TEST_F(SearchRoutes, AHitCutInsideACharacterStillGoesOut) {
    write("a.txt", "needle" + std::string(393, 'x') + "\xc3\xa9 and more");
    scan();
    const Answer answer = bridge.get("/api/search/text?q=needle");
    EXPECT_EQ(answer.json()["results"][0]["text"].asString().size(), 400U);
}

TEST_F(SearchRoutes, ReplacesInTheGivenFilesOnly) {
    write("a.txt", "foo Foo");
    write("b.txt", "foo");
    write("c.txt", "bar");
    const Answer answer =
        replace("foo", "x$1", false, list({"proj/a.txt", "proj/c.txt", "proj/none.txt", 3}));
    EXPECT_EQ(answer.body,
              R"({"failed":["proj/none.txt",""],"files":1,"ok":true,"replacements":2})");
    EXPECT_EQ(text("a.txt"), "x$1 x$1");
    EXPECT_EQ(text("b.txt"), "foo");
}

TEST_F(SearchRoutes, GroupsStandForTheirText) {
    write("a.txt", "key=value");
    replace("(k)ey=(v)", "$1b-$10-$&-$$", true, list({"proj/a.txt"}));
    EXPECT_EQ(text("a.txt"), "kb-k0-key=v-$alue");
}

TEST_F(SearchRoutes, AnEmptyMatchKeepsEveryByte) {
    write("a.txt", "ab\n");
    EXPECT_EQ(replace("x*", "-", true, list({"proj/a.txt"})).json()["replacements"].asInt(), 4);
    EXPECT_EQ(text("a.txt"), "-a-b-\n-");
}

TEST_F(SearchRoutes, ABadPatternTouchesNothing) {
    write("a.txt", "(a");
    EXPECT_EQ(replace("", "x", false, list({"proj/a.txt"})).error(), "nothing to search for");
    const Answer refused = replace("(a", "x", true, list({"proj/a.txt"}));
    EXPECT_EQ(refused.status, 400);
    EXPECT_EQ(refused.error().rfind("invalid pattern: ", 0), 0U);
    EXPECT_EQ(text("a.txt"), "(a");
}

TEST_F(SearchRoutes, AReplacedFileIsIndexed) {
    write("a.txt", "foo");
    scan();
    replace("foo", "longer", false, list({"proj/a.txt"}));
    const auto found = bridge.app.index.searchFiles("a.txt", 1);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].size, 6U);
}

struct IndexedFiles : SearchRoutes {
    Paths indexed() {
        Paths paths;
        for (const auto& file : bridge.app.index.searchFiles("", 100))
            paths.push_back(file.relative);
        std::sort(paths.begin(), paths.end());
        return paths;
    }
};

TEST_F(IndexedFiles, FollowTheFileRoutes) {
    write("old.txt", "");
    scan();
    bridge.post("/api/file/create", object({{"path", "proj/new.txt"}, {"contents", ""}}));
    EXPECT_EQ(indexed(), (Paths{"proj/new.txt", "proj/old.txt"}));
    bridge.post("/api/file/rename", object({{"from", "proj/new.txt"}, {"to", "proj/other.txt"}}));
    bridge.app.index.waitForScan();
    EXPECT_EQ(indexed(), (Paths{"proj/old.txt", "proj/other.txt"}));
}

TEST_F(IndexedFiles, FollowTheWorkspace) {
    const std::string second = bridge.dir.mkdir("second");
    bridge.dir.write("second/b.txt", "");
    write("a.txt", "");
    bridge.post("/api/workspace/add", object({{"path", second}}));
    bridge.app.index.waitForScan();
    EXPECT_EQ(indexed(), (Paths{"proj/a.txt", "second/b.txt"}));
    bridge.post("/api/workspace/remove", object({{"name", "proj"}}));
    bridge.app.index.waitForScan();
    EXPECT_EQ(indexed(), Paths{"second/b.txt"});
}

TEST_F(IndexedFiles, FollowABatchOfChanges) {
    write("gone/a.txt", "");
    write("kept.txt", "");
    scan();
    mbtest::WsClient events = bridge.events();
    write("new.txt", "");
    mbapp::filesChanged(bridge.app, {root + "/gone", root + "/new.txt", "/outside/x"});
    // A folder's path empties the list below it, whether it is there or not.
    EXPECT_EQ(indexed(), (Paths{"proj/kept.txt", "proj/new.txt"}));
    EXPECT_EQ(
        events.recvText(),
        R"({"count":3,"paths":["proj/gone","proj/new.txt","/outside/x"],"type":"fs.changed"})");
}

TEST_F(IndexedFiles, ALargeBatchNamesTheFirst200AndIndexesAll) {
    scan();
    Paths changed;
    for (int i = 0; i < 500; ++i) {
        const std::string name = "f" + std::to_string(1000 + i);
        write(name, "");
        changed.push_back(root + "/" + name);
    }
    mbtest::WsClient events = bridge.events();
    mbapp::filesChanged(bridge.app, changed);
    const Json event = Json::parse(events.recvText().value_or(""));
    EXPECT_EQ(event["paths"].asArray().size(), 200U);
    EXPECT_EQ(event["paths"][199].asString(), "proj/f1199");
    EXPECT_EQ(event["count"].asInt(), 500);
    EXPECT_EQ(bridge.app.index.stats().fileCount, 500);
}

TEST_F(IndexedFiles, FollowTheDisk) {
    scan();
    bridge.app.fsChangedHandler = [this](const Paths& paths) {
        mbapp::filesChanged(bridge.app, paths);
    };
    mbtest::WsClient events = bridge.events();
    bridge.app.watchRoots();
    // The folders are watched a moment after the start, and nothing tells when.
    int written = 0;
    ASSERT_TRUE(mbtest::waitUntil([&] {
        write("probe" + std::to_string(++written), "");
        return bridge.app.index.stats().fileCount > 0;
    }));
    write("seen.txt", "x");
    EXPECT_TRUE(events.recvTextWith("proj/seen.txt"));
    EXPECT_EQ(bridge.app.index.searchFiles("seen.txt", 1).size(), 1U);
    std::filesystem::remove(root + "/seen.txt");
    EXPECT_TRUE(events.recvTextWith("proj/seen.txt"));
    EXPECT_TRUE(bridge.app.index.searchFiles("seen.txt", 1).empty());
}

}  // namespace
