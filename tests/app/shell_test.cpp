// The program in the user's desktop: its entry, and the desktop's folder picker.

#include <gtest/gtest.h>

#include <csignal>
#include <future>

#include "app/app_test.hpp"
#include "support/display.hpp"

namespace {

using mbjson::Json;
using mbtest::body;
using mbtest::Display;
using mbtest::Layout;
using mbtest::Program;
using mbtest::WindowId;
using mbtest::WindowManager;

constexpr const char* kOk = R"({"ok":true})";
constexpr const char* kPicker = "Open a folder in Marlin Bench";
constexpr unsigned long kEscape = 0xff1b;
constexpr unsigned long kReturn = 0xff0d;

std::string entryOf(const Layout& layout) {
    return layout.at("home/.local/share/applications/marlin-bench.desktop");
}

// A start that ends by itself; its exit code.
std::optional<int> run(const Layout& layout, const mbtest::Start& start) {
    Program program(layout, start);
    return program.process.waitForExit(30000);
}

TEST(AppShell, RegistersQuietlyAlsoWithoutADisplay) {
    const Layout layout;
    layout.write("app/assets/marlin-bench.png", "picture");
    const auto code =
        run(layout, {.arguments = {"--register-shell", "--quiet", "--unregister-shell"},
                     .without = {"DISPLAY"}});
    EXPECT_EQ(code, 0);
    EXPECT_NE(mbtest::slurp(entryOf(layout)).find("\nExec=\"" + layout.executable() + "\" %F\n"),
              std::string::npos);
    EXPECT_EQ(
        mbtest::slurp(layout.at("home/.local/share/icons/hicolor/256x256/apps/marlin-bench.png")),
        "picture");
    EXPECT_EQ(mbtest::slurp(layout.at("stdout.txt")), "");
    EXPECT_FALSE(mbutil::fileExists(layout.settingsPath()));
}

TEST(AppShell, IconOfAnInstalledProgramIsFoundBesideIt) {
    const Layout layout;
    layout.write("share/icons/hicolor/256x256/apps/marlin-bench.png", "installed");
    EXPECT_EQ(run(layout, {.arguments = {"--register-shell"}, .without = {"DISPLAY"}}), 0);
    EXPECT_EQ(
        mbtest::slurp(layout.at("home/.local/share/icons/hicolor/256x256/apps/marlin-bench.png")),
        "installed");
}

TEST(AppShell, UnregisteringNothingSucceeds) {
    const Layout layout;
    const mbtest::Start start = {.arguments = {"--quiet", "--unregister-shell"}};
    EXPECT_EQ(run(layout, start), 0);
    layout.write("home/.local/share/applications/marlin-bench.desktop", "Exec=x\n");
    EXPECT_EQ(run(layout, start), 0);
    EXPECT_FALSE(mbutil::fileExists(entryOf(layout)));
}

TEST(AppShell, FailureIsToldInWordsAndByTheExitCode) {
    const Layout layout;
    const std::string folder = layout.write("data", "a file") + "/applications";
    Program program(layout, {.arguments = {"--register-shell", "--quiet"},
                             .environment = {{"XDG_DATA_HOME", layout.at("data")}}});
    EXPECT_EQ(program.process.waitForExit(), 1);
    EXPECT_EQ(program.errors(), "Marlin Bench: could not create " + folder + "\n");
}

TEST(AppShell, EntryThatCannotBeRemovedIsNamed) {
    const Layout layout;
    const std::string entry = layout.write("data/applications/marlin-bench.desktop", "Exec=x\n");
    mbtest::Start start = {.arguments = {"--unregister-shell"},
                           .environment = {{"XDG_DATA_HOME", layout.at("data")}},
                           .without = {"DISPLAY"}};
    start.wrapper = layout.ownTmp();
    if (start.wrapper.empty()) GTEST_SKIP() << "this system has no read-only folder for a test";
    start.wrapper.insert(start.wrapper.end(), {"--ro-bind", layout.at("data"), layout.at("data")});
    Program program(layout, start);
    EXPECT_EQ(program.process.waitForExit(), 1);
    EXPECT_NE(program.errors().find("Marlin Bench: could not remove " + entry + "\n"),
              std::string::npos)
        << program.errors();
}

// Found by its process: others may show dialogs on the same display.
class AppShellDialog : public testing::Test {
protected:
    const Display display;
    const WindowManager manager{display.name()};
    const Layout layout;

