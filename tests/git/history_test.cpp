#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "git/git.hpp"
#include "git/history.hpp"
#include "git/repository.hpp"
#include "support/support.hpp"

namespace {

using mbgit::CommitDetail;
using mbgit::FileSides;
using mbtest::GitHome;
using Rows = std::vector<std::string>;

Rows fileRows(const CommitDetail& detail) {
    Rows rows;
    for (const mbgit::CommitFile& file : detail.files)
        rows.push_back(file.status + " " + std::to_string(file.additions) + "," +
                       std::to_string(file.deletions) + " " + file.oldPath + ">" + file.path);
    return rows;
}

CommitDetail detailOf(const std::string& root, const std::string& hash) {
    CommitDetail detail;
    std::string error;
    EXPECT_TRUE(mbgit::commitDetail(root, hash, detail, error)) << hash << ": " << error;
    return detail;
}

const mbgit::RefInfo* findRef(const std::vector<mbgit::RefInfo>& refs, const std::string& name) {
    const auto found = std::find_if(refs.begin(), refs.end(),
                                    [&](const mbgit::RefInfo& ref) { return ref.name == name; });
    return found == refs.end() ? nullptr : &*found;
}

// A main line with a merge, a renamed folder, an odd message, tags of both kinds and a remote.
class GitHistory : public ::testing::Test {
protected:
    GitHistory() {
        home.init("origin", "git commit -qm theirs --allow-empty");
        root = home.init("repo", R"sh(
            export GIT_COMMITTER_DATE='1700000000 +0100' GIT_AUTHOR_DATE='1600000000 +0000'
            mkdir -p src/a 'two words'; printf '1\n2\n3\n' > src/a/x; printf 'a\000b' > bin
            printf '1\n2\n3\n' > 'two words/größe'
            git add .; git commit -qm 'root commit'; git tag first
            git checkout -qb side; echo side > side; git add .
            export GIT_COMMITTER_DATE='1700000100 +0000'
            git commit -qm 'on the side' --author='Bob B <bob@example.com>'
            git checkout -q main; echo 4 >> 'two words/größe'
            printf 'subject \037 line\n\nbody \037 one\nbody two\n\n' | git commit -qa --file=-
            export GIT_COMMITTER_DATE='1700000200 +0000'
            git merge -q --no-edit side; git tag -a v1 -m 'version one'
            mkdir -p src/b deep/er; git mv src/a/x src/b/x; git mv 'two words/größe' größe
            git mv side deep/er/side; git rm -q bin
            export GIT_COMMITTER_DATE='1700000300 +0000'
            git commit -qm 'moved'
            git remote add origin ../origin; git fetch -q
            git remote set-head origin main
            git branch -q --track theirs origin/main)sh");
    }

    std::string hashOf(const std::string& rev) { return home.sh("git rev-parse " + rev, "repo"); }

