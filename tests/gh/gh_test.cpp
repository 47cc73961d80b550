#include "gh/gh.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "support/support.hpp"
#include "util/util.hpp"

namespace {

using mbtest::slurp;

// Where gh is found is remembered for the life of a process, so each test here counts on one of its
// own, as ctest gives it.
struct Gh : testing::Test {
    mbtest::TempDir dir;
    mbtest::ScopedEnv environment{std::map<std::string, std::optional<std::string>>{
        {"PATH", dir.mkdir("bin") + ":/usr/bin:/bin"},
        {"HOME", dir.mkdir("home")},
        {"TMPDIR", dir.mkdir("tmp")},
        {"FAKE_GH", dir.mkdir("answers")}}};

    void SetUp() override { ASSERT_EQ(::symlink(FAKE_GH_PROGRAM, dir.at("bin/gh").c_str()), 0); }
    void answer(const std::string& call, const std::string& out, int code = 0,
                const std::string& err = "") {
        dir.write("answers/" + call + ".out", out);
        dir.write("answers/" + call + ".err", err);
        dir.write("answers/" + call + ".code", std::to_string(code));
    }
    // The arguments of all calls, each behind a blank and a call behind a line's end.
    std::string calls() {
        std::string text = slurp(dir.at("answers/log"));
        std::string lines;
        for (const std::string& argument : mbutil::split(text, '\n'))
            lines += argument.empty() ? "\n" : argument + " ";
        return mbutil::trim(lines);
    }
    std::string cwd() { return dir.path(); }
};

struct GhMissing : testing::Test {
    mbtest::TempDir dir;
    mbtest::ScopedEnv environment{std::map<std::string, std::optional<std::string>>{
        {"PATH", dir.mkdir("bin")}, {"HOME", dir.mkdir("home")}}};

