#include <gtest/gtest.h>
#include <sys/stat.h>

#include "bridge.hpp"
#include "util/util.hpp"

namespace {

using mbjson::Json;
using mbtest::Answer;
using mbtest::Bridge;
using mbtest::list;
using mbtest::object;

struct FileRoutes : testing::Test {
    Bridge bridge;
    std::string root = bridge.addRoot("proj");
};

TEST_F(FileRoutes, TreeOfNothingListsTheRootsInTheirOrder) {
    bridge.addRoot("alpha");
    const Json tree = bridge.get("/api/tree").json();
    EXPECT_EQ(tree.dump(),
              R"({"entries":[{"directory":true,"name":"proj","path":"proj","size":0},)"
              R"({"directory":true,"name":"alpha","path":"alpha","size":0}],"path":""})");
}

TEST_F(FileRoutes, TreeListsFoldersFirstAndNamesRegardlessOfCase) {
    bridge.dir.write("proj/b.txt", "12");
    bridge.dir.write("proj/A.txt", "1");
    bridge.dir.mkdir("proj/z");
    bridge.dir.mkdir("proj/.git");
    const Json tree = bridge.get("/api/tree?path=proj").json();
    EXPECT_EQ(tree["entries"].dump(),
              R"([{"directory":true,"name":"z","path":"proj/z","size":0},)"
              R"({"directory":false,"name":"A.txt","path":"proj/A.txt","size":1},)"
              R"({"directory":false,"name":"b.txt","path":"proj/b.txt","size":2}])");
}

TEST_F(FileRoutes, TreeOfAMissingFolderNamesIt) {
    const Answer answer = bridge.get("/api/tree?path=proj/none");
    EXPECT_EQ(answer.status, 404);
    EXPECT_EQ(answer.error(), "cannot list: proj/none");
}

TEST_F(FileRoutes, TreeIsValidUtf8WhateverTheNames) {
    bridge.dir.write("proj/caf\xe9", "x");
    EXPECT_EQ(bridge.get("/api/tree?path=proj").json()["entries"][0]["name"].asString(),
              "caf\xc3\xa9");
}

TEST_F(FileRoutes, InfoTellsAllThereIsToKnow) {
    bridge.dir.write("proj/src/a.cpp", "int");
    const Json info = bridge.get("/api/file/info?path=proj/src/a.cpp").json();
    EXPECT_EQ(info.asObject().size(), 10U);
    EXPECT_EQ(info["path"].asString(), "proj/src/a.cpp");
    EXPECT_EQ(info["name"].asString(), "a.cpp");
    EXPECT_TRUE(info["exists"].asBool());
    EXPECT_FALSE(info["directory"].asBool(true));
    EXPECT_EQ(info["size"].asInt(), 3);
    EXPECT_GT(info["modified"].asNumber(), 1e9);
    EXPECT_EQ(info["kind"].asString(), "text");
    EXPECT_EQ(info["mime"].asString(), "text/plain; charset=utf-8");
    EXPECT_EQ(info["language"].asString(), "cpp");
    EXPECT_FALSE(info["binary"].asBool(true));
}

TEST_F(FileRoutes, AFolderHasInfoButIsNotRead) {
    bridge.dir.mkdir("proj/sub");
    EXPECT_TRUE(bridge.get("/api/file/info?path=proj/sub").json()["directory"].asBool());
    for (const char* route : {"/api/file/read", "/api/file/raw"}) {
        const Answer answer = bridge.get(std::string(route) + "?path=proj/sub");
        EXPECT_EQ(answer.status, 404);
        EXPECT_EQ(answer.error(), "file not found");
    }
}

TEST_F(FileRoutes, MissingFilesAre404) {
    for (const char* route : {"/api/file/info", "/api/file/read", "/api/file/raw"})
        for (const char* path : {"proj/none", "", "/etc/passwd", "proj/../../etc/passwd"}) {
            const Answer answer = bridge.get(std::string(route) + "?path=" + path);
            EXPECT_EQ(answer.status, 404) << route << path;
            EXPECT_EQ(answer.error(), "file not found") << route << path;
        }
}

TEST_F(FileRoutes, ReadGivesTextAsUtf8) {
    bridge.dir.write("proj/a.txt", "caf\xe9");
    const Json answer = bridge.get("/api/file/read?path=proj/a.txt").json();
    EXPECT_TRUE(answer["ok"].asBool());
    EXPECT_EQ(answer["contents"].asString(), "caf\xc3\xa9");
    EXPECT_FALSE(answer.has("truncated"));
}

TEST_F(FileRoutes, ReadOfABinaryHasNoContents) {
    bridge.dir.write("proj/a.png", "text in a picture's name");
    const Json answer = bridge.get("/api/file/read?path=proj/a.png").json();
    EXPECT_TRUE(answer["binary"].asBool());
    EXPECT_TRUE(answer["contents"].isString());
    EXPECT_EQ(answer["contents"].asString(), "");
}

TEST_F(FileRoutes, ReadCutsBeyondItsLimit) {
    bridge.dir.write("proj/big.txt", std::string(12582912, 'x'));
    EXPECT_FALSE(bridge.get("/api/file/read?path=proj/big.txt").json().has("truncated"));
    bridge.dir.write("proj/big.txt", std::string(12582913, 'x'));
    const Json cut = bridge.get("/api/file/read?path=proj/big.txt").json();
    EXPECT_TRUE(cut["truncated"].asBool());
    EXPECT_EQ(cut["contents"].asString().size(), 12582912U);
    EXPECT_EQ(cut["size"].asInt(), 12582913);
}

TEST_F(FileRoutes, RawGivesTheBytes) {
    const std::string bytes("\0\xff<html>\r\n", 10);
    bridge.dir.write("proj/a b.html", bytes);
    const Answer answer = bridge.get("/api/file/raw?path=proj/a%20b.html");
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.body, bytes);
    EXPECT_EQ(answer.headers.at("content-type"), "application/octet-stream");
    EXPECT_EQ(answer.headers.at("content-disposition"), "inline; filename=\"a b.html\"");
    EXPECT_EQ(answer.headers.at("cache-control"), "no-store");
}