    GitHome home;
    std::string root;
};

TEST_F(GitHistory, LogGoesBackFromHeadAndFollowsAPath) {
    const auto all = mbgit::log(root, 40, "");
    ASSERT_EQ(all.size(), 5U);
    EXPECT_EQ(all[0].hash, hashOf("HEAD"));
    EXPECT_TRUE(all[0].hash.starts_with(all[0].shortHash));
    EXPECT_GE(all[0].shortHash.size(), 7U);
    EXPECT_EQ(all[0].author, "Ann Example");
    EXPECT_TRUE(all[0].date.ends_with("years ago")) << all[0].date;
    EXPECT_EQ(all[0].subject, "moved");
    EXPECT_EQ(all[0].refs, "HEAD -> main");
    EXPECT_EQ(all[4].refs, "tag: first");
    EXPECT_EQ(mbgit::log(root, 2, "").size(), 2U);
    EXPECT_EQ(mbgit::log(root, 0, "").size(), 0U);
    EXPECT_EQ(mbgit::log(root, -1, "").size(), 5U);
    EXPECT_EQ(mbgit::log(root, 40, "two words/größe").size(), 3U);
    EXPECT_EQ(mbgit::log(root, 40, "two*").size(), 0U);  // a name, not a pattern
    EXPECT_TRUE(mbgit::log(home.at("home"), 40, "").empty());
}

TEST_F(GitHistory, GraphHoldsAllRefsWithParents) {
    const auto all = mbgit::graph(root, 400);
    ASSERT_EQ(all.size(), 6U);  // with the one of the remote
    const auto merge = std::find_if(all.begin(), all.end(),
                                    [](const auto& commit) { return commit.parents.size() == 2; });
    ASSERT_NE(merge, all.end());
    EXPECT_EQ(merge->parents, (Rows{hashOf("v1^1"), hashOf("v1^2")}));
    EXPECT_NE(merge->refs.find("tag: v1"), std::string::npos);
    const auto first = std::find_if(
        all.begin(), all.end(), [](const auto& commit) { return commit.subject == "root commit"; });
    ASSERT_NE(first, all.end());
    EXPECT_TRUE(first->parents.empty());
    EXPECT_EQ(first->time, 1600000000);
    EXPECT_EQ(first->email, "ann@example.com");
    const auto side = std::find_if(
        all.begin(), all.end(), [](const auto& commit) { return commit.subject == "on the side"; });
    ASSERT_NE(side, all.end());
    EXPECT_EQ(side->author, "Bob B");
    EXPECT_EQ(side->email, "bob@example.com");
    EXPECT_EQ(mbgit::graph(root, 2).size(), 2U);
    EXPECT_TRUE(mbgit::graph(home.at("home"), 400).empty());
}

TEST_F(GitHistory, RefsAreBranchesRemotesAndTagsWithTheirCommits) {
    home.sh("git checkout -q theirs; git commit -qm ours --allow-empty; git checkout -q main",
            "repo");
    const auto refs = mbgit::refs(root);
    EXPECT_EQ(refs.size(), 6U);
    EXPECT_EQ(refs[0].name, "theirs");  // the newest
    const mbgit::RefInfo* main = findRef(refs, "main");
    ASSERT_NE(main, nullptr);
    EXPECT_EQ(main->kind, "local");
    EXPECT_TRUE(main->current);
    EXPECT_EQ(main->hash, hashOf("main"));
    EXPECT_EQ(main->time, 1700000300);
    EXPECT_EQ(main->subject, "moved");
    EXPECT_EQ(main->upstream, "");
    const mbgit::RefInfo* theirs = findRef(refs, "theirs");
    ASSERT_NE(theirs, nullptr);
    EXPECT_FALSE(theirs->current);
    EXPECT_EQ(theirs->upstream, "origin/main");
    EXPECT_EQ(theirs->ahead, 1);
    EXPECT_EQ(theirs->behind, 0);
    const mbgit::RefInfo* remote = findRef(refs, "origin/main");
    ASSERT_NE(remote, nullptr);
    EXPECT_EQ(remote->kind, "remote");
    EXPECT_EQ(findRef(refs, "origin"), nullptr);
    EXPECT_EQ(findRef(refs, "origin/HEAD"), nullptr);
    const mbgit::RefInfo* annotated = findRef(refs, "v1");
    ASSERT_NE(annotated, nullptr);
    EXPECT_EQ(annotated->kind, "tag");
    EXPECT_EQ(annotated->hash, hashOf("'v1^{commit}'"));
    EXPECT_NE(annotated->hash, hashOf("v1"));
    EXPECT_EQ(annotated->subject, "version one");
    const mbgit::RefInfo* light = findRef(refs, "first");
    ASSERT_NE(light, nullptr);
    EXPECT_EQ(light->hash, hashOf("first"));
    EXPECT_EQ(light->time, 1700000000);
}

TEST_F(GitHistory, BranchesWithAndWithoutRemotes) {
    EXPECT_EQ(mbgit::branches(root, false), (Rows{"main", "side", "theirs"}));
    const Rows all = mbgit::branches(root, true);
    EXPECT_EQ(std::count(all.begin(), all.end(), "origin/main"), 1);
    EXPECT_GT(all.size(), 3U);
    EXPECT_TRUE(mbgit::branches(home.at("home"), true).empty());
    EXPECT_EQ(mbgit::branchesJson(root, false).dump(), R"({"branches":["main","side","theirs"]})");
}

TEST_F(GitHistory, DetailOfARenameFindsItsCounts) {
    const CommitDetail detail = detailOf(root, hashOf("HEAD"));
    EXPECT_EQ(fileRows(detail), (Rows{"D -1,-1 >bin", "R 0,0 side>deep/er/side",
                                      "R 0,0 two words/größe>größe", "R 0,0 src/a/x>src/b/x"}));
    EXPECT_EQ(detail.hash, hashOf("HEAD"));
    EXPECT_EQ(detail.author, "Ann Example");
    EXPECT_EQ(detail.time, 1600000000);
    EXPECT_EQ(detail.committer, "Ann Example");
    EXPECT_EQ(detail.message, "moved");
    EXPECT_EQ(detail.refs, "HEAD -> main");
    EXPECT_EQ(fileRows(detailOf(root, hashOf("HEAD").substr(0, 7))), fileRows(detail));
}

TEST_F(GitHistory, RootCommitListsItsFiles) {
    const CommitDetail detail = detailOf(root, hashOf("first"));
    EXPECT_TRUE(detail.parents.empty());
    EXPECT_EQ(fileRows(detail), (Rows{"A -1,-1 >bin", "A 3,0 >src/a/x", "A 3,0 >two words/größe"}));
}

TEST_F(GitHistory, MergeIsShownAgainstItsFirstParent) {
    const CommitDetail detail = detailOf(root, hashOf("'v1^{commit}'"));
    EXPECT_EQ(detail.parents.size(), 2U);
    EXPECT_EQ(fileRows(detail), Rows{"A 1,0 >side"});
}

TEST_F(GitHistory, MessageWithTheFieldByteArrivesWhole) {
    const CommitDetail detail = detailOf(root, hashOf("v1^1"));
    EXPECT_EQ(detail.message, "subject \x1f line\n\nbody \x1f one\nbody two");
    EXPECT_EQ(fileRows(detail), Rows{"M 1,0 >two words/größe"});
}

TEST_F(GitHistory, DetailRefusesWhatIsNoCommit) {
    CommitDetail detail;
    detail.hash = "untouched";
    std::string error;
    for (const std::string& text : {std::string("HEAD"), std::string("123456"),
                                    std::string(41, 'a'), std::string("1234567;x")}) {
        EXPECT_FALSE(mbgit::commitDetail(root, text, detail, error));
        EXPECT_EQ(error, "not a commit id") << text;
    }
    EXPECT_FALSE(mbgit::commitDetail(root, std::string(40, '1'), detail, error));
    EXPECT_TRUE(error.starts_with("fatal: bad object 1111")) << error;
    EXPECT_FALSE(mbgit::commitDetail(root, hashOf("HEAD:größe"), detail, error));
    EXPECT_EQ(error, "unexpected output from git show");
    EXPECT_EQ(detail.hash, "untouched");
}

TEST_F(GitHistory, FileAtARevisionAndFilesThatAreNotThere) {
    std::string content, error = "untouched";
    EXPECT_TRUE(mbgit::showFile(root, "HEAD~2", "two words/größe", content, error));
    EXPECT_EQ(content, "1\n2\n3\n4\n");
    EXPECT_TRUE(mbgit::showFile(root, "first", "bin", content, error));
    EXPECT_EQ(content, std::string("a\0b", 3));
    struct Case {
        const char* rev;
        const char* path;
    };
    home.write("repo/later", "new\n");
    for (const Case& c : {Case{"HEAD", "never"}, Case{"HEAD", "later"}, Case{"first", "side"},
                          Case{"first", "src/b/x"}}) {
        content = "old";
        EXPECT_TRUE(mbgit::showFile(root, c.rev, c.path, content, error)) << c.rev << c.path;
        EXPECT_EQ(content, "") << c.rev << c.path;
    }
    EXPECT_EQ(error, "untouched");
}

TEST_F(GitHistory, FileThatGitCannotShowGivesItsWords) {
    std::string content = "untouched", error;
    EXPECT_FALSE(mbgit::showFile(home.at("home"), "HEAD", "x", content, error));
    EXPECT_TRUE(error.starts_with("fatal: not a git repository")) << error;
    EXPECT_FALSE(mbgit::showFile(root, "no-such-branch", "side", content, error));
    EXPECT_EQ(error, "fatal: invalid object name 'no-such-branch'.");
    EXPECT_FALSE(mbgit::showFile(root, "--output=written", "x", content, error));
    EXPECT_EQ(error, "'--output=written' is not a revision");
    EXPECT_EQ(mbtest::slurp(root + "/written:x"), "");
    EXPECT_EQ(content, "untouched");
}

TEST_F(GitHistory, SidesOfAFileAreARevisionAndTheDisk) {
    home.sh("echo staged > größe; git add größe; echo disk > größe", "repo");
    FileSides sides;
    std::string error;
    ASSERT_TRUE(mbgit::fileSides(root, "", "größe", sides, error));
    EXPECT_EQ(sides.original, "1\n2\n3\n4\n");
    EXPECT_EQ(sides.modified, "disk\n");
    ASSERT_TRUE(mbgit::fileSides(root, "first", "bin", sides, error));
    EXPECT_EQ(sides.original.size(), 3U);
    EXPECT_EQ(sides.modified, "");  // gone
    home.write("repo/latin", "caf\xe9");
    ASSERT_TRUE(mbgit::fileSides(root, "", "latin", sides, error));
    EXPECT_EQ(mbgit::sidesJson(sides).dump(), R"({"modified":"café","original":""})");
    sides.original = "untouched";
    EXPECT_FALSE(mbgit::fileSides(home.at("home"), "", "x", sides, error));
    EXPECT_EQ(sides.original, "untouched");
}

TEST_F(GitHistory, SidesOfACommitFollowARename) {
    const std::string head = hashOf("HEAD"), parent = hashOf("HEAD^");
    FileSides sides;
    std::string error;
    ASSERT_TRUE(mbgit::commitSides(root, {head, parent, "src/b/x", "src/a/x"}, sides, error));
    EXPECT_EQ(sides.original, "1\n2\n3\n");
    EXPECT_EQ(sides.modified, "1\n2\n3\n");
    ASSERT_TRUE(mbgit::commitSides(root, {head, parent, "bin", ""}, sides, error));
    EXPECT_EQ(sides.original.size(), 3U);
    EXPECT_EQ(sides.modified, "");
    ASSERT_TRUE(mbgit::commitSides(root, {hashOf("first"), "", "src/a/x", ""}, sides, error));
    EXPECT_EQ(sides.original, "");
    EXPECT_EQ(sides.modified, "1\n2\n3\n");
}

TEST_F(GitHistory, SidesOfWhatIsNoCommitAreRefused) {
    const std::string head = hashOf("HEAD");
    FileSides sides;
    std::string error;
    EXPECT_FALSE(mbgit::commitSides(root, {"HEAD", "", "bin", ""}, sides, error));
    EXPECT_EQ(error, "not a commit id");
    error.clear();
    EXPECT_FALSE(mbgit::commitSides(root, {head, "HEAD^", "bin", ""}, sides, error));
    EXPECT_EQ(error, "not a commit id");
    EXPECT_FALSE(mbgit::commitSides(root, {"", "", "bin", ""}, sides, error));
    const std::string none = "1234567";
    EXPECT_FALSE(mbgit::commitSides(root, {head, none, "größe", ""}, sides, error));
    EXPECT_TRUE(error.starts_with("fatal: ")) << error;
    error.clear();
    EXPECT_FALSE(mbgit::commitSides(root, {none, "", "größe", ""}, sides, error));
    EXPECT_TRUE(error.starts_with("fatal: ")) << error;
}

TEST_F(GitHistory, JsonOfLogSaysWhatIsPushed) {
    home.sh("git checkout -q theirs; git commit -qm ours --allow-empty", "repo");
    const mbjson::Json tracked = mbgit::logJson(root, 40, "", true);
    EXPECT_TRUE(tracked["hasUpstream"].asBool());
    ASSERT_EQ(tracked["commits"].asArray().size(), 2U);
    EXPECT_EQ(tracked["commits"][0]["subject"].asString(), "ours");
    EXPECT_TRUE(tracked["commits"][0].has("pushed"));
    EXPECT_FALSE(tracked["commits"][0]["pushed"].asBool());
    EXPECT_TRUE(tracked["commits"][1]["pushed"].asBool());
    home.sh("git checkout -q side", "repo");
    const mbjson::Json lone = mbgit::logJson(root, 1, "", true);
    EXPECT_TRUE(lone.has("hasUpstream"));
    EXPECT_FALSE(lone["hasUpstream"].asBool());
    EXPECT_FALSE(lone["commits"][0]["pushed"].asBool(true));
    const mbjson::Json plain = mbgit::logJson(root, 1, "", false);
    EXPECT_FALSE(plain.has("hasUpstream"));
    mbjson::Json commit = plain["commits"][0];
    EXPECT_TRUE(commit["date"].asString().ends_with("ago"));
    commit.set("date", "");
    const std::string hash = hashOf("side");
    EXPECT_EQ(commit.dump(), R"({"author":"Bob B","date":"","hash":")" + hash +
                                 R"(","refs":"HEAD -> side","short":")" + hash.substr(0, 7) +
                                 R"(","subject":"on the side"})");
}

