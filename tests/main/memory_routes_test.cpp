#include <gtest/gtest.h>
#include <sys/stat.h>

#include "bridge.hpp"
#include "memory/memory.hpp"

namespace {

using mbjson::Json;
using mbtest::Answer;
using mbtest::object;

struct MemoryRoutes : testing::Test {
    mbtest::Bridge bridge;
    std::string other = bridge.addRoot("other");
    std::string root = bridge.addRoot("proj");
    std::string folder = mbmem::memoryFolderOf(root);

    // Below the bridge's own folder, in which HOME lies.
    std::string write(const std::string& name, const std::string& text) {
        return bridge.dir.write(folder.substr(bridge.dir.path().size() + 1) + "/" + name, text);
    }
    void expectError(const Answer& answer, int status, const char* words) {
        EXPECT_EQ(answer.status, status);
        EXPECT_EQ(answer.error(), words);
    }
};

TEST_F(MemoryRoutes, NoFolderIsAnEmptyList) {
    EXPECT_EQ(bridge.get("/api/memory/list").body, R"({"directory":"","entries":[],"ok":true})");
    expectError(bridge.get("/api/memory/read?file=a.md"), 400, "not a memory file");
    expectError(bridge.post("/api/memory/write", object({{"file", "a.md"}, {"contents", "x"}})),
                400, "not a memory file");
    EXPECT_EQ(mbmem::directoryFor({root}), "") << "writing does not make the folder";
}

TEST_F(MemoryRoutes, FolderOfALaterRootIsListed) {
    write("a.md", "---\nname: A\n---\n[[b]]");
    const Json answer = bridge.get("/api/memory/list").json();
    EXPECT_EQ(answer["directory"].asString(), folder);
    EXPECT_EQ(answer["entries"].dump(),
              R"([{"bytes":21,"description":"","file":"a.md","isIndex":false,"links":["b"],)"
              R"("modified":"","name":"A","type":""}])");
}

TEST_F(MemoryRoutes, AnswersAreUtf8WhateverTheFilesHold) {
    write("caf\xE9.md", std::string(592, 'x') + "\nname: \xC3\xA9");
    const Answer answer = bridge.get("/api/memory/list");
    const Json entry = answer.json()["entries"][0];
    EXPECT_EQ(entry["file"].asString(), "caf\xC3\xA9.md");
    EXPECT_EQ(entry["name"].asString(), "\xEF\xBF\xBD") << "the zone ends within the character";
}

TEST_F(MemoryRoutes, PipeIsNoNote) {
    write("a.md", "");
    ASSERT_EQ(::mkfifo((folder + "/pipe.md").c_str(), 0600), 0);
    expectError(bridge.get("/api/memory/read?file=pipe.md"), 404, "no such memory");
    expectError(bridge.post("/api/memory/write", object({{"file", "pipe.md"}, {"contents", "x"}})),
                500, "could not write the memory");
    EXPECT_EQ(bridge.get("/api/memory/list").json()["entries"].asArray().size(), 2U);
}

TEST_F(MemoryRoutes, ReadAndWriteGoByName) {
    write("MEMORY.md", "caf\xE9");
    const Json read = bridge.get("/api/memory/read?file=MEMORY.md").json();
    EXPECT_EQ(read["file"].asString(), "MEMORY.md");
    EXPECT_EQ(read["contents"].asString(), "caf\xC3\xA9");
    expectError(bridge.get("/api/memory/read?file=none.md"), 404, "no such memory");
    expectError(bridge.get("/api/memory/read?file=..%2Fx.md"), 400, "not a memory file");
    const Answer written =
        bridge.post("/api/memory/write", object({{"file", "new.md"}, {"contents", "text"}}));
    EXPECT_EQ(written.body, R"({"ok":true})");
    EXPECT_EQ(mbtest::slurp(folder + "/new.md"), "text");
    expectError(bridge.post("/api/memory/write", object({{"file", "x.txt"}})), 400,
                "not a memory file");
    bridge.dir.mkdir(folder.substr(bridge.dir.path().size() + 1) + "/taken.md");
    expectError(bridge.post("/api/memory/write", object({{"file", "taken.md"}})), 500,
                "could not write the memory");
}

TEST_F(MemoryRoutes, ProjectRoutesKnowRootsByNameOnly) {
    for (const char* name : {"", "nobody"}) {
        expectError(bridge.get(std::string("/api/project/status?root=") + name), 400,
                    "no such workspace folder");
        expectError(bridge.post("/api/project/setup", object({{"root", name}, {"memory", true}})),
                    400, "no such workspace folder");
    }
    EXPECT_EQ(mbmem::directoryFor({other, root}), "");
    EXPECT_EQ(bridge.get("/api/project/status?root=proj").json()["path"].asString(), root);
}

TEST_F(MemoryRoutes, SetupTellsWhatItDidAndTheStatusAfterIt) {
    Json answer = bridge.post("/api/project/setup", object({{"root", "proj"}})).json();
    EXPECT_EQ(answer["done"].dump() + answer["failed"].dump(), "[][]");
    EXPECT_FALSE(answer["memoryIndex"].asBool(true));
    answer =
        bridge
            .post(
                "/api/project/setup",
                object({{"root", "proj"}, {"memory", true}, {"dream", "yes"}, {"gitignore", true}}))
            .json();
    EXPECT_EQ(answer["done"].dump(), R"(["settings","memory","gitignore"])");
    EXPECT_EQ(answer["failed"].dump(), "[]");
    EXPECT_TRUE(answer["memoryIndex"].asBool());
    EXPECT_TRUE(answer["autoMemory"].asBool());
    EXPECT_FALSE(answer["autoDream"].asBool()) << "no boolean counts as false";
    EXPECT_TRUE(bridge.get("/api/project/status?root=proj").json()["autoMemory"].asBool());
}

TEST_F(MemoryRoutes, PartialFailureIsStillAnAnswer) {
    bridge.dir.write("proj/.claude", "in the way");
    const Answer answer =
        bridge.post("/api/project/setup", object({{"root", "proj"}, {"dream", true}}));
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.json()["failed"].dump(), R"(["could not write .claude/settings.local.json"])");
}

}  // namespace
