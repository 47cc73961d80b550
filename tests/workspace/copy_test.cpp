#include "workspace/copy.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "workspace/workspace_support.hpp"

namespace {

namespace fs = std::filesystem;
using mbtest::kOutside;
using mbtest::outcome;
using mbtest::slurp;
using mbtest::TwoRoots;
using Names = std::vector<std::string>;

std::string duplicate(const TwoRoots& roots, const std::string& path) {
    return outcome([&](std::string& error) { return roots.workspace.duplicatePath(path, error); });
}

std::string copyInto(const TwoRoots& roots, const Names& sources, const std::string& destination) {
    return outcome(
        [&](std::string& error) { return roots.workspace.copyInto(sources, destination, error); });
}

Names namesIn(const std::string& folder) {
    Names names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

unsigned modeOf(const std::string& path) {
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0U;
}

TEST(CopyNames, DuplicateStandsBesideItsSourceUnderTheNextFreeName) {
    struct Row {
        const char* name;
        const char* first;
        const char* second;
    };
    const Row rows[] = {{"report.txt", "report - Copy.txt", "report - Copy (2).txt"},
                        {".bashrc", ".bashrc - Copy", ".bashrc - Copy (2)"},
                        {"Makefile", "Makefile - Copy", "Makefile - Copy (2)"},
                        {"a.tar.gz", "a.tar - Copy.gz", "a.tar - Copy (2).gz"},
                        {"end.", "end - Copy.", "end - Copy (2)."},
                        {".a.b", ".a - Copy.b", ".a - Copy (2).b"}};
    for (const Row& row : rows) {
        const TwoRoots roots;
        const std::string path = std::string("app/") + row.name;
        roots.folder.write(path, "text");
        EXPECT_EQ(duplicate(roots, path), "ok");
        EXPECT_EQ(duplicate(roots, path), "ok");
        EXPECT_EQ(slurp(roots.folder.at(std::string("app/") + row.first)), "text") << row.first;
        EXPECT_EQ(slurp(roots.folder.at(std::string("app/") + row.second)), "text") << row.second;
        EXPECT_EQ(namesIn(roots.folder.at("app")).size(), 3U);
    }
}

TEST(CopyNames, FolderHasNoExtension) {
    const TwoRoots roots;
    roots.folder.write("app/v1.2/a", "text");
    EXPECT_EQ(duplicate(roots, "app/v1.2"), "ok");
    EXPECT_EQ(slurp(roots.folder.at("app/v1.2 - Copy/a")), "text");
}

TEST(CopyNames, NameTakenByADanglingLinkIsTaken) {
    const TwoRoots roots;
    roots.folder.write("app/a.txt", "text");
    ASSERT_EQ(::symlink("nowhere", roots.folder.at("app/a - Copy.txt").c_str()), 0);
    EXPECT_EQ(duplicate(roots, "app/a.txt"), "ok");
    EXPECT_EQ(slurp(roots.folder.at("app/a - Copy (2).txt")), "text");
}

TEST(CopyNames, EndsAt999) {
    const TwoRoots roots;
    roots.folder.write("app/a.txt", "text");
    roots.folder.write("app/a - Copy.txt", "");
    for (int number = 2; number < 999; ++number)
        roots.folder.write("app/a - Copy (" + std::to_string(number) + ").txt", "");
    EXPECT_EQ(duplicate(roots, "app/a.txt"), "ok");
    EXPECT_EQ(slurp(roots.folder.at("app/a - Copy (999).txt")), "text");
    EXPECT_EQ(duplicate(roots, "app/a.txt"), "could not copy a.txt");
}

TEST(Duplicate, WholeRootGoesIntoTheFolderThatHoldsIt) {
    const TwoRoots roots;
    roots.folder.write("app/a", "text");
    EXPECT_EQ(duplicate(roots, "app"), "ok");
    EXPECT_EQ(slurp(roots.folder.at("app - Copy/a")), "text");
}

TEST(Duplicate, FailuresHaveTheirWords) {
    const TwoRoots roots;
    EXPECT_EQ(duplicate(roots, "app/../x"), kOutside);
    EXPECT_EQ(duplicate(roots, "app/none"), "could not copy none");
}

TEST(CopyInto, TakesAbsoluteSourcesFromAnywhere) {
    const TwoRoots roots;
    roots.folder.write("outside/a.txt", "a");
    roots.folder.write("outside/deep/b.txt", "b");
    EXPECT_EQ(
        copyInto(roots,
                 {roots.folder.at("outside/../outside/a.txt"), roots.folder.at("outside/deep/")},
                 "app"),
        "ok");
    EXPECT_EQ(slurp(roots.folder.at("app/a.txt")), "a");
    EXPECT_EQ(slurp(roots.folder.at("app/deep/b.txt")), "b");
    EXPECT_EQ(copyInto(roots, {roots.folder.at("outside/a.txt")}, "app/deep"), "ok");
    EXPECT_EQ(namesIn(roots.folder.at("app/deep")), (Names{"a.txt", "b.txt"}));
}

TEST(CopyInto, SourceThatIsGoneIsLeftOut) {
    const TwoRoots roots;
    const std::string present = roots.folder.write("outside/a", "a");
    const std::string cut = present + std::string("\0b", 2);
    EXPECT_EQ(copyInto(roots, {roots.folder.at("none"), "", cut, present}, "app"), "ok");
    EXPECT_EQ(namesIn(roots.folder.at("app")), Names{"a"});
    for (const Names& sources : {Names{}, Names{roots.folder.at("none"), ""}, Names{cut}})
        EXPECT_EQ(copyInto(roots, sources, "app"), "nothing to copy");
    EXPECT_EQ(namesIn(roots.folder.at("app")), Names{"a"});
}

TEST(CopyInto, DestinationMustBeAFolderInTheWorkspace) {
    const TwoRoots roots;
    const std::string source = roots.folder.write("app/file", "");
    for (const char* destination : {"", "other", "app/..", "app/none", "app/file"})
        EXPECT_EQ(copyInto(roots, {source}, destination),
                  "the destination is not a folder in the workspace")
            << destination;
}

TEST(CopyInto, FolderIntoItselfStopsEverything) {
    const TwoRoots roots;
    const std::string file = roots.folder.write("outside/a", "a");
    roots.folder.mkdir("app/x/y");
    roots.folder.mkdir("app/xy");
    for (const char* destination : {"app/x", "app/x/y"}) {
        EXPECT_EQ(copyInto(roots, {file, roots.folder.at("app/x")}, destination),
                  "a folder cannot be copied into itself");
        EXPECT_FALSE(fs::exists(roots.folder.at(std::string(destination) + "/a")));
    }
    EXPECT_EQ(copyInto(roots, {roots.folder.at("app/x")}, "app/xy"), "ok");
    EXPECT_EQ(copyInto(roots, {roots.folder.at("app/x")}, "app"), "ok");
    EXPECT_EQ(namesIn(roots.folder.at("app")), (Names{"x", "x - Copy", "xy"}));
}

// No comparison of paths sees this one; without a look at what was made it fills the disk.
TEST(CopyInto, FolderIntoItselfOverALinkEnds) {
    const TwoRoots roots;
    roots.folder.write("app/x/y/file", "text");
    ASSERT_EQ(::symlink("../app/x/y", roots.folder.at("notes/link").c_str()), 0);
    EXPECT_EQ(copyInto(roots, {roots.folder.at("app/x")}, "notes/link"), "could not copy x");
    EXPECT_EQ(slurp(roots.folder.at("app/x/y/x/y/file")), "text");
    EXPECT_FALSE(fs::exists(roots.folder.at("app/x/y/x/y/x")));
}

TEST(CopyInto, StopsAtTheFirstThatFailsAndKeepsWhatWasCopied) {
    const TwoRoots roots;
    const std::string first = roots.folder.write("outside/1", "1");
    const std::string last = roots.folder.write("outside/3", "3");
    ASSERT_EQ(::mkfifo(roots.folder.at("outside/2").c_str(), 0600), 0);
    EXPECT_EQ(copyInto(roots, {first, roots.folder.at("outside/2"), last}, "app"),
              "could not copy 2");
    EXPECT_EQ(namesIn(roots.folder.at("app")), Names{"1"});
}

TEST(CopyTree, KeepsModesContentsAndLinks) {
    const TwoRoots roots;
    const std::string script = roots.folder.write("app/x/run.sh", std::string("#!\0\xff", 4));
    ASSERT_EQ(::chmod(script.c_str(), 0751), 0);
    ASSERT_EQ(::chmod(roots.folder.write("app/x/secret", "s").c_str(), 0600), 0);
    ASSERT_EQ(::chmod(roots.folder.mkdir("app/x/private").c_str(), 0700), 0);
    ASSERT_EQ(::symlink("no/where", roots.folder.at("app/x/dangling").c_str()), 0);
    ASSERT_EQ(::symlink("..", roots.folder.at("app/x/up").c_str()), 0);
    ASSERT_TRUE(mbws::copyTree(roots.folder.at("app/x"), roots.folder.at("app/copy")));
    EXPECT_EQ(namesIn(roots.folder.at("app/copy")), namesIn(roots.folder.at("app/x")));
    EXPECT_EQ(slurp(roots.folder.at("app/copy/run.sh")), std::string("#!\0\xff", 4));
    EXPECT_EQ(modeOf(roots.folder.at("app/copy/run.sh")), 0751U);
    EXPECT_EQ(modeOf(roots.folder.at("app/copy/secret")), 0600U);
    EXPECT_EQ(modeOf(roots.folder.at("app/copy/private")), 0700U);
    EXPECT_EQ(fs::read_symlink(roots.folder.at("app/copy/dangling")), "no/where");
    EXPECT_EQ(fs::read_symlink(roots.folder.at("app/copy/up")), "..");
}

TEST(CopyTree, FailureInOneEntryDoesNotStopTheOthers) {
    const TwoRoots roots;
    roots.folder.write("app/x/a", "a");
    roots.folder.write("app/x/sub/z", "z");
    ASSERT_EQ(::mkfifo(roots.folder.at("app/x/fifo").c_str(), 0600), 0);
    EXPECT_FALSE(mbws::copyTree(roots.folder.at("app/x"), roots.folder.at("app/copy")));
    EXPECT_EQ(slurp(roots.folder.at("app/copy/a")), "a");
    EXPECT_EQ(slurp(roots.folder.at("app/copy/sub/z")), "z");
    EXPECT_EQ(namesIn(roots.folder.at("app/copy")), (Names{"a", "sub"}));
}

TEST(CopyTree, SocketsAndDevicesCannotBeCopied) {
    const TwoRoots roots;
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    roots.folder.at("app/socket").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_FALSE(mbws::copyTree(roots.folder.at("app/socket"), roots.folder.at("app/copy")));
    ::close(listener);
    EXPECT_FALSE(mbws::copyTree("/dev/zero", roots.folder.at("app/copy")));
    EXPECT_FALSE(fs::exists(roots.folder.at("app/copy")));
}

TEST(CopyTree, MissingSourceIsFalse) {
    const TwoRoots roots;
    EXPECT_FALSE(mbws::copyTree(roots.folder.at("none"), roots.folder.at("copy")));
}

TEST(CopyTree, FolderInThePlaceOfAFileIsFalse) {
    const TwoRoots roots;
    roots.folder.write("app/x/a", "a");
    const std::string target = roots.folder.write("app/file", "old");
    EXPECT_FALSE(mbws::copyTree(roots.folder.at("app/x"), target));
    EXPECT_EQ(slurp(target), "old");
}

TEST(CopyTree, DeepFoldersNeedNoDescriptorEach) {
    const TwoRoots roots;
    std::string path = "app/x";
    for (int level = 0; level < 300; ++level) path += "/d";
    roots.folder.write(path + "/file", "deep");
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit lowered = {200, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &lowered), 0);
    EXPECT_TRUE(mbws::copyTree(roots.folder.at("app/x"), roots.folder.at("app/c")));
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    path[4] = 'c';
    EXPECT_EQ(slurp(roots.folder.at(path + "/file")), "deep");
}

}  // namespace
