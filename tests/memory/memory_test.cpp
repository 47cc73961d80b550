#include "memory/memory.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <utime.h>

#include <algorithm>

#include "support/support.hpp"

namespace {

using mbmem::frontmatterValue;
using mbmem::linksIn;
using mbtest::ScopedEnv;
using mbtest::TempDir;
using Texts = std::vector<std::string>;

TEST(MemoryFolder, EveryOtherByteOfThePathBecomesADash) {
    const ScopedEnv home{{{"HOME", "/home/a"}}};
    EXPECT_EQ(mbmem::memoryFolderOf("/home/a/my_app"),
              "/home/a/.claude/projects/-home-a-my-app/memory");
    EXPECT_EQ(mbmem::memoryFolderOf("/x y/v1.2/\xC3\xA9Z0"),
              "/home/a/.claude/projects/-x-y-v1-2---Z0/memory");
}

TEST(MemoryFolder, HomeThatIsUnsetOrEmptyIsTmp) {
    for (const auto& home : {std::optional<std::string>(), std::optional<std::string>("")}) {
        const ScopedEnv scope{{{"HOME", home}}};
        EXPECT_EQ(mbmem::memoryFolderOf("/p"), "/tmp/.claude/projects/-p/memory");
    }
}

TEST(MemoryFolder, FirstProjectThatHasOneCounts) {
    const TempDir dir;
    const ScopedEnv home{{{"HOME", dir.path()}}};
    EXPECT_EQ(mbmem::directoryFor({}), "");
    EXPECT_EQ(mbmem::directoryFor({"/one", "/two"}), "");
    dir.write(".claude/projects/-one/memory", "a file is no folder");
    const std::string two = dir.mkdir(".claude/projects/-two/memory");
    dir.mkdir(".claude/projects/-three/memory");
    EXPECT_EQ(mbmem::directoryFor({"/one", "/two", "/three"}), two);
}

TEST(MemoryResolve, NamesThatCouldLeaveTheFolderAreRefused) {
    for (const std::string& name :
         {std::string("../x.md"), std::string("a/b.md"), std::string("a\\b.md"),
          std::string("x.txt"), std::string(), std::string("a..md"), std::string("md"),
          std::string("x.md\0.txt", 9), std::string("x\0.md", 5)}) {
        std::string out = "before";
        EXPECT_FALSE(mbmem::resolve("/m", name, out)) << name;
        EXPECT_EQ(out, "before");
    }
    std::string out;
    EXPECT_FALSE(mbmem::resolve("", "x.md", out));
}

TEST(MemoryResolve, CaseOfTheNameIsKept) {
    std::string out;
    EXPECT_TRUE(mbmem::resolve("/m", "NOTES.MD", out));
    EXPECT_EQ(out, "/m/NOTES.MD");
    EXPECT_TRUE(mbmem::resolve("/m", ".md", out));
}

TEST(MemoryFrontmatter, ValuesAreTrimmedAndLoseOnePairOfDoubleQuotes) {
    const std::string text = "---\nname:  a b \r\n  type: \"x\"y\"\nquote: \"\nempty:\n"
                             "single: 'it'\nnamed: no\n---\nlater: 1\n";
    EXPECT_EQ(frontmatterValue(text, "name"), "a b");
    EXPECT_EQ(frontmatterValue(text, "type"), "x\"y");
    EXPECT_EQ(frontmatterValue(text, "quote"), "\"");
    EXPECT_EQ(frontmatterValue(text, "empty"), "");
    EXPECT_EQ(frontmatterValue(text, "single"), "'it'");
    EXPECT_EQ(frontmatterValue(text, "later"), "") << "outside of the frontmatter";
    EXPECT_EQ(frontmatterValue(text, "nam"), "");
    EXPECT_EQ(frontmatterValue("---\nname: 1\nname: 2\n---\n", "name"), "1");
}

TEST(MemoryFrontmatter, TextWithoutAnyStillGivesItsLeadingKeys) {
    EXPECT_EQ(frontmatterValue("# Title\nname: lead\n", "name"), "lead");
    EXPECT_EQ(frontmatterValue(std::string(590, 'x') + "\nname: a\n", "name"), "a");
    EXPECT_EQ(frontmatterValue(std::string(600, 'x') + "\nname: a\n", "name"), "");
    EXPECT_EQ(frontmatterValue(std::string(592, 'x') + "\nname: abc\n", "name"), "a")
        << "the limit cuts within a line too";
    // An opening fence alone is no frontmatter.
    EXPECT_EQ(frontmatterValue("---\n" + std::string(600, 'x') + "\nname: a\n", "name"), "");
    EXPECT_EQ(frontmatterValue("---", "name"), "");
    EXPECT_EQ(frontmatterValue("", "name"), "");
}

TEST(MemoryFrontmatter, LongFrontmatterIsSearchedWhole) {
    EXPECT_EQ(frontmatterValue("---\nx: " + std::string(900, 'x') + "\nname: far\n---\n", "name"),
              "far");
}

TEST(MemoryLinks, EachTargetOnceInOrderOfAppearance) {
    EXPECT_EQ(linksIn("[[b]] [[a]] [[ b ]] [[]] [[  ]] x[[c d]]"), (Texts{"b", "a", "c d"}));
    EXPECT_EQ(linksIn("[[a]] [[never closed [[x"), Texts{"a"});
    EXPECT_EQ(linksIn("]] [a] [[a]"), Texts{});
    EXPECT_EQ(linksIn("[[[a]]]"), Texts{"[a"});
}

struct MemoryList : testing::Test {
    TempDir dir;