    // What the dialog says is not to be read from outside; that it is there, and its end, are.
    void expectDialogAndCode(const mbtest::Start& start, int code) const {
        Program program(layout, start);
        std::optional<WindowId> dialog;
        ASSERT_TRUE(mbtest::waitUntil(
            [&] {
                dialog = mbtest::findWindow(display.name(), "Marlin Bench", program.process.pid());
                return dialog.has_value();
            },
            30000))
            << program.errors();
        EXPECT_TRUE(program.process.running());
        mbtest::closeThroughManager(display.name(), *dialog);
        EXPECT_EQ(program.process.waitForExit(), code);
        EXPECT_EQ(program.errors().find("Marlin Bench:"), std::string::npos) << program.errors();
    }
};

TEST_F(AppShellDialog, TellsOfSuccessAndOfFailure) {
    expectDialogAndCode({.arguments = {"--register-shell"}, .display = display.name()}, 0);
    EXPECT_TRUE(mbutil::fileExists(entryOf(layout)));
    expectDialogAndCode({.arguments = {"--unregister-shell"}, .display = display.name()}, 0);
    EXPECT_FALSE(mbutil::fileExists(entryOf(layout)));
    layout.write("data", "a file");
    expectDialogAndCode({.arguments = {"--register-shell"},
                         .environment = {{"XDG_DATA_HOME", layout.at("data")}},
                         .display = display.name()},
                        1);
}

TEST(AppShell, BridgeRegistersAndTellsOfIt) {
    const Layout layout;
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    Json status = program.ask("/api/shell/status");
    EXPECT_EQ(status.dump(), R"({"currentExecutable":")" + layout.executable() +
                                 R"(","ok":true,"registered":false,"registeredExecutable":"",)" +
                                 R"("stale":false})");
    EXPECT_EQ(program.request("/api/shell/register").body, kOk);
    status = program.ask("/api/shell/status");
    EXPECT_TRUE(status["registered"].asBool());
    EXPECT_EQ(status["registeredExecutable"].asString(), layout.executable());
    EXPECT_EQ(program.request("/api/shell/unregister").body, kOk);
    EXPECT_EQ(program.request("/api/shell/unregister").body, kOk);
    EXPECT_FALSE(program.ask("/api/shell/status")["registered"].asBool());
}

// A program whose picker shows the working folder and takes typed paths.
class AppPicker : public testing::Test {
protected:
    const Display display;
    const WindowManager manager{display.name()};
    const Layout layout;
    const std::string chosen = layout.mkdir("home/pick me");
    std::optional<Program> program;

    void SetUp() override {
        layout.write("home/.config/glib-2.0/settings/keyfile",
                     "[org/gtk/settings/file-chooser]\nstartup-mode='cwd'\n");
        // The dialog's many names outgrow GLib's first table of them, which GLib then drops for
        // good. That block has no owner that a suppression could name.
        program.emplace(layout, mbtest::Start{.environment = {{"GSETTINGS_BACKEND", "keyfile"},
                                                              {"ASAN_OPTIONS", "detect_leaks=0"}},
                                              .cwd = chosen,
                                              .display = display.name()});
        ASSERT_TRUE(program->awaitBridge() && program->awaitWindow()) << program->errors();
    }

