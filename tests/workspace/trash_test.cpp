#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "util/util.hpp"
#include "workspace/workspace_support.hpp"

namespace {

namespace fs = std::filesystem;
using mbtest::kOutside;
using mbtest::slurp;

// A home beside the workspace, so that the Trash is on its file system and never the user's.
struct PrivateTrash : mbtest::TwoRoots {
    mbtest::ScopedEnv scope{
        {{"HOME", folder.mkdir("home")}, {"XDG_DATA_HOME", folder.at("home/data")}}};
    std::string trash = folder.at("home/data/Trash");

    std::string remove(const std::string& path) const {
        return mbtest::outcome(
            [&](std::string& error) { return workspace.deletePath(path, error); });
    }
};

TEST(Trash, TakesFilesFoldersAndDanglingLinks) {
    const PrivateTrash roots;
    roots.folder.write("app/a.txt", "text");
    roots.folder.write("app/folder/b.txt", "deep");
    ASSERT_EQ(::symlink("nowhere", roots.folder.at("app/link").c_str()), 0);
    EXPECT_EQ(roots.remove("app/a.txt"), "ok");
    EXPECT_EQ(roots.remove("app/folder"), "ok");
    EXPECT_EQ(roots.remove("app/link"), "ok");
    EXPECT_TRUE(fs::is_empty(roots.folder.at("app")));
    EXPECT_EQ(slurp(roots.trash + "/files/a.txt"), "text");
    EXPECT_EQ(slurp(roots.trash + "/files/folder/b.txt"), "deep");
    EXPECT_TRUE(fs::is_symlink(roots.trash + "/files/link"));
    EXPECT_NE(slurp(roots.trash + "/info/a.txt.trashinfo").find(roots.folder.at("app/a.txt")),
              std::string::npos);
}

TEST(Trash, WhereItIsNotAvailableTheFileStaysAndTheReasonIsTold) {
    const PrivateTrash roots;
    roots.folder.write("home/data/Trash", "a plain file in the way");
    roots.folder.write("app/a.txt", "text");
    const std::string reason = roots.remove("app/a.txt");
    EXPECT_TRUE(mbutil::startsWith(reason, "could not move it to the Trash: ")) << reason;
    EXPECT_GT(reason.size(), std::string("could not move it to the Trash: ").size());
    EXPECT_EQ(reason.find("unknown error"), std::string::npos);
    EXPECT_EQ(slurp(roots.folder.at("app/a.txt")), "text");
}

TEST(Trash, MissingFileIsToldByTheSystemsWords) {
    const PrivateTrash roots;
    const std::string reason = roots.remove("app/none");
    EXPECT_TRUE(mbutil::startsWith(reason, "could not move it to the Trash: ")) << reason;
    EXPECT_NE(reason.find("none"), std::string::npos) << reason;
}

TEST(Trash, RootsAreRefused) {
    PrivateTrash roots;
    roots.folder.write("app/inner/a", "a");
    roots.setRoots({{"app", roots.folder.at("app/./")}, {"inner", roots.folder.at("app/inner")}});
    for (const char* path : {"app", "app/", "app/x/..", "app/inner", "inner"})
        EXPECT_EQ(roots.remove(path), "refusing to delete a workspace root") << path;
    EXPECT_EQ(slurp(roots.folder.at("app/inner/a")), "a");
}

TEST(Trash, PathOutsideIsRefused) {
    const PrivateTrash roots;
    roots.folder.write("outside", "x");
    roots.folder.write("app/a", "x");
    EXPECT_EQ(roots.remove("app/../outside"), kOutside);
    EXPECT_EQ(roots.remove(std::string("app/a\0b", 7)), kOutside);
    EXPECT_EQ(slurp(roots.folder.at("outside")), "x");
    EXPECT_EQ(slurp(roots.folder.at("app/a")), "x");
}

}  // namespace
