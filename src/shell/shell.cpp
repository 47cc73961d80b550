#include "shell/shell.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

#include "proc/proc.hpp"
#include "shell/entry.hpp"
#include "util/util.hpp"

namespace mbshell {

namespace {

constexpr uint32_t kRefreshLimitMs = 10000;
constexpr const char* kIconFolder = "/icons/hicolor";
constexpr const char* kIcon = "/icons/hicolor/256x256/apps/marlin-bench.png";

std::string dataFolder() { return mbutil::xdgDir("XDG_DATA_HOME", ".local/share"); }

std::string applicationsFolder() { return dataFolder() + "/applications"; }

// Of the program itself, also where an AppImage holds it.
std::string realExecutable() {
    std::array<char, 4095> buffer = {};
    const ssize_t length = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
    return length <= 0 ? "" : std::string(buffer.data(), static_cast<size_t>(length));
}

std::string currentExecutable() {
    const char* image = std::getenv("APPIMAGE");
    return image && *image ? image : realExecutable();
}

// The entry works without; the desktop then shows a picture of its own.
void installIcon() {
    const std::string folder = mbutil::dirName(realExecutable());
    for (const std::string& source :
         {folder + "/assets/marlin-bench.png", folder + "/../share" + kIcon}) {
        std::string picture;
        if (!mbutil::readFileRaw(source, picture)) continue;
        if (mbutil::ensureDir(mbutil::dirName(iconPath())))
            (void)mbutil::writeFileRaw(iconPath(), picture);
        return;
    }
}

// The desktop's own caches. Without the tools it reads the folders itself, a little later.
void refreshDesktopDatabase() {
    mbproc::Options options;
    options.timeoutMs = kRefreshLimitMs;
    (void)mbproc::run("update-desktop-database -q " + mbproc::quote(applicationsFolder()) +
                          " >/dev/null 2>&1; gtk-update-icon-cache -q -t -f " +
                          mbproc::quote(dataFolder() + kIconFolder) + " >/dev/null 2>&1",
                      options);
}

}  // namespace

std::string entryPath() { return applicationsFolder() + "/marlin-bench.desktop"; }

std::string iconPath() { return dataFolder() + kIcon; }

ShellStatus status() {
    ShellStatus result;
    result.currentExecutable = currentExecutable();
    std::string entry;
    result.registered = mbutil::fileExists(entryPath()) && mbutil::readFileRaw(entryPath(), entry);
    std::string program = entryProgram(entry);
    if (program.find('/') == std::string::npos) program = mbutil::findOnPath(program);
    result.registeredExecutable = program;
    result.stale = result.registered && program != result.currentExecutable;
    return result;
}

bool registerShell(std::string& error) {
    const std::string executable = currentExecutable();
    if (!mbutil::ensureDir(applicationsFolder())) {
        error = "could not create " + applicationsFolder();
        return false;
    }
    installIcon();
    const std::string path = entryPath();
    if (!mbutil::writeFileRaw(path, composeEntry(executable))) {
        error = "could not write " + path;
        return false;
    }
    // Some desktops trust only an entry that is executable.
    (void)::chmod(path.c_str(), 0755);
    refreshDesktopDatabase();
    return true;
}

bool unregisterShell(std::string& error) {
    const std::string path = entryPath();
    if (mbutil::fileExists(path) && ::unlink(path.c_str()) != 0) {
        error = "could not remove " + path;
        return false;
    }
    (void)::unlink(iconPath().c_str());
    refreshDesktopDatabase();
    return true;
}

}  // namespace mbshell
