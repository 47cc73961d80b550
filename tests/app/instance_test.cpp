// Second starts of the real program, and what the first one does with them.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include "app/app_test.hpp"
#include "support/display.hpp"

namespace {

using mbjson::Json;
using mbtest::body;
using mbtest::Display;
using mbtest::Events;
using mbtest::Layout;
using mbtest::Process;
using mbtest::Program;
using Paths = std::vector<std::string>;

// One more start for the same user, without the guard that a Program is: it must end by itself.
Process startAgain(const Layout& layout, const std::string& display, const Paths& arguments,
                   const std::map<std::string, std::string>& environment = {},
                   const std::string& cwd = "") {
    mbtest::Spawn spawn;
    spawn.command = {layout.executable()};
    spawn.command.insert(spawn.command.end(), arguments.begin(), arguments.end());
    spawn.environment = layout.environment();
    spawn.environment["DISPLAY"] = display;
    for (const auto& [name, value] : environment) spawn.environment[name] = value;
    spawn.cwd = cwd;
    spawn.errorPath = layout.at("second.txt");
    return Process(spawn);
}

std::string instanceFile(const Layout& layout, const std::string& ending) {
    return layout.at("run/marlin-bench-" + std::to_string(::getuid()) + ending);
}

Paths targetsOf(const Json& event) {
    Paths paths;
    for (const Json& target : event["targets"].asArray())
        paths.push_back(target["path"].asString());
    return paths;
}

TEST(AppInstance, SecondStartHandsOverItsPathsAndTouchesNothing) {
    const Layout layout;
    const std::string absolute = layout.write("home/proj/a b.txt", "a");
    layout.write("home/other/c.txt", "c");
    Program first(layout, {.arguments = {layout.at("home/proj")}});
    ASSERT_TRUE(first.awaitBridge() && first.awaitWindow()) << first.errors();
    Events events(first);
    ASSERT_TRUE(events.connected()) << events.error();
    const std::string url = mbtest::slurp(layout.sessionUrlPath());
    // What it could write would go to a home that stays empty.
    Process second = startAgain(layout, first.display(), {absolute, "c.txt"},
                                {{"HOME", layout.mkdir("second")}}, layout.at("home/other"));
    EXPECT_EQ(second.waitForExit(), 0) << mbtest::slurp(layout.at("second.txt"));
    const auto event = events.await("open.request", 30000);
    ASSERT_TRUE(event) << events.error();
    EXPECT_EQ(targetsOf(*event), (Paths{"proj/a b.txt", "other/c.txt"}));
    for (const char* folder :
         {"second/.config", "second/.cache/marlin-bench", "second/.local/share/marlin-bench"})
        EXPECT_FALSE(mbutil::dirExists(layout.at(folder))) << folder;
    EXPECT_EQ(mbtest::slurp(layout.sessionUrlPath()), url);
}

TEST(AppInstance, SecondStartWithoutArgumentsRaisesTheWindow) {
    const Display display;
    const mbtest::WindowManager manager(display.name());
    const Layout layout;
    Program first(layout, {.display = display.name()});
    ASSERT_TRUE(first.awaitBridge() && first.awaitWindow()) << first.errors();
    Events events(first);
    const auto active = [&] {
        return first.ask("/api/window", body("cmd", "state"))["active"].asBool();
    };
    (void)first.request("/api/window", body("cmd", "minimize"));
    ASSERT_TRUE(mbtest::waitUntil([&] { return !first.window() && !active(); }, 20000));
    Process second = startAgain(layout, first.display(), {});
    EXPECT_EQ(second.waitForExit(), 0) << mbtest::slurp(layout.at("second.txt"));
    EXPECT_TRUE(mbtest::waitUntil([&] { return first.window() && active(); }, 20000));
    ASSERT_TRUE(events.catchUp(layout)) << events.error();
    EXPECT_EQ(events.count("open.request"), 1);  // the one of catchUp() itself
}

TEST(AppInstance, FilesAreTheUsersAndOnlyTheLockStays) {
    const Layout layout;
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge() && program.awaitWindow()) << program.errors();
    EXPECT_TRUE(
        mbtest::waitUntil([&] { return mbutil::fileExists(instanceFile(layout, ".sock")); }));
    struct stat socket = {};
    ASSERT_EQ(::stat(instanceFile(layout, ".sock").c_str(), &socket), 0);
    EXPECT_TRUE(S_ISSOCK(socket.st_mode));
    EXPECT_EQ(socket.st_mode & 0077, 0U);
    (void)program.request("/api/shutdown");
    EXPECT_EQ(program.process.waitForExit(), 0) << program.errors();
    EXPECT_FALSE(mbutil::fileExists(instanceFile(layout, ".sock")));
    EXPECT_TRUE(mbutil::fileExists(instanceFile(layout, ".lock")));
}

