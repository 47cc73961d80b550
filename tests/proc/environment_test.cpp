#include <gtest/gtest.h>
#include <unistd.h>

#include "proc/proc.hpp"
#include "proc/proc_support.hpp"

namespace {

using Entries = std::vector<std::string>;

// Puts other entries in the place of this process's environment.
class ScopedEnviron {
public:
    explicit ScopedEnviron(Entries wanted) : entries(std::move(wanted)), before(::environ) {
        for (std::string& entry : entries) pointers.push_back(entry.data());
        pointers.push_back(nullptr);
        ::environ = pointers.data();
    }
    ScopedEnviron(const ScopedEnviron&) = delete;
    ScopedEnviron& operator=(const ScopedEnviron&) = delete;
    ~ScopedEnviron() { ::environ = before; }

private:
    Entries entries;
    std::vector<char*> pointers;
    char** before;
};

Entries cleaned(const Entries& entries) {
    const ScopedEnviron scope(entries);
    return mbproc::inheritedEnvironment();
}

TEST(ProcQuote, HarmlessWordStandsAsItIs) {
    const std::string all = "azAZ09-_./=:,+@%";
    EXPECT_EQ(mbproc::quote(all), all);
}

TEST(ProcQuote, AnyOtherWordStandsInSingleQuotes) {
    EXPECT_EQ(mbproc::quote(""), "''");
    EXPECT_EQ(mbproc::quote("a b"), "'a b'");
    EXPECT_EQ(mbproc::quote("a'b"), "'a'\\''b'");
    EXPECT_EQ(mbproc::quote("'"), "''\\'''");
    for (const char* word :
         {"~", "$x", "a;b", "a*", "#", "\\", "\"", "\n", "\t", "&", "{", "\xc3\xa4"})
        EXPECT_EQ(mbproc::quote(word), "'" + std::string(word) + "'");
}

TEST(ProcQuote, ShellReadsBackTheSameWord) {
    std::string everyByte;
    for (int byte = 1; byte < 256; ++byte) everyByte += static_cast<char>(byte);
    for (const std::string& word : {std::string(), std::string("a b"), std::string("a'b"),
                                    std::string("''"), std::string("$(exit)`x`\\"), everyByte})
        EXPECT_EQ(mbtest::runFor("printf %s " + mbproc::quote(word)).out, word);
}

TEST(ProcEnvironment, OutsideAnAppImageEveryEntryIsKeptInOrder) {
    const Entries entries = {"B=2", "A=1", "OWD=/x", "APPIMAGE_X=1", "EMPTY=", "APPDIR="};
    EXPECT_EQ(cleaned(entries), entries);
}

TEST(ProcEnvironment, EntryWithoutEqualsIsDropped) {
    EXPECT_EQ(cleaned({"broken", "A=1"}), Entries{"A=1"});
    EXPECT_EQ(cleaned({"APPDIR=/m", "broken", "A=1"}), Entries{"A=1"});
}

TEST(ProcEnvironment, RuntimeNamesAreDroppedInAnAppImage) {
    EXPECT_EQ(cleaned({"APPDIR=/m", "APPIMAGE=/a", "ARGV0=x", "OWD=/o", "APPIMAGE_ANY=1",
                       "APPIMAGES=kept", "ARGV00=kept"}),
              (Entries{"APPIMAGES=kept", "ARGV00=kept"}));
}

TEST(ProcEnvironment, ListsLoseTheFoldersOfTheMountPoint) {
    EXPECT_EQ(cleaned({"APPDIR=/m", "PATH=/m/bin:/usr/bin:/m/sbin:/bin", "X=/m/lib:", "Y=/a:/m",
                       "Z=/a:/b"}),
              (Entries{"PATH=/usr/bin:/bin", "Y=/a", "Z=/a:/b"}));
}

TEST(ProcEnvironment, PathOfOnlyMountPointFoldersIsDroppedAltogether) {
    EXPECT_EQ(cleaned({"APPDIR=/m", "PATH=/m/usr/bin:/m/bin", "A=1"}), Entries{"A=1"});
}

TEST(ProcEnvironment, PieceThatOnlyMentionsTheMountPointIsKept) {
    EXPECT_EQ(cleaned({"APPDIR=/m", "A=file:///m/x", "B=see /m"}),
              (Entries{"A=file:///m/x", "B=see /m"}));
}

TEST(ProcEnvironment, EmptyPiecesOfAListAreKept) {
    EXPECT_EQ(cleaned({"APPDIR=/m", "A=:/m/x::/b:"}), Entries{"A=::/b:"});
}

}  // namespace