    void write(const std::string& name, const std::string& text, time_t modified) const {
        const std::string path = dir.write(name, text);
        const utimbuf times = {modified, modified};
        ASSERT_EQ(::utime(path.c_str(), &times), 0);
    }
    Texts files() const {
        Texts names;
        for (const mbmem::Entry& entry : mbmem::list(dir.path())) names.push_back(entry.file);
        return names;
    }
};

TEST_F(MemoryList, IndexFirstThenNewest) {
    write("old.md", "", 2000);
    write("new.MD", "", 3000);
    write("MEMORY.md", "", 1000);
    write("note.txt", "", 9000);
    dir.mkdir("folder.md");
    EXPECT_EQ(files(), (Texts{"MEMORY.md", "new.MD", "old.md"}));
}

TEST_F(MemoryList, EntryHoldsWhatTheFileSays) {
    write("a.b.md",
          "---\nname: Tides\ndescription: \"when it \xE9"
          "bbs\"\ntype: fact\nmodified: 2026-01-02\n---\nsee [[b]]",
          5000);
    const std::vector<mbmem::Entry> entries = mbmem::list(dir.path());
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].name, "Tides");
    EXPECT_EQ(entries[0].description, "when it \xC3\xA9"
                                      "bbs");
    EXPECT_EQ(entries[0].type, "fact");
    EXPECT_EQ(entries[0].modified, "2026-01-02");
    EXPECT_EQ(entries[0].bytes, 89u);
    EXPECT_EQ(entries[0].mtime, 5000);
    EXPECT_FALSE(entries[0].isIndex);
    EXPECT_EQ(entries[0].links, Texts{"b"});
}

TEST_F(MemoryList, NameFallsBackToTheFiles) {
    write("a.b.md", "plain", 1);
    write("Memory.MD", "", 1);
    const std::vector<mbmem::Entry> entries = mbmem::list(dir.path());
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_TRUE(entries[0].isIndex);
    EXPECT_EQ(entries[0].name, "Memory");
    EXPECT_EQ(entries[1].name, "a.b");
}

TEST_F(MemoryList, PipeIsListedAndNotRead) {
    ASSERT_EQ(::mkfifo(dir.at("pipe.md").c_str(), 0600), 0);
    const std::vector<mbmem::Entry> entries = mbmem::list(dir.path());
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].name, "pipe");
}

TEST_F(MemoryList, NothingForNoFolder) {
    EXPECT_TRUE(mbmem::list("").empty());
    EXPECT_TRUE(mbmem::list(dir.at("missing")).empty());
}

}  // namespace