TEST_F(GitHistory, JsonOfGraphAndDetailHoldEveryField) {
    const mbjson::Json graph = mbgit::graphJson(root, 400);
    ASSERT_EQ(graph["commits"].asArray().size(), 6U);
    const std::string head = hashOf("HEAD"), parent = hashOf("HEAD^");
    const mbjson::Json::Array& commits = graph["commits"].asArray();
    const auto moved = std::find_if(commits.begin(), commits.end(), [&](const mbjson::Json& row) {
        return row["hash"].asString() == head;
    });
    ASSERT_NE(moved, commits.end());
    EXPECT_EQ(moved->dump(), R"({"author":"Ann Example","email":"ann@example.com","hash":")" +
                                 head + R"(","parents":[")" + parent +
                                 R"("],"refs":"HEAD -> main","short":")" + head.substr(0, 7) +
                                 R"(","subject":"moved","time":1600000000})");
    const mbjson::Json::Array& refs = graph["refs"].asArray();
    const auto side = std::find_if(refs.begin(), refs.end(), [&](const mbjson::Json& row) {
        return row["name"].asString() == "side";
    });
    ASSERT_NE(side, refs.end());
    EXPECT_EQ(side->dump(), R"({"ahead":0,"behind":0,"current":false,"hash":")" + hashOf("side") +
                                R"(","kind":"local","name":"side","subject":"on the side",)" +
                                R"("time":1700000100,"upstream":""})");
    const mbjson::Json detail = mbgit::commitDetailJson(detailOf(root, hashOf("side")));
    EXPECT_EQ(detail.dump(),
              R"({"author":"Bob B","committer":"Ann Example","email":"bob@example.com",)"
              R"("files":[{"additions":1,"deletions":0,"oldPath":"","path":"side","status":"A"}],)"
              R"("hash":")" +
                  hashOf("side") + R"(","message":"on the side","parents":[")" + hashOf("first") +
                  R"("],"refs":"side","time":1600000000})");
}