TEST(AppInstance, AfterTheOwnerIsKilledTheNextStartIsTheOwner) {
    const Layout layout;
    const std::string file = layout.write("home/proj/a.txt", "a");
    {
        Program killed(layout);
        ASSERT_TRUE(killed.awaitBridge() && killed.awaitWindow()) << killed.errors();
        ASSERT_TRUE(
            mbtest::waitUntil([&] { return mbutil::fileExists(instanceFile(layout, ".sock")); }));
    }
    EXPECT_TRUE(mbutil::fileExists(instanceFile(layout, ".sock")));
    Program next(layout);
    ASSERT_TRUE(next.awaitBridge() && next.awaitWindow()) << next.errors();
    Events events(next);
    Process second = startAgain(layout, next.display(), {file});
    EXPECT_EQ(second.waitForExit(), 0);
    EXPECT_TRUE(events.await("open.request", 30000)) << events.error();
}

// A second start that has reached the point where it speaks to the owner.
bool hasSocket(pid_t process) {
    std::error_code error;
    for (const auto& entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/fd", error)) {
        const std::filesystem::path target = std::filesystem::read_symlink(entry.path(), error);
        if (target.string().rfind("socket:", 0) == 0) return true;
    }
    return false;
}

TEST(AppInstance, OwnerThatIsStoppedIsWaitedForUntilItGoesOn) {
    const Layout layout;
    const std::string file = layout.write("home/proj/a.txt", "a");
    Program first(layout);
    ASSERT_TRUE(first.awaitBridge() && first.awaitWindow()) << first.errors();
    Events events(first);
    ASSERT_TRUE(events.connected()) << events.error();
    first.process.signal(SIGSTOP);
    Process second = startAgain(layout, first.display(), {file});
    EXPECT_TRUE(mbtest::waitUntil([&] { return hasSocket(second.pid()); }, 30000));
    EXPECT_TRUE(second.running());
    first.process.signal(SIGCONT);
    EXPECT_EQ(second.waitForExit(60000), 0) << mbtest::slurp(layout.at("second.txt"));
    EXPECT_TRUE(events.await("open.request", 30000)) << events.error();
}

TEST(AppInstance, OwnerThatIsKilledWhileItHangsIsSucceeded) {
    const Display display;
    const Layout layout;
    Program first(layout, {.display = display.name()});
    ASSERT_TRUE(first.awaitBridge() && first.awaitWindow()) << first.errors();
    const std::string before = mbtest::slurp(layout.sessionUrlPath());
    first.process.signal(SIGSTOP);
    Process second = startAgain(layout, display.name(), {});
    EXPECT_TRUE(mbtest::waitUntil([&] { return hasSocket(second.pid()); }, 30000));
    first.process.kill();
    EXPECT_TRUE(
        mbtest::waitUntil([&] { return mbtest::slurp(layout.sessionUrlPath()) != before; }, 60000))
        << mbtest::slurp(layout.at("second.txt"));
    EXPECT_TRUE(second.running());
}

// Each start's folder becomes one of the workspace's, so that none can get lost unseen.
TEST(AppInstance, ManyStartsAtOnceAllReachTheOneWindow) {
    constexpr size_t kStarts = 8;
    const Layout layout;
    Program first(layout);
    ASSERT_TRUE(first.awaitBridge()) << first.errors();
    std::vector<Process> starts;
    for (size_t i = 0; i < kStarts; ++i)
        starts.push_back(startAgain(layout, first.display(),
                                    {layout.mkdir("home/folder-" + std::to_string(i))}));
    for (Process& start : starts)
        EXPECT_EQ(start.waitForExit(60000), 0) << mbtest::slurp(layout.at("second.txt"));
    const auto roots = [&] { return layout.settings()["roots"].asArray().size(); };
    EXPECT_TRUE(mbtest::waitUntil([&] { return roots() == kStarts; }, 30000)) << roots();
}

}  // namespace
