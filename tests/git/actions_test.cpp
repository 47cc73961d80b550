#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "git/actions.hpp"
#include "git/git.hpp"
#include "git/repository.hpp"
#include "support/support.hpp"
#include "json/json.hpp"

namespace {

using mbtest::GitHome;
using mbtest::summary;
using Rows = std::vector<std::string>;

const mbgit::Action* actionNamed(const std::string& name) {
    const auto& all = mbgit::actions();
    const auto found = std::find_if(
        all.begin(), all.end(), [&](const mbgit::Action& action) { return action.name == name; });
    return found == all.end() ? nullptr : &*found;
}

struct Outcome {
    bool ok = false;
    std::string output;
    std::string error;
};

// As a route does it: by name, with the fields of a body.
Outcome act(const std::string& name, const std::string& root, const std::string& body) {
    Outcome outcome;
    const mbgit::Action* action = actionNamed(name);
    if (action == nullptr) {
        outcome.error = "no such action";
        return outcome;
    }
    outcome.ok = mbgit::runAction(*action, root, mbgit::readActionInput(mbjson::Json::parse(body)),
                                  outcome.output, outcome.error);
    return outcome;
}

// A clone of a bare remote, with one commit that both have.
class GitActions : public ::testing::Test {
protected:
    GitActions() {
        home.sh(R"sh(git init -q --bare remote.git; git clone -q remote.git work 2>/dev/null
            cd work; echo 1 > a; echo 1 > 'two words'; git add .; git commit -qm one
            git push -q origin main)sh");
        root = home.at("work");
    }

    // A second clone pushes a commit that changes "a".
    void pushFromElsewhere() {
        home.sh("git clone -q remote.git other; cd other; echo theirs > a; git commit -qam theirs; "
                "git push -q");
    }
    Rows files() { return summary(mbgit::status(root)); }
    std::string messageFile() const { return root + "/.git/MARLIN_COMMITMSG"; }

