#include "main/folders.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "util/util.hpp"

namespace mbapp {

std::string executableFolder() {
    char buffer[4096];
    const ssize_t length = ::readlink("/proc/self/exe", buffer, sizeof buffer);
    if (length <= 0) return ".";
    return mbutil::dirName(std::string(buffer, static_cast<size_t>(length)));
}

Folders foldersFor(const std::string& executable) {
    Folders folders;
    folders.executable = executable;
    const bool beside = mbutil::dirExists(mbutil::pathJoin(executable, "web"));
    folders.webBase = beside ? executable : mbutil::dirName(executable);
    folders.configuration = folders.sourceTree()
                                ? folders.webBase
                                : mbutil::xdgDir("XDG_CONFIG_HOME", ".config") + "/marlin-bench";
    return folders;
}

std::string iconPathFor(const Folders& folders) {
    const std::string candidates[] = {
        mbutil::pathJoin(folders.webBase, "assets/marlin-bench.png"),
        "/usr/share/icons/hicolor/256x256/apps/marlin-bench.png",
    };
    for (const std::string& path : candidates)
        if (mbutil::fileExists(path)) return path;
    return "";
}

void writeSessionUrl(const Folders& folders, const std::string& url) {
    std::string folder = folders.executable;
    if (!folders.sourceTree()) {
        const char* runtime = std::getenv("XDG_RUNTIME_DIR");
        folder =
            runtime && *runtime ? std::string(runtime) : mbutil::xdgDir("XDG_CACHE_HOME", ".cache");
        folder += "/marlin-bench";
    }
    (void)mbutil::ensureDir(folder);
    const std::string path = mbutil::pathJoin(folder, "session-url.txt");
    // Made before it is filled, so that the token never lies in a file that others can read.
    (void)mbutil::writeFileRaw(path, "");
    (void)::chmod(path.c_str(), 0600);
    (void)mbutil::writeFileRaw(path, url);
}

}  // namespace mbapp