TEST(GitHistoryLimits, NumbersOfThePageAreHeldInBounds) {
    struct Case {
        const char* text;
        int64_t graph, log;
    };
    for (const Case& c :
         {Case{"", 400, 40}, Case{"x", 400, 40}, Case{"5x", 400, 40}, Case{"0", 1, 0},
          Case{"-3", 1, -3}, Case{"1", 1, 1}, Case{"5000", 5000, 5000}, Case{"6000", 5000, 6000},
          Case{"99999999999999999999", 400, 40}}) {
        EXPECT_EQ(mbgit::graphLimit(c.text), c.graph) << c.text;
        EXPECT_EQ(mbgit::logLimit(c.text), c.log) << c.text;
    }
}

// What is not UTF-8 stays as it is in the records and is readable in the answers.
TEST(GitHistoryBytes, NamesAndMessagesOfUnknownEncoding) {
    GitHome home;
    const std::string root = home.init("odd", R"sh(
        printf 'commit refs/heads/main\nauthor J\366rg <j@b> 1 +0000\ncommitter A <a@b> 1 +0000\n' > in
        printf 'data 6\ncaf\351 \001\nM 100644 inline caf\351\ndata 2\n1\n' >> in
        git fast-import --quiet < in)sh");
    const auto commits = mbgit::log(root, 1, "");
    ASSERT_EQ(commits.size(), 1U);
    EXPECT_EQ(commits[0].subject, "caf\xe9 \x01");
    EXPECT_EQ(commits[0].author, "J\xf6rg");
    const mbjson::Json commit = mbgit::logJson(root, 1, "", false)["commits"][0];
    EXPECT_EQ(commit["subject"].asString(), "café \x01");
    EXPECT_EQ(commit["author"].asString(), "Jörg");
    const mbjson::Json detail = mbgit::commitDetailJson(detailOf(root, commits[0].hash));
    EXPECT_EQ(detail["files"][0]["path"].asString(), "café");
    EXPECT_EQ(detail["author"].asString(), "Jörg");
    EXPECT_EQ(mbgit::graphJson(root, 1)["commits"][0]["author"].asString(), "Jörg");
}

