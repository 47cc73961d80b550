// What the browser pane's commands do to its place, and what it reports, without a window.

#include <glib.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "win/win.hpp"

namespace {

using mbwin::Host;
using mbwin::Rectangle;

std::string placeOf(const Host& host) {
    Rectangle place;
    host.placeBrowser(place);
    return std::to_string(place.x) + "," + std::to_string(place.y) + " " +
           std::to_string(place.width) + "x" + std::to_string(place.height) +
           (host.isBrowserVisible() ? " visible" : " hidden");
}

std::string bounds(const std::string& fields) { return R"({"cmd":"bounds",)" + fields + "}"; }

TEST(WinBrowser, BoundsAreKeptBeforeThereIsAPane) {
    struct Row {
        const char* fields;
        const char* place;
    };
    constexpr Row kRows[] = {
        {R"("x":10,"y":20,"w":300,"h":200,"visible":true)", "10,20 300x200 visible"},
        {R"("x":10.9,"y":-20.9,"w":300.99,"h":200.01,"visible":true)", "10,-20 300x200 visible"},
        {R"("x":10,"y":20,"w":300,"h":200)", "10,20 300x200 hidden"},
        {R"("x":10,"y":20,"w":300,"h":200,"visible":1)", "10,20 300x200 hidden"},
        {R"("x":10,"y":20,"w":300,"h":200,"visible":false)", "10,20 300x200 hidden"},
        {R"("w":4,"h":200,"visible":true)", "0,0 4x200 hidden"},
        {R"("w":200,"h":4,"visible":true)", "0,0 200x4 hidden"},
        {R"("w":4.9,"h":200,"visible":true)", "0,0 4x200 hidden"},
        {R"("w":5,"h":5,"visible":true)", "0,0 5x5 visible"},
        {R"("w":0,"h":0,"visible":true)", "0,0 1x1 hidden"},
        {R"("w":-7,"h":-2147483648,"visible":true)", "0,0 1x1 hidden"},
        {R"("x":"1","y":null,"w":[5],"h":{},"visible":true)", "0,0 1x1 hidden"},
        {R"("x":-1e300,"y":1e300,"w":1e300,"h":5e9,"visible":true)",
         "-2147483648,2147483647 2147483647x2147483647 visible"},
        {R"("visible":true)", "0,0 1x1 hidden"},
    };
    Host host;
    for (const Row& row : kRows) {
        host.runBrowserCommand(bounds(row.fields));
        EXPECT_EQ(placeOf(host), row.place) << row.fields;
    }
}

TEST(WinBrowser, WhatIsNoCommandChangesNothing) {
    Host host;
    host.runBrowserCommand("\xEF\xBB\xBF" + bounds(R"("x":1,"y":2,"w":30,"h":40,"visible":true)") +
                           " \t\r\n");
    EXPECT_EQ(placeOf(host), "1,2 30x40 visible");
    for (const char* text :
         {"", "null", "[]", "7", "{}", "{\"cmd\":1}", "{\"cmd\":\"Bounds\"}", "{\"cmd\":\"show\"}",
          "{\"cmd\":\"bounds\"} x", "{\"cmd\":\"bounds\",\"x\":1e999}", "{\"cmd\":\"bounds\"",
          // Nothing to go back in, and no context to make a pane from.
          "{\"cmd\":\"back\"}", "{\"cmd\":\"forward\"}", "{\"cmd\":\"reload\"}",
          "{\"cmd\":\"stop\"}", "{\"cmd\":\"devtools\"}", "{\"cmd\":\"navigate\"}",
          "{\"cmd\":\"navigate\",\"url\":\"http://127.0.0.1/\"}"}) {
        host.runBrowserCommand(text);
        EXPECT_EQ(placeOf(host), "1,2 30x40 visible") << text;
    }
}

TEST(WinBrowser, ReportWithoutAPaneHasNoPageInIt) {
    Host host;
    host.reportBrowser("state", "nobody listens");
    std::vector<std::string> reports;
    host.onBrowserEvent = [&](const std::string& json) { reports.push_back(json); };
    host.reportBrowser("state", "");
    host.reportBrowser("state", "words");
    EXPECT_EQ(reports,
              (std::vector<std::string>{R"({"kind":"state","loading":false})",
                                        R"({"error":"words","kind":"state","loading":false})"}));
}

TEST(WinBrowser, WhatWasPostedToAHostThatIsGoneIsDropped) {
    {
        Host host;
        host.quit();
        host.windowCommand("maximize");
        host.browserCommand(bounds(R"("w":9,"h":9)"));
    }
    bool ran = false;
    mbwin::post([&] { ran = true; });
    while (!ran) g_main_context_iteration(nullptr, TRUE);
}

}  // namespace
