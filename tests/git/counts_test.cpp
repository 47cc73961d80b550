#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "git/git.hpp"
#include "git/repository.hpp"
#include "git/run.hpp"
#include "support/support.hpp"
#include "util/fd.hpp"

namespace {

using mbgit::Status;
using mbtest::countSummary;
using mbtest::GitHome;
using Rows = std::vector<std::string>;

Status statusWithCounts(const std::string& root) {
    Status status = mbgit::status(root);
    mbgit::addLineCounts(root, status);
    return status;
}

// A status that lists these as untracked, for folders that git would not list as we need it.
Status untracked(const std::vector<std::string>& paths) {
    Status status;
    status.isRepo = true;
    for (const std::string& path : paths) {
        mbgit::FileChange& change = status.files.emplace_back();
        change.path = path;
        change.untracked = true;
    }
    return status;
}

TEST(GitCounts, TrackedFilesAreCountedOnTheSideWhereTheyChanged) {
    GitHome home;
    const std::string root = home.init("counts", R"(
        for f in both deleted moved staged work; do printf '1\n2\n3\n4\n5\n6\n' > $f; done
        printf 'a\000b' > binary; git add .; git commit -qm one
        echo 7 >> both; git add both; sed -i 1,2d both
        rm deleted
        git mv moved 'moved away'; echo 7 >> 'moved away'; git add 'moved away'
        sed -i 1,3d staged; git add staged
        echo 7 >> work
        printf 'a\000c' > binary
        printf '1\n2\n3' > new)");
    const Status status = statusWithCounts(root);
    EXPECT_EQ(countSummary(status), (Rows{"-1,-1 -1,-1 binary", "1,0 0,2 both", "-1,-1 0,6 deleted",
                                          "1,0 -1,-1 moved away", "-1,-1 3,0 new",
                                          "0,3 -1,-1 staged", "-1,-1 1,0 work"}));
    const mbjson::Json files = mbgit::statusJson(status)["files"];
    for (const char* key : {"stagedAdded", "stagedRemoved", "workAdded", "workRemoved"}) {
        EXPECT_FALSE(files[0].has(key)) << key;
        EXPECT_TRUE(files[1].has(key)) << key;
    }
}

TEST(GitCounts, ConflictCountsAgainstTheIndexOnly) {
    GitHome home;
    const std::string root = home.init("conflict", R"sh(
        echo base > file; git add .; git commit -qm base
        git checkout -qb other; echo other > file; git commit -qam other
        git checkout -q main; echo main > file; git commit -qam main; git merge -q other || true)sh");
    const auto staged = mbgit::numstat(root, true);
    EXPECT_TRUE(staged.contains("file"));  // git has a number, but nothing of it is staged
    const Status status = statusWithCounts(root);
    ASSERT_EQ(status.files.size(), 1U);
    EXPECT_EQ(status.files[0].stagedAdded, -1);
    EXPECT_EQ(status.files[0].workAdded, mbgit::numstat(root, false).at("file").added);
}

TEST(GitCounts, UntrackedFilesAreCountedUpToTheirLimits) {
    mbtest::TempDir dir;
    struct Case {
        const char* name;
        std::string bytes;
        int added;
    };
    const std::string line = std::string(1023, 'x') + "\n";
    std::string largest;
    for (int i = 0; i < 1024; ++i) largest += line;
    ASSERT_EQ(largest.size(), 1048576U);
    std::string late(8000, 'x'), early = late;
    late += '\0';
    early[7999] = '\0';
    const std::vector<Case> cases = {{"empty", "", 0},
                                     {"end", "\n", 1},
                                     {"none", "x", 1},
                                     {"three", "1\n2\n3", 3},
                                     {"three ended", "1\n2\n3\n", 3},
                                     {"blank lines", "\n\n", 2},
                                     {"largest", largest, 1024},
                                     {"too large", largest + "x", -1},
                                     {"late zero", late, 1},
                                     {"early zero", early, -1},
                                     {"first zero", std::string("\0\n", 2), -1}};
    std::vector<std::string> names;
    for (const Case& c : cases) {
        dir.write(c.name, c.bytes);
        names.emplace_back(c.name);
    }
    Status status = untracked(names);
    mbgit::addLineCounts(dir.path(), status);
    for (size_t i = 0; i < cases.size(); ++i) {
        EXPECT_EQ(status.files[i].workAdded, cases[i].added) << cases[i].name;
        EXPECT_EQ(status.files[i].workRemoved, cases[i].added < 0 ? -1 : 0) << cases[i].name;
        EXPECT_EQ(status.files[i].stagedAdded, -1) << cases[i].name;
    }
}

TEST(GitCounts, AFileOfProcHasNoSizeAndIsReadToItsEnd) {
    mbtest::TempDir dir;
    ASSERT_EQ(::symlink("/proc/self/maps", dir.at("maps").c_str()), 0);
    Status status = untracked({"maps"});
    mbgit::addLineCounts(dir.path(), status);
    EXPECT_GT(status.files[0].workAdded, 3);
}

TEST(GitCounts, ThreeHundredUntrackedFilesAreTriedWhetherOrNotTheyCount) {
    mbtest::TempDir dir;
    dir.write("file", "1\n");
    std::vector<std::string> names(301, "file");
    names[0] = "missing";  // costs its share of the budget too
    Status status = untracked(names);
    mbgit::FileChange tracked;
    tracked.path = "tracked";
    status.files.insert(status.files.begin(), tracked);  // costs nothing
    mbgit::addLineCounts(dir.path(), status);
    EXPECT_EQ(status.files[1].workAdded, -1);
    EXPECT_EQ(status.files[2].workAdded, 1);
    EXPECT_EQ(status.files[300].workAdded, 1);
    EXPECT_EQ(status.files[301].workAdded, -1);
    EXPECT_EQ(status.files[301].workRemoved, -1);
}

TEST(GitCounts, PipesDevicesAndFoldersAreNotOpened) {
    mbtest::TempDir dir;
    ASSERT_EQ(::mkfifo(dir.at("pipe").c_str(), 0600), 0);
    ASSERT_EQ(::symlink("pipe", dir.at("link").c_str()), 0);
    ASSERT_EQ(::symlink("/dev/zero", dir.at("zero").c_str()), 0);
    dir.mkdir("folder");
    dir.write("file", "1\n");
    const mbutil::Fd opens(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    ASSERT_GE(::inotify_add_watch(opens.value, dir.at("pipe").c_str(), IN_OPEN), 0);
    ASSERT_GE(::inotify_add_watch(opens.value, dir.at("folder").c_str(), IN_OPEN), 0);
    Status status = untracked({"pipe", "link", "zero", "folder"});
    mbgit::addLineCounts(dir.path(), status);
    for (const mbgit::FileChange& change : status.files)
        EXPECT_EQ(change.workAdded, -1) << change.path;
    char event[256];
    EXPECT_EQ(::read(opens.value, event, sizeof event), -1);  // nothing was told
    EXPECT_EQ(errno, EAGAIN);
    mbutil::Fd(::open(dir.at("pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    EXPECT_GT(::read(opens.value, event, sizeof event), 0);  // it would have been
}

TEST(GitCounts, StatusThatIsNoRepositoryStaysAsItIs) {
    mbtest::TempDir dir;
    dir.write("file", "1\n");
    Status status = untracked({"file"});
    status.isRepo = false;
    mbgit::addLineCounts(dir.path(), status);
    EXPECT_EQ(status.files[0].workAdded, -1);
}

TEST(GitCounts, FailedDiffLeavesCountsUnknown) {
    GitHome home;
    EXPECT_TRUE(mbgit::numstat(home.path(), true).empty());
    home.fakeGit("printf '1\\t2\\tfile\\000'; exit 1");
    EXPECT_TRUE(mbgit::numstat(home.path(), false).empty());
}

// Each of the two runs waits for the other one.
TEST(GitCounts, BothSidesAreCountedAtTheSameTime) {
    GitHome home;
    home.fakeGit(R"sh(touch "$HOME/run.$$"
        until [ "$(ls "$HOME" | grep -c run)" -ge 2 ]; do sleep 0.01; done
        case "$*" in *--cached) n=1 ;; *) n=2 ;; esac
        printf "$n\t0\tfile\000")sh");
    Status status = untracked({"file"});
    mbgit::FileChange& change = status.files[0];
    change.untracked = false;
    change.staged = change.unstaged = true;
    mbgit::addLineCounts(home.path(), status);
    EXPECT_EQ(change.stagedAdded, 1);
    EXPECT_EQ(change.workAdded, 2);
}

// A stack that no address space holds stands for a system without room for another thread.
TEST(GitCounts, WithoutAThreadTheWorkIsDoneByWhoAsks) {
    pthread_attr_t usual, huge;
    ASSERT_EQ(::pthread_getattr_default_np(&usual), 0);
    ASSERT_EQ(::pthread_attr_init(&huge), 0);
    ASSERT_EQ(::pthread_attr_setstacksize(&huge, size_t{1} << 47), 0);
    ASSERT_EQ(::pthread_setattr_default_np(&huge), 0);
    const auto caller = ::pthread_self();
    auto answer = mbgit::startBeside([] { return ::pthread_self(); });
    EXPECT_EQ(answer.get(), caller);
    ASSERT_EQ(::pthread_setattr_default_np(&usual), 0);
    auto beside = mbgit::startBeside([] { return ::pthread_self(); });
    EXPECT_NE(beside.get(), caller);
}

}  // namespace