TEST(GitHistoryBytes, MessagesThatDecideAreAskedForInEnglish) {
    GitHome home;
    home.fakeGit("[ \"$LC_ALL\" = C ] && echo 'x does not exist' >&2 || echo 'gibt es nicht' >&2; "
                 "exit 128");
    mbtest::ScopedEnv language({{"LC_ALL", "de_DE.UTF-8"}, {"LANGUAGE", "de"}});
    std::string content, error;
    EXPECT_TRUE(mbgit::showFile(home.path(), "HEAD", "x", content, error)) << error;
}

// What reads a repository, as git gets it behind the words that all commands share.
TEST(GitReadCommands, WordsThatGitIsGiven) {
    GitHome home;
    home.fakeGit(R"sh([ "$1" = --version ] && exit
        shift 5; for word; do printf '[%s]' "$word" >> "$HOME/log"; done; echo >> "$HOME/log"
        case "$1$2" in show-s) printf 'a\037b c\037\037\0371\037\037\037m' ;; esac)sh");
    const std::string root = home.path(), us = "\x1f", hash = "0123456";
    std::string out, error;
    mbgit::CommitDetail detail;
    (void)mbgit::status(root);
    (void)mbgit::numstat(root, true);
    (void)mbgit::numstat(root, false);
    (void)mbgit::pendingDiff(root, true, out, error);
    (void)mbgit::pendingDiff(root, false, out, error);
    (void)mbgit::log(root, 7, "");
    (void)mbgit::log(root, -1, "a b");
    (void)mbgit::graph(root, 8);
    (void)mbgit::refs(root);
    (void)mbgit::branches(root, true);
    (void)mbgit::branches(root, false);
    (void)mbgit::commitDetail(root, hash, detail, error);
    (void)mbgit::showFile(root, "a b", "c d", out, error);
    const std::string fields = "%1f%(refname:short)%1f%(HEAD)%1f%(upstream:short)%1f"
                               "%(upstream:track)%1f%(objectname)%1f%(*objectname)%1f"
                               "%(committerdate:unix)%1f%(contents:subject)";
    const std::string tree = "[diff-tree][--no-commit-id][-r][-M]";
    EXPECT_EQ(
        mbtest::slurp(home.at("home/log")),
        "[status][--porcelain=v2][--branch][--untracked-files=all]\n"
        "[diff][--numstat][-z][--no-color][--no-ext-diff][--cached]\n"
        "[diff][--numstat][-z][--no-color][--no-ext-diff]\n"
        "[diff][--no-color][--no-ext-diff][HEAD]\n"
        "[ls-files][--others][--exclude-standard]\n"
        "[diff][--no-color][--no-ext-diff][--cached]\n"
        "[log][--max-count=7][--date=relative][--pretty=format:%H" +
            us + "%h" + us + "%an" + us + "%ad" + us + "%s" + us + "%D]\n" +
            "[log][--max-count=-1][--date=relative][--pretty=format:%H" + us + "%h" + us + "%an" +
            us + "%ad" + us + "%s" + us + "%D][--][a b]\n" +
            "[log][--all][--date-order][--max-count=8][--pretty=format:%H" + us + "%h" + us + "%P" +
            us + "%an" + us + "%ae" + us + "%at" + us + "%s" + us + "%D]\n" +
            "[for-each-ref][--sort=-committerdate][--format=%(refname)" + fields +
            "][refs/heads][refs/remotes][refs/tags]\n"
            "[branch][--all][--format=%(refname:short)]\n"
            "[branch][--format=%(refname:short)]\n"
            "[show][-s][--format=%H%x1f%P%x1f%an%x1f%ae%x1f%at%x1f%cn%x1f%D%x1f%B][0123456]\n" +
            tree + "[--name-status][b][0123456]\n" + tree + "[--numstat][b][0123456]\n" +
            "[show][a b:c d]\n");
}

