// The browser pane of the real window: its place, its navigation, what it tells, and what a page in
// it can reach.

#include <gtest/gtest.h>

#include "app/app_test.hpp"
#include "app/web_server.hpp"
#include "support/desktop.hpp"
#include "support/display.hpp"

namespace {

using mbjson::Json;
using mbtest::Display;
using mbtest::Events;
using mbtest::Layout;
using mbtest::Program;
using mbtest::WebServer;

constexpr const char* kOk = R"({"ok":true})";
constexpr const char* kUnreachable =
    "The page could not be reached. Check the address or your connection.";
constexpr uint32_t kPageColour = 0x202020;
constexpr uint32_t kPaneColour = 0xc03366;
constexpr int kLimitMs = 30000;

// A page of the pane's colour.
std::string coloured(const std::string& title, const std::string& content = "") {
    return "<!doctype html><title>" + title +
           "</title><style>body{margin:0;background:#c03366}"
           "a{display:block;height:200px;width:300px}</style>" +
           content;
}

class AppBrowser : public testing::Test {
protected:
    const Display display;
    WebServer web;
    Layout layout;
    const mbtest::Recorder recorder{layout};
    std::optional<Program> program;
    std::optional<Events> events;

    void SetUp() override {
        layout.page("<!doctype html><body style='background:#202020'>");
        web.page("/one", coloured("one"));
        web.page("/two", coloured("two"));
        program.emplace(layout, mbtest::Start{.display = display.name()});
        ASSERT_TRUE(program->awaitBridge() && program->awaitWindow()) << program->errors();
        events.emplace(*program);
        ASSERT_TRUE(awaitPixel(700, 20, kPageColour));
    }

