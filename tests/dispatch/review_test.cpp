// Looking at a task's changes, landing them, throwing them away.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "dispatch/dispatch_support.hpp"

namespace {

using mbjson::Json;
using mbtest::DispatchRig;
using mbtest::kInit;
using mbtest::kResult;
using mbtest::kStayBusy;
using mbtest::Texts;

const std::string kRemark = "\n\u2026 (diff truncated)\n";

Json diffOf(DispatchRig& rig, const std::string& id) {
    std::string error;
    Json diff = rig->diff(id, error);
    EXPECT_EQ(error, "");
    return diff;
}

std::string diffError(DispatchRig& rig, const std::string& id) {
    std::string error;
    EXPECT_TRUE(rig->diff(id, error).isNull());
    return error;
}

std::string mergeError(DispatchRig& rig, const std::string& id) {
    std::string error;
    EXPECT_FALSE(rig->merge(id, error));
    return error;
}

// "path +added -removed" for each file.
Texts rows(const Json& diff) {
    Texts texts;
    for (const Json& file : diff["files"].asArray())
        texts.push_back(file["path"].asString() + " +" + std::to_string(file["added"].asInt()) +
                        " -" + std::to_string(file["removed"].asInt()));
    return texts;
}

// Everything of the user's that a merge could touch: what is checked out, what is staged, every
// file with its bytes and its mode, and what git remembers of unfinished business.
std::string everything(const DispatchRig& rig) {
    return rig.sh("git rev-parse HEAD; cat .git/HEAD; git ls-files --stage; git ls-files -v; git "
                  "status --porcelain=v2\n"
                  "git diff --binary; git stash list\n"
                  "find . -path ./.git -prune -o -type f -printf '%m ' -exec sha1sum {} + | sort\n"
                  "ls .git | grep -E '^(MERGE|CHERRY|REBASE)' || true");
}

// A finished task with a worktree, in which `script` has run as its agent.
std::string worked(DispatchRig& rig, const std::string& script, const std::string& title = "Work") {
    const std::string id = rig.finished("", title);
    (void)rig.home.sh("cd '" + rig.text(id, "directory") + "'\n" + script);
    return id;
}

bool hasWorktree(const DispatchRig& rig, const std::string& id) {
    const bool folder = std::filesystem::exists(rig.text(id, "directory"));
    const bool known = rig.sh("git worktree list --porcelain").find(rig.text(id, "directory")) !=
                       std::string::npos;
    const bool branch = !rig.sh("git branch --list '" + rig.text(id, "branch") + "'").empty();
    EXPECT_EQ(folder, known);
    EXPECT_EQ(folder, branch);
    return folder && known && branch;
}

TEST(DispatchDiff, CountsEveryKindOfChange) {
    DispatchRig rig;
    rig.sh("seq 10 > lines.txt; echo bye > gone.txt; printf 'a\\0b' > old.bin; git add -A\n"
           "git commit -qm more");
    const std::string id = worked(rig, "sed -i 's/^5$/five/; /^9$/d' lines.txt; rm gone.txt\n"
                                       "printf 'a\\0c' > old.bin; printf 'x\\0y' > 'new one.bin'\n"
                                       "mkdir sub; printf 'no end' > sub/new.txt");
    const Json diff = diffOf(rig, id);
    EXPECT_EQ(rows(diff), (Texts{"gone.txt +0 -1", "lines.txt +1 -2", "new one.bin +0 -0",
                                 "old.bin +0 -0", "sub/new.txt +1 -0"}));
    EXPECT_EQ(diff["added"].asNumber(), 2);
    EXPECT_EQ(diff["removed"].asNumber(), 3);
    EXPECT_EQ(diff["fileCount"].asNumber(), 5);
    EXPECT_EQ(diff.asObject().size(), 5u);
    const std::string& patch = diff["patch"].asString();
    EXPECT_NE(patch.find("\n-5\n+five\n"), std::string::npos);
    EXPECT_NE(patch.find("+no end\n\\ No newline"), std::string::npos);
    EXPECT_NE(patch.find("Binary files"), std::string::npos);
}

TEST(DispatchDiff, CommitsOfTheAgentCountToo) {
    DispatchRig rig;
    const std::string id = worked(rig, "echo two >> seed.txt; git commit -qam two; echo x > x");
    EXPECT_EQ(rows(diffOf(rig, id)), (Texts{"seed.txt +1 -0", "x +1 -0"}));
}

TEST(DispatchDiff, TaskWithoutChangesHasAnEmptyOne) {
    DispatchRig rig;
    const Json diff = diffOf(rig, rig.finished(""));
    EXPECT_EQ(diff.dump(), R"({"added":0,"fileCount":0,"files":[],"patch":"","removed":0})");
}

TEST(DispatchDiff, InPlaceNothingIsStaged) {
    DispatchRig rig;
    rig.play({std::string("note new.txt hello\nnote seed.txt changed\n") + kResult});
    const std::string id = rig.createInPlace(rig.repo);
    ASSERT_TRUE(rig.settle(id, "done"));
    const std::string before = mbtest::slurp(rig.repo + "/.git/index");
    const Json diff = diffOf(rig, id);
    EXPECT_EQ(rows(diff), Texts{"seed.txt +1 -1"});
    EXPECT_NE(diff["patch"].asString().find("+changed"), std::string::npos);
    EXPECT_EQ(rig.sh("git diff --cached --name-only"), "");
    EXPECT_EQ(mbtest::slurp(rig.repo + "/.git/index"), before);
}

TEST(DispatchDiff, PatchOfTheLimitIsWholeAndALongerOneIsCut) {
    DispatchRig rig;
    const std::string id = worked(rig, "echo > big.txt");
    const std::string folder = rig.text(id, "directory");
    const size_t frame = diffOf(rig, id)["patch"].asString().size();
    const auto grow = [&](size_t bytes) {
        rig.home.sh("head -c " + std::to_string(bytes - frame) + " /dev/zero | tr '\\0' x > '" +
                    folder + "/big.txt'; echo >> '" + folder + "/big.txt'");
        return diffOf(rig, id);
    };
    const std::string whole = grow(400000)["patch"].asString();
    EXPECT_EQ(whole.size(), 400000u);
    EXPECT_EQ(whole.substr(399997), "xx\n");
    const std::string cut = grow(400001)["patch"].asString();
    EXPECT_EQ(cut.size(), 400000 + kRemark.size());
    EXPECT_EQ(cut.substr(399997), "xxx" + kRemark);
    // Numbers are of the whole, also of what no longer fits into the patch.
    rig.home.sh("seq 300000 > '" + folder + "/big.txt'; seq 5 > '" + folder + "/later.txt'");
    const Json diff = diffOf(rig, id);
    EXPECT_EQ(rows(diff), (Texts{"big.txt +300000 -0", "later.txt +5 -0"}));
    EXPECT_EQ(diff["added"].asNumber(), 300005);
    EXPECT_EQ(diff["patch"].asString().find("later.txt"), std::string::npos);
}

TEST(DispatchDiff, NamesAndTextOfOtherEncodingsAreReadable) {
    DispatchRig rig;
    const std::string id =
        worked(rig, "printf 'gr\\374n\\n' > latin.txt; printf 'gr\u00fcn\\n' > utf.txt\n"
                    "echo x > $(printf 'n\\344me')");
    const Json diff = diffOf(rig, id);
    EXPECT_EQ(rows(diff), (Texts{"latin.txt +1 -0", "n\u00e4me +1 -0", "utf.txt +1 -0"}));
    const std::string& patch = diff["patch"].asString();
    EXPECT_NE(patch.find("latin.txt\n@@ -0,0 +1 @@\n+gr\u00fcn\n"), std::string::npos) << patch;
    EXPECT_NE(patch.find("utf.txt\n@@ -0,0 +1 @@\n+gr\u00fcn\n"), std::string::npos) << patch;
}

TEST(DispatchDiff, OfWhatIsNotThereSaysSo) {
    DispatchRig rig;
    EXPECT_EQ(diffError(rig, "t0-0"), "no such task");
    const std::string id = worked(rig, "echo x > x");
    ASSERT_TRUE(rig.merge(id));
    EXPECT_EQ(diffError(rig, id), "there is nothing to compare against");
    const std::string thrown = worked(rig, "echo x > y");
    ASSERT_TRUE(rig.discard(thrown));
    EXPECT_EQ(diffError(rig, thrown), "there is nothing to compare against");
}

TEST(DispatchMerge, LandsWhatTheAgentLeft) {
    DispatchRig rig;
    const std::string id = worked(rig, "echo new > new.txt; echo more >> seed.txt", "Add things");
    const std::string branch = rig.text(id, "branch");
    const std::string start = rig.sh("git rev-parse HEAD");
    ASSERT_TRUE(rig.merge(id));
    EXPECT_EQ(rig.sh("cat new.txt seed.txt"), "new\none\nmore");
    // A merge commit although it could have been a fast-forward.
    EXPECT_EQ(rig.sh("git rev-parse HEAD^1"), start);
    EXPECT_EQ(rig.sh("git log -1 --format=%s"), "Merge branch '" + branch + "'");
    EXPECT_EQ(rig.sh("git log -1 --format=%s HEAD^2"), "Dispatch: Add things");
    EXPECT_EQ(rig.sh("git rev-list --count HEAD"), "3");
    EXPECT_EQ(rig.sh("git status --porcelain"), "");
    EXPECT_FALSE(hasWorktree(rig, id));
    EXPECT_EQ(rig.status(id), "merged");
    EXPECT_EQ(rig.feed.states(id).back(), "merged");
    EXPECT_EQ(rig.sh("ls " + rig.worktrees()), "");
}

TEST(DispatchMerge, LandsOnWhatIsCheckedOutNow) {
    DispatchRig rig;
    const std::string id = worked(rig, "echo new > new.txt");
    rig.sh("git checkout -qb other");
    ASSERT_TRUE(rig.merge(id));
    EXPECT_EQ(rig.sh("git branch --show-current; ls; git ls-tree --name-only main"),
              "other\nnew.txt\nseed.txt\nseed.txt");
    EXPECT_EQ(rig.text(id, "baseBranch"), "main");
}

TEST(DispatchMerge, LongTitleIsCutInTheSubject) {
    DispatchRig rig;
    for (const auto& [title, subject] :
         std::map<std::string, std::string>{{std::string(68, 't'), std::string(68, 't')},
                                            {std::string(70, 't'), std::string(65, 't') + "..."},
                                            {"first line\nsecond", "first line"}}) {
        const std::string id = worked(rig, "date +%N >> work.txt", title);
        ASSERT_TRUE(rig.merge(id));
        EXPECT_EQ(rig.sh("git log -1 --format=%s HEAD^2"), "Dispatch: " + subject);
    }
}

TEST(DispatchMerge, CommitsOfTheAgentAreLeftAsTheyAre) {
    DispatchRig rig;
    const std::string id = worked(rig, "echo x > x; git add -A; git commit -qm 'by hand'");
    ASSERT_TRUE(rig.merge(id));
    EXPECT_EQ(rig.sh("git log -1 --format=%s HEAD^2"), "by hand");
    EXPECT_EQ(rig.sh("git log --format=%s | grep -c Dispatch: || true"), "0");
    EXPECT_EQ(rig.sh("cat x"), "x");
}

TEST(DispatchMerge, TaskWithoutChangesStaysAndCanBeDiscarded) {
    DispatchRig rig;
    const std::string id = rig.finished("");
    const std::string before = everything(rig);
    EXPECT_EQ(mergeError(rig, id), "this task changed nothing, so there is nothing to merge");
    EXPECT_EQ(rig.status(id), "done");
    EXPECT_TRUE(hasWorktree(rig, id));
    EXPECT_EQ(everything(rig), before);
    ASSERT_TRUE(rig.discard(id));
    EXPECT_FALSE(hasWorktree(rig, id));
}

TEST(DispatchMerge, CommitThatGitRefusesIsTold) {
    DispatchRig rig;
    const std::string id = worked(rig, "echo x > x");
    rig.home.write("repo/.git/hooks/pre-commit",
                   "#!/bin/sh\nprintf '\\n  no tabs please \\nmore\\n' >&2\nexit 1\n");
    rig.sh("chmod +x .git/hooks/pre-commit");
    const std::string before = everything(rig);
    EXPECT_EQ(mergeError(rig, id), "could not commit the task's changes: no tabs please");
    EXPECT_EQ(rig.status(id), "done");
    EXPECT_TRUE(hasWorktree(rig, id));
    EXPECT_EQ(everything(rig), before);
    rig.home.write("repo/.git/hooks/pre-commit", "#!/bin/sh\necho on output; exit 1\n");
    EXPECT_EQ(mergeError(rig, id), "could not commit the task's changes: on output");
    rig.sh("rm .git/hooks/pre-commit");
    EXPECT_TRUE(rig.merge(id));
}

TEST(DispatchMerge, ConflictLeavesTheUsersFolderAsItWas) {
    DispatchRig rig;
    rig.sh("seq 20 > shared.txt; seq 20 > mine.txt; git add -A; git commit -qm base");
    const std::string id = worked(rig, "sed -i 's/^10$/theirs/' shared.txt; echo n > new.txt");
    rig.sh("sed -i 's/^10$/ours/' shared.txt; git commit -qam ours\n"
           "git update-index --assume-unchanged seed.txt\n"
           "echo unstaged >> mine.txt; echo untracked > loose.txt; chmod 600 loose.txt");
    const std::string before = everything(rig);
    const std::string error = mergeError(rig, id);
    EXPECT_EQ(error, "the merge did not go through, and nothing was changed: Auto-merging "
                     "shared.txt. Commit or stash your own changes, then try again.");
    EXPECT_EQ(everything(rig), before);
    EXPECT_EQ(rig.status(id), "done");
    EXPECT_TRUE(hasWorktree(rig, id));
    // The task's work is committed on its branch, so nothing of it is lost.
    EXPECT_EQ(
        rig.home.sh("cd " + rig.text(id, "directory") + "; git status --porcelain; ls new.txt"),
        "new.txt");
    rig.sh("git reset -q --keep HEAD~1");
    EXPECT_TRUE(rig.merge(id));
    EXPECT_EQ(rig.sh("tail -1 mine.txt; cat loose.txt new.txt"), "unstaged\nuntracked\nn");
    EXPECT_EQ(rig.sh("git log --format=%s HEAD^2 | grep -c Dispatch:"), "1");
}

TEST(DispatchMerge, ChangesOfTheUserInTheWayStay) {
    DispatchRig rig;
    const std::string id = worked(rig, "echo theirs >> seed.txt; echo n > loose.txt");
    for (const char* change : {"echo mine >> seed.txt", "echo mine >> seed.txt; git add seed.txt",
                               "echo mine > loose.txt"}) {
        rig.sh(change);
        const std::string before = everything(rig);
        const std::string error = mergeError(rig, id);
        EXPECT_NE(error.find("nothing was changed: error: "), std::string::npos) << error;
        EXPECT_EQ(everything(rig), before) << change;
        rig.sh("git reset -q --hard; rm -f loose.txt");
    }
    EXPECT_TRUE(rig.merge(id));
}

TEST(DispatchMerge, MergeThatTheUserHasUnderWayIsNotAborted) {
    DispatchRig rig;
    rig.sh(
        "git checkout -qb side; echo side > seed.txt; git commit -qam side; git checkout -q main\n"
        "echo main > seed.txt; git commit -qam main");
    const std::string id = worked(rig, "echo n > new.txt");
    rig.sh(
        "git merge -q side >/dev/null || true; echo 'solved by hand' > seed.txt; git add seed.txt");
    const std::string before = everything(rig);
    EXPECT_NE(before.find("MERGE_HEAD"), std::string::npos);
    EXPECT_NE(mergeError(rig, id).find("nothing was changed: "), std::string::npos);
    EXPECT_EQ(everything(rig), before);
    rig.sh("git commit -qm solved");
    EXPECT_TRUE(rig.merge(id));
    EXPECT_EQ(rig.sh("cat seed.txt new.txt"), "solved by hand\nn");
}

TEST(DispatchMerge, RunningAgentIsStoppedFirst) {
    DispatchRig rig;
    rig.play({rig.reach("up") + "await-end\nnote last.txt words\nexit 0\n"});
    const std::string id = rig.createOne("Work");
    ASSERT_TRUE(rig.reached("up"));
    ASSERT_TRUE(rig.merge(id));
    // What it still wrote at its end is landed with the rest.
    EXPECT_EQ(rig.sh("cat last.txt"), "words");
    EXPECT_TRUE(mbtest::gone(rig.pidAt("up")));
    EXPECT_EQ(rig.feed.states(id), (Texts{"queued", "running live", "stopped", "merged"}));
}

TEST(DispatchMerge, WaitsForAnAgentThatSomebodyElseIsEnding) {
    DispatchRig rig;
    rig.play({rig.reach("up") + "await-end\n" + rig.reach("ending") + rig.awaitGate("go") +
              "note last.txt words\nexit 0\n"});
    const std::string id = rig.createOne("Work");
    ASSERT_TRUE(rig.reached("up"));
    std::thread stopping([&] { EXPECT_TRUE(rig.stop(id)); });
    ASSERT_TRUE(rig.reached("ending"));
    std::thread merging([&] { EXPECT_TRUE(rig.merge(id)); });
    // The second "stopped" is the merge's own.
    ASSERT_TRUE(mbtest::waitUntil([&] { return rig.feed.states(id).size() == 4; }));
    rig.open("go");
    stopping.join();
    merging.join();
    EXPECT_EQ(rig.sh("cat last.txt"), "words");
}

TEST(DispatchMerge, FailureLeavesAStoppedTaskThatCanGoOn) {
    DispatchRig rig;
    rig.play(
        {kInit + rig.reach("up") + kStayBusy, std::string(kInit) + "note work.txt x\n" + kResult});
    const std::string id = rig.createOne("Work");
    ASSERT_TRUE(rig.reached("up"));
    EXPECT_EQ(mergeError(rig, id), "this task changed nothing, so there is nothing to merge");
    EXPECT_EQ(rig.status(id), "stopped");
    ASSERT_TRUE(rig.send(id, "work now"));
    ASSERT_TRUE(rig.settle(id, "done"));
    EXPECT_TRUE(rig.merge(id));
}

TEST(DispatchMerge, FollowUpThatComesMeanwhileEndsWithIt) {
    DispatchRig rig;
    const std::string id = worked(rig, "echo x > x");
    rig.play({rig.reach("up") + "await-end\n" + kResult});
    rig.home.write("repo/.git/hooks/pre-merge-commit",
                   "#!/bin/sh\n: > " + rig.gate("merging") + ".t; echo > " + rig.gate("merging") +
                       "\nwhile [ ! -e " + rig.gate("go") + " ]; do sleep 0.01; done\n");
    rig.sh("chmod +x .git/hooks/pre-merge-commit");
    std::thread merging([&] { EXPECT_TRUE(rig.merge(id)); });
    ASSERT_TRUE(rig.reached("merging"));
    ASSERT_TRUE(rig.send(id, "one thing more"));
    ASSERT_TRUE(rig.reached("up"));
    rig.open("go");
    merging.join();
    EXPECT_TRUE(mbtest::gone(rig.pidAt("up")));
    // Its result came after all, and a closed task does not come back.
    EXPECT_TRUE(mbtest::waitUntil([&] { return rig.feed.heard(id, "all good"); }));
    EXPECT_EQ(rig.status(id), "merged");
    EXPECT_FALSE(rig.task(id)["live"].asBool());
    EXPECT_EQ(rig.feed.states(id).back(), "merged");
}

TEST(DispatchMerge, InPlaceNoGitRunsAtAll) {
    DispatchRig rig;
    rig.play({std::string("note new.txt hello\n") + kResult});
    const std::string id = rig.createInPlace(rig.repo);
    ASSERT_TRUE(rig.settle(id, "done"));
    const std::string before = everything(rig);
    rig.home.fakeGit("echo \"$*\" >> " + rig.gate("git") + "\nPATH=${PATH#*:} exec git \"$@\"");
    ASSERT_TRUE(rig.merge(id));
    EXPECT_EQ(mbtest::slurp(rig.gate("git")), "");
    EXPECT_EQ(rig.status(id), "merged");
    EXPECT_EQ(everything(rig), before);
}

TEST(DispatchMerge, UnknownTaskIsRefused) {
    DispatchRig rig;
    EXPECT_EQ(mergeError(rig, "t0-0"), "no such task");
    std::string error;
    EXPECT_FALSE(rig->discard("t0-0", error));
    EXPECT_EQ(error, "no such task");
}

TEST(DispatchDiscard, RemovesWorktreeAndUnmergedBranch) {
    DispatchRig rig;
    const std::string id = worked(rig, "echo x > x; git add -A; git commit -qm kept; echo y > y");
    ASSERT_TRUE(hasWorktree(rig, id));
    const std::string before = everything(rig);
    ASSERT_TRUE(rig.discard(id));
    EXPECT_FALSE(hasWorktree(rig, id));
    EXPECT_EQ(everything(rig), before);
    EXPECT_EQ(rig.sh("git branch; git worktree prune -n"), "* main");
    EXPECT_EQ(rig.status(id), "discarded");
    EXPECT_EQ(rig.feed.states(id).back(), "discarded");
}

TEST(DispatchDiscard, WorktreeThatSomebodyHasDeletedIsForgotten) {
    DispatchRig rig;
    const std::string id = worked(rig, "echo x > x");
    std::filesystem::remove_all(rig.text(id, "directory"));
    ASSERT_TRUE(rig.discard(id));
    EXPECT_FALSE(hasWorktree(rig, id));
    EXPECT_EQ(rig.status(id), "discarded");
}

TEST(DispatchDiscard, StopsARunningTaskAndAWaitingOne) {
    DispatchRig rig;
    rig->setMaxRunning(1);
    rig.play({rig.reach("up") + kStayBusy});
    const std::string running = rig.createOne(), waiting = rig.createOne();
    ASSERT_TRUE(rig.reached("up"));
    ASSERT_TRUE(rig.discard(waiting));
    ASSERT_TRUE(rig.discard(running));
    EXPECT_TRUE(mbtest::gone(rig.pidAt("up")));
    for (const std::string& id : {running, waiting}) {
        EXPECT_EQ(rig.status(id), "discarded");
        EXPECT_FALSE(hasWorktree(rig, id));
    }
    EXPECT_EQ(rig.launches(), 1);
}

TEST(DispatchDiscard, InPlaceAllChangesStay) {
    DispatchRig rig;
    rig.play({std::string("note new.txt hello\nnote seed.txt changed\n") + kResult});
    const std::string id = rig.createInPlace(rig.repo);
    ASSERT_TRUE(rig.settle(id, "done"));
    const std::string before = everything(rig);
    ASSERT_TRUE(rig.discard(id));
    EXPECT_EQ(everything(rig), before);
    EXPECT_EQ(rig.sh("cat new.txt seed.txt"), "hello\nchanged");
    EXPECT_EQ(rig.status(id), "discarded");
}

}  // namespace
