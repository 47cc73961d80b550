#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "util/fd.hpp"
#include "workspace/workspace_support.hpp"

namespace {

using mbmatch::Options;
using mbws::SearchFile;
using mbws::SearchHit;
using mbws::SearchScope;
using mbws::Workspace;

constexpr Options kRegex{.regex = true};

std::string show(const SearchHit& hit) {
    return hit.path + ":" + std::to_string(hit.line) + ":" + std::to_string(hit.column) + ":" +
           std::to_string(hit.matchColumn) + "+" + std::to_string(hit.length) + " " + hit.text;
}

std::vector<std::string> show(const std::vector<SearchHit>& hits) {
    std::vector<std::string> shown;
    for (const SearchHit& hit : hits) shown.push_back(show(hit));
    return shown;
}

using Shown = std::vector<std::string>;

class Search : public testing::Test {
protected:
    mbtest::TwoRoots roots;
    std::string error;

    std::vector<SearchHit> hitsIn(const std::vector<SearchFile>& files, const std::string& query,
                                  const Options& options = {}, const SearchScope& scope = {}) {
        return roots.workspace.searchFileList(files, query, options, scope, error);
    }
    // One file with these bytes.
    Shown shownIn(const std::string& bytes, const std::string& query, const Options& options = {}) {
        const std::string path = roots.folder.write("app/f", bytes);
        return show(hitsIn({{path, "f"}}, query, options));
    }
    Shown shownOnDisk(const std::string& query, const SearchScope& scope = {}) {
        return show(roots.workspace.searchInFiles(query, {}, scope, error));
    }
    std::vector<SearchFile> manyFiles(int count, const std::string& bytes) const {
        std::vector<SearchFile> files;
        for (int i = 0; i < count; ++i) {
            const std::string name = "app/" + std::to_string(1000 + i);
            files.emplace_back(roots.folder.write(name, bytes), name);
        }
        return files;
    }
};

TEST_F(Search, HitSaysLineColumnsAndTheTrimmedLine) {
    EXPECT_EQ(shownIn("one\n \t two needle \r\n\nneedleneedle", "needle"),
              (Shown{"f:2:8:5+6 two needle", "f:4:1:1+6 needleneedle", "f:4:7:7+6 needleneedle"}));
}

TEST_F(Search, MatchInTheIndentationHasTheFirstColumnOfTheText) {
    EXPECT_EQ(shownIn("\t\tx", "\t", {}), (Shown{"f:1:1:1+1 x", "f:1:2:1+1 x"}));
    EXPECT_EQ(shownIn("    ", "  "), (Shown{"f:1:1:1+2 ", "f:1:3:1+2 "}));
}

TEST_F(Search, MatchAcrossLinesBelongsToItsFirst) {
    EXPECT_EQ(shownIn("a\nb\na\nb", "a\nb"), (Shown{"f:1:1:1+3 a", "f:3:1:1+3 a"}));
    EXPECT_EQ(shownIn("ab\n", "\n"), (Shown{"f:1:3:3+1 ab"}));
}

TEST_F(Search, EmptyMatchesGoOnAtTheNextByteAndEndWithTheText) {
    EXPECT_EQ(shownIn("a\n", "x*", kRegex), (Shown{"f:1:1:1+0 a", "f:1:2:2+0 a", "f:2:1:1+0 "}));
    EXPECT_EQ(shownIn("", "x*", kRegex), (Shown{"f:1:1:1+0 "}));
}

TEST_F(Search, LongLineGivesFourHundredBytesOfText) {
    const std::string line = std::string(990, 'x') + "needle" + std::string(4, 'y');
    const auto hits = hitsIn({{roots.folder.write("app/f", "  " + line), "f"}}, "needle");
    ASSERT_EQ(hits.size(), 1u);
    EXPECT_EQ(hits[0].column, 993);
    EXPECT_EQ(hits[0].matchColumn, 991);
    EXPECT_EQ(hits[0].length, 6);
    EXPECT_EQ(hits[0].text, std::string(400, 'x'));
}

TEST_F(Search, NulByteCountsInTheFirst8192BytesOnly) {
    const std::string head = "needle" + std::string(8185, 'x');
    EXPECT_EQ(shownIn(head + '\0', "needle").size(), 0u);
    EXPECT_EQ(shownIn(head + 'x' + '\0', "needle").size(), 1u);
    EXPECT_EQ(shownIn("needle" + std::string(1, '\0'), "needle").size(), 0u);
}

TEST_F(Search, OtherEncodingsAreSearchedAsUtf8) {
    // Windows-1252: the letter takes two bytes in the hit, but one in the file.
    EXPECT_EQ(shownIn("\xe9\xe9 caf\xe9", "caf\u00e9"),
              (Shown{"f:1:6:6+5 \u00e9\u00e9 caf\u00e9"}));
    EXPECT_EQ(shownIn("\xe9 need", "NEED"), (Shown{"f:1:4:4+4 \u00e9 need"}));
    EXPECT_EQ(shownIn("\u00e9 need", "need"), (Shown{"f:1:4:4+4 \u00e9 need"}));
    EXPECT_EQ(shownIn("\xe9 need", "^.. need", kRegex), (Shown{"f:1:1:1+7 \u00e9 need"}));
}

TEST_F(Search, OptionsReachTheMatcher) {
    EXPECT_EQ(shownIn("foobar Foo", "foo", {.caseSensitive = true, .wholeWord = true}).size(), 0u);
    EXPECT_EQ(shownIn("foobar Foo", "foo", {.wholeWord = true}).size(), 1u);
    EXPECT_EQ(shownIn("foobar Foo", "fo+", {.wholeWord = true, .regex = true}).size(), 2u);
}

TEST_F(Search, PatternThatDoesNotCompileGivesItsReason) {
    EXPECT_TRUE(shownIn("(", "(", kRegex).empty());
    EXPECT_EQ(error.rfind("invalid pattern: ", 0), 0u) << error;
    error.clear();
    EXPECT_TRUE(shownIn("", "").empty());
    EXPECT_EQ(error, "nothing to search for");
}

TEST_F(Search, NoFilesGiveNoHitsAndNoError) {
    EXPECT_TRUE(hitsIn({}, "x").empty());
    EXPECT_EQ(error, "");
}

TEST_F(Search, HitsKeepTheOrderOfTheFiles) {
    auto files = manyFiles(200, "a needle\nneedle");
    std::reverse(files.begin(), files.end());
    const auto hits = hitsIn(files, "needle");
    ASSERT_EQ(hits.size(), 400u);
    for (size_t i = 0; i < hits.size(); ++i) {
        ASSERT_EQ(hits[i].path, files[i / 2].second);
        ASSERT_EQ(hits[i].line, static_cast<int32_t>(i % 2 + 1));
    }
}

TEST_F(Search, ListEndsAtExactlyTheMostHits) {
    const auto files = manyFiles(30, "needle needle needle\n");
    EXPECT_EQ(hitsIn(files, "needle", {}, {.maxResults = 7}).size(), 7u);
    EXPECT_EQ(hitsIn(files, "needle", {}, {.maxResults = 90}).size(), 90u);
    std::string many;
    for (int i = 0; i < 1000; ++i) many += "needle\n";
    const SearchFile file{roots.folder.write("app/many", many), "many"};
    for (const int most : {0, -5}) {
        const auto hits = hitsIn({file}, "needle", {}, {.maxResults = most});
        ASSERT_EQ(hits.size(), 400u);
        EXPECT_EQ(hits.back().line, 400);
    }
}

TEST_F(Search, WhatCannotBeReadIsPassedOver) {
    const std::string fifo = roots.folder.at("app/fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const mbutil::Fd opened(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    ASSERT_GE(::inotify_add_watch(opened.value, fifo.c_str(), IN_OPEN), 0);
    const SearchFile good{roots.folder.write("app/good", "needle"), "good"};
    const auto hits = hitsIn({{fifo, "fifo"},
                              {"/dev/zero", "zero"},
                              {roots.folder.at("app/none"), "none"},
                              {roots.folder.path(), "folder"},
                              good},
                             "needle");
    EXPECT_EQ(show(hits), Shown{"good:1:1:1+6 needle"});
    // To open a pipe would be to do something to its other end.
    inotify_event event = {};
    EXPECT_LT(::read(opened.value, &event, sizeof event), 0);
}

TEST_F(Search, FileThatTheMemoryCannotHoldIsPassedOver) {
    const std::string sparse = roots.folder.write("app/sparse", "needle");
    // More than a process can address, or the largest that this file system allows.
    if (::truncate(sparse.c_str(), int64_t{1} << 62) != 0 &&
        ::truncate(sparse.c_str(), int64_t{1} << 43) != 0)
        GTEST_SKIP() << "no file system for it";
    const SearchFile good{roots.folder.write("app/good", "needle"), "good"};
    EXPECT_EQ(hitsIn({{sparse, "sparse"}, good}, "needle").size(), 1u);
}

TEST_F(Search, LeavesNoDescriptorBehind) {
    const int before = mbtest::openDescriptors();
    (void)hitsIn(manyFiles(50, "needle"), "needle");
    EXPECT_EQ(mbtest::openDescriptors(), before);
}

TEST_F(Search, PatternThatMeetsABoundEndsItsFileOnly) {
    const SearchFile bad{roots.folder.write("app/1", std::string(40'000, 'a')), "1"};
    const SearchFile good{roots.folder.write("app/2", "aab"), "2"};
    EXPECT_EQ(show(hitsIn({bad, good}, "(a+)+[bc]", kRegex)), Shown{"2:1:1:1+3 aab"});
    EXPECT_EQ(error, "");
}

TEST(SearchScope, ExtensionsAreCleaned) {
    EXPECT_EQ(Workspace::normaliseExtensions({".TXT", " md\t", "..tar.GZ", "", " . ", "md"}),
              (std::vector<std::string>{"txt", "md", "tar.gz", "md"}));
}

TEST(SearchScope, SizeAndKindDecideWhatIsSearched) {
    EXPECT_TRUE(Workspace::searchable("a.txt", 16'777'216, {}));
    EXPECT_FALSE(Workspace::searchable("a.txt", 16'777'217, {}));
    EXPECT_FALSE(Workspace::searchable("a.txt", 16'777'217, {"txt"}));
    EXPECT_TRUE(Workspace::searchable("a.unknown", 1, {}));
    EXPECT_TRUE(Workspace::searchable("Makefile", 1, {}));
    EXPECT_TRUE(Workspace::searchable(".gitignore", 1, {}));
    EXPECT_FALSE(Workspace::searchable("a.png", 1, {}));
    EXPECT_FALSE(Workspace::searchable("a.svg", 1, {}));
    EXPECT_TRUE(Workspace::searchable("a.PNG", 1, {"png"}));
    EXPECT_FALSE(Workspace::searchable("a.txt", 1, {"md"}));
    EXPECT_FALSE(Workspace::searchable("txt", 1, {"txt"}));
}

TEST_F(Search, WalkFindsTheFilesOfAllRootsInTheOrderOfTheirPaths) {
    roots.folder.write("notes/b", "needle");
    roots.folder.write("app/z/a", "needle");
    roots.folder.write("app/z.a", "needle");
    EXPECT_EQ(shownOnDisk("needle"), (Shown{"app/z.a:1:1:1+6 needle", "app/z/a:1:1:1+6 needle",
                                            "notes/b:1:1:1+6 needle"}));
    roots.folder.write("app/new", "needle");
    EXPECT_EQ(shownOnDisk("needle").size(), 4u);
}

TEST_F(Search, WalkLeavesOutSkippedFoldersAndBackups) {
    for (const std::string folder : {"Node_Modules", ".git", "BackUps", "sub/backups"})
        roots.folder.write("app/" + folder + "/f", "needle");
    roots.folder.write("app/backups.txt", "needle");
    roots.folder.write("app/mybackups/f", "needle");
    EXPECT_EQ(shownOnDisk("needle"),
              (Shown{"app/backups.txt:1:1:1+6 needle", "app/mybackups/f:1:1:1+6 needle"}));
}

TEST_F(Search, WalkEntersRootsOfAnyName) {
    roots.folder.write("target/f", "needle");
    roots.setRoots({{"target", roots.folder.at("target")}, {"gone", roots.folder.at("gone")}});
    EXPECT_EQ(shownOnDisk("needle"), Shown{"target/f:1:1:1+6 needle"});
}

TEST_F(Search, WalkFollowsNoLinks) {
    roots.folder.write("other/f", "needle");
    ASSERT_EQ(::symlink(roots.folder.at("other").c_str(), roots.folder.at("app/l").c_str()), 0);
    ASSERT_EQ(::symlink(roots.folder.at("other/f").c_str(), roots.folder.at("app/m").c_str()), 0);
    EXPECT_TRUE(shownOnDisk("needle").empty());
}

TEST_F(Search, WalkTakesTheNamedExtensionsOnly) {
    for (const std::string name : {"a.txt", "b.MD", "c.cpp", "d", "e.png"})
        roots.folder.write("app/" + name, "needle");
    EXPECT_EQ(shownOnDisk("needle", {.extensions = {".TXT", "md"}}),
              (Shown{"app/a.txt:1:1:1+6 needle", "app/b.MD:1:1:1+6 needle"}));
    EXPECT_EQ(shownOnDisk("needle", {.extensions = {"PNG"}}), Shown{"app/e.png:1:1:1+6 needle"});
    // Nothing but dots and blanks names no extension.
    EXPECT_EQ(shownOnDisk("needle", {.extensions = {" . "}}).size(), 4u);
}

}  // namespace