    void command(const std::string& json) const {
        EXPECT_EQ(program->request("/api/browser", json).body, kOk) << json;
    }
    void command(const char* name) const { command(mbtest::body("cmd", name)); }
    void bounds(int x, int y, int width, int height, bool visible = true) const {
        Json object = Json::object();
        object.set("cmd", "bounds");
        object.set("x", x);
        object.set("y", y);
        object.set("w", width);
        object.set("h", height);
        object.set("visible", visible);
        command(object.dump());
    }
    void navigate(const std::string& url) const {
        Json object = Json::object();
        object.set("cmd", "navigate");
        object.set("url", url);
        command(object.dump());
    }
    // The next report that the pane has finished with that page.
    std::optional<Json> awaitLoaded(const std::string& path) {
        return events->await(
            "browser.event",
            [&](const Json& event) {
                return event["url"].asString() == web.url(path) && !event["loading"].asBool() &&
                       !event["title"].asString().empty();
            },
            kLimitMs);
    }
    // Of the window's content.
    std::optional<uint32_t> pixel(int x, int y) const {
        const auto place = mbtest::geometryOf(display.name(), program->window().value_or(0));
        if (!place) return {};
        return mbtest::pixelAt(display.name(), place->x + x, place->y + y);
    }
    bool awaitPixel(int x, int y, uint32_t colour) const {
        return mbtest::waitUntil([&] { return pixel(x, y) == colour; }, kLimitMs);
    }
    void expectPaneAt(int x, int y, int width, int height) const {
        EXPECT_TRUE(awaitPixel(x + width / 2, y + height / 2, kPaneColour));
        for (const int column : {x, x + width - 1})
            for (const int row : {y, y + height - 1})
                EXPECT_TRUE(awaitPixel(column, row, kPaneColour)) << column << "," << row;
        for (const auto& [column, row] :
             {std::pair(x - 1, y), std::pair(x, y - 1), std::pair(x + width, y + height - 1),
              std::pair(x + width - 1, y + height)})
            EXPECT_EQ(pixel(column, row), kPageColour) << column << "," << row;
    }
    std::vector<std::string> errorsTold() const {
        std::vector<std::string> words;
        for (const Json& event : events->all())
            if (event["type"].asString() == "browser.event" && event.has("error"))
                words.push_back(event["error"].asString());
        return words;
    }
};

TEST_F(AppBrowser, BoundsGivenBeforeTheFirstAddressAreThePanes) {
    bounds(200, 150, 400, 300);
    EXPECT_TRUE(events->catchUp(layout));
    EXPECT_EQ(events->count("browser.event"), 0);
    navigate(web.url("/one"));
    ASSERT_TRUE(awaitLoaded("/one"));
    expectPaneAt(200, 150, 400, 300);
    bounds(700, 500, 60, 40);
    expectPaneAt(700, 500, 60, 40);
    EXPECT_TRUE(awaitPixel(400, 300, kPageColour));
}

TEST_F(AppBrowser, IsHiddenUntilItIsShownAndBelowFivePixels) {
    navigate(web.url("/one"));
    ASSERT_TRUE(awaitLoaded("/one"));
    bounds(200, 150, 400, 300, false);
    EXPECT_EQ(pixel(300, 200), kPageColour);
    bounds(200, 150, 5, 5);
    expectPaneAt(200, 150, 5, 5);
    bounds(200, 150, 4, 300);
    EXPECT_TRUE(awaitPixel(202, 152, kPageColour));
    bounds(200, 150, 400, 300);
    expectPaneAt(200, 150, 400, 300);
    bounds(200, 150, 400, 4);
    EXPECT_TRUE(awaitPixel(202, 152, kPageColour));
    bounds(0, 0, 0, 0);
    bounds(200, 150, 400, 300);
    // It kept its page all the while.
    expectPaneAt(200, 150, 400, 300);
    EXPECT_EQ(web.count("/one"), 1);
}

TEST_F(AppBrowser, BoundsBeyondAllReasonHarmNobody) {
    bounds(0, 0, 100, 100);
    navigate(web.url("/one"));
    ASSERT_TRUE(awaitLoaded("/one"));
    ASSERT_TRUE(awaitPixel(50, 50, kPaneColour));
    struct Row {
        const char* fields;
        uint32_t colour;  // at a place where it had the other one before
    };
    constexpr Row kRows[] = {
        {R"("x":-1e9,"y":1e9,"w":1e9,"h":1e9)", kPageColour},
        {R"("x":0,"y":0,"w":40000,"h":40000)", kPaneColour},
        {R"("x":2147483647,"y":0,"w":50,"h":50)", kPageColour},
        {R"("x":0,"y":0,"w":1e300,"h":1e300)", kPaneColour},
        {R"("x":-1e300,"y":-1e300,"w":1e300,"h":50)", kPageColour},
    };
    for (const Row& row : kRows) {
        command(R"({"cmd":"bounds","visible":true,)" + std::string(row.fields) + "}");
        EXPECT_TRUE(awaitPixel(50, 50, row.colour)) << row.fields;
    }
    bounds(200, 150, 400, 300);
    expectPaneAt(200, 150, 400, 300);
    navigate(web.url("/two"));
    EXPECT_TRUE(awaitLoaded("/two"));
    EXPECT_TRUE(program->process.running());
}

TEST_F(AppBrowser, TellsHowItGoesAndGoesBackAndForward) {
    navigate(web.url("/one"));
    EXPECT_TRUE(events->await("browser.event",
                              [](const Json& event) { return event["loading"].asBool(); }));
    auto report = awaitLoaded("/one");
    ASSERT_TRUE(report);
    EXPECT_EQ(report->dump(), R"({"canBack":false,"canForward":false,"kind":"state",)"
                              R"("loading":false,"title":"one","type":"browser.event","url":")" +
                                  web.url("/one") + "\"}");
    navigate(web.url("/two"));
    ASSERT_TRUE(awaitLoaded("/two"));
    command("back");
    report = awaitLoaded("/one");
    ASSERT_TRUE(report);
    EXPECT_FALSE((*report)["canBack"].asBool());
    EXPECT_TRUE((*report)["canForward"].asBool());
    command("forward");
    report = awaitLoaded("/two");
    ASSERT_TRUE(report);
    EXPECT_TRUE((*report)["canBack"].asBool());
    EXPECT_FALSE((*report)["canForward"].asBool());
    const int before = web.count("/two");
    command("reload");
    EXPECT_TRUE(web.awaitCount("/two", before + 1));
    EXPECT_EQ(errorsTold(), std::vector<std::string>());
}

