// Files dragged onto the page by another program, with a real pointer.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "app/app_test.hpp"
#include "support/desktop.hpp"
#include "support/display.hpp"
#include "support/inspector.hpp"

namespace {

using mbjson::Json;
using mbtest::Display;
using mbtest::DragSource;
using mbtest::Events;
using mbtest::Inspector;
using mbtest::Layout;
using mbtest::Program;

// Notes what reaches the page itself; its text can be selected and dragged.
constexpr const char* kPage =
    "<!doctype html><style>body{margin:0;height:100vh;font:40px monospace}</style>"
    "<p id=text draggable=true style='margin:0;width:600px'>draggable</p><script>"
    "seen = []; for (const name of ['dragstart', 'dragenter', 'drop', 'dragend'])"
    " addEventListener(name, () => seen.push(name));"
    "addEventListener('dragstart', event => {"
    " event.dataTransfer.setData('text/plain', 'words');"
    " event.dataTransfer.setData('text/uri-list', 'file:///tmp/inside'); });"
    "for (const name of ['dragenter', 'dragover']) addEventListener(name, event => {"
    " event.preventDefault(); event.dataTransfer.dropEffect = 'copy'; })</script>";

class AppDrop : public testing::Test {
protected:
    Display display;
    Layout layout;
    std::unique_ptr<Program> program;
    std::unique_ptr<Events> events;
    mbtest::Geometry window;

    void SetUp() override {
        layout.page(kPage);
        program = std::make_unique<Program>(
            layout, mbtest::Start{.display = display.name(), .inspector = true});
        ASSERT_TRUE(program->awaitBridge()) << program->errors();
        ASSERT_TRUE(program->awaitWindow()) << program->errors();
        const auto id = program->window();
        window = mbtest::geometryOf(display.name(), id.value_or(0)).value_or(window);
        ASSERT_EQ(window.width, 1500);
        events = std::make_unique<Events>(*program);
        ASSERT_TRUE(events->connected()) << events->error();
    }

    struct Point {
        int x;
        int y;
    };

    // Moves to a point of the page and waits for the event that tells of it. The toolkit drops a
    // motion that comes while it waits for the answer to another; a hand that goes on moving does
    // not notice, and this one goes to `beside` and comes back.
    bool moveUntil(const DragSource& source, Point point, Point beside, const std::string& type,
                   const Events::Predicate& predicate) {
        for (int attempt = 0; attempt < 20; ++attempt) {
            source.moveTo(window.x + point.x, window.y + point.y);
            if (events->await(type, predicate, 500)) return true;
            source.moveTo(window.x + beside.x, window.y + beside.y);
        }
        return false;
    }
    bool dragTo(const DragSource& source, int x, int y) {
        return moveUntil(source, {x, y}, {x + 1, y}, "drag.over", [&](const Json& event) {
            return event["x"].asInt() == x && event["y"].asInt() == y;
        });
    }
    bool dragOut(const DragSource& source) {
        const int right = window.width + 40;
        return moveUntil(source, {right, 400}, {right + 1, 400}, "drag.state",
                         [](const Json& event) { return !event["active"].asBool(); });
    }

