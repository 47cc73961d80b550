#include <gtest/gtest.h>
#include <unistd.h>

#include "workspace/workspace_support.hpp"

namespace {

using mbtest::TwoRoots;

// The absolute path, or "refused".
std::string resolved(const TwoRoots& roots, const std::string& path) {
    std::string absolute = "refused";
    const bool inside = roots.workspace.resolveInside(path, absolute);
    EXPECT_EQ(inside, absolute != "refused");
    return absolute;
}

std::string relative(const TwoRoots& roots, const std::string& path) {
    std::string workspacePath = "none";
    const bool inside = roots.workspace.toRelative(path, workspacePath);
    EXPECT_EQ(inside, workspacePath != "none");
    return workspacePath;
}

TEST(WorkspacePath, ResolvesBelowTheRootOfThatName) {
    const TwoRoots roots;
    const std::string notes = roots.folder.at("notes");
    EXPECT_EQ(resolved(roots, "notes"), notes);
    EXPECT_EQ(resolved(roots, "notes/"), notes);
    EXPECT_EQ(resolved(roots, "notes/a/b.txt"), notes + "/a/b.txt");
    EXPECT_EQ(resolved(roots, "notes/a/../b"), notes + "/b");
    EXPECT_EQ(resolved(roots, "notes//a/./b/"), notes + "/a/b");
    EXPECT_EQ(resolved(roots, "notes\\a"), "refused");
    EXPECT_EQ(resolved(roots, "notes/a\\b"), notes + "/a/b");
    EXPECT_EQ(resolved(roots, "notes/~/a"), notes + "/~/a");
}

TEST(WorkspacePath, WhatLeavesTheRootByTextIsRefused) {
    const TwoRoots roots;
    for (const char* path : {"notes/..", "notes/../other", "notes/../app/x", "notes/a/../../x",
                             "notes/..\\x", "notes/../notes2"})
        EXPECT_EQ(resolved(roots, path), "refused") << path;
    EXPECT_EQ(resolved(roots, "notes/../notes/x"), roots.folder.at("notes/x"));
}

TEST(WorkspacePath, WhatNamesNoRootIsRefused) {
    const TwoRoots roots;
    for (const char* path : {"", "/", "/notes", "/etc/passwd", "//notes/a", "other/a", "Notes/a",
                             "note", "notesx", ".", "..", "~"})
        EXPECT_EQ(resolved(roots, path), "refused") << path;
}

TEST(WorkspacePath, NulByteAnywhereIsRefused) {
    const TwoRoots roots;
    using namespace std::string_literals;
    for (const std::string& path : {"\0"s, "\0notes"s, "notes\0"s, "notes/a\0b"s, "notes/a\0"s})
        EXPECT_EQ(resolved(roots, path), "refused");
}

TEST(WorkspacePath, LinkThatLeadsOutsidePasses) {
    const TwoRoots roots;
    ASSERT_EQ(::symlink("/etc", roots.folder.at("app/out").c_str()), 0);
    EXPECT_EQ(resolved(roots, "app/out/passwd"), roots.folder.at("app/out/passwd"));
}

TEST(WorkspacePath, FirstRootOfANameWins) {
    TwoRoots roots;
    roots.setRoots({{"a", "/one"}, {"a", "/two"}});
    EXPECT_EQ(resolved(roots, "a/x"), "/one/x");
}

TEST(WorkspacePath, RootsPathIsMadeCanonicalFirst) {
    TwoRoots roots;
    roots.setRoots({{"a", "/one/../two/"}});
    EXPECT_EQ(resolved(roots, "a"), "/two");
    EXPECT_EQ(resolved(roots, "a/x"), "/two/x");
    EXPECT_EQ(relative(roots, "/two/x"), "a/x");
}

TEST(WorkspacePath, RelativeIsTheInverse) {
    const TwoRoots roots;
    EXPECT_EQ(relative(roots, roots.folder.at("app")), "app");
    EXPECT_EQ(relative(roots, roots.folder.at("app/")), "app");
    EXPECT_EQ(relative(roots, roots.folder.at("app/a/../b")), "app/b");
    EXPECT_EQ(relative(roots, roots.folder.at("app2")), "none");
    EXPECT_EQ(relative(roots, roots.folder.path()), "none");
    EXPECT_EQ(relative(roots, "/"), "none");
    EXPECT_EQ(relative(roots, ""), "none");
}

TEST(WorkspacePath, NestedRootsResolveToTheEarlierOne) {
    TwoRoots roots;
    roots.setRoots({{"outer", "/x"}, {"inner", "/x/y"}});
    EXPECT_EQ(relative(roots, "/x/y/z"), "outer/y/z");
    roots.setRoots({{"inner", "/x/y"}, {"outer", "/x"}});
    EXPECT_EQ(relative(roots, "/x/y/z"), "inner/z");
    EXPECT_EQ(relative(roots, "/x/z"), "outer/z");
}

}  // namespace
