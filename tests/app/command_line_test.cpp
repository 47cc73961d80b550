// The command line of the real program.

#include <gtest/gtest.h>

#include "app/app_test.hpp"

namespace {

using mbtest::Layout;
using mbtest::Program;
using Paths = std::vector<std::string>;

TEST(AppCommandLine, VersionIsPrintedBeforeAnythingIsTouched) {
    const Layout layout;
    Program program(layout,
                    {.arguments = {"some.txt", "--version", "more.txt"}, .without = {"DISPLAY"}});
    EXPECT_EQ(program.process.waitForExit(), 0);
    EXPECT_EQ(program.output(), "Marlin Bench 0.2.5\n");
    EXPECT_FALSE(mbutil::fileExists(layout.settingsPath()));
    EXPECT_FALSE(mbutil::fileExists(layout.sessionUrlPath()));
}

TEST(AppCommandLine, WithoutADisplayItSaysSoAndTouchesNoSettings) {
    const Layout layout;
    Program program(layout, {.without = {"DISPLAY"}});
    EXPECT_EQ(program.process.waitForExit(), 1);
    EXPECT_NE(
        program.errors().find("Marlin Bench needs a graphical session (no display was found).\n"),
        std::string::npos)
        << program.errors();
    EXPECT_FALSE(mbutil::fileExists(layout.settingsPath()));
}

TEST(AppCommandLine, UnknownOptionsAndEmptyWordsAreIgnored) {
    const Layout layout;
    const std::string file = layout.write("home/proj/a.txt", "a");
    Program program(layout, {.arguments = {"--nonsense", "", "-x", file, "-", "--"}});
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    EXPECT_EQ(mbtest::pendingPaths(program), Paths{"proj/a.txt"});
}

TEST(AppCommandLine, RelativePathIsTakenAgainstTheWorkingFolder) {
    const Layout layout;
    layout.write("home/proj/sub/a.txt", "a");
    Program program(layout, {.arguments = {"sub/../sub/a.txt"}, .cwd = layout.at("home/proj")});
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    EXPECT_EQ(mbtest::pendingPaths(program), Paths{"sub/a.txt"});
    EXPECT_EQ(layout.settings()["roots"][0]["path"].asString(), layout.at("home/proj/sub"));
}

TEST(AppCommandLine, RelativePathIsTakenAgainstOwdWhenItIsSet) {
    const Layout layout;
    layout.write("home/user/a.txt", "the user's");
    layout.write("home/mount/a.txt", "the image's");
    Program program(layout, {.arguments = {"a.txt"},
                             .environment = {{"OWD", layout.at("home/user")}},
                             .cwd = layout.at("home/mount")});
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    EXPECT_EQ(mbtest::pendingPaths(program), Paths{"user/a.txt"});
}

TEST(AppCommandLine, EmptyOwdIsAsIfUnset) {
    const Layout layout;
    layout.write("home/proj/a.txt", "a");
    Program program(
        layout,
        {.arguments = {"a.txt"}, .environment = {{"OWD", ""}}, .cwd = layout.at("home/proj")});
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    EXPECT_EQ(mbtest::pendingPaths(program), Paths{"proj/a.txt"});
}

TEST(AppCommandLine, VerifyManifestWithOneFileIsIgnoredAndTheFileIsOpened) {
    const Layout layout;
    layout.write("home/proj/a", "a");
    Program program(layout,
                    {.arguments = {"--verify-manifest", "a"}, .cwd = layout.at("home/proj")});
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    EXPECT_EQ(mbtest::pendingPaths(program), Paths{"proj/a"});
    EXPECT_TRUE(program.awaitWindow());
}

}  // namespace
