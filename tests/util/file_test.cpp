#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string>
#include <thread>

#include "support/support.hpp"
#include "util/fd.hpp"
#include "util/util.hpp"

namespace {

using namespace mbutil;
using mbtest::TempDir;

const std::string kWithNul("a\0b", 3);

mode_t modeOf(const std::string& path) {
    struct stat found {};
    EXPECT_EQ(::stat(path.c_str(), &found), 0);
    return found.st_mode & 07777;
}

struct ScopedUmask {
    explicit ScopedUmask(mode_t mask) : before(::umask(mask)) {}
    ~ScopedUmask() { ::umask(before); }
    mode_t before;
};

TEST(UtilFile, FoldersAndFilesAreToldApartThroughLinks) {
    const TempDir folder;
    const std::string file = folder.write("file", "x");
    ASSERT_EQ(::symlink(file.c_str(), folder.at("to-file").c_str()), 0);
    ASSERT_EQ(::symlink(folder.path().c_str(), folder.at("to-folder").c_str()), 0);
    ASSERT_EQ(::symlink("nowhere", folder.at("broken").c_str()), 0);
    ASSERT_EQ(::mkfifo(folder.at("fifo").c_str(), 0600), 0);
    struct Case {
        const char* name;
        bool dir, file;
    };
    for (const Case& c : {Case{"", true, false},
                          {"file", false, true},
                          {"to-file", false, true},
                          {"to-folder", true, false},
                          {"broken", false, false},
                          {"missing", false, false},
                          {"fifo", false, true}}) {
        EXPECT_EQ(dirExists(folder.at(c.name)), c.dir) << c.name;
        EXPECT_EQ(fileExists(folder.at(c.name)), c.file) << c.name;
    }
    EXPECT_FALSE(dirExists(""));
    EXPECT_FALSE(fileExists(""));
}

TEST(UtilFile, NulByteInAPathIsRefusedAndNeverCut) {
    const TempDir folder;
    folder.write("a", "secret");
    folder.mkdir("d");
    std::string out = "untouched";
    EXPECT_FALSE(readFileRaw(folder.at(kWithNul), out));
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(out, "untouched");
    EXPECT_FALSE(writeFileRaw(folder.at(kWithNul), "x"));
    EXPECT_EQ(mbtest::slurp(folder.at("a")), "secret");
    EXPECT_FALSE(fileExists(folder.at(kWithNul)));
    EXPECT_FALSE(dirExists(folder.at(std::string("d\0x", 3))));
    EXPECT_FALSE(ensureDir(folder.at(std::string("new\0x", 5))));
    EXPECT_FALSE(dirExists(folder.at("new")));
}

TEST(UtilEnsureDir, MissingParentsAreMade) {
    const TempDir folder;
    const ScopedUmask open(0);
    EXPECT_TRUE(ensureDir(folder.at("a/b/c")));
    EXPECT_TRUE(dirExists(folder.at("a/b/c")));
    EXPECT_EQ(modeOf(folder.at("a")), 0755u);
    EXPECT_EQ(modeOf(folder.at("a/b/c")), 0755u);
    EXPECT_TRUE(ensureDir(folder.at("a/b/c")));
    EXPECT_TRUE(ensureDir(folder.at("x/y/")));
    EXPECT_TRUE(dirExists(folder.at("x/y")));
}

TEST(UtilEnsureDir, EmptyPathAndTheRootAreASuccess) {
    EXPECT_TRUE(ensureDir(""));
    EXPECT_TRUE(ensureDir("/"));
}

TEST(UtilEnsureDir, FileInTheWayOfAParentFails) {
    const TempDir folder;
    folder.write("file", "");
    EXPECT_FALSE(ensureDir(folder.at("file/sub")));
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_FALSE(ensureDir(folder.at("file/sub/deeper")));
}

TEST(UtilEnsureDir, WhatExistsUnderTheNameCounts) {
    const TempDir folder;
    folder.write("file", "");
    EXPECT_TRUE(ensureDir(folder.at("file")));  // as mkdir has it: the name is taken
}

TEST(UtilEnsureDir, PathThatNoSystemCallTakesFails) {
    std::string path = "/tmp";
    while (path.size() < 20 * PATH_MAX) path += "/no-such-folder";
    EXPECT_FALSE(ensureDir(path));
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_FALSE(dirExists("/tmp/no-such-folder"));
}

TEST(UtilEnsureDir, ThreadsMayMakeTheSameFolders) {
    const TempDir folder;
    for (int round = 0; round < 20; ++round) {
        const std::string path = folder.at(std::to_string(round) + "/a/b/c/d");
        bool one = false, two = false;
        std::thread first([&] { one = ensureDir(path); });
        std::thread second([&] { two = ensureDir(path); });
        first.join();
        second.join();
        EXPECT_TRUE(one && two);
    }
}

TEST(UtilRead, BytesComeBackAsTheyWere) {
    const TempDir folder;
    std::string all;
    for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
    for (size_t size : {1u, 65535u, 65536u, 65537u, 131072u, 300000u}) {
        std::string bytes;
        while (bytes.size() < size) bytes += all;
        bytes.resize(size);
        std::string out = "old";
        EXPECT_TRUE(readFileRaw(folder.write("file", bytes), out));
        EXPECT_TRUE(out == bytes) << size;
    }
}

TEST(UtilRead, EmptyFileIsASuccess) {
    const TempDir folder;
    std::string out = "old";
    EXPECT_TRUE(readFileRaw(folder.write("empty", ""), out));
    EXPECT_EQ(out, "");
}

TEST(UtilRead, FolderOrMissingFileLeavesTheOutputAlone) {
    const TempDir folder;
    std::string out = "old";
    EXPECT_FALSE(readFileRaw(folder.path(), out));
    EXPECT_FALSE(readFileRaw(folder.at("missing"), out));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(out, "old");
}

TEST(UtilRead, FilesOfTheKernelWithoutASizeAreReadWhole) {
    std::string out;
    EXPECT_TRUE(readFileRaw("/proc/self/status", out));
    EXPECT_NE(out.find("Pid:"), std::string::npos);
}

TEST(UtilRead, PipeLongerThanTheFirstBufferIsReadWhole) {
    const TempDir folder;
    const std::string fifo = folder.at("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const std::string bytes(1 << 20, 'x');
    std::thread writer([&] { EXPECT_TRUE(writeFileRaw(fifo, bytes)); });
    std::string out;
    EXPECT_TRUE(readFileRaw(fifo, out));
    writer.join();
    EXPECT_TRUE(out == bytes);
}

TEST(UtilRead, FileThatCannotBeReadIsOpenAndEmpty) {
    // /proc/self/mem opens, and reading at its start fails: nothing is mapped there.
    std::string out = "old";
    EXPECT_TRUE(readFileRaw("/proc/self/mem", out));
    EXPECT_EQ(out, "");
}

TEST(UtilWrite, FileIsMadeReplacedAndCut) {
    const TempDir folder;
    const ScopedUmask open(0);
    const std::string file = folder.at("file");
    EXPECT_TRUE(writeFileRaw(file, "a longer text"));
    EXPECT_EQ(modeOf(file), 0644u);
    EXPECT_TRUE(writeFileRaw(file, std::string_view("a\0b", 3)));
    EXPECT_EQ(mbtest::slurp(file), kWithNul);
    EXPECT_TRUE(writeFileRaw(file, ""));
    EXPECT_EQ(mbtest::slurp(file), "");
}

TEST(UtilWrite, ModeOwnerAndLinkOfAnExistingFileStay) {
    const TempDir folder;
    const std::string file = folder.write("file", "old");
    ASSERT_EQ(::chmod(file.c_str(), 0600), 0);
    ASSERT_EQ(::symlink(file.c_str(), folder.at("link").c_str()), 0);
    EXPECT_TRUE(writeFileRaw(folder.at("link"), "new"));
    EXPECT_EQ(mbtest::slurp(file), "new");
    EXPECT_EQ(modeOf(file), 0600u);
}

TEST(UtilWrite, MissingFolderFailsWithTheSystemsReason) {
    const TempDir folder;
    EXPECT_FALSE(writeFileRaw(folder.at("missing/file"), "x"));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(writeFileRaw(folder.path(), "x"));
    EXPECT_EQ(errno, EISDIR);
}

TEST(UtilWrite, DiskThatIsFullFailsWithTheSystemsReason) {
    EXPECT_FALSE(writeFileRaw("/dev/full", "x"));
    EXPECT_EQ(errno, ENOSPC);
}

TEST(UtilWrite, LargeFileIsWrittenWhole) {
    const TempDir folder;
    const std::string bytes(5 << 20, 'y');
    EXPECT_TRUE(writeFileRaw(folder.at("large"), bytes));
    EXPECT_TRUE(mbtest::slurp(folder.at("large")) == bytes);
}

TEST(UtilFile, NoDescriptorIsLeftBehind) {
    const TempDir folder;
    const std::string file = folder.write("file", "x");
    std::string out;
    const int before = mbtest::openDescriptors();
    (void)readFileRaw(file, out);
    (void)readFileRaw(folder.path(), out);
    (void)readFileRaw(folder.at("missing"), out);
    (void)writeFileRaw(file, "x");
    (void)writeFileRaw("/dev/full", "x");
    (void)writeFileRaw(folder.path(), "x");
    EXPECT_EQ(mbtest::openDescriptors(), before);
}

bool isOpen(int descriptor) { return ::fcntl(descriptor, F_GETFD) != -1; }

TEST(UtilFd, DescriptorIsClosedOnceByItsOwner) {
    int number = -1;
    {
        Fd owner(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        number = owner.value;
        EXPECT_TRUE(owner);
        Fd moved(std::move(owner));
        EXPECT_FALSE(owner);  // NOLINT(bugprone-use-after-move)
        EXPECT_EQ(moved.value, number);
        Fd assigned(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        const int replaced = assigned.value;
        assigned = std::move(moved);
        EXPECT_FALSE(isOpen(replaced));
        EXPECT_TRUE(isOpen(number));
    }
    EXPECT_FALSE(isOpen(number));
}

TEST(UtilFd, ReleasedDescriptorStaysOpen) {
    Fd owner(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    const int number = owner.release();
    EXPECT_FALSE(owner);
    EXPECT_TRUE(isOpen(number));
    owner.reset(number);
    owner.reset();
    EXPECT_FALSE(isOpen(number));
}

}  // namespace
