#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "workspace/workspace_support.hpp"

namespace {

using mbtest::kOutside;
using mbtest::outcome;
using mbtest::slurp;
using mbtest::TwoRoots;
using namespace std::string_literals;

std::string read(const TwoRoots& roots, const std::string& path, std::string& text) {
    return outcome(
        [&](std::string& error) { return roots.workspace.readTextFile(path, text, error); });
}

std::string readRaw(const TwoRoots& roots, const std::string& path, std::string& bytes) {
    return outcome(
        [&](std::string& error) { return roots.workspace.readRawFile(path, bytes, error); });
}

std::string write(const TwoRoots& roots, const std::string& path, const std::string& text) {
    return outcome(
        [&](std::string& error) { return roots.workspace.writeTextFile(path, text, error); });
}

std::string create(const TwoRoots& roots, const std::string& path, const std::string& text) {
    return outcome(
        [&](std::string& error) { return roots.workspace.createFile(path, text, error); });
}

std::string createFolder(const TwoRoots& roots, const std::string& path) {
    return outcome(
        [&](std::string& error) { return roots.workspace.createDirectory(path, error); });
}

std::string rename(const TwoRoots& roots, const std::string& from, const std::string& to) {
    return outcome([&](std::string& error) { return roots.workspace.renamePath(from, to, error); });
}

unsigned modeOf(const std::string& path) {
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 0777U : 0U;
}

// Names in their order, a folder with a slash behind it.
std::vector<std::string> listing(const TwoRoots& roots, const std::string& path) {
    bool listed = false;
    std::vector<std::string> names;
    for (const mbws::DirEntry& entry : roots.workspace.listDirectory(path, listed))
        names.push_back(entry.name + (entry.directory ? "/" : ""));
    if (!listed) names.push_back("not listed");
    return names;
}

using Names = std::vector<std::string>;

TEST(WorkspaceRead, GivesTextAsUtf8AndRawBytesAsTheyAre) {
    const TwoRoots roots;
    std::string text;
    roots.folder.write("app/utf8", "\xef\xbb\xbf\xc3\xa4\r\n");
    EXPECT_EQ(read(roots, "app/utf8", text), "ok");
    EXPECT_EQ(text, "\xef\xbb\xbf\xc3\xa4\r\n");
    roots.folder.write("app/latin", "A\xe9"s + '\0' + "B");
    EXPECT_EQ(read(roots, "app/latin", text), "ok");
    EXPECT_EQ(text, "A\xc3\xa9"s + '\0' + "B");
    EXPECT_EQ(readRaw(roots, "app/latin", text), "ok");
    EXPECT_EQ(text, "A\xe9"s + '\0' + "B");
    roots.folder.write("app/empty", "");
    EXPECT_EQ(read(roots, "app/empty", text), "ok");
    EXPECT_EQ(text, "");
}

TEST(WorkspaceRead, FailuresHaveTheirWordsAndLeaveTheOutputAlone) {
    const TwoRoots roots;
    ASSERT_EQ(::mkfifo(roots.folder.at("app/fifo").c_str(), 0600), 0);
    ASSERT_EQ(::symlink("/dev/zero", roots.folder.at("app/endless").c_str()), 0);
    roots.folder.write("app/a", "contents");
    const std::pair<std::string, std::string> cases[] = {
        {"app/../x", kOutside},
        {"", kOutside},
        {"app/a\0b"s, kOutside},
        {"app/none", "file not found"},
        {"app", "file not found"},
        {"app/a/b", "file not found"},
        {"app/fifo", "could not read the file"},
        {"app/endless", "could not read the file"}};
    for (const auto& [path, reason] : cases) {
        std::string text = "untouched";
        EXPECT_EQ(read(roots, path, text), reason) << path;
        EXPECT_EQ(readRaw(roots, path, text), reason) << path;
        EXPECT_EQ(text, "untouched") << path;
    }
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// The sanitizers reserve terabytes of addresses, so under them no limit can be set.
TEST(WorkspaceRead, FileThatTheMemoryCannotHoldIsAFailureNotTheEnd) {
    const TwoRoots roots;
    const std::string path = roots.folder.write("app/sparse", "");
    ASSERT_EQ(::truncate(path.c_str(), off_t{4} << 30), 0);
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_AS, &before), 0);
    const rlimit lowered = {rlim_t{1} << 30, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_AS, &lowered), 0);
    std::string text;
    EXPECT_EQ(read(roots, "app/sparse", text), "could not read the file");
    ASSERT_EQ(::setrlimit(RLIMIT_AS, &before), 0);
}
#endif

