// What the program hands to the user's desktop: addresses, files, folders.

#include <gtest/gtest.h>

#include "app/app_test.hpp"
#include "support/desktop.hpp"

namespace {

using mbtest::body;
using mbtest::FileManager;
using mbtest::Layout;
using mbtest::Program;
using mbtest::Recorder;
using mbtest::SessionBus;

constexpr const char* kOk = R"({"ok":true})";

std::string external(const std::string& url) {
    mbjson::Json object = mbjson::Json::object();
    object.set("cmd", "external");
    object.set("url", url);
    return object.dump();
}

// A program with one root, "proj", that holds a page and a text.
struct Project {
    Layout layout;
    std::string page = layout.write("home/proj/a page.html", "<p>");
    std::string text = layout.write("home/proj/notes.txt", "notes");

    Project() { layout.mkdir("home/proj/sub"); }
    mbtest::Start start() const { return {.arguments = {layout.at("home/proj")}}; }
};

bool awaitNoZombie(const Program& program) {
    return mbtest::waitUntil([&] { return mbtest::zombiesOf(program.process.pid()).empty(); });
}

TEST(AppDesktop, WebAddressGoesToTheUsersBrowser) {
    const Layout layout;
    const Recorder recorder(layout);
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    const std::string url = "https://example.org/a?b=c&d='e'#f";
    EXPECT_EQ(program.request("/api/browser", external(url)).body, kOk);
    EXPECT_TRUE(recorder.awaitOpened(url));
    EXPECT_TRUE(awaitNoZombie(program));
}

TEST(AppDesktop, OtherThanWebAddressesAreRefused) {
    const Layout layout;
    const Recorder recorder(layout);
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    for (const char* url : {"", "file:///etc/passwd", "HTTP://example.org", "example.org"}) {
        const mbtest::HttpAnswer answer = program.request("/api/browser", external(url));
        EXPECT_EQ(answer.status, 400) << url;
        EXPECT_EQ(answer.body, R"({"ok":false,"error":"only web addresses can be opened"})");
    }
    const std::string last = "http://example.org/last";
    (void)program.request("/api/browser", external(last));
    EXPECT_TRUE(recorder.awaitOpened(last));
    EXPECT_EQ(recorder.opened().size(), 1U);
}

TEST(AppDesktop, ArtifactOpensAsAFileOrAsALocalAddress) {
    const Project project;
    const Recorder recorder(project.layout);
    Program program(project.layout, project.start());
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    EXPECT_EQ(program.request("/api/artifact/open", body("path", "proj/a page.html")).body, kOk);
    EXPECT_TRUE(recorder.awaitOpened(project.page));
    const std::string local = "http://localhost:5173/x";
    EXPECT_EQ(program.request("/api/artifact/open", body("url", local)).body, kOk);
    EXPECT_TRUE(recorder.awaitOpened(local));
    EXPECT_TRUE(awaitNoZombie(program));
}

TEST(AppDesktop, ArtifactThatIsNoneIsRefused) {
    const Project project;
    Program program(project.layout, project.start());
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    for (const char* path : {"", "proj/notes.txt", "proj/none.html", "../a page.html"}) {
        const mbtest::HttpAnswer answer = program.request("/api/artifact/open", body("path", path));
        EXPECT_EQ(answer.status, 400) << path;
        EXPECT_EQ(answer.body,
                  R"({"ok":false,"error":"save the artifact to the workspace first"})");
    }
    for (const char* url : {"https://localhost:1/", "http://example.org:80/", "http://localhost"}) {
        const mbtest::HttpAnswer answer = program.request("/api/artifact/open", body("url", url));
        EXPECT_EQ(answer.status, 400) << url;
        EXPECT_EQ(answer.body, R"({"ok":false,"error":"only local http addresses can be opened"})");
    }
}

TEST(AppDesktop, WithoutAHandlerTheScriptOnPathIsAsked) {
    const Layout layout;
    const Recorder recorder(layout, Recorder::As::Script);
    Program program(layout, {.environment = recorder.environment()});
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    const std::string url = "http://example.org/a b'c\"d$e";
    EXPECT_EQ(program.request("/api/browser", external(url)).body, kOk);
    EXPECT_TRUE(recorder.awaitOpened(url));
    EXPECT_TRUE(awaitNoZombie(program));
}

TEST(AppDesktop, WithoutHandlerAndScriptNothingHappens) {
    const Layout layout;
    const std::string nothing = layout.mkdir("no-desktop");
    Program program(layout, {.environment = {{"XDG_DATA_HOME", nothing},
                                             {"XDG_DATA_DIRS", nothing},
                                             {"PATH", layout.at("bin")}}});
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    EXPECT_EQ(program.request("/api/browser", external("http://example.org")).body, kOk);
    EXPECT_TRUE(awaitNoZombie(program));
    EXPECT_TRUE(program.process.running());
}

TEST(AppReveal, FolderOpensItself) {
    const Project project;
    const Recorder recorder(project.layout);
    Program program(project.layout, project.start());
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    EXPECT_EQ(program.request("/api/shell/reveal", body("path", "proj/sub")).body, kOk);
    EXPECT_TRUE(recorder.awaitOpened(project.layout.at("home/proj/sub")));
}

TEST(AppReveal, PathOutsideTheWorkspaceIsRefused) {
    const Project project;
    Program program(project.layout, project.start());
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    for (const char* path : {"", "none/a", "proj/../../x", "/etc/passwd"}) {
        const mbtest::HttpAnswer answer = program.request("/api/shell/reveal", body("path", path));
        EXPECT_EQ(answer.status, 400) << path;
        EXPECT_EQ(answer.body, R"({"ok":false,"error":"path is outside the workspace"})");
    }
}

TEST(AppReveal, FileIsShownByTheFileManager) {
    const Project project;
    const Recorder recorder(project.layout);
    const SessionBus bus;
    const FileManager manager(project.layout, bus, "ok");
    mbtest::Start start = project.start();
    start.environment = {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}};
    Program program(project.layout, start);
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    EXPECT_EQ(program.request("/api/shell/reveal", body("path", "proj/a page.html")).body, kOk);
    // The answer comes after the call.
    const std::string uri = "file://" + project.layout.at("home/proj/a%20page.html");
    EXPECT_EQ(manager.calls(), "ready\nShowItems (['" + uri + "'], '')\n");
    EXPECT_TRUE(recorder.opened().empty());
}

