// The window's reaction to what the toolkit reports, without a window.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "win/win.hpp"

namespace {

using Log = std::vector<std::string>;

// Notes every callback as a word.
struct Noted {
    mbwin::Host host;
    Log log;

    Noted() {
        host.onClose = [this] { log.push_back("close"); };
        host.onDragActive = [this](bool active) { log.push_back(active ? "active" : "inactive"); };
        host.onDragOver = [this](int32_t x, int32_t y) { log.push_back(at("over", x, y)); };
        host.onDropPaths = [this](const std::vector<std::string>& paths, int32_t x, int32_t y) {
            std::string names;
            for (const std::string& path : paths) names += " " + path;
            log.push_back(at("drop", x, y) + names);
        };
        host.onOpenPaths = [this](const std::vector<std::string>& paths) {
            log.push_back("open " + std::to_string(paths.size()));
        };
        host.onWindowStateChanged = [this] {
            log.push_back(std::string("state") + (host.isMaximized() ? " maximized" : "") +
                          (host.isFocused() ? " focused" : ""));
        };
    }

    static std::string at(const std::string& word, int32_t x, int32_t y) {
        return word + " " + std::to_string(x) + "," + std::to_string(y);
    }
};

TEST(WinHost, FirstMotionBeginsTheDragAndReportsThePoint) {
    Noted noted;
    noted.host.handleDragMotion(3, 4);
    noted.host.handleDragMotion(3, 5);
    EXPECT_EQ(noted.log, (Log{"active", "over 3,4", "over 3,5"}));
}

TEST(WinHost, TwoMotionsAtOnePointAreReportedOnce) {
    Noted noted;
    noted.host.handleDragMotion(3, 4);
    noted.host.handleDragMotion(3, 4);
    EXPECT_EQ(noted.log, (Log{"active", "over 3,4"}));
}

TEST(WinHost, MotionThatChangesOneCoordinateIsReported) {
    Noted noted;
    noted.host.handleDragMotion(3, 4);
    noted.host.handleDragMotion(9, 4);
    noted.host.handleDragMotion(9, 5);
    EXPECT_EQ(noted.log, (Log{"active", "over 3,4", "over 9,4", "over 9,5"}));
}

TEST(WinHost, LeaveEndsADragOnce) {
    Noted noted;
    noted.host.handleDragLeave();
    EXPECT_TRUE(noted.log.empty());
    noted.host.handleDragMotion(1, 1);
    noted.host.handleDragLeave();
    noted.host.handleDragLeave();
    EXPECT_EQ(noted.log, (Log{"active", "over 1,1", "inactive"}));
}

TEST(WinHost, DragThatComesBackToThePointItLeftBeginsAgainWithoutAMotion) {
    Noted noted;
    noted.host.handleDragMotion(1, 1);
    noted.host.handleDragLeave();
    noted.host.handleDragMotion(1, 1);
    EXPECT_EQ(noted.log, (Log{"active", "over 1,1", "inactive", "active"}));
}

TEST(WinHost, DropEndsTheDragFirstAndCarriesTheLastPoint) {
    Noted noted;
    noted.host.handleDragMotion(7, 8);
    noted.host.handleDrop({"/a", "/b c"});
    EXPECT_EQ(noted.log, (Log{"active", "over 7,8", "inactive", "drop 7,8 /a /b c"}));
}

TEST(WinHost, DropForgetsThePointSoThatTheNextDragReportsItAgain) {
    Noted noted;
    noted.host.handleDragMotion(7, 8);
    noted.host.handleDrop({"/a"});
    noted.log.clear();
    noted.host.handleDragMotion(7, 8);
    EXPECT_EQ(noted.log, (Log{"active", "over 7,8"}));
}

TEST(WinHost, DropWithoutAnyMotionIsAtMinusOne) {
    Noted noted;
    noted.host.handleDrop({"/a"});
    EXPECT_EQ(noted.log, (Log{"drop -1,-1 /a"}));
}

TEST(WinHost, DropThatNobodyTakesOpensThePaths) {
    Noted noted;
    noted.host.onDropPaths = nullptr;
    noted.host.handleDrop({"/a", "/b"});
    EXPECT_EQ(noted.log, (Log{"open 2"}));
}

TEST(WinHost, OpeningNothingAsksForNothing) {
    Noted noted;
    noted.host.handleOpenPaths({});
    EXPECT_TRUE(noted.log.empty());
}

TEST(WinHost, WindowStateIsReportedWhenAFlagChangesAndOnlyThen) {
    Noted noted;
    EXPECT_FALSE(noted.host.isMaximized());
    EXPECT_TRUE(noted.host.isFocused());
    noted.host.handleWindowState(false, true);  // as it was from the start
    EXPECT_TRUE(noted.log.empty());
    noted.host.handleWindowState(true, true);
    noted.host.handleWindowState(true, true);
    noted.host.handleWindowState(true, false);
    noted.host.handleWindowState(false, true);  // both at once are one report
    EXPECT_EQ(noted.log, (Log{"state maximized focused", "state maximized", "state focused"}));
}

TEST(WinHost, SecondCloseDuringTheFirstStopsServicesOnce) {
    Noted noted;
    noted.host.onClose = [&noted] {
        noted.log.push_back("close");
        noted.host.handleClose();
    };
    noted.host.handleClose();
    noted.host.handleClose();
    EXPECT_EQ(noted.log, Log{"close"});
}

TEST(WinHost, EventsWithoutCallbacksAreHarmless) {
    mbwin::Host host;
    host.handleDragMotion(1, 2);
    host.handleDragLeave();
    host.handleDrop({"/a"});
    host.handleWindowState(true, false);
    host.handleClose();
    EXPECT_TRUE(host.isMaximized());
    EXPECT_FALSE(host.isFocused());
}

}  // namespace
