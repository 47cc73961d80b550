#include "workspace/disk.hpp"

#include <dirent.h>
#include <sys/stat.h>

#include <memory>
#include <new>
#include <stdexcept>

#include "util/util.hpp"

namespace mbws {

bool existsInAnyForm(const std::string& path) {
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0;
}

bool readWholeFile(const std::string& path, std::string& bytes) {
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
    // A sparse file of some terabytes is a click away, and nothing above catches.
    try {
        return mbutil::readFileRaw(path, bytes);
    } catch (const std::bad_alloc&) {
        return false;
    } catch (const std::length_error&) {
        return false;
    }
}

bool writeWholeFile(const std::string& path, std::string_view bytes) {
    struct stat status = {};
    if (::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) return false;
    return mbutil::writeFileRaw(path, bytes);
}

bool readFolder(const std::string& path, std::vector<std::string>& names) {
    const auto close = [](DIR* folder) { ::closedir(folder); };
    const std::unique_ptr<DIR, decltype(close)> folder(::opendir(path.c_str()), close);
    if (!folder) return false;
    names.clear();
    while (const dirent* entry = ::readdir(folder.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") names.emplace_back(name);
    }
    return true;
}

}  // namespace mbws