    GitHome home;
    std::string root;
};

TEST_F(GitActions, NineActionsInTheOrderOfTheirRoutes) {
    std::string names;
    for (const mbgit::Action& action : mbgit::actions()) names.append(action.name).append(" ");
    EXPECT_EQ(names, "stage unstage discard commit push pull fetch checkout merge ");
}

TEST_F(GitActions, PathsGoToTheIndexAndBack) {
    home.sh(
        R"sh(echo 2 > a; echo 2 > 'two words'; echo 2 > "it's"; echo 2 > '-f'; echo 2 > 'größe')sh",
        "work");
    const Outcome staged = act("stage", root, R"({"paths":["a","two words","it's","-f","größe"]})");
    EXPECT_TRUE(staged.ok) << staged.error;
    EXPECT_EQ(staged.output, "");
    EXPECT_EQ(files(), (Rows{"A. s -f", "M. s a", "A. s größe", "A. s it's", "M. s two words"}));
    EXPECT_TRUE(act("unstage", root, R"({"paths":["a","two words","it's"]})").ok);
    EXPECT_EQ(files(), (Rows{"A. s -f", ".M u a", "A. s größe", ".? un it's", ".M u two words"}));
    EXPECT_TRUE(act("discard", root, R"({"paths":["two words"]})").ok);
    EXPECT_EQ(files(), (Rows{"A. s -f", ".M u a", "A. s größe", ".? un it's"}));
}

TEST_F(GitActions, PathsThatGitRefusesGiveItsWords) {
    for (const char* name : {"stage", "unstage", "discard"}) {
        for (const char* body : {R"({"paths":[]})", R"({})", R"({"paths":"a"})"}) {
            const Outcome none = act(name, root, body);
            EXPECT_FALSE(none.ok);
            EXPECT_EQ(none.error, "no paths given");
        }
        const Outcome missing = act(name, root, R"({"paths":["a","not there"]})");
        EXPECT_FALSE(missing.ok);
        EXPECT_NE(missing.error.find("'not there'"), std::string::npos) << missing.error;
        EXPECT_FALSE(act(name, root, R"({"paths":[7]})").ok);  // an empty path
    }
    EXPECT_EQ(files(), Rows());
}

// A file named "*" would stand for all of them.
TEST_F(GitActions, PathIsNoPattern) {
    home.sh("echo 1 > '*'; git add .; git commit -qm star; echo 2 > '*'; echo 2 > a", "work");
    EXPECT_TRUE(act("stage", root, R"({"paths":["*"]})").ok);
    EXPECT_EQ(files(), (Rows{"M. s *", ".M u a"}));
    EXPECT_FALSE(act("discard", root, R"({"paths":["?"]})").ok);
    EXPECT_EQ(files(), (Rows{"M. s *", ".M u a"}));
}

TEST_F(GitActions, CommitTakesTheMessageToTheByteAndRemovesItsFile) {
    home.sh("echo 2 > a; git add a; echo 2 > 'two words'", "work");
    const std::string message = "it's \"quoted\" $(touch x) `x`\n\n  body ü\n";
    mbgit::CommitOptions options;
    options.message = message;
    std::string output, error = "untouched";
    ASSERT_TRUE(mbgit::commit(root, options, output, error)) << error;
    EXPECT_EQ(error, "untouched");
    EXPECT_NE(output.find("1 file changed"), std::string::npos) << output;
    EXPECT_EQ(home.sh("git log -1 --format=%B", "work") + "\n", message);
    EXPECT_FALSE(std::filesystem::exists(messageFile()));
    EXPECT_EQ(files(), Rows{".M u two words"});
}

TEST_F(GitActions, CommitOfEverythingStagesFirst) {
    home.sh("rm a; echo other > new", "work");
    EXPECT_TRUE(act("commit", root, R"({"message":"all","stageAll":true})").ok);
    EXPECT_EQ(files(), Rows());
    EXPECT_EQ(home.sh("git show --format=%s --name-only", "work"), "all\n\na\nnew");
}

TEST_F(GitActions, OnlyTheBooleanTrueTurnsAFieldOn) {
    home.sh("echo 2 > a", "work");
    const Outcome outcome = act("commit", root, R"({"message":"m","stageAll":"true","amend":1})");
    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(files(), Rows{".M u a"});
    EXPECT_EQ(home.sh("git log --oneline | wc -l", "work"), "1");
}

TEST_F(GitActions, FailedCommitKeepsWhatWasStagedAndRemovesItsFile) {
    EXPECT_EQ(act("commit", root, R"({})").error, "a commit message is required");
    const Outcome nothing = act("commit", root, R"({"message":"m"})");
    EXPECT_FALSE(nothing.ok);
    EXPECT_NE(nothing.error.find("nothing to commit"), std::string::npos) << nothing.error;
    EXPECT_FALSE(std::filesystem::exists(messageFile()));

    home.sh("printf '#!/bin/sh\\necho refused >&2; exit 1\\n' > .git/hooks/pre-commit; "
            "chmod +x .git/hooks/pre-commit; echo 2 > a",
            "work");
    const Outcome refused = act("commit", root, R"({"message":"m","stageAll":true})");
    EXPECT_FALSE(refused.ok);
    EXPECT_EQ(refused.error, "refused");
    EXPECT_NE(refused.output.find("refused"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(messageFile()));
    EXPECT_EQ(files(), Rows{"M. s a"});
}

TEST_F(GitActions, AmendReplacesTheCommitAndLeavesAnEmptyMessageToGit) {
    home.sh("echo 2 > a; git add a; git commit -qm two; echo 3 > a; git add a", "work");
    EXPECT_TRUE(act("commit", root, R"({"message":"three","amend":true})").ok);
    EXPECT_EQ(home.sh("git log --format=%s", "work"), "three\none");
    const Outcome empty = act("commit", root, R"({"amend":true})");
    EXPECT_FALSE(empty.ok);
    EXPECT_NE(empty.error.find("empty commit message"), std::string::npos) << empty.error;
    EXPECT_FALSE(std::filesystem::exists(messageFile()));
}

TEST_F(GitActions, CommitNeedsAFolderForItsMessage) {
    home.sh("git worktree add -q ../linked -b side; echo 2 > ../linked/a", "work");
    const Outcome linked = act("commit", home.at("linked"), R"({"message":"m","stageAll":true})");
    EXPECT_FALSE(linked.ok);
    EXPECT_EQ(linked.error, "could not write the commit message file");
    EXPECT_EQ(summary(mbgit::status(home.at("linked"))), Rows{"M. s a"});  // nothing rolled back
    std::filesystem::current_path(root);  // which must not stand in for a root that is missing
    const Outcome rootless = act("commit", "", R"({"message":"m"})");
    EXPECT_FALSE(rootless.ok);
    EXPECT_EQ(rootless.error, "could not write the commit message file");
    std::filesystem::current_path("/");
}

TEST_F(GitActions, MessageThatDoesNotFitOnTheDiskEndsTheCommit) {
    ASSERT_EQ(::symlink("/dev/full", messageFile().c_str()), 0);
    const Outcome full = act("commit", root, R"({"message":"m"})");
    EXPECT_FALSE(full.ok);
    EXPECT_EQ(full.error, "could not write the commit message file");
    EXPECT_FALSE(std::filesystem::is_symlink(messageFile()));
}

TEST_F(GitActions, FailedStagingEndsTheCommit) {
    home.write("work/.git/index.lock", "");
    const Outcome locked = act("commit", root, R"({"message":"m","stageAll":true})");
    EXPECT_FALSE(locked.ok);
    EXPECT_NE(locked.error.find("index.lock"), std::string::npos) << locked.error;
    EXPECT_FALSE(locked.error.ends_with("\n"));
    EXPECT_EQ(locked.output, "");
}

TEST_F(GitActions, CommitMessageFileIsPrivateToTheRunAndPlain) {
    home.sh("printf '#!/bin/sh\\nstat -c %%a .git/MARLIN_COMMITMSG > mode; "
            "cat .git/MARLIN_COMMITMSG > text\\n' > .git/hooks/pre-commit; "
            "chmod +x .git/hooks/pre-commit; echo 2 > a; git add a",
            "work");
    home.write("work/.git/MARLIN_COMMITMSG", "left over from a lost run, and longer");
    ASSERT_EQ(::chmod(messageFile().c_str(), 0600), 0);
    EXPECT_TRUE(act("commit", root, R"({"message":"short"})").ok);
    EXPECT_EQ(mbtest::slurp(root + "/text"), "short");
    const mode_t before = ::umask(0022);
    EXPECT_TRUE(act("commit", root, R"({"message":"new","amend":true})").ok);
    ::umask(before);
    EXPECT_EQ(mbtest::slurp(root + "/mode"), "644\n");
}

TEST_F(GitActions, PushGoesToTheUpstreamOrMakesOne) {
    home.sh("echo 2 > a; git commit -qam two", "work");
    const Outcome pushed = act("push", root, "{}");
    EXPECT_TRUE(pushed.ok) << pushed.error;
    EXPECT_NE(pushed.output.find("main -> main"), std::string::npos) << pushed.output;
    home.sh("git checkout -qb feature/x; git commit -qm three --allow-empty", "work");
    const Outcome lone = act("push", root, "{}");
    EXPECT_FALSE(lone.ok);
    EXPECT_NE(lone.error.find("has no upstream branch"), std::string::npos) << lone.error;
    const Outcome made = act("push", root, R"({"setUpstream":true})");
    EXPECT_TRUE(made.ok) << made.error;
    EXPECT_EQ(mbgit::status(root).upstream, "origin/feature/x");
    EXPECT_EQ(home.sh("git rev-parse feature/x", "remote.git"), home.sh("git rev-parse @", "work"));
}

TEST_F(GitActions, PushThatTheRemoteRefusesGivesItsWords) {
    pushFromElsewhere();
    home.sh("git commit -qm ours --allow-empty", "work");
    const Outcome refused = act("push", root, "{}");
    EXPECT_FALSE(refused.ok);
    EXPECT_NE(refused.error.find("[rejected]"), std::string::npos) << refused.error;
    EXPECT_NE(refused.output.find("[rejected]"), std::string::npos);
}

TEST_F(GitActions, FetchAndPullBringWhatOthersPushed) {
    pushFromElsewhere();
    home.sh("git push -q origin main:gone; git fetch -q; git push -q ../remote.git :gone", "work");
    const Outcome fetched = act("fetch", root, "{}");
    EXPECT_TRUE(fetched.ok) << fetched.error;
    EXPECT_EQ(mbgit::status(root).behind, 1);
    EXPECT_EQ(home.sh("git branch -r", "work"), "  origin/main");  // "gone" was pruned
    const Outcome pulled = act("pull", root, "{}");
    EXPECT_TRUE(pulled.ok) << pulled.error;
    EXPECT_NE(pulled.output.find("Fast-forward"), std::string::npos) << pulled.output;
    EXPECT_EQ(mbgit::status(root).behind, 0);
    EXPECT_EQ(mbtest::slurp(root + "/a"), "theirs\n");
}

TEST_F(GitActions, PullOfADivergentBranchFails) {
    pushFromElsewhere();
    home.sh("git commit -qm ours --allow-empty", "work");
    const Outcome pulled = act("pull", root, "{}");
    EXPECT_FALSE(pulled.ok);
    EXPECT_NE(pulled.error.find("Not possible to fast-forward"), std::string::npos) << pulled.error;
    home.sh("git remote set-url origin ../nowhere.git", "work");
    for (const char* name : {"fetch", "pull", "push"}) {
        const Outcome outcome = act(name, root, "{}");
        EXPECT_FALSE(outcome.ok) << name;
        EXPECT_NE(outcome.error.find("nowhere.git"), std::string::npos) << outcome.error;
    }
}

TEST_F(GitActions, CheckoutSwitchesAndCreates) {
    const Outcome made = act("checkout", root, R"({"branch":"it's/new","create":true})");
    EXPECT_TRUE(made.ok) << made.error;
    EXPECT_EQ(made.output, "Switched to a new branch 'it's/new'\n");
    EXPECT_EQ(mbgit::status(root).branch, "it's/new");
    EXPECT_FALSE(act("checkout", root, R"({"branch":"main","create":true})").ok);  // it exists
    EXPECT_TRUE(act("checkout", root, R"({"branch":"main"})").ok);
    EXPECT_EQ(mbgit::status(root).branch, "main");
    EXPECT_TRUE(act("checkout", root, R"({"branch":"-"})").ok);
    EXPECT_EQ(mbgit::status(root).branch, "it's/new");
    EXPECT_FALSE(act("checkout", root, R"({"branch":"two words","create":true})").ok);
    EXPECT_FALSE(act("checkout", root, R"({"branch":""})").ok);
    const Outcome none = act("checkout", root, R"({"branch":"no such"})");
    EXPECT_NE(none.error.find("'no such'"), std::string::npos) << none.error;
}

TEST_F(GitActions, MergeJoinsOrLeavesTheConflict) {
    home.sh("git checkout -qb side; echo side > new; git add .; git commit -qm side; "
            "git checkout -qb clash main; echo clash > a; git commit -qam clash; "
            "git checkout -q main; echo main > a; git commit -qam main",
            "work");
    const Outcome merged = act("merge", root, R"({"branch":"side"})");
    EXPECT_TRUE(merged.ok) << merged.error;
    EXPECT_EQ(home.sh("git log -1 --format=%s", "work"), "Merge branch 'side'");
    const Outcome clash = act("merge", root, R"({"branch":"clash"})");
    EXPECT_FALSE(clash.ok);
    EXPECT_NE(clash.error.find("CONFLICT"), std::string::npos) << clash.error;
    EXPECT_EQ(files(), Rows{"UU uc a"});
}

TEST_F(GitActions, UnpushedNeedsAnUpstream) {
    std::vector<std::string> list{"old"};
    EXPECT_TRUE(mbgit::unpushed(root, list));
    EXPECT_TRUE(list.empty());
    home.sh("git commit -qm two --allow-empty; git commit -qm three --allow-empty", "work");
    EXPECT_TRUE(mbgit::unpushed(root, list));
    EXPECT_EQ(list,
              (Rows{home.sh("git rev-parse @", "work"), home.sh("git rev-parse @^", "work")}));
    home.sh("git checkout -qb lone", "work");
    EXPECT_FALSE(mbgit::unpushed(root, list));
    EXPECT_TRUE(list.empty());
}

TEST(GitActionFailure, HasWordsInAnyCase) {
    GitHome home;
    home.write(".git/config", "");
    home.fakeGit("exit 1");
    for (const mbgit::Action& action : mbgit::actions()) {
        const Outcome outcome = act(std::string(action.name), home.path(),
                                    R"({"paths":["a"],"message":"m","branch":"b"})");
        EXPECT_FALSE(outcome.ok);
        EXPECT_EQ(outcome.error, std::string(action.name) + " failed");
    }
}

// The line of each command as git gets it, behind the words that all of them share.
TEST(GitActionCommands, WordsThatGitIsGiven) {
    GitHome home;
    home.write(".git/config", "");
    home.fakeGit(R"sh(shift 5; case "$1" in rev-parse) echo "$BRANCH"; exit $CODE ;; esac
        for word; do printf '[%s]' "$word"; done; echo ' err' >&2)sh");
    struct Case {
        const char* action;
        const char* body;
        std::string branch;
        std::string words;
    };
    const std::string file = "[--file=" + home.path() + "/.git/MARLIN_COMMITMSG]";
    const std::string upstream = R"({"setUpstream":true})";
    for (const Case& c : {
             Case{"commit", R"({"message":"m"})", "", "[commit]" + file},
             Case{"commit", R"({"message":"m","amend":true})", "", "[commit]" + file + "[--amend]"},
             Case{"push", "{}", "main", "[push]"},
             Case{"push", R"({"setUpstream":true})", "main",
                  "[push][--set-upstream][origin][main]"},
             Case{"push", R"({"setUpstream":true})", "two words",
                  "[push][--set-upstream][origin][two][words]"},
             Case{"push", R"({"setUpstream":true})", "x;$(y)",
                  "[push][--set-upstream][origin][x;$(y)]"},
             Case{"push", R"({"setUpstream":true})", "--exec=x",
                  "[push][--set-upstream][origin][refs/heads/--exec=x]"},
             Case{"pull", "{}", "", "[pull][--ff-only]"},
             Case{"fetch", "{}", "", "[fetch][--all][--prune]"},
             Case{"checkout", R"({"branch":"a b"})", "", "[checkout][a b]"},
             Case{"checkout", R"({"branch":"a b","create":true})", "", "[checkout][-b][a b]"},
             Case{"merge", R"({"branch":"a b"})", "", "[merge][--no-edit][a b]"},
         }) {
        mbtest::ScopedEnv branch({{"BRANCH", c.branch}, {"CODE", "0"}});
        const Outcome outcome = act(c.action, home.path(), c.body);
        EXPECT_TRUE(outcome.ok) << c.action;
        EXPECT_EQ(outcome.output, c.words + " err\n");
    }
    mbtest::ScopedEnv failing({{"BRANCH", "main"}, {"CODE", "1"}});
    EXPECT_EQ(act("push", home.path(), upstream).output, "[push] err\n");
}

}  // namespace
