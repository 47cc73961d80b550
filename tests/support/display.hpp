#pragma once
// Virtual displays, the window manager on them, and a user's look and hand: windows, pixels,
// pointer.
//
// All functions take the display's name (":7") and open a connection for the call alone, so that
// nothing of the test hangs on a display that a test takes away.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/process.hpp"

namespace mbtest {

// A virtual display of its own, 1600 x 1000. For tests that use the pointer, the focus or the end
// of a display; all others share sharedDisplay().
class Display {
public:
    Display();
    const std::string& name() const { return displayName; }
    void kill() { server.kill(); }

private:
    Process server;
    std::string displayName;
};

// The one of MARLIN_TEST_DISPLAY, else one for this test program.
const std::string& sharedDisplay();

// icewm, because it tells windows that they are focused, maximised and minimised. Ready when the
// constructor returns.
class WindowManager {
public:
    explicit WindowManager(const std::string& display);

private:
    Process manager;
};

using WindowId = unsigned long;

struct Geometry {
    int x = 0;  // of the content's upper left corner, on the root
    int y = 0;
    int width = 0;
    int height = 0;
};

// The process's mapped top-level window with this title, whether or not a window manager has framed
// it. Others may have windows of the same title on a shared display.
std::optional<WindowId> findWindow(const std::string& display, const std::string& title,
                                   pid_t process);
std::optional<Geometry> geometryOf(const std::string& display, WindowId window);
// A property's values: bytes for text, numbers for cardinals and atoms. Empty when there is none.
std::string textProperty(const std::string& display, WindowId window, const char* name);
std::vector<unsigned long> numberProperty(const std::string& display, WindowId window,
                                          const char* name);
// Visible windows without a frame of the window manager's: menus, drop-downs.
int popupCount(const std::string& display);
// 0xRRGGBB as it is on the screen.
std::optional<uint32_t> pixelAt(const std::string& display, int x, int y);

// Asks the window manager to close the window, as its close button does.
void closeThroughManager(const std::string& display, WindowId window);
// Asks the window manager to give the window the focus.
void activateThroughManager(const std::string& display, WindowId window);
// Asks the window manager to show the window on all desktops.
void setSticky(const std::string& display, WindowId window, bool on);
// Whether its _NET_WM_STATE has this atom.
bool hasState(const std::string& display, WindowId window, const std::string& atom);

void movePointer(const std::string& display, int x, int y);
void pressButton(const std::string& display, unsigned button, bool down);
void click(const std::string& display, int x, int y, unsigned button = 1);
void pressKey(const std::string& display, unsigned long keysym);

}  // namespace mbtest