TEST_F(AppBrowser, TitleThatChangesIsTold) {
    web.page("/changing", coloured("before", "<script>onclick = () => document.title = 'after'"
                                             "</script>"));
    bounds(200, 150, 400, 300);
    navigate(web.url("/changing"));
    ASSERT_TRUE(awaitLoaded("/changing"));
    expectPaneAt(200, 150, 400, 300);
    mbtest::click(display.name(), 300, 250);
    EXPECT_TRUE(events->await(
        "browser.event", [](const Json& event) { return event["title"].asString() == "after"; }));
}

TEST_F(AppBrowser, PageThatCannotBeReachedIsToldInWords) {
    const std::string nobody = "http://127.0.0.1:" + std::to_string(mbtest::freePort()) + "/";
    navigate(nobody);
    const auto report = events->await(
        "browser.event", [](const Json& event) { return event.has("error"); }, kLimitMs);
    ASSERT_TRUE(report);
    EXPECT_EQ((*report)["error"].asString(), kUnreachable);
    EXPECT_EQ((*report)["kind"].asString(), "state");
    // The web view then shows words of its own; what is asked for before that is done is lost.
    ASSERT_TRUE(events->await("browser.event", [&](const Json& event) {
        return event["url"].asString() == nobody && !event["loading"].asBool();
    }));
    navigate(web.url("/one"));
    EXPECT_TRUE(awaitLoaded("/one"));
}

TEST_F(AppBrowser, LoadThatGivesWayToAnotherOrIsStoppedIsNoError) {
    navigate(web.url("/slow"));
    ASSERT_TRUE(web.awaitCount("/slow", 1));
    navigate(web.url("/one"));
    ASSERT_TRUE(awaitLoaded("/one"));
    navigate(web.url("/slow"));
    ASSERT_TRUE(web.awaitCount("/slow", 2));
    command("stop");
    ASSERT_TRUE(events->await("browser.event",
                              [](const Json& event) { return !event["loading"].asBool(); }));
    web.release();
    navigate(web.url("/two"));
    ASSERT_TRUE(awaitLoaded("/two"));
    EXPECT_EQ(errorsTold(), std::vector<std::string>());
}

TEST_F(AppBrowser, WhatIsNoWebAddressMakesNoPane) {
    bounds(200, 150, 400, 300);
    for (const char* url : {"", "about:blank", "file:///etc/passwd", "javascript:alert(1)",
                            "HTTP://127.0.0.1/", " http://127.0.0.1/", "data:text/html,x"})
        navigate(url);
    for (const char* name : {"navigate", "back", "forward", "reload", "stop", "devtools", "show"})
        command(name);
    ASSERT_TRUE(events->catchUp(layout));
    EXPECT_EQ(events->count("browser.event"), 0);
    EXPECT_EQ(pixel(300, 200), kPageColour);
    // Nor does it take a pane away from its page.
    navigate(web.url("/one"));
    ASSERT_TRUE(awaitLoaded("/one"));
    navigate("file:///etc/passwd");
    navigate("about:blank");
    ASSERT_TRUE(events->catchUp(layout));
    command("reload");
    EXPECT_TRUE(web.awaitCount("/one", 2));
}