TEST(WorkspaceWrite, BytesGoOutAsTheyAreAndTheFileKeepsItsMode) {
    const TwoRoots roots;
    const std::string path = roots.folder.write("app/a.sh", "a much longer text than the new one");
    ASSERT_EQ(::chmod(path.c_str(), 0750), 0);
    ASSERT_EQ(::link(path.c_str(), roots.folder.at("app/twin").c_str()), 0);
    const std::string bytes = "x\r\n\xff"s + '\0' + "y";
    EXPECT_EQ(write(roots, "app/a.sh", bytes), "ok");
    EXPECT_EQ(slurp(path), bytes);
    EXPECT_EQ(slurp(roots.folder.at("app/twin")), bytes);  // in place, not a new file
    EXPECT_EQ(modeOf(path), 0750U);
    EXPECT_EQ(listing(roots, "app"), (Names{"a.sh", "twin"}));
}

TEST(WorkspaceWrite, NewFileIsMadeButNoFolder) {
    const TwoRoots roots;
    const mode_t before = ::umask(0);
    EXPECT_EQ(write(roots, "app/new", "text"), "ok");
    ::umask(before);
    EXPECT_EQ(slurp(roots.folder.at("app/new")), "text");
    EXPECT_EQ(modeOf(roots.folder.at("app/new")), 0644U);
    EXPECT_EQ(write(roots, "app/none/new", "text"), "could not write the file");
    EXPECT_EQ(::access(roots.folder.at("app/none").c_str(), F_OK), -1);
}

TEST(WorkspaceWrite, FailuresHaveTheirWords) {
    const TwoRoots roots;
    ASSERT_EQ(::mkfifo(roots.folder.at("app/fifo").c_str(), 0600), 0);
    roots.folder.write("app/a", "old");
    EXPECT_EQ(write(roots, "app/a\0b"s, "x"), kOutside);
    EXPECT_EQ(write(roots, "../x", "x"), kOutside);
    EXPECT_EQ(write(roots, "app", "x"), "could not write the file");
    EXPECT_EQ(write(roots, "app/fifo", "x"), "could not write the file");
    EXPECT_EQ(slurp(roots.folder.at("app/a")), "old");
}

TEST(WorkspaceWrite, DiskThatTakesNotAllIsAFailure) {
    const TwoRoots roots;
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    struct sigaction ignore = {}, action = {};
    ignore.sa_handler = SIG_IGN;
    ASSERT_EQ(::sigaction(SIGXFSZ, &ignore, &action), 0);
    const rlimit lowered = {1000, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &lowered), 0);
    EXPECT_EQ(write(roots, "app/a", std::string(1001, 'x')), "could not write the file");
    EXPECT_EQ(create(roots, "app/b", std::string(1001, 'x')), "could not create the file");
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    ASSERT_EQ(::sigaction(SIGXFSZ, &action, nullptr), 0);
}

TEST(WorkspaceCreate, MakesTheFileAndItsFolders) {
    const TwoRoots roots;
    EXPECT_EQ(create(roots, "app/x/y/a.txt", "text"), "ok");
    EXPECT_EQ(slurp(roots.folder.at("app/x/y/a.txt")), "text");
    EXPECT_EQ(create(roots, "app/empty", ""), "ok");
    EXPECT_EQ(::access(roots.folder.at("app/empty").c_str(), F_OK), 0);
}

TEST(WorkspaceCreate, FailuresHaveTheirWords) {
    const TwoRoots roots;
    roots.folder.write("app/file", "old");
    roots.folder.mkdir("app/folder");
    ASSERT_EQ(::symlink("elsewhere", roots.folder.at("app/dangling").c_str()), 0);
    EXPECT_EQ(create(roots, "app/../x", "new"), kOutside);
    EXPECT_EQ(create(roots, "app/file", "new"), "a file with that name already exists");
    EXPECT_EQ(create(roots, "app/dangling", "new"), "a file with that name already exists");
    EXPECT_EQ(create(roots, "app/folder", "new"), "could not create the file");
    EXPECT_EQ(create(roots, "app/file/x/a", "new"), "could not create the containing folder");
    EXPECT_EQ(slurp(roots.folder.at("app/file")), "old");
    EXPECT_EQ(::access(roots.folder.at("app/elsewhere").c_str(), F_OK), -1);
}

TEST(WorkspaceCreate, FolderWithItsParentsAndAgain) {
    const TwoRoots roots;
    EXPECT_EQ(createFolder(roots, "app/x/y"), "ok");
    EXPECT_EQ(createFolder(roots, "app/x/y"), "ok");
    EXPECT_EQ(listing(roots, "app/x"), Names{"y/"});
    roots.folder.write("app/file", "");
    EXPECT_EQ(createFolder(roots, "app/file/x"), "could not create the folder");
    EXPECT_EQ(createFolder(roots, "other/x"), kOutside);
}