    // A machine that has one of its own in a fixed place cannot be without.
    static bool machineHasOne() {
        for (const char* path :
             {"/home/linuxbrew/.linuxbrew/bin/gh", "/usr/local/bin/gh", "/snap/bin/gh"})
            if (::access(path, X_OK) == 0) return true;
        return false;
    }
};

TEST_F(GhMissing, SaysHowToGetIt) {
    if (machineHasOne()) GTEST_SKIP();
    const mbgh::Availability found = mbgh::check();
    EXPECT_FALSE(found.installed);
    EXPECT_FALSE(found.authenticated);
    EXPECT_EQ(found.message,
              "Install the GitHub CLI to see pull requests, issues and Actions runs here: winget "
              "install GitHub.cli");
    EXPECT_EQ(mbgh::issues(dir.path(), 1).error, "the GitHub CLI is not installed");
    mbgh::PullRequest pull;
    std::string error;
    EXPECT_FALSE(mbgh::pullRequestDiff(dir.path(), 1, pull, error));
    EXPECT_EQ(error, "the GitHub CLI is not installed");
}

TEST_F(GhMissing, IsLookedForInTheUsersOwnFolderToo) {
    if (machineHasOne()) GTEST_SKIP();
    const std::string path = dir.write("home/.local/bin/gh", "#!/bin/sh\n");
    ASSERT_EQ(::chmod(path.c_str(), 0755), 0);
    EXPECT_EQ(mbgh::executable(), path);
}

TEST_F(GhMissing, WhatWasFoundIsRemembered) {
    if (machineHasOne()) GTEST_SKIP();
    EXPECT_EQ(mbgh::executable(), "");
    const std::string path = dir.write("bin/gh", "#!/bin/sh\n");
    ASSERT_EQ(::chmod(path.c_str(), 0755), 0);
    EXPECT_EQ(mbgh::executable(), "");
}

TEST_F(Gh, SignedIn) {
    answer("--version", "gh version 2.23.0 (2023-02-27 Debian 2.23.0+dfsg1-1)\nhttps://x\n");
    answer("auth-status", "", 0, "  Logged in to github.com account octo-cat (keyring)\n");
    const mbgh::Availability found = mbgh::check();
    EXPECT_TRUE(found.installed);
    EXPECT_TRUE(found.authenticated);
    EXPECT_EQ(found.version, "2.23.0");
    EXPECT_EQ(found.account, "octo-cat");
    EXPECT_EQ(found.message, "");
    EXPECT_EQ(calls(), "--version \nauth status");
}

TEST_F(Gh, SignedInWithoutAnAccountInTheReport) {
    answer("auth-status", "ok");
    EXPECT_TRUE(mbgh::check().authenticated);
    EXPECT_EQ(mbgh::check().account, "");
    answer("auth-status", "account last\nmore");
    EXPECT_EQ(mbgh::check().account, "last");
}

TEST_F(Gh, SignedOut) {
    answer("--version", "short", 1);
    answer("auth-status", "account nobody ", 1);
    const mbgh::Availability found = mbgh::check();
    EXPECT_TRUE(found.installed);
    EXPECT_FALSE(found.authenticated);
    EXPECT_EQ(found.version, "");
    EXPECT_EQ(found.account, "");
    EXPECT_EQ(found.message, "Signed out of GitHub. Run `gh auth login` in a terminal.");
}

TEST_F(Gh, ListsAskForTheirFieldsAndPassOnWhatComes) {
    answer("pr-list", R"([{"number":7}])");
    answer("issue-list", "\xef\xbb\xbf[1]\n");
    answer("run-list", "[]");
    EXPECT_EQ(mbgh::pullRequests(cwd(), 30).items.dump(), R"([{"number":7}])");
    EXPECT_EQ(mbgh::issues(cwd(), 30).items.dump(), "[1]");
    EXPECT_EQ(mbgh::runs(cwd(), 20).items.dump(), "[]");
    EXPECT_EQ(calls(),
              "pr list --state open --limit 30 --json number,title,author,state,isDraft,createdAt,"
              "updatedAt,url,headRefName,baseRefName,additions,deletions,reviewDecision,"
              "statusCheckRollup,labels \n"
              "issue list --state open --limit 30 --json number,title,author,state,createdAt,"
              "updatedAt,url,labels,comments \n"
              "run list --limit 20 --json databaseId,name,displayTitle,status,conclusion,event,"
              "headBranch,createdAt,updatedAt,url,workflowName");
}

TEST_F(Gh, WhatIsNoArrayIsAnEmptyList) {
    for (const char* out : {"{}", "[1] x", "[1e999]", "", "nothing"}) {
        answer("run-list", out);
        const mbgh::List list = mbgh::runs(cwd(), 1);
        EXPECT_EQ(list.items.dump(), "[]") << out;
        EXPECT_EQ(list.error, "") << out;
    }
}

TEST_F(Gh, FailuresOfListsHaveWords) {
    answer("run-list", "out", 1, " no remotes \n");
    EXPECT_EQ(mbgh::runs(cwd(), 1).error, "no remotes");
    answer("run-list", "out", 4, " \n");
    const mbgh::List list = mbgh::runs(cwd(), 1);
    EXPECT_EQ(list.error, "gh exited with code 4");
    EXPECT_EQ(list.items.dump(), "[]");
}

TEST_F(Gh, NameOfTheRepository) {
    answer("repo-view", R"({"nameWithOwner":"o/r"})");
    EXPECT_EQ(mbgh::nameWithOwner(cwd()), "o/r");
    EXPECT_EQ(calls(), "repo view --json nameWithOwner");
    answer("repo-view", R"({"nameWithOwner":"o/r"})", 1);
    EXPECT_EQ(mbgh::nameWithOwner(cwd()), "");
}

TEST_F(Gh, APullRequestWithItsDiff) {
    answer("pr-view", R"({"headRefOid":"abc","title":"T"})");
    answer("pr-diff", "+line\n");
    mbgh::PullRequest found;
    std::string error;
    ASSERT_TRUE(mbgh::pullRequestDiff(cwd(), 12, found, error));
    EXPECT_EQ(found.head, "abc");
    EXPECT_EQ(found.title, "T");
    EXPECT_EQ(found.diff, "+line\n");
    EXPECT_EQ(calls(), "pr view 12 --json headRefOid,title \npr diff 12 --color never");
    answer("pr-diff", "", 1);
    EXPECT_FALSE(mbgh::pullRequestDiff(cwd(), 12, found, error));
    EXPECT_EQ(error, "gh failed");
    answer("pr-view", "", 1, "gone");
    EXPECT_FALSE(mbgh::pullRequestDiff(cwd(), 12, found, error));
    EXPECT_EQ(error, "gone");
}

struct GhComment : Gh {
    mbgh::ReviewComment comment{7, "0123abc", "src/a b.cpp", 12, "it's `x`\n\"$(touch ran)\"\n"};
    std::string url;
    std::string error;

