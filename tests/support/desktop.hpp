#pragma once
// A user's desktop round the program: a session bus, programs that open things, a file manager, a
// window to drag from.

#include <string>
#include <vector>

#include "support/program.hpp"

namespace mbtest {

// A session bus of its own, which ends with its owner.
class SessionBus {
public:
    SessionBus();
    const std::string& address() const { return busAddress; }

private:
    Process daemon;
    std::string busAddress;
};

// The default program of the layout's user for web and mail addresses, folders and pages: it notes
// what it is given.
class Recorder {
public:
    enum class As {
        DesktopEntry,  // the desktop knows it
        Script         // only the xdg-open on PATH knows it, the desktop has no programs at all
    };
    Recorder(const Layout& layout, As as = As::DesktopEntry);

    // What the program needs in its environment.
    std::map<std::string, std::string> environment() const { return variables; }
    std::vector<std::string> opened() const;
    bool awaitOpened(const std::string& what, int limitMs = 10000) const;

private:
    std::string log;
    std::map<std::string, std::string> variables;
};

// org.freedesktop.FileManager1; ready when the constructor returns.
class FileManager {
public:
    // `mode`: "ok", "error" or "hang"
    FileManager(const Layout& layout, const SessionBus& bus, const std::string& mode);
    // The calls, such as "ShowItems (['file:///a'], '')".
    std::string calls() const { return slurp(log); }

private:
    std::string log;
    Process manager;
};

// A window with something to drag, at the right edge of the display.
class DragSource {
public:
    DragSource(const Layout& layout, const std::string& display, const std::string& kind,
               const std::vector<std::string>& values);
    // Button down on it and moved until the drag has begun.
    bool begin() const;
    void moveTo(int x, int y) const { movePointerTo(x, y); }
    // What is below the pointer would take the drop.
    bool accepted() const;
    // Waits until what is below the pointer would take the drop, then lets go.
    bool drop() const;
    // True once the target has taken or refused the drop.
    bool awaitEnd() const;

private:
    std::string log;
    std::string displayName;
    Process source;

    void movePointerTo(int x, int y) const;
    bool awaitLine(const std::string& line) const;
};

}  // namespace mbtest