TEST(WorkspaceRename, MovesFilesAndFoldersAlsoAcrossRoots) {
    const TwoRoots roots;
    roots.folder.write("app/a", "text");
    EXPECT_EQ(rename(roots, "app/a", "notes/b"), "ok");
    EXPECT_EQ(slurp(roots.folder.at("notes/b")), "text");
    EXPECT_EQ(listing(roots, "app"), Names{});
    roots.folder.write("app/x/c", "deep");
    EXPECT_EQ(rename(roots, "app/x", "app/X"), "ok");
    EXPECT_EQ(slurp(roots.folder.at("app/X/c")), "deep");
}

TEST(WorkspaceRename, FailuresHaveTheirWords) {
    const TwoRoots roots;
    roots.folder.write("app/a", "a");
    roots.folder.write("app/b", "b");
    ASSERT_EQ(::symlink("nowhere", roots.folder.at("app/dangling").c_str()), 0);
    EXPECT_EQ(rename(roots, "app/a", "app/../x"), kOutside);
    EXPECT_EQ(rename(roots, "x/a", "app/x"), kOutside);
    EXPECT_EQ(rename(roots, "app/a", "app/b"), "the destination already exists");
    EXPECT_EQ(rename(roots, "app/a", "app/a"), "the destination already exists");
    EXPECT_EQ(rename(roots, "app/a", "app/dangling"), "the destination already exists");
    EXPECT_EQ(rename(roots, "app/none", "app/x"), "rename failed: No such file or directory");
    EXPECT_EQ(rename(roots, "app/a", "app/no/x"), "rename failed: No such file or directory");
    EXPECT_EQ(slurp(roots.folder.at("app/b")), "b");
}

TEST(WorkspaceList, RootsComeInTheOrderOfTheSettings) {
    TwoRoots roots;
    roots.setRoots({{"zeta", "/nowhere"}, {"Alpha", "/tmp"}});
    for (const char* path : {"", "/"}) {
        bool listed = false;
        const auto entries = roots.workspace.listDirectory(path, listed);
        EXPECT_TRUE(listed);
        ASSERT_EQ(entries.size(), 2U);
        EXPECT_EQ(entries[0].name, "zeta");
        EXPECT_EQ(entries[0].path, "zeta");
        EXPECT_TRUE(entries[0].directory);
        EXPECT_EQ(entries[1].name, "Alpha");
    }
}

TEST(WorkspaceList, FoldersFirstThenNamesRegardlessOfCase) {
    const TwoRoots roots;
    for (const char* file : {"app/b", "app/A", "app/C.txt", "app/_x", "app/.env", "app/Z/in",
                             "app/a1/in", "app/.git/config", "app/.github/in", "app/\xc3\xa4"})
        roots.folder.write(file, "x");
    EXPECT_EQ(listing(roots, "app"),
              (Names{".github/", "a1/", "Z/", ".env", "_x", "A", "b", "C.txt", "\xc3\xa4"}));
}

TEST(WorkspaceList, EntriesHavePathSizeAndTimeOfWhatTheyLeadTo) {
    const TwoRoots roots;
    const std::string path = roots.folder.write("app/sub/file", "12345");
    const timespec times[2] = {{7, 0}, {1234567890, 5}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    roots.folder.mkdir("app/sub/folder");
    ASSERT_EQ(::symlink("file", roots.folder.at("app/sub/link").c_str()), 0);
    ASSERT_EQ(::symlink("nowhere", roots.folder.at("app/sub/null").c_str()), 0);
    ASSERT_EQ(::symlink("folder", roots.folder.at("app/sub/to").c_str()), 0);
    bool listed = false;
    const auto entries = roots.workspace.listDirectory("app/sub", listed);
    struct Row {
        std::string name;
        bool directory;
        uint64_t size;
        int64_t modified;
    };
    const Row rows[] = {{"folder", true, 0, 0},
                        {"to", true, 0, 0},
                        {"file", false, 5, 1234567890},
                        {"link", false, 5, 1234567890},
                        {"null", false, 0, 0}};
    ASSERT_EQ(entries.size(), std::size(rows));
    for (size_t i = 0; i < entries.size(); ++i) {
        EXPECT_EQ(entries[i].name, rows[i].name);
        EXPECT_EQ(entries[i].path, "app/sub/" + rows[i].name);
        EXPECT_EQ(entries[i].directory, rows[i].directory) << rows[i].name;
        EXPECT_EQ(entries[i].size, rows[i].size) << rows[i].name;
        EXPECT_EQ(entries[i].modified, rows[i].modified) << rows[i].name;
    }
}

TEST(WorkspaceList, EmptyFolderIsListedAndWhatIsNoneIsNot) {
    const TwoRoots roots;
    roots.folder.write("app/file", "");
    EXPECT_EQ(listing(roots, "notes"), Names{});
    for (const char* path : {"app/file", "app/none", "other", "app/..", "//"})
        EXPECT_EQ(listing(roots, path), Names{"not listed"}) << path;
}

}  // namespace