    bool post() { return mbgh::postReviewComment(cwd(), comment, url, error); }
    bool temporaryFolderIsEmpty() { return std::filesystem::is_empty(dir.at("tmp")); }
};

TEST_F(GhComment, ArrivesUnchanged) {
    answer("repo-view", R"({"nameWithOwner":"o/r"})");
    answer("api", R"({"html_url":"https://x/1"})");
    ASSERT_TRUE(post()) << error;
    EXPECT_EQ(url, "https://x/1");
    EXPECT_EQ(slurp(dir.at("answers/body")), comment.body);
    EXPECT_TRUE(temporaryFolderIsEmpty());
    const std::vector<std::string> lines = mbutil::split(slurp(dir.at("answers/log")), '\n');
    ASSERT_GT(lines.size(), 17U);
    EXPECT_EQ(lines[5], "api");
    EXPECT_EQ(lines[6], "repos/o/r/pulls/7/comments");
    EXPECT_EQ(lines[7], "-F");
    EXPECT_EQ(lines[8].rfind("body=@" + dir.at("tmp/marlin-pr-comment-"), 0), 0U);
    EXPECT_EQ(lines[8].substr(lines[8].size() - 3), ".md");
    EXPECT_EQ(lines[10], "commit_id=0123abc");
    EXPECT_EQ(lines[12], "path=src/a b.cpp");
    EXPECT_EQ(lines[13], "-F");
    EXPECT_EQ(lines[14], "line=12");
    EXPECT_EQ(lines[15], "-f");
    EXPECT_EQ(lines[16], "side=RIGHT");
}

TEST_F(GhComment, APlainAnswerIsStillASuccess) {
    answer("repo-view", R"({"nameWithOwner":"o/r"})");
    answer("api", "posted");
    EXPECT_TRUE(post());
    EXPECT_EQ(url, "");
}

TEST_F(GhComment, FailsWithoutARepository) {
    EXPECT_FALSE(post());
    EXPECT_EQ(error, "could not tell which GitHub repository this is");
    EXPECT_TRUE(temporaryFolderIsEmpty());
}

TEST_F(GhComment, FailsWithoutATemporaryFolder) {
    answer("repo-view", R"({"nameWithOwner":"o/r"})");
    std::filesystem::remove(dir.at("tmp"));
    EXPECT_FALSE(post());
    EXPECT_EQ(error, "could not write the comment to a temporary file");
}

TEST_F(GhComment, AFailedPostRemovesTheFileToo) {
    answer("repo-view", R"({"nameWithOwner":"o/r"})");
    answer("api", "", 1, "HTTP 422");
    EXPECT_FALSE(post());
    EXPECT_EQ(error, "HTTP 422");
    EXPECT_TRUE(temporaryFolderIsEmpty());
}

TEST_F(GhComment, NothingThatGhSaysRuns) {
    answer("repo-view", R"({"nameWithOwner":"o/$(touch ran);touch ran"})");
    (void)post();
    EXPECT_FALSE(mbutil::fileExists(dir.at("ran")));
}

}  // namespace
