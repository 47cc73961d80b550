#include "support/display.hpp"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <memory>

#include "support/support.hpp"
#include "util/fd.hpp"

namespace mbtest {

namespace {

// A window may vanish between two calls; that is an empty answer, not the end of the test program.
int ignoreError(::Display*, XErrorEvent*) { return 0; }

class Connection {
public:
    explicit Connection(const std::string& name) : handle(::XOpenDisplay(name.c_str())) {
        ::XSetErrorHandler(ignoreError);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() {
        if (handle != nullptr) ::XCloseDisplay(handle);
    }

    explicit operator bool() const { return handle != nullptr; }
    ::Display* get() const { return handle; }
    Window root() const { return DefaultRootWindow(handle); }
    Atom atom(const char* name) const { return ::XInternAtom(handle, name, False); }

private:
    ::Display* handle;
};

struct Property {
    int format = 0;
    unsigned long count = 0;
    std::unique_ptr<unsigned char, decltype(&::XFree)> bytes{nullptr, &::XFree};
};

Property property(const Connection& x, Window window, const char* name) {
    Property found;
    Atom type = None;
    unsigned long left = 0;
    unsigned char* bytes = nullptr;
    if (::XGetWindowProperty(x.get(), window, x.atom(name), 0, 1 << 20, False, AnyPropertyType,
                             &type, &found.format, &found.count, &left, &bytes) == Success)
        found.bytes.reset(bytes);
    return found;
}

std::string text(const Property& found) {
    if (!found.bytes || found.format != 8) return "";
    return {reinterpret_cast<const char*>(found.bytes.get()), found.count};
}

std::vector<unsigned long> numbers(const Property& found) {
    if (!found.bytes || found.format != 32) return {};
    // The library hands out 32-bit values as longs.
    const auto* values = static_cast<const unsigned long*>(static_cast<void*>(found.bytes.get()));
    return {values, values + found.count};
}

// All windows below `window`, until one satisfies the predicate.
std::optional<Window> searchWindows(const Connection& x, Window window,
                                    const std::function<bool(Window)>& predicate) {
    Window root = None;
    Window parent = None;
    Window* list = nullptr;
    unsigned count = 0;
    if (!::XQueryTree(x.get(), window, &root, &parent, &list, &count)) return {};
    const std::unique_ptr<Window, decltype(&::XFree)> owner(list, &::XFree);
    for (unsigned i = 0; i < count; ++i) {
        if (predicate(list[i])) return list[i];
        if (const auto deeper = searchWindows(x, list[i], predicate)) return deeper;
    }
    return {};
}

bool viewable(const Connection& x, Window window) {
    XWindowAttributes attributes = {};
    return ::XGetWindowAttributes(x.get(), window, &attributes) &&
           attributes.map_state == IsViewable;
}

struct ManagerRequest {
    const char* message;
    long values[3];
};

void askManager(const std::string& display, WindowId window,
                const std::function<ManagerRequest(const Connection&)>& make) {
    const Connection x(display);
    if (!x) return;
    const ManagerRequest request = make(x);
    XEvent event = {};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = x.atom(request.message);
    event.xclient.format = 32;
    for (int i = 0; i < 3; ++i) event.xclient.data.l[i] = request.values[i];
    ::XSendEvent(x.get(), x.root(), False, SubstructureRedirectMask | SubstructureNotifyMask,
                 &event);
    ::XSync(x.get(), False);
}

std::string readLine(int descriptor) {
    std::string line;
    char byte = 0;
    while (::read(descriptor, &byte, 1) == 1 && byte != '\n') line += byte;
    return line;
}

}  // namespace

Display::Display() {
    int ends[2] = {};
    if (::pipe2(ends, O_CLOEXEC) != 0) std::abort();
    const mbutil::Fd reader(ends[0]);
    mbutil::Fd writer(ends[1]);
    Spawn spawn;
    spawn.command = {"Xvfb",      "-displayfd", std::to_string(writer.value),
                     "-screen",   "0",          "1600x1000x24",
                     "-nolisten", "tcp",        "-noreset"};
    spawn.environment = ownEnvironment();
    spawn.errorPath = "/dev/null";
    spawn.keptDescriptor = writer.value;
    server = Process(spawn);
    writer.reset();
    displayName = ":" + readLine(reader.value);
}

const std::string& sharedDisplay() {
    static const std::string name = [] {
        const char* given = std::getenv("MARLIN_TEST_DISPLAY");
        if (given != nullptr && *given != '\0') return std::string(given);
        static const Display own;
        return own.name();
    }();
    return name;
}

WindowManager::WindowManager(const std::string& display) {
    Spawn spawn;
    spawn.command = {"icewm", "--client-id=tests", "--display=" + display};
    spawn.environment = ownEnvironment();
    spawn.environment["DISPLAY"] = display;
    spawn.environment["DBUS_SESSION_BUS_ADDRESS"] = "disabled:";
    spawn.errorPath = "/dev/null";
    manager = Process(spawn);
    (void)waitUntil([&] {
        const Connection x(display);
        return x && !numbers(property(x, x.root(), "_NET_SUPPORTING_WM_CHECK")).empty();
    });
}

std::optional<WindowId> findWindow(const std::string& display, const std::string& title,
                                   pid_t process) {
    const std::vector<unsigned long> owner = {static_cast<unsigned long>(process)};
    const Connection x(display);
    if (!x) return {};
    return searchWindows(x, x.root(), [&](Window window) {
        // A frame of the window manager's may repeat the name; it takes part in no protocol.
        return text(property(x, window, "_NET_WM_NAME")) == title && viewable(x, window) &&
               numbers(property(x, window, "_NET_WM_PID")) == owner &&
               !numbers(property(x, window, "WM_PROTOCOLS")).empty();
    });
}

std::optional<Geometry> geometryOf(const std::string& display, WindowId window) {
    const Connection x(display);
    XWindowAttributes attributes = {};
    if (!x || !::XGetWindowAttributes(x.get(), window, &attributes)) return {};
    Geometry geometry;
    geometry.width = attributes.width;
    geometry.height = attributes.height;
    Window child = None;
    ::XTranslateCoordinates(x.get(), window, x.root(), 0, 0, &geometry.x, &geometry.y, &child);
    return geometry;
}

std::string textProperty(const std::string& display, WindowId window, const char* name) {
    const Connection x(display);
    return x ? text(property(x, window, name)) : "";
}

std::vector<unsigned long> numberProperty(const std::string& display, WindowId window,
                                          const char* name) {
    const Connection x(display);
    return x ? numbers(property(x, window, name)) : std::vector<unsigned long>();
}

int popupCount(const std::string& display) {
    const Connection x(display);
    int count = 0;
    if (!x) return count;
    (void)searchWindows(x, x.root(), [&](Window window) {
        XWindowAttributes attributes = {};
        if (::XGetWindowAttributes(x.get(), window, &attributes) && attributes.override_redirect &&
            attributes.map_state == IsViewable && attributes.c_class == InputOutput)
            ++count;
        return false;
    });
    return count;
}

std::optional<uint32_t> pixelAt(const std::string& display, int x, int y) {
    const Connection connection(display);
    if (!connection) return {};
    XImage* image =
        ::XGetImage(connection.get(), connection.root(), x, y, 1, 1, AllPlanes, ZPixmap);
    if (image == nullptr) return {};
    const auto pixel = static_cast<uint32_t>(XGetPixel(image, 0, 0) & 0xffffff);
    XDestroyImage(image);
    return pixel;
}

// The 2 in both says that it is a tool of the user's, like a task bar, that asks.
void closeThroughManager(const std::string& display, WindowId window) {
    askManager(display, window, [](const Connection&) {
        return ManagerRequest{"_NET_CLOSE_WINDOW", {CurrentTime, 2, 0}};
    });
}

void activateThroughManager(const std::string& display, WindowId window) {
    askManager(display, window, [](const Connection&) {
        return ManagerRequest{"_NET_ACTIVE_WINDOW", {2, CurrentTime, 0}};
    });
}

void setSticky(const std::string& display, WindowId window, bool on) {
    askManager(display, window, [on](const Connection& x) {
        return ManagerRequest{"_NET_WM_STATE",
                              {on, static_cast<long>(x.atom("_NET_WM_STATE_STICKY")), 0}};
    });
}

bool hasState(const std::string& display, WindowId window, const std::string& atom) {
    const Connection x(display);
    if (!x) return false;
    const Atom wanted = x.atom(atom.c_str());
    for (const unsigned long state : numbers(property(x, window, "_NET_WM_STATE")))
        if (state == wanted) return true;
    return false;
}

void movePointer(const std::string& display, int x, int y) {
    const Connection connection(display);
    if (!connection) return;
    ::XTestFakeMotionEvent(connection.get(), -1, x, y, CurrentTime);
    ::XSync(connection.get(), False);
}

void pressButton(const std::string& display, unsigned button, bool down) {
    const Connection connection(display);
    if (!connection) return;
    ::XTestFakeButtonEvent(connection.get(), button, down ? True : False, CurrentTime);
    ::XSync(connection.get(), False);
}

void click(const std::string& display, int x, int y, unsigned button) {
    movePointer(display, x, y);
    pressButton(display, button, true);
    pressButton(display, button, false);
}

void pressKey(const std::string& display, unsigned long keysym) {
    const Connection connection(display);
    if (!connection) return;
    const KeyCode code = ::XKeysymToKeycode(connection.get(), keysym);
    ::XTestFakeKeyEvent(connection.get(), code, True, CurrentTime);
    ::XTestFakeKeyEvent(connection.get(), code, False, CurrentTime);
    ::XSync(connection.get(), False);
}

}  // namespace mbtest