TEST(AppReveal, WhenTheFileManagerFailsOrHangsTheFolderOpens) {
    for (const char* mode : {"error", "hang"}) {
        const Project project;
        const Recorder recorder(project.layout);
        const SessionBus bus;
        const FileManager manager(project.layout, bus, mode);
        mbtest::Start start = project.start();
        start.environment = {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}};
        Program program(project.layout, start);
        ASSERT_TRUE(program.awaitBridge()) << program.errors();
        EXPECT_EQ(program.request("/api/shell/reveal", body("path", "proj/notes.txt")).body, kOk);
        EXPECT_NE(manager.calls().find("notes.txt"), std::string::npos) << mode;
        EXPECT_TRUE(recorder.awaitOpened(project.layout.at("home/proj"))) << mode;
    }
}

TEST(AppReveal, WithoutAFileManagerOrABusTheFolderOpens) {
    const SessionBus bus;
    for (const std::string& address : {bus.address(), std::string("disabled:")}) {
        const Project project;
        const Recorder recorder(project.layout);
        mbtest::Start start = project.start();
        start.environment = {{"DBUS_SESSION_BUS_ADDRESS", address}};
        Program program(project.layout, start);
        ASSERT_TRUE(program.awaitBridge()) << program.errors();
        EXPECT_EQ(program.request("/api/shell/reveal", body("path", "proj/notes.txt")).body, kOk);
        EXPECT_TRUE(recorder.awaitOpened(project.layout.at("home/proj"))) << address;
        EXPECT_TRUE(awaitNoZombie(program));
    }
}

}  // namespace
