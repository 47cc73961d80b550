// The window and the page in it, as a user and the desktop see them.

#include <gtest/gtest.h>

#include <filesystem>

#include "app/app_test.hpp"
#include "support/display.hpp"
#include "support/inspector.hpp"

namespace {

using mbjson::Json;
using mbtest::Display;
using mbtest::Events;
using mbtest::Inspector;
using mbtest::Layout;
using mbtest::Program;
using mbtest::WindowManager;

// 2 x 2 pixels of the colour 3366cc.
constexpr unsigned char kPicture[] = {
    0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a, 0x00, 0x00, 0x00, 0x0d, 0x49, 0x48, 0x44,
    0x52, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x02, 0x08, 0x02, 0x00, 0x00, 0x00, 0xfd,
    0xd4, 0x9a, 0x73, 0x00, 0x00, 0x00, 0x10, 0x49, 0x44, 0x41, 0x54, 0x78, 0xda, 0x63, 0x30,
    0x4e, 0x3b, 0x03, 0x44, 0x0c, 0x10, 0x0a, 0x00, 0x24, 0xb6, 0x05, 0x95, 0xce, 0xbb, 0xea,
    0x6a, 0x00, 0x00, 0x00, 0x00, 0x49, 0x45, 0x4e, 0x44, 0xae, 0x42, 0x60, 0x82,
};

constexpr const char* kMenuPage =
    "<!doctype html><body style='margin:0;height:100vh'>text to click on"
    "<script>menus = 0; addEventListener('contextmenu', () => ++menus)</script>";

bool someFileHolds(const std::string& folder, const std::string& text) {
    std::error_code error;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder, error))
        if (entry.is_regular_file(error) &&
            mbtest::slurp(entry.path()).find(text) != std::string::npos)
            return true;
    return false;
}

TEST(AppWindow, HasItsTitleAndItsSize) {
    const Layout layout;
    Program program(layout);
    ASSERT_TRUE(program.awaitWindow()) << program.errors();
    const auto window = program.window();
    ASSERT_TRUE(window);
    const auto geometry = mbtest::geometryOf(program.display(), *window);
    ASSERT_TRUE(geometry);
    EXPECT_EQ(geometry->width, 1500);
    EXPECT_EQ(geometry->height, 940);
    EXPECT_EQ(mbtest::textProperty(program.display(), *window, "WM_CLASS"),
              std::string("marlin-bench\0Marlin-bench\0", 26));
}

TEST(AppWindow, LoadsThePageOfTheBridge) {
    const Layout layout;
    Program program(layout, {.inspector = true});
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    Inspector page(program);
    ASSERT_TRUE(page.connected());
    EXPECT_TRUE(page.await("document.getElementById('hello')"));
    EXPECT_EQ(page.evaluate("location.href").asString(), program.url());
    EXPECT_EQ(page.evaluate("document.getElementById('hello').textContent").asString(), "hello");
}

TEST(AppWindow, ShippedPageComesUpInIt) {
#ifdef __SANITIZE_THREAD__
    // It comes up, but the engine's inspector then falls silent. The other builds see it.
    GTEST_SKIP() << "the inspector does not answer for so large a page under this sanitizer";
#endif
    const Layout layout;
    layout.shippedPage();
    Program program(layout, {.inspector = true});
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    Inspector page(program);
    ASSERT_TRUE(page.connected());
    EXPECT_TRUE(page.await("document.readyState === 'complete' && document.body.innerText", 30000));
    // Its own scripts and styles were found.
    EXPECT_EQ(page.evaluate("performance.getEntriesByType('resource')"
                            ".filter(entry => entry.responseStatus >= 400).length")
                  .asNumber(-1),
              0);
}

TEST(AppWindow, PageWithoutABackgroundShowsTheWindowsOwn) {
    const Layout layout;
    const Display display;
    Program program(layout, {.display = display.name()});
    ASSERT_TRUE(program.awaitWindow()) << program.errors();
    const auto colour = [&] { return mbtest::pixelAt(display.name(), 700, 500).value_or(0); };
    EXPECT_TRUE(mbtest::waitUntil([&] { return colour() == 0x0f1722; })) << std::hex << colour();
}

