#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "workspace/workspace_support.hpp"

namespace {

using mbtest::TwoRoots;
using mbws::FileInfo;

struct Kind {
    std::string kind, mime, language;
    bool binary;
};

bool operator==(const Kind& left, const Kind& right) {
    return left.kind == right.kind && left.mime == right.mime && left.language == right.language &&
           left.binary == right.binary;
}

std::ostream& operator<<(std::ostream& out, const Kind& kind) {
    return out << kind.kind << " " << kind.mime << " " << kind.language << " " << kind.binary;
}

const Kind kPlain = {"text", "text/plain; charset=utf-8", "plaintext", false};
const Kind kBinary = {"binary", "application/octet-stream", "", true};
const Kind kCpp = {"text", "text/plain; charset=utf-8", "cpp", false};

Kind kindOf(const TwoRoots& roots, const std::string& path) {
    const FileInfo info = roots.workspace.inspect(path);
    EXPECT_TRUE(info.exists) << path;
    EXPECT_FALSE(info.directory) << path;
    return {info.kind, info.mime, info.language, info.binary};
}

Kind kindWith(const TwoRoots& roots, const std::string& name, const std::string& bytes) {
    roots.folder.write("app/" + name, bytes);
    return kindOf(roots, "app/" + name);
}

TEST(Inspect, MissingFileHasTheDefaultRecord) {
    const TwoRoots roots;
    for (const char* path : {"app/none.png", "", "other/x", "app/../x"}) {
        const FileInfo info = roots.workspace.inspect(path);
        EXPECT_FALSE(info.exists) << path;
        EXPECT_FALSE(info.directory) << path;
        EXPECT_EQ(info.kind, "text") << path;
        EXPECT_EQ(info.mime, "") << path;
        EXPECT_EQ(info.size, 0U) << path;
    }
}

TEST(Inspect, FolderHasNothingButItsKind) {
    const TwoRoots roots;
    roots.folder.mkdir("app/pictures.png");
    for (const char* path : {"app", "app/pictures.png"}) {
        const FileInfo info = roots.workspace.inspect(path);
        EXPECT_TRUE(info.exists);
        EXPECT_TRUE(info.directory);
        EXPECT_EQ(info.kind, "directory");
        EXPECT_EQ(info.mime + info.language, "");
        EXPECT_FALSE(info.binary);
        EXPECT_EQ(info.size, 0U);
        EXPECT_EQ(info.modified, 0);
    }
}

TEST(Inspect, SizeAndTimeAreThoseOfTheFile) {
    const TwoRoots roots;
    const std::string path = roots.folder.write("app/a.txt", "12345");
    const timespec times[2] = {{1000, 0}, {1234567890, 999999999}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    const FileInfo info = roots.workspace.inspect("app/a.txt");
    EXPECT_EQ(info.size, 5U);
    EXPECT_EQ(info.modified, 1234567890);
}

TEST(Inspect, ExtensionDecidesForEveryKindButText) {
    const TwoRoots roots;
    EXPECT_EQ(kindWith(roots, "a.png", "plain text"), (Kind{"image", "image/png", "", true}));
    EXPECT_EQ(kindWith(roots, "a.PNG", ""), (Kind{"image", "image/png", "", true}));
    EXPECT_EQ(kindWith(roots, "b.png", std::string(1, '\0')),
              (Kind{"image", "image/png", "", true}));
    EXPECT_EQ(kindWith(roots, "a.svg", "<svg/>"), (Kind{"image", "image/svg+xml", "xml", true}));
    EXPECT_EQ(kindWith(roots, "a.zip", "x"), (Kind{"archive", "application/zip", "", true}));
    EXPECT_EQ(kindWith(roots, "a.db", "x"), kBinary);
}

TEST(Inspect, TextExtensionGivesTheLanguageUnlessThereIsANulByte) {
    const TwoRoots roots;
    EXPECT_EQ(kindWith(roots, "a.cpp", "int x;"), kCpp);
    EXPECT_EQ(kindWith(roots, "empty.cpp", ""), kCpp);
    EXPECT_EQ(kindWith(roots, "b.cpp", std::string("a\0b", 3)), kBinary);
    EXPECT_EQ(kindWith(roots, ".gitignore", "x"), kPlain);
}

TEST(Inspect, OnlyTheFirst8192BytesAreLookedAt) {
    const TwoRoots roots;
    std::string last(8192, 'x');
    last.back() = '\0';
    EXPECT_EQ(kindWith(roots, "last.txt", last), kBinary);
    EXPECT_EQ(kindWith(roots, "last.other", last), kBinary);
    const std::string past = std::string(8192, 'x') + '\0';
    EXPECT_EQ(kindWith(roots, "past.txt", past), kPlain);
    EXPECT_EQ(kindWith(roots, "past.other", past), kPlain);
}

TEST(Inspect, UnknownExtensionIsPlainTextUnlessThereIsANulByte) {
    const TwoRoots roots;
    for (const char* name : {"Makefile", "a.unknown", ".hidden", "a."}) {
        EXPECT_EQ(kindWith(roots, name, ""), kPlain) << name;
        EXPECT_EQ(kindWith(roots, name, "\x01\xff\xfe"), kPlain) << name;
        EXPECT_EQ(kindWith(roots, name, std::string(1, '\0')), kBinary) << name;
    }
}

// Permission bits do not stop root, so as root this looks on as nobody.
TEST(Inspect, UnreadableFileKeepsWhatItsNameSays) {
    const TwoRoots roots;
    ASSERT_EQ(::chmod(roots.folder.path().c_str(), 0755), 0);
    for (const char* name : {"a.cpp", "a.other"}) {
        const std::string path =
            roots.folder.write(std::string("app/") + name, std::string(9, '\0'));
        ASSERT_EQ(::chmod(path.c_str(), 0), 0);
    }
    const uid_t before = ::geteuid();
    ASSERT_TRUE(before != 0 || ::seteuid(65534) == 0);
    EXPECT_EQ(kindOf(roots, "app/a.cpp"), kCpp);
    EXPECT_EQ(kindOf(roots, "app/a.other"), kPlain);
    std::string bytes, error;
    EXPECT_FALSE(roots.workspace.readRawFile("app/a.cpp", bytes, error));
    EXPECT_EQ(error, "could not read the file");
    ASSERT_EQ(::seteuid(before), 0);
}

TEST(Inspect, FifoIsNotOpened) {
    const TwoRoots roots;
    ASSERT_EQ(::mkfifo(roots.folder.at("app/fifo").c_str(), 0600), 0);
    ASSERT_EQ(::mkfifo(roots.folder.at("app/fifo.cpp").c_str(), 0600), 0);
    EXPECT_EQ(kindOf(roots, "app/fifo"), kPlain);
    EXPECT_EQ(kindOf(roots, "app/fifo.cpp"), kCpp);
}

TEST(Inspect, LinkCountsAsWhatItLeadsTo) {
    const TwoRoots roots;
    roots.folder.write("notes/target", "12");
    ASSERT_EQ(::symlink("../notes/target", roots.folder.at("app/link.cpp").c_str()), 0);
    ASSERT_EQ(::symlink("../notes", roots.folder.at("app/folder").c_str()), 0);
    ASSERT_EQ(::symlink("nowhere", roots.folder.at("app/dangling").c_str()), 0);
    EXPECT_EQ(kindOf(roots, "app/link.cpp"), kCpp);
    EXPECT_EQ(roots.workspace.inspect("app/link.cpp").size, 2U);
    EXPECT_TRUE(roots.workspace.inspect("app/folder").directory);
    EXPECT_FALSE(roots.workspace.inspect("app/dangling").exists);
}

}  // namespace
