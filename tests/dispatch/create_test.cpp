// What a new task is made of, and the folders and branches it gets.

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <regex>
#include <set>
#include <string>

#include "dispatch/dispatch_support.hpp"

namespace {

using mbdispatch::CreateRequest;
using mbtest::DispatchRig;
using mbtest::Texts;

int64_t nowMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

TEST(DispatchCreate, TaskDescribesItselfWhole) {
    DispatchRig rig;
    rig.play({mbtest::kStayBusy});
    CreateRequest wanted = rig.request("  Fix the login bug in the parser\nand more \n");
    wanted.title = " Login ";
    wanted.model = "opus";
    wanted.mode = "dontAsk";
    const int64_t before = nowMs();
    const Texts ids = rig.create(wanted);
    ASSERT_EQ(ids.size(), 1u);
    EXPECT_TRUE(std::regex_match(ids[0], std::regex("t1-[0-9]{1,5}"))) << ids[0];

    const mbjson::Json task = rig.task(ids[0]);
    std::set<std::string> keys;
    for (const auto& [key, value] : task.asObject()) keys.insert(key);
    EXPECT_EQ(keys,
              (std::set<std::string>{"id", "title", "repoRoot", "directory", "branch", "baseBranch",
                                     "model", "mode", "status", "sessionId", "error", "cost",
                                     "createdAt", "try", "tries", "worktree", "live"}));
    EXPECT_EQ(task["id"].asString(), ids[0]);
    EXPECT_EQ(task["title"].asString(), "Login");
    EXPECT_EQ(task["repoRoot"].asString(), rig.repo);
    EXPECT_EQ(task["directory"].asString(), rig.worktrees() + "/" + ids[0]);
    EXPECT_EQ(task["branch"].asString(), "marlin/login-" + ids[0]);
    EXPECT_EQ(task["baseBranch"].asString(), "main");
    EXPECT_EQ(task["model"].asString(), "opus");
    EXPECT_EQ(task["mode"].asString(), "dontAsk");
    EXPECT_EQ(task["status"].asString(), "running");
    EXPECT_TRUE(task["sessionId"].isString());
    EXPECT_EQ(task["error"].asString(), "");
    EXPECT_TRUE(task["cost"].isNumber());
    EXPECT_EQ(task["cost"].asNumber(), 0);
    EXPECT_GE(task["createdAt"].asNumber(), static_cast<double>(before));
    EXPECT_LE(task["createdAt"].asNumber(), static_cast<double>(nowMs()));
    EXPECT_EQ(static_cast<int64_t>(task["createdAt"].asNumber()) % 100000,
              std::stoll(ids[0].substr(3)));
    EXPECT_EQ(task["try"].asNumber(), 1);
    EXPECT_EQ(task["tries"].asNumber(), 1);
    EXPECT_EQ(task["worktree"].asBool(), true);
    EXPECT_EQ(task["live"].asBool(), true);
}

TEST(DispatchCreate, PromptStandsInForTheTitle) {
    DispatchRig rig;
    CreateRequest wanted = rig.request(" Fix the login bug in the parser\nsecond line ");
    wanted.title = " \t\n";
    const std::string id = rig.create(wanted).at(0);
    EXPECT_EQ(rig.text(id, "title"), "Fix the login bug in the parser\nsecond line");
    EXPECT_EQ(rig.text(id, "branch"), "marlin/fix-the-login-bug-" + id);
    wanted.title = "?!";
    const std::string next = rig.create(wanted).at(0);
    EXPECT_EQ(rig.text(next, "branch"), "marlin/task-" + next);
    EXPECT_EQ(next.substr(0, 3), "t2-");
}

TEST(DispatchCreate, WhatIsMissingIsSaid) {
    DispatchRig rig;
    rig.home.write("file", "");
    rig.home.sh("mkdir plain; git init -q unborn");
    CreateRequest wanted = rig.request(" \r\n\t");
    EXPECT_EQ(rig.createError(wanted), "describe the task first");
    wanted.directory = "";
    EXPECT_EQ(rig.createError(wanted), "describe the task first");
    wanted.prompt = "x";
    for (const std::string& folder : {std::string(), rig.home.at("none"), rig.home.at("file"),
                                      rig.repo + std::string("\0x", 2)}) {
        wanted.directory = folder;
        EXPECT_EQ(rig.createError(wanted), "that folder does not exist") << folder;
    }
    for (const char* folder : {"plain", "unborn"}) {
        wanted.directory = rig.home.at(folder);
        EXPECT_EQ(rig.createError(wanted),
                  "a worktree needs a git repository with at least one commit");
    }
    EXPECT_EQ(rig->list().dump(), "[]");
    EXPECT_EQ(rig.feed.size(), 0u);
    EXPECT_FALSE(std::filesystem::exists(rig.worktrees()));
}

TEST(DispatchCreate, FolderWithoutARepositoryTakesATaskInPlace) {
    DispatchRig rig;
    rig.home.sh("mkdir plain");
    const std::string id = rig.createInPlace(rig.home.at("plain"));
    ASSERT_TRUE(rig.settle(id, "done"));
    const mbjson::Json task = rig.task(id);
    EXPECT_EQ(task["directory"].asString(), rig.home.at("plain"));
    EXPECT_EQ(task["repoRoot"].asString(), rig.home.at("plain"));
    EXPECT_EQ(task["branch"].asString(), "");
    EXPECT_EQ(task["baseBranch"].asString(), "");
    EXPECT_FALSE(task["worktree"].asBool());
    std::string error;
    EXPECT_TRUE(rig->diff(id, error).isNull());
    EXPECT_EQ(error, "there is nothing to compare against");
}

TEST(DispatchCreate, TaskInPlaceLeavesTheRepositoryAlone) {
    DispatchRig rig;
    const std::string before = rig.sh("git worktree list; git branch -a; cat .git/HEAD");
    const std::string id = rig.createInPlace(rig.repo);
    ASSERT_TRUE(rig.settle(id, "done"));
    EXPECT_EQ(rig.sh("git worktree list; git branch -a; cat .git/HEAD"), before);
    EXPECT_EQ(rig.text(id, "baseBranch"), "");
    EXPECT_EQ(rig.text(id, "directory"), rig.repo);
}

TEST(DispatchCreate, TriesHaveFoldersAndBranchesOfTheirOwnAndOneBase) {
    for (const auto& [asked, made] :
         std::map<int, size_t>{{9, 4}, {4, 4}, {2, 2}, {0, 1}, {-3, 1}}) {
        DispatchRig rig;
        CreateRequest wanted = rig.request("compete");
        wanted.tries = asked;
        const Texts ids = rig.create(wanted);
        ASSERT_EQ(ids.size(), made) << asked;
        const std::string head = rig.sh("git rev-parse HEAD");
        std::set<std::string> folders, branches;
        for (size_t i = 0; i < made; ++i) {
            const mbjson::Json task = rig.task(ids[i]);
            EXPECT_EQ(task["try"].asNumber(), static_cast<double>(i + 1));
            EXPECT_EQ(task["tries"].asNumber(), static_cast<double>(made));
            EXPECT_EQ(ids[i].substr(0, 3), "t" + std::to_string(i + 1) + "-");
            folders.insert(task["directory"].asString());
            branches.insert(task["branch"].asString());
            EXPECT_EQ(rig.sh("git rev-parse '" + task["branch"].asString() + "'"), head);
        }
        EXPECT_EQ(folders.size(), made);
        EXPECT_EQ(branches.size(), made);
    }
}

TEST(DispatchCreate, PlanTakesThePlaceOfTheMode) {
    DispatchRig rig;
    CreateRequest wanted = rig.request();
    wanted.plan = true;
    wanted.mode = "bypassPermissions";
    const std::string id = rig.create(wanted).at(0);
    EXPECT_EQ(rig.text(id, "mode"), "plan");
    ASSERT_TRUE(rig.settle(id, "done"));
    EXPECT_NE(rig.arguments(1).find("--permission-mode\nplan\n"), std::string::npos);
    EXPECT_EQ(rig.arguments(1).find("dangerously"), std::string::npos);
    EXPECT_EQ(rig.text(rig.createOne(), "mode"), "acceptEdits");
}

TEST(DispatchCreate, WorktreesLieInTheDataFolderOfTheUser) {
    DispatchRig rig;
    struct Case {
        std::optional<std::string> data;
        std::optional<std::string> homeFolder;
        std::string base;
    };
    const std::string home = rig.home.at("home");
    for (const Case& wanted :
         {Case{std::nullopt, home, home + "/.local/share"}, Case{"", home, home + "/.local/share"},
          Case{"relative", home, home + "/.local/share"},
          Case{rig.home.at("other data"), home, rig.home.at("other data")}}) {
        const mbtest::ScopedEnv environment(
            {{"XDG_DATA_HOME", wanted.data}, {"HOME", wanted.homeFolder}});
        const std::string id = rig.createOne();
        EXPECT_EQ(rig.text(id, "directory"), wanted.base + "/marlin-bench/worktrees/" + id);
        EXPECT_TRUE(std::filesystem::exists(rig.text(id, "directory") + "/seed.txt"));
    }
}

TEST(DispatchCreate, WorktreeThatCannotBeMadeLeavesNoTask) {
    DispatchRig rig;
    rig.home.write("data/marlin-bench", "a file in the way");
    const std::string error = rig.createError(rig.request());
    const std::string begin = "could not create a worktree: ";
    ASSERT_EQ(error.substr(0, begin.size()), begin);
    // No more than the first line of what git said, all of which is told.
    const mbjson::Json said = rig.feed.events().at(0);
    EXPECT_EQ(said["type"].asString(), "dispatch.stderr");
    EXPECT_EQ(said["id"].asString().substr(0, 3), "t1-");
    const std::string words = said["text"].asString();
    EXPECT_EQ(begin + words.substr(0, words.find('\n')), error);
    EXPECT_NE(words.find("fatal: "), std::string::npos);
    EXPECT_EQ(rig.feed.size(), 1u);
    EXPECT_EQ(rig->list().dump(), "[]");
    EXPECT_EQ(rig.launches(), 0);
}

TEST(DispatchCreate, EarlierTriesWaitWhenALaterOneFails) {
    DispatchRig rig;
    rig.home.fakeGit("case \"$*\" in *'worktree add'*)\n"
                     "  if [ -e " +
                     rig.gate("second") +
                     " ]; then echo refused; exit 1; fi\n"
                     "  : > " +
                     rig.gate("second") +
                     ";;\n"
                     "esac\n"
                     "PATH=${PATH#*:} exec git \"$@\"");
    CreateRequest wanted = rig.request();
    wanted.tries = 3;
    std::string error;
    const Texts ids = rig->create(wanted, error);
    ASSERT_EQ(ids.size(), 1u);
    // Its words are on standard output, where there is nothing else.
    EXPECT_EQ(error, "could not create a worktree: refused");
    EXPECT_EQ(rig->list().asArray().size(), 1u);
    EXPECT_EQ(rig.feed.states(ids[0]), Texts{"queued"});
    EXPECT_EQ(rig.launches(), 0);
    rig->setMaxRunning(2);
    EXPECT_TRUE(rig.settle(ids[0], "done"));
}

TEST(DispatchCreate, NamesNeverRunAsCommands) {
    DispatchRig rig;
    const std::string evil = "x;touch ${IFS}pwned;$(touch pwned)`touch pwned`'\"&|>pwned #";
    rig.home.write(evil + "/a", "a");
    const std::string folder = rig.home.at(evil);
    (void)rig.home.sh("git init -q; git add -A; git commit -qm s\n"
                      "git checkout -qb 'x;$(touch${IFS}pwned)'",
                      evil);
    rig.play({std::string(mbtest::kInit) + "note made.txt yes\n" + mbtest::kResult});
    CreateRequest wanted = rig.request("'; touch pwned; '");
    wanted.title = "$(touch pwned); `touch pwned` '\"; touch pwned";
    wanted.directory = folder;
    wanted.model = "$(touch pwned)";
    const std::string id = rig.create(wanted).at(0);
    ASSERT_TRUE(rig.settle(id, "done"));
    EXPECT_EQ(rig.text(id, "baseBranch"), "x;$(touch${IFS}pwned)");
    std::string error;
    EXPECT_EQ(rig->diff(id, error)["fileCount"].asNumber(), 1);
    EXPECT_TRUE(rig.merge(id));
    EXPECT_EQ(mbtest::slurp(folder + "/made.txt"), "yes\n");
    EXPECT_EQ(rig.home.sh("git log -1 --format=%s HEAD^2", evil),
              "Dispatch: $(touch pwned); `touch pwned` '\"; touch pwned");
    EXPECT_EQ(rig.home.sh("find . -name pwned"), "");
    EXPECT_FALSE(std::filesystem::exists("pwned"));
}

TEST(DispatchCreate, ListIsInTheOrderOfTheIds) {
    DispatchRig rig;
    rig.play({mbtest::kStayBusy});
    Texts ids;
    for (int i = 0; i < 11; ++i) ids.push_back(rig.createInPlace(rig.repo));
    std::sort(ids.begin(), ids.end());
    Texts listed;
    const mbjson::Json all = rig->list();
    for (const mbjson::Json& task : all.asArray()) listed.push_back(task["id"].asString());
    EXPECT_EQ(listed, ids);
    EXPECT_EQ(listed[1].substr(0, 4), "t10-");
}

}  // namespace