// Made by one import: 20,000 commits in three lines of history, 300 branches and 200 tags.
TEST(GitHistorySize, LongHistoriesAndHundredsOfRefs) {
    GitHome home;
    const std::string root = home.init("long", R"sh(
        awk 'BEGIN {
            for (i = 1; i <= 20000; i++) {
                printf "commit refs/heads/line%d\nmark :%d\n", i % 3, i
                printf "committer A <a@b> %d +0000\ndata 9\nnumber %02d\n", 1600000000 + i, i % 100
                if (i > 3) printf "from :%d\n", i - 3
                if (i % 10 == 0) printf "merge :%d\n", i - 1
            }
            for (i = 1; i <= 300; i++) printf "reset refs/heads/b/%d\nfrom :%d\n\n", i, i
            for (i = 1; i <= 200; i++) printf "reset refs/tags/t%d\nfrom :%d\n\n", i, i
        }' | git fast-import --quiet
        git symbolic-ref HEAD refs/heads/line1)sh");
    const auto commits = mbgit::graph(root, 5000);
    ASSERT_EQ(commits.size(), 5000U);
    EXPECT_EQ(commits[0].time, 1600020000);
    EXPECT_EQ(commits[0].parents.size(), 2U);
    EXPECT_EQ(commits[4999].time, 1600015001);
    EXPECT_EQ(mbgit::refs(root).size(), 503U);
    EXPECT_EQ(mbgit::branches(root, true).size(), 303U);
    EXPECT_GT(mbgit::log(root, -1, "").size(), 6600U);
}

}  // namespace