TEST(AppWindow, NativeContextMenuNeverShows) {
    const Layout layout;
    layout.page(kMenuPage);
    const Display display;
    Program program(layout, {.display = display.name(), .inspector = true});
    ASSERT_TRUE(program.awaitWindow()) << program.errors();
    Inspector page(program);
    ASSERT_TRUE(page.await("window.menus === 0"));
    const int before = mbtest::popupCount(display.name());
    mbtest::click(display.name(), 60, 8, 3);
    ASSERT_TRUE(page.await("menus === 1"));
    // A menu would take the pointer: the next click would close it and not reach the page.
    mbtest::click(display.name(), 90, 8, 3);
    EXPECT_TRUE(page.await("menus === 2"));
    EXPECT_EQ(mbtest::popupCount(display.name()), before);
}

TEST(AppWindow, IconIsTheProgramsPicture) {
    const Layout layout;
    layout.write("app/assets/marlin-bench.png",
                 std::string(std::begin(kPicture), std::end(kPicture)));
    Program program(layout);
    ASSERT_TRUE(program.awaitWindow()) << program.errors();
    const auto window = program.window();
    ASSERT_TRUE(window);
    const std::vector<unsigned long> icon =
        mbtest::numberProperty(program.display(), *window, "_NET_WM_ICON");
    ASSERT_EQ(icon.size(), 6U);
    EXPECT_EQ(icon[0], 2U);
    EXPECT_EQ(icon[1], 2U);
    for (size_t i = 2; i < icon.size(); ++i) EXPECT_EQ(icon[i] & 0xffffffffU, 0xff3366ccU);
}

TEST(AppWindow, BrokenIconIsNoObstacle) {
    const Layout layout;
    layout.write("app/assets/marlin-bench.png", "this is no picture");
    Program program(layout);
    EXPECT_TRUE(program.awaitWindow()) << program.errors();
}

TEST(AppWindow, WebViewKeepsItsDataAndCacheInTheUsersFolders) {
    const Layout layout;
    const std::string data = layout.at("home/.local/share/marlin-bench/webview");
    layout.page("<!doctype html><script>localStorage.setItem('kept', 'yes')</script>");
    {
        Program program(layout, {.inspector = true});
        ASSERT_TRUE(program.awaitBridge()) << program.errors();
        Inspector page(program);
        ASSERT_TRUE(page.await("localStorage.getItem('kept') === 'yes'"));
        EXPECT_TRUE(mbutil::dirExists(layout.at("home/.cache/marlin-bench/webview")));
        // WebKit writes its storage a moment later.
        EXPECT_TRUE(mbtest::waitUntil([&] { return someFileHolds(data, "kept"); }));
        (void)program.request("/api/shutdown");
        EXPECT_EQ(program.process.waitForExit(), 0) << program.errors();
    }
    // The port is kept, so the origin is the same and finds its storage again.
    layout.page("<!doctype html><p>second");
    Program program(layout, {.inspector = true});
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    Inspector page(program);
    EXPECT_TRUE(page.await("localStorage.getItem('kept') === 'yes'"));
}

TEST(AppWindow, XdgFoldersMoveTheDataAndTheCache) {
    const Layout layout;
    Program program(layout, {.environment = {{"XDG_DATA_HOME", layout.at("home/data")},
                                             {"XDG_CACHE_HOME", layout.at("home/cache")}}});
    ASSERT_TRUE(program.awaitWindow()) << program.errors();
    EXPECT_TRUE(mbutil::dirExists(layout.at("home/data/marlin-bench/webview")));
    EXPECT_TRUE(mbutil::dirExists(layout.at("home/cache/marlin-bench/webview")));
    EXPECT_FALSE(mbutil::dirExists(layout.at("home/.local/share/marlin-bench")));
}

}  // namespace
