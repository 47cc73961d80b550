#include "dispatch/requests.hpp"

#include <gtest/gtest.h>

#include <string>

#include "support/support.hpp"

namespace {

using mbdispatch::CreateRequest;
using mbdispatch::readCreateRequest;
using mbdispatch::readLimit;
using mbjson::Json;

CreateRequest read(const char* body) { return readCreateRequest(Json::parse(body), "/folder"); }

TEST(DispatchRequests, EveryFieldIsTaken) {
    const CreateRequest request = read(R"({"task":"do","title":"t","root":"r","worktree":false,
        "tries":3.9,"plan":true,"model":"opus","mode":"dontAsk"})");
    EXPECT_EQ(request.prompt, "do");
    EXPECT_EQ(request.title, "t");
    EXPECT_EQ(request.directory, "/folder");
    EXPECT_FALSE(request.worktree);
    EXPECT_EQ(request.tries, 3);
    EXPECT_TRUE(request.plan);
    EXPECT_EQ(request.model, "opus");
    EXPECT_EQ(request.mode, "dontAsk");
}

TEST(DispatchRequests, WrongTypesCountAsTheDefaults) {
    for (const char* body : {"{}", "[1]", "null",
                             R"({"task":1,"title":[],"worktree":0,"tries":"3","plan":"true",
                                 "model":{},"mode":7})"}) {
        const CreateRequest request = read(body);
        EXPECT_EQ(request.prompt, "") << body;
        EXPECT_EQ(request.title, "") << body;
        EXPECT_TRUE(request.worktree) << body;
        EXPECT_EQ(request.tries, 1) << body;
        EXPECT_FALSE(request.plan) << body;
        EXPECT_EQ(request.model, "") << body;
        EXPECT_EQ(request.mode, "acceptEdits") << body;
    }
}

TEST(DispatchRequests, UnknownModeIsAcceptEdits) {
    EXPECT_EQ(read(R"({"mode":"bypassPermissions"})").mode, "bypassPermissions");
    EXPECT_EQ(read(R"({"mode":"Plan"})").mode, "acceptEdits");
    EXPECT_EQ(read(R"({"mode":""})").mode, "acceptEdits");
    EXPECT_EQ(read(R"({"tries":-1e300})").tries, -2147483647 - 1);
}

TEST(DispatchRequests, LimitIsANumberOrTwo) {
    EXPECT_EQ(readLimit(5.9), 5);
    EXPECT_EQ(readLimit(-1), -1);
    EXPECT_EQ(readLimit(1e300), 2147483647);
    for (const Json& other : {Json(), Json("5"), Json(true), Json::array()})
        EXPECT_EQ(readLimit(other), 2);
}

TEST(DispatchRequests, GitIsAFolderOrAFile) {
    const mbtest::TempDir folder;
    EXPECT_FALSE(mbdispatch::hasGit(folder.path()));
    folder.mkdir("whole/.git");
    folder.write("linked/.git", "gitdir: elsewhere");
    folder.write("below/sub/.git", "");
    EXPECT_TRUE(mbdispatch::hasGit(folder.at("whole")));
    EXPECT_TRUE(mbdispatch::hasGit(folder.at("linked")));
    EXPECT_FALSE(mbdispatch::hasGit(folder.at("below")));
    EXPECT_FALSE(mbdispatch::hasGit(folder.at("none")));
}

}  // namespace