TEST_F(AppBrowser, NewWindowsStayInThePane) {
    web.page("/links", coloured("links", "<a target=_blank href=/one>x</a>"));
    web.page("/script", coloured("script", "<a onclick=\"window.open('/two')\">x</a>"));
    bounds(200, 150, 400, 300);
    for (const auto& [from, to] : {std::pair("/links", "/one"), std::pair("/script", "/two")}) {
        navigate(web.url(from));
        ASSERT_TRUE(awaitLoaded(from));
        ASSERT_TRUE(awaitPixel(300, 250, kPaneColour));
        // The click is lost while the page is not laid out yet.
        EXPECT_TRUE(mbtest::waitUntil(
            [&] {
                mbtest::click(display.name(), 300, 250);
                return mbtest::waitUntil([&] { return web.count(to) > 0; }, 300);
            },
            kLimitMs))
            << from;
        EXPECT_TRUE(awaitLoaded(to)) << from;
    }
    EXPECT_TRUE(recorder.opened().empty());
}

TEST_F(AppBrowser, DeveloperToolsOpen) {
    bounds(200, 150, 400, 300);
    navigate(web.url("/one"));
    ASSERT_TRUE(awaitLoaded("/one"));
    const auto children = mbtest::childrenOf(program->process.pid()).size();
    command("devtools");
    EXPECT_TRUE(mbtest::waitUntil(
        [&] { return mbtest::childrenOf(program->process.pid()).size() > children; }, kLimitMs));
}

// It shares the editor's cookies and its machine, and is a stranger all the same.
TEST_F(AppBrowser, PageInItReachesNothingOfTheBridge) {
    const std::string bridge = "http://127.0.0.1:" + std::to_string(program->port());
    const std::string wanted = layout.write("home/secret/a.txt", "a");
    web.page("/attack", coloured("attack", R"(<script>
      const bridge = ')" + bridge + R"(';
      const attempt = (path, options) => fetch(bridge + path, options)
        .then((answer) => answer.text()).catch((error) => error.name);
      const post = { method: 'POST', body: JSON.stringify({ paths: [')" +
                                               wanted + R"('] }) };
      const socket = () => new Promise((resolve) => {
        const ws = new WebSocket(bridge.replace('http', 'ws') + '/ws');
        ws.onopen = () => resolve('open');
        ws.onerror = () => resolve('refused');
      });
      (async () => {
        const report = {
          read: await attempt('/api/state', { credentials: 'include' }),
          raw: await attempt('/api/file/raw?path=secret/a.txt', { credentials: 'include' }),
          page: await attempt('/', { credentials: 'include' }),
          blind: await attempt('/api/open', { ...post, mode: 'no-cors', credentials: 'include' }),
          quit: await attempt('/api/shutdown', { ...post, mode: 'no-cors', credentials: 'include' }),
          socket: await socket(),
          cookie: document.cookie,
        };
        await fetch('/report', { method: 'POST', body: JSON.stringify(report) });
      })();
    </script>)"));
    navigate(web.url("/attack"));
    ASSERT_TRUE(web.awaitCount("/report", 1));
    // "blind" and "quit" were sent and their answers hidden; what matters is that they did nothing.
    EXPECT_EQ(web.report(), R"({"read":"TypeError","raw":"TypeError","page":"TypeError",)"
                            R"("blind":"","quit":"","socket":"refused","cookie":""})");
    ASSERT_TRUE(events->catchUp(layout)) << events->error();
    EXPECT_EQ(events->count("open.request"), 1);  // the one of catchUp() itself
    EXPECT_TRUE(program->process.running());
    mbtest::HttpClient stranger(program->port());
    EXPECT_EQ(stranger.get("/api/state").status, 401);
    EXPECT_EQ(stranger.get("/api/state", {{"Cookie", "marlin_token="}}).status, 401);
}

TEST_F(AppBrowser, EndsWithTheWindowInTheMiddleOfALoad) {
    bounds(200, 150, 400, 300);
    navigate(web.url("/slow"));
    ASSERT_TRUE(web.awaitCount("/slow", 1));
    (void)program->request("/api/shutdown");
    EXPECT_EQ(program->process.waitForExit(), 0) << program->errors();
    EXPECT_TRUE(program->awaitNothingLeft());
    EXPECT_EQ(program->errors().find("CRITICAL"), std::string::npos) << program->errors();
}

}  // namespace