    // The answer's body; empty when the connection ends without one.
    std::future<std::string> pick() const {
        return std::async(std::launch::async, [this] {
            mbtest::HttpClient client(program->port(), program->token());
            return client.request("GET", "/api/shell/pick-folder", {}, "", 60000).body;
        });
    }
    std::optional<WindowId> picker() const {
        return mbtest::findWindow(display.name(), kPicker, program->process.pid());
    }
    bool awaitPicker() const {
        return mbtest::waitUntil([&] { return picker().has_value(); }, 20000);
    }
    bool awaitFocus() const {
        return mbtest::waitUntil(
            [&] {
                const auto window = picker();
                return window && mbtest::hasState(display.name(), *window, "_NET_WM_STATE_FOCUSED");
            },
            20000);
    }
    // A key that comes before the dialog has read its folder is lost.
    bool pressUntilAnswered(unsigned long key, const std::future<std::string>& answer) const {
        return mbtest::waitUntil(
            [&] {
                if (picker()) mbtest::pressKey(display.name(), key);
                return answer.wait_for(std::chrono::milliseconds(200)) == std::future_status::ready;
            },
            40000);
    }
    bool pageServed() const {
        return program->request("/api/window", body("cmd", "state")).status == 200;
    }
    static std::string answerOf(const std::string& path) {
        return R"({"ok":true,"path":")" + path + "\"}";
    }
    void expectEnd() {
        EXPECT_EQ(program->process.waitForExit(), 0) << program->errors();
        EXPECT_TRUE(program->awaitNothingLeft());
    }
};

TEST_F(AppPicker, FolderIsChosenWhileTheBridgeServesOthers) {
    std::future<std::string> answer = pick();
    ASSERT_TRUE(awaitFocus());
    EXPECT_TRUE(pageServed());
    // Return opens the folder that is shown.
    EXPECT_TRUE(pressUntilAnswered(kReturn, answer));
    EXPECT_EQ(answer.get(), answerOf(chosen));
    // The display hears of the dialog's end a moment after the bridge does.
    EXPECT_TRUE(mbtest::waitUntil([&] { return !picker(); }));
}

TEST_F(AppPicker, CancelledGivesAnEmptyPathAndMayBeAskedAgain) {
    for (int round = 0; round < 2; ++round) {
        std::future<std::string> answer = pick();
        EXPECT_TRUE(pressUntilAnswered(kEscape, answer));
        EXPECT_EQ(answer.get(), answerOf(""));
    }
}

TEST_F(AppPicker, TwoAtOnceAreBothAnswered) {
    std::future<std::string> first = pick();
    ASSERT_TRUE(awaitPicker());
    std::future<std::string> second = pick();
    EXPECT_TRUE(pressUntilAnswered(kEscape, second));
    EXPECT_TRUE(pressUntilAnswered(kEscape, first));
    EXPECT_EQ(first.get(), answerOf(""));
    EXPECT_EQ(second.get(), answerOf(""));
    EXPECT_TRUE(pageServed());
}

TEST_F(AppPicker, ClosingTheWindowBehindItCancelsItAndEndsTheProgram) {
    std::future<std::string> answer = pick();
    ASSERT_TRUE(awaitPicker());
    mbtest::closeThroughManager(display.name(), program->window().value_or(0));
    const std::string text = answer.get();
    EXPECT_TRUE(text.empty() || text == answerOf("")) << text;
    expectEnd();
}

TEST_F(AppPicker, EveryOtherEndTakesItAlong) {
    using End = std::function<void()>;
    const End ends[] = {
        [&] { (void)program->request("/api/shutdown"); },
        [&] { (void)program->request("/api/window", body("cmd", "close")); },
        [&] { program->process.signal(SIGTERM); },
    };
    for (const End& end : ends) {
        if (!program->process.running()) SetUp();
        // Two of them, one before the other.
        std::future<std::string> answers[] = {pick(), pick()};
        ASSERT_TRUE(awaitPicker());
        end();
        for (std::future<std::string>& answer : answers) (void)answer.get();
        expectEnd();
    }
}

}  // namespace
