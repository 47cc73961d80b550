// Where the page may go, tried with real clicks and from inside the page.

#include <gtest/gtest.h>

#include "app/app_test.hpp"
#include "support/desktop.hpp"
#include "support/display.hpp"
#include "support/inspector.hpp"

namespace {

using mbtest::BusyPort;
using mbtest::Display;
using mbtest::Inspector;
using mbtest::Layout;
using mbtest::Program;
using mbtest::Recorder;

// Three links as large as buttons, one below the other.
constexpr const char* kLinks =
    "<!doctype html><title>links</title><style>body{margin:0}a{display:block;height:100px;"
    "width:400px;background:#ccc;outline:1px solid}</style>"
    "<a id=first>first</a><a id=second>second</a><a id=third>third</a>"
    "<script>clicks = 0; addEventListener('click', () => ++clicks)</script>";

// A program whose page has the links, with somebody listening on another port: a navigation that
// went through would show as a pending load there.
struct Browsing {
    Layout layout;
    Recorder recorder{layout};
    BusyPort other;
    Display display;
    std::string elsewhere = "http://127.0.0.1:" + std::to_string(other.port()) + "/page";

    Browsing() {
        layout.page(kLinks);
        layout.page("<!doctype html><p id=here>second", "second.html");
    }
    mbtest::Start start() const { return {.display = display.name(), .inspector = true}; }
    void clickFirst() const { mbtest::click(display.name(), 100, 50); }
};

// One program a test, ready to be clicked.
class AppNavigation : public testing::Test {
protected:
    Browsing world;
    Program program{world.layout, world.start()};

    void SetUp() override {
        ASSERT_TRUE(program.awaitBridge()) << program.errors();
        ASSERT_TRUE(program.awaitWindow()) << program.errors();
    }

    void link(Inspector& page, const std::string& attributes) {
        ASSERT_TRUE(page.await("window.clicks === 0"));
        (void)page.evaluate("Object.assign(document.getElementById('first'), " + attributes + ")");
    }

    // True when the page is still the one with the links.
    bool stayed(Inspector& page) {
        return page.evaluate("document.title").asString() == "links" &&
               page.evaluate("location.href").asString() == program.url();
    }
};

TEST_F(AppNavigation, ClickOnALinkOfItsOwnOriginIsFollowed) {
    Inspector page(program);
    link(page, "{href: '/second.html'}");
    world.clickFirst();
    EXPECT_TRUE(page.await("location.pathname === '/second.html'"));
    EXPECT_TRUE(world.recorder.opened().empty());
}

TEST_F(AppNavigation, ClickOnALinkToAnotherPortGoesToTheDesktop) {
    Inspector page(program);
    link(page, "{href: '" + world.elsewhere + "'}");
    world.clickFirst();
    EXPECT_TRUE(world.recorder.awaitOpened(world.elsewhere));
    EXPECT_TRUE(stayed(page));
    EXPECT_EQ(world.recorder.opened().size(), 1U);
}

TEST_F(AppNavigation, NewWindowGoesToTheDesktopEvenForItsOwnOrigin) {
    Inspector page(program);
    link(page, "{href: '/second.html', target: '_blank'}");
    world.clickFirst();
    const std::string own = "http://127.0.0.1:" + std::to_string(program.port()) + "/second.html";
    EXPECT_TRUE(world.recorder.awaitOpened(own));
    EXPECT_TRUE(stayed(page));
    EXPECT_EQ(world.recorder.opened().size(), 1U);
}

TEST_F(AppNavigation, LocationOfAnotherPortGoesToTheDesktop) {
    Inspector page(program);
    ASSERT_TRUE(page.await("window.clicks === 0"));
    (void)page.evaluate("location.href = '" + world.elsewhere + "'");
    EXPECT_TRUE(world.recorder.awaitOpened(world.elsewhere));
    EXPECT_TRUE(stayed(page));
}

TEST_F(AppNavigation, LocationOfItsOwnOriginIsFollowed) {
    Inspector page(program);
    ASSERT_TRUE(page.await("window.clicks === 0"));
    (void)page.evaluate("location.href = '/second.html?a=b#c'");
    EXPECT_TRUE(page.await("location.pathname === '/second.html' && location.hash === '#c'"));
    EXPECT_TRUE(world.recorder.opened().empty());
}

// A second link, to somewhere that is handed over, marks the end of the wait for what must not
// happen.
TEST_F(AppNavigation, LinkToAFileIsNeitherFollowedNorLaunched) {
    Inspector page(program);
    link(page, "{href: 'file:///etc/hostname'}");
    world.clickFirst();
    ASSERT_TRUE(page.await("clicks === 1"));
    (void)page.evaluate("document.getElementById('second').href = '" + world.elsewhere + "'");
    mbtest::click(world.display.name(), 100, 150);
    EXPECT_TRUE(world.recorder.awaitOpened(world.elsewhere));
    EXPECT_TRUE(stayed(page));
    EXPECT_EQ(world.recorder.opened(), std::vector<std::string>{world.elsewhere});
}

TEST_F(AppNavigation, UnknownSchemesAreNeitherFollowedNorLaunched) {
    Inspector page(program);
    link(page, "{href: 'mailto:somebody@example.org'}");
    world.clickFirst();
    ASSERT_TRUE(page.await("clicks === 1"));
    (void)page.evaluate("document.getElementById('second').href = '" + world.elsewhere + "'");
    mbtest::click(world.display.name(), 100, 150);
    EXPECT_TRUE(world.recorder.awaitOpened(world.elsewhere));
    EXPECT_TRUE(stayed(page));
    EXPECT_EQ(world.recorder.opened(), std::vector<std::string>{world.elsewhere});
}

TEST_F(AppNavigation, FrameOfItsOwnDocumentsIsAllowed) {
    Inspector page(program);
    ASSERT_TRUE(page.await("window.clicks === 0"));
    (void)page.evaluate(
        "frame = document.body.appendChild(document.createElement('iframe'));"
        "loads = 0; frame.onload = () => ++loads;"
        "frame.src = URL.createObjectURL(new Blob(['<p id=inside>in'], {type: 'text/html'}))");
    EXPECT_TRUE(page.await("frame.contentDocument && "
                           "frame.contentDocument.getElementById('inside')"));
    EXPECT_TRUE(world.recorder.opened().empty());
}

TEST_F(AppNavigation, NoZombieIsLeftByWhatTheDesktopStarts) {
    Inspector page(program);
    link(page, "{href: '" + world.elsewhere + "'}");
    for (int i = 0; i < 3; ++i) {
        world.clickFirst();
        ASSERT_TRUE(page.await("clicks === " + std::to_string(i + 1)));
    }
    EXPECT_TRUE(mbtest::waitUntil([&] { return world.recorder.opened().size() == 3; }));
    EXPECT_TRUE(
        mbtest::waitUntil([&] { return mbtest::zombiesOf(program.process.pid()).empty(); }));
}

}  // namespace
