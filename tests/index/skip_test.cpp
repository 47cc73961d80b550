// Which folders are left out.

#include "index/skip.hpp"

#include <gtest/gtest.h>

namespace {

using mbindex::inSkippedDir;
using mbindex::shouldSkipDir;

TEST(IndexSkip, NamesOfTheListAreSkippedInAnyCase) {
    for (const char* name :
         {".git",        ".svn",         ".hg",          "node_modules", "bower_components",
          ".vs",         ".idea",        ".vscode-test", "__pycache__",  ".pytest_cache",
          ".mypy_cache", ".venv",        "venv",         ".tox",         ".gradle",
          ".next",       ".nuxt",        ".turbo",       ".cache",       "target",
          "obj",         "Node_Modules", "TARGET",       ".GIT",         "Obj"})
        EXPECT_TRUE(shouldSkipDir(name)) << name;
}

TEST(IndexSkip, OtherNamesAreNot) {
    for (const char* name : {"", "git", ".gitx", ".github", "targets", "ob", "objects", "src",
                             "node_modules ", ".vscode", "build", "dist", "backups"})
        EXPECT_FALSE(shouldSkipDir(name)) << name;
}

TEST(IndexSkip, OnlyFoldersBetweenRootAndFileCount) {
    for (const char* path : {"app/obj/a.txt", "app/src/Target/a/b.txt", "app/.git/HEAD",
                             "app/a/node_modules/", "obj/obj/obj"})
        EXPECT_TRUE(inSkippedDir(path)) << path;
    for (const char* path : {"", "obj", "/", "obj/a.txt", "target/src/a.txt", "app/obj",
                             "app/src/target", "app/targets/a.txt", "app//a.txt"})
        EXPECT_FALSE(inSkippedDir(path)) << path;
}

}  // namespace