    // The types of all events of a drag so far, with what tells two of a type apart.
    std::vector<std::string> dragEvents() const {
        std::vector<std::string> words;
        for (const Json& event : events->all()) {
            const std::string& type = event["type"].asString();
            if (type == "drag.state")
                words.push_back(event["active"].asBool() ? "active" : "inactive");
            if (type == "drag.over") words.push_back("over");
            if (type == "files.dropped") words.push_back("dropped");
        }
        return words;
    }
};

TEST_F(AppDrop, FilesArriveAtTheLastPointAfterTheDragHasEnded) {
    const std::string plain = layout.write("home/a.txt", "a");
    const DragSource source(layout, display.name(), "uris", {"file://" + plain});
    ASSERT_TRUE(source.begin());
    ASSERT_TRUE(dragTo(source, 600, 400));
    ASSERT_TRUE(dragTo(source, 400, 250));
    EXPECT_TRUE(source.drop());
    const auto dropped = events->await("files.dropped");
    ASSERT_TRUE(dropped) << events->error();
    Json expected = Json::object();
    expected.set("type", "files.dropped");
    expected.set("paths", Json::array());
    Json paths = Json::array();
    paths.push(plain);
    expected.set("paths", std::move(paths));
    expected.set("x", 400);
    expected.set("y", 250);
    EXPECT_EQ(dropped->dump(), expected.dump());
    const std::vector<std::string> words = dragEvents();
    ASSERT_GE(words.size(), 2U);
    EXPECT_EQ(words.front(), "active");
    EXPECT_EQ(words[words.size() - 2], "inactive");
    EXPECT_EQ(words.back(), "dropped");
    EXPECT_TRUE(source.awaitEnd());
}

TEST_F(AppDrop, NamesOfAllKindsArriveAndWebAddressesAreLeftOut) {
    const DragSource source(layout, display.name(), "uris",
                            {"file:///tmp/with%20blank.txt", "http://example.org/page",
                             "file:///tmp/gr%C3%BC%C3%9Fe%20%E4%BD%A0.txt",
                             "file:///tmp/back%5Cslash"});
    ASSERT_TRUE(source.begin());
    ASSERT_TRUE(dragTo(source, 300, 300));
    EXPECT_TRUE(source.drop());
    const auto dropped = events->await("files.dropped");
    ASSERT_TRUE(dropped) << events->error();
    EXPECT_EQ((*dropped)["paths"].dump(),
              "[\"/tmp/with blank.txt\",\"/tmp/grüße 你.txt\",\"/tmp/back/slash\"]");
}

TEST_F(AppDrop, NameWithLatin1BytesArrivesAsUtf8) {
    const DragSource source(layout, display.name(), "uris", {"file:///tmp/caf%E9.txt"});
    ASSERT_TRUE(source.begin());
    ASSERT_TRUE(dragTo(source, 300, 300));
    EXPECT_TRUE(source.drop());
    const auto dropped = events->await("files.dropped");
    ASSERT_TRUE(dropped) << events->error();
    EXPECT_EQ((*dropped)["paths"].dump(), "[\"/tmp/café.txt\"]");
    EXPECT_TRUE(events->catchUp(layout)) << events->error();
}

TEST_F(AppDrop, WebAddressesAloneEndTheDragAndDropNothing) {
    const DragSource source(layout, display.name(), "uris", {"http://example.org/page"});
    ASSERT_TRUE(source.begin());
    ASSERT_TRUE(dragTo(source, 300, 300));
    EXPECT_TRUE(source.drop());
    ASSERT_TRUE(source.awaitEnd());
    ASSERT_TRUE(events->catchUp(layout)) << events->error();
    EXPECT_EQ(events->count("files.dropped"), 0);
    EXPECT_EQ(dragEvents().back(), "inactive");
}

// The second motion at the point comes with the return, so that there is something to wait for.
TEST_F(AppDrop, TwoMotionsAtOnePointAreOneEvent) {
    const DragSource source(layout, display.name(), "uris", {"file:///tmp/a"});
    ASSERT_TRUE(source.begin());
    ASSERT_TRUE(dragTo(source, 300, 300));
    ASSERT_TRUE(dragOut(source));
    const auto overs = [&] { return events->count("drag.over"); };
    const int before = overs();
    const Json last =
        *std::find_if(events->all().rbegin(), events->all().rend(),
                      [](const Json& event) { return event["type"].asString() == "drag.over"; });
    const Point same = {last["x"].asInt(), last["y"].asInt()};
    ASSERT_TRUE(moveUntil(source, same, {window.width + 40, 400}, "drag.state",
                          [](const Json& event) { return event["active"].asBool(); }));
    ASSERT_TRUE(events->catchUp(layout)) << events->error();
    EXPECT_EQ(overs(), before);
    ASSERT_TRUE(dragTo(source, 320, 310));
    EXPECT_GT(overs(), before);
    EXPECT_TRUE(source.drop());
    EXPECT_TRUE(events->await("files.dropped"));
}

TEST_F(AppDrop, LeavingTheWindowEndsTheDragAndComingBackBeginsItAgain) {
    const DragSource source(layout, display.name(), "uris", {"file:///tmp/a"});
    ASSERT_TRUE(source.begin());
    ASSERT_TRUE(dragTo(source, 1000, 400));
    source.moveTo(window.x + window.width + 40, window.y + 400);
    ASSERT_TRUE(
        events->await("drag.state", [](const Json& event) { return !event["active"].asBool(); }));
    ASSERT_TRUE(dragTo(source, 1000, 420));
    EXPECT_TRUE(source.drop());
    const auto dropped = events->await("files.dropped");
    ASSERT_TRUE(dropped);
    EXPECT_EQ((*dropped)["y"].asInt(), 420);
}

TEST_F(AppDrop, DragOfTextFromOutsideIsThePagesOwnAffair) {
    Inspector page(*program);
    ASSERT_TRUE(page.await("window.seen"));
    const DragSource source(layout, display.name(), "text", {"some words"});
    ASSERT_TRUE(source.begin());
    int moves = 0;
    ASSERT_TRUE(mbtest::waitUntil([&] {
        source.moveTo(window.x + 300 + ++moves % 20, window.y + 300);
        return source.accepted();
    }));
    EXPECT_TRUE(source.drop());
    ASSERT_TRUE(page.await("seen.includes('drop')"));
    ASSERT_TRUE(events->catchUp(layout)) << events->error();
    EXPECT_TRUE(dragEvents().empty());
}

TEST_F(AppDrop, DragThatBeginsInsideThePageRaisesNoEvent) {
    Inspector page(*program);
    ASSERT_TRUE(page.await("window.seen"));
    const auto pointAt = [&](int x, int y) {
        mbtest::movePointer(display.name(), window.x + x, window.y + y);
    };
    pointAt(100, 25);
    mbtest::pressButton(display.name(), 1, true);
    for (int step = 1; step <= 6; ++step) pointAt(100 + 10 * step, 25 + 5 * step);
    ASSERT_TRUE(page.await("seen.includes('dragstart')"));
    // The drag takes the pointer a moment after it has begun, so the hand goes on moving.
    int moves = 0;
    ASSERT_TRUE(mbtest::waitUntil([&] {
        pointAt(400 + ++moves % 20, 300);
        return page.evaluate("seen.includes('dragenter')").asBool();
    }));
    mbtest::pressButton(display.name(), 1, false);
    ASSERT_TRUE(page.await("seen.includes('dragend')"));
    ASSERT_TRUE(events->catchUp(layout)) << events->error();
    EXPECT_TRUE(dragEvents().empty());
}

}  // namespace
