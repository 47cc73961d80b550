#include "support/desktop.hpp"

#include <algorithm>

#include "support/display.hpp"
#include "util/util.hpp"

namespace mbtest {

namespace {

constexpr int kSourceX = 1515;
constexpr int kSourceY = 20;

std::string fake(const std::string& name) { return std::string(MARLIN_FAKES) + "/fake_" + name; }

std::vector<std::string> linesOf(const std::string& path) {
    std::vector<std::string> lines = mbutil::split(slurp(path), '\n');
    lines.pop_back();  // what follows the last line end
    return lines;
}

bool contains(const std::vector<std::string>& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

}  // namespace

SessionBus::SessionBus() {
    const TempDir folder;
    const std::string log = folder.at("address");
    Spawn spawn;
    spawn.command = {"dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address=1"};
    spawn.environment = ownEnvironment();
    spawn.outputPath = log;
    spawn.errorPath = "/dev/null";
    daemon = Process(spawn);
    (void)waitUntil([&] { return mbutil::endsWith(slurp(log), "\n"); });
    busAddress = mbutil::trim(slurp(log));
}

Recorder::Recorder(const Layout& layout, As as) : log(layout.at("opened.txt")) {
    const std::string command = fake("recorder") + " " + log;
    if (as == As::Script) {
        layout.script("bin/xdg-open", "#!/bin/sh\nexec " + command + " \"$@\"\n");
        const std::string nothing = layout.mkdir("no-desktop");
        variables = {{"XDG_DATA_HOME", nothing}, {"XDG_DATA_DIRS", nothing}};
        return;
    }
    layout.write("home/.local/share/applications/recorder.desktop",
                 "[Desktop Entry]\nType=Application\nName=Recorder\nExec=" + command +
                     " %u\nMimeType=x-scheme-handler/http;x-scheme-handler/https;inode/directory;"
                     "text/html;x-scheme-handler/mailto;\n");
    layout.write("home/.config/mimeapps.list",
                 "[Default Applications]\nx-scheme-handler/http=recorder.desktop\n"
                 "x-scheme-handler/https=recorder.desktop\ninode/directory=recorder.desktop\n"
                 "text/html=recorder.desktop\nx-scheme-handler/mailto=recorder.desktop\n");
}

std::vector<std::string> Recorder::opened() const { return linesOf(log); }

bool Recorder::awaitOpened(const std::string& what, int limitMs) const {
    return waitUntil([&] { return contains(opened(), what); }, limitMs);
}

FileManager::FileManager(const Layout& layout, const SessionBus& bus, const std::string& mode)
    : log(layout.at("file-manager.txt")) {
    Spawn spawn;
    spawn.command = {fake("file_manager"), log, mode};
    spawn.environment = layout.environment();
    spawn.environment.erase("MARLIN_TEST_MARK");
    spawn.environment["DBUS_SESSION_BUS_ADDRESS"] = bus.address();
    manager = Process(spawn);
    (void)waitUntil([&] { return contains(linesOf(log), "ready"); });
}

DragSource::DragSource(const Layout& layout, const std::string& display, const std::string& kind,
                       const std::vector<std::string>& values)
    : log(layout.at("drag.txt")), displayName(display) {
    Spawn spawn;
    spawn.command = {fake("drag_source"), std::to_string(kSourceX), std::to_string(kSourceY), log,
                     kind};
    spawn.command.insert(spawn.command.end(), values.begin(), values.end());
    spawn.environment = layout.environment();
    spawn.environment.erase("MARLIN_TEST_MARK");
    spawn.environment["DISPLAY"] = display;
    spawn.errorPath = "/dev/null";
    source = Process(spawn);
    (void)awaitLine("ready");
}

bool DragSource::begin() const {
    movePointerTo(kSourceX + 60, kSourceY + 40);
    pressButton(displayName, 1, true);
    // Beyond the distance at which the toolkit takes a press for a drag.
    for (int step = 1; step <= 6; ++step) movePointerTo(kSourceX + 60 - 8 * step, kSourceY + 40);
    return awaitLine("begin");
}

bool DragSource::accepted() const { return linesOf(log).back() == "accepted"; }

bool DragSource::drop() const {
    // The answer to a motion comes later than the motion; without it letting go is giving up.
    const bool willBeTaken = waitUntil([&] { return accepted(); });
    pressButton(displayName, 1, false);
    return willBeTaken;
}

bool DragSource::awaitEnd() const { return awaitLine("end"); }

void DragSource::movePointerTo(int x, int y) const { movePointer(displayName, x, y); }

bool DragSource::awaitLine(const std::string& line) const {
    return waitUntil([&] { return contains(linesOf(log), line); });
}

}  // namespace mbtest