TEST_F(FileRoutes, AFileNameCannotBringHeadersOfItsOwn) {
    bridge.dir.write("proj/a\r\nSet-Cookie: x=y", "1");
    const Answer answer = bridge.get("/api/file/raw?path=proj/a%0d%0aSet-Cookie:+x%3Dy");
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.headers.count("set-cookie"), 0U);
}

TEST_F(FileRoutes, WriteIsByteForByteAndInPlace) {
    const std::string file = bridge.dir.write("proj/run.sh", "old and longer");
    ASSERT_EQ(::chmod(file.c_str(), 0755), 0);
    bridge.app.startIndex();
    bridge.app.index.waitForScan();
    const std::string text = "\xef\xbb\xbf"
                             "a\r\nb\n\xc3\xa9";
    const Json answer =
        bridge.post("/api/file/write", object({{"path", "proj/run.sh"}, {"contents", text}}))
            .json();
    EXPECT_TRUE(answer["ok"].asBool());
    EXPECT_EQ(answer["index"]["files"].asInt(), 1);
    EXPECT_EQ(bridge.app.index.searchFiles("run.sh", 1).at(0).size, text.size());
    EXPECT_EQ(mbtest::slurp(file), text);
    struct stat info = {};
    ASSERT_EQ(::stat(file.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0755U);
}

TEST_F(FileRoutes, WriteMakesNoFolders) {
    const Answer answer =
        bridge.post("/api/file/write", object({{"path", "proj/no/a.txt"}, {"contents", "x"}}));
    EXPECT_EQ(answer.status, 400);
    EXPECT_EQ(answer.error(), "could not write the file");
}

TEST_F(FileRoutes, WritesOutsideAreRefused) {
    for (const char* path : {"proj/../x", "/tmp/x", "other/x", ""}) {
        const Answer answer =
            bridge.post("/api/file/write", object({{"path", path}, {"contents", "x"}}));
        EXPECT_EQ(answer.status, 400) << path;
        EXPECT_EQ(answer.error(), "path is outside the workspace") << path;
    }
}

TEST_F(FileRoutes, ANulByteIsRefusedNotCut) {
    const std::string path("proj/a.txt\0.png", 15);
    EXPECT_EQ(bridge.post("/api/file/write", object({{"path", path}, {"contents", "x"}})).error(),
              "path is outside the workspace");
    EXPECT_FALSE(mbutil::fileExists(root + "/a.txt"));
    bridge.dir.write("proj/a.txt", "x");
    EXPECT_EQ(bridge.get("/api/file/read?path=proj/a.txt%00.png").status, 404);
}

TEST_F(FileRoutes, CreateMakesFilesAndFolders) {
    EXPECT_EQ(
        bridge.post("/api/file/create", object({{"path", "proj/x/y.txt"}, {"contents", "hi"}}))
            .body,
        R"({"ok":true})");
    EXPECT_EQ(mbtest::slurp(root + "/x/y.txt"), "hi");
    EXPECT_EQ(
        bridge.post("/api/file/create", object({{"path", "proj/d/e"}, {"directory", true}})).body,
        R"({"ok":true})");
    EXPECT_TRUE(mbutil::dirExists(root + "/d/e"));
    EXPECT_EQ(bridge.post("/api/file/create", object({{"path", "proj/x/y.txt"}})).error(),
              "a file with that name already exists");
}

TEST_F(FileRoutes, RenameNeverReplaces) {
    bridge.dir.write("proj/a", "1");
    bridge.dir.write("proj/b", "2");
    const Answer taken =
        bridge.post("/api/file/rename", object({{"from", "proj/a"}, {"to", "proj/b"}}));
    EXPECT_EQ(taken.status, 400);
    EXPECT_EQ(taken.error(), "the destination already exists");
    EXPECT_EQ(
        bridge.post("/api/file/rename", object({{"from", "proj/a"}, {"to", "proj/c"}})).status,
        200);
    EXPECT_EQ(mbtest::slurp(root + "/c"), "1");
}

TEST_F(FileRoutes, ImportTakesTheStringsAmongItsSources) {
    const std::string outside = bridge.dir.write("outside/report.txt", "r");
    const auto import = [&](const Json& sources) {
        return bridge.post("/api/file/import", object({{"sources", sources}, {"dest", "proj"}}));
    };
    EXPECT_EQ(import(list({Json(1), outside, bridge.dir.at("gone"), Json()})).status, 200);
    EXPECT_EQ(import(list({outside})).status, 200);
    EXPECT_EQ(mbtest::slurp(root + "/report.txt"), "r");
    EXPECT_EQ(mbtest::slurp(root + "/report - Copy.txt"), "r");
    EXPECT_EQ(import(list({bridge.dir.at("gone")})).error(), "nothing to copy");
}

TEST_F(FileRoutes, ANulByteInAnImportSourceIsRefused) {
    const std::string outside = bridge.dir.write("outside/a.txt", "r");
    const Answer answer = bridge.post(
        "/api/file/import",
        object({{"sources", list({outside + std::string("\0x", 2)})}, {"dest", "proj"}}));
    EXPECT_EQ(answer.status, 400);
    EXPECT_FALSE(mbutil::fileExists(root + "/a.txt"));
}

TEST_F(FileRoutes, DuplicateCopiesBesideItself) {
    bridge.dir.write("proj/.bashrc", "b");
    EXPECT_EQ(bridge.post("/api/file/duplicate", object({{"path", "proj/.bashrc"}})).status, 200);
    EXPECT_EQ(mbtest::slurp(root + "/.bashrc - Copy"), "b");
}

TEST_F(FileRoutes, DeleteMovesToTheTrash) {
    bridge.dir.write("proj/a.txt", "keep me");
    EXPECT_EQ(bridge.post("/api/file/delete", object({{"path", "proj/a.txt"}})).body,
              R"({"ok":true})");
    EXPECT_FALSE(mbutil::fileExists(root + "/a.txt"));
    EXPECT_EQ(mbtest::slurp(bridge.dir.at("home/.local/share/Trash/files/a.txt")), "keep me");
}

TEST_F(FileRoutes, DeleteThatFailsLeavesTheFile) {
    bridge.dir.write("proj/a.txt", "keep me");
    bridge.dir.write("home/.local/share/Trash", "a file in the Trash's place");
    const Answer answer = bridge.post("/api/file/delete", object({{"path", "proj/a.txt"}}));
    EXPECT_EQ(answer.status, 400);
    EXPECT_TRUE(mbutil::startsWith(answer.error(), "could not move it to the Trash: "));
    EXPECT_EQ(mbtest::slurp(root + "/a.txt"), "keep me");
}

TEST_F(FileRoutes, ARootIsNeverDeleted) {
    EXPECT_EQ(bridge.post("/api/file/delete", object({{"path", "proj"}})).error(),
              "refusing to delete a workspace root");
}

TEST_F(FileRoutes, RevealRefusesWhatIsOutside) {
    const Answer answer = bridge.post("/api/shell/reveal", object({{"path", "../x"}}));
    EXPECT_EQ(answer.status, 400);
    EXPECT_EQ(answer.error(), "path is outside the workspace");
}

TEST_F(FileRoutes, MissingFieldsReadAsEmpty) {
    for (const char* route : {"/api/file/write", "/api/file/create", "/api/file/delete",
                              "/api/file/duplicate", "/api/file/rename"})
        for (const char* body : {"", "[1,2]", "{\"path\":5}", "{\"path\":1e999}", "{"}) {
            const Answer answer = bridge.send("POST", route, body);
            EXPECT_EQ(answer.status, 400) << route << body;
            EXPECT_EQ(answer.error(), "path is outside the workspace") << route << body;
        }
}

}  // namespace
