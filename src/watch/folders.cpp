#include "watch/folders.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "index/skip.hpp"
#include "util/util.hpp"

namespace mbwatch {

namespace {

constexpr uint32_t kMask = IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_FROM | IN_MOVED_TO | IN_CREATE |
                           IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

bool isFolder(DIR* parent, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
    struct stat status = {};
    return ::fstatat(::dirfd(parent), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISDIR(status.st_mode);
}

// Pushes the folders to be watched onto the stack.
void pushFolders(const std::string& parent, std::vector<std::string>& stack) {
    const std::unique_ptr<DIR, int (*)(DIR*)> open(::opendir(parent.c_str()), &::closedir);
    if (!open) return;
    while (const dirent* entry = ::readdir(open.get())) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == ".." || !isFolder(open.get(), *entry)) continue;
        if (!mbindex::shouldSkipDir(name)) stack.push_back(inFolder(parent, entry->d_name));
    }
}

}  // namespace

std::string inFolder(const std::string& folder, const char* name) {
    std::string path = folder;
    if (folder != "/") path += '/';
    return path += name;
}

bool Folders::add(const std::string& folder) {
    const int watch = ::inotify_add_watch(inotify, folder.c_str(), kMask);
    if (watch < 0) return false;
    // The kernel counts upwards: a new one belongs at the end.
    watches.insert_or_assign(watches.end(), watch, folder);
    return true;
}

void Folders::addTree(const std::string& folder) {
    std::vector<std::string> stack = {folder};
    while (!stack.empty() && mayAdd()) {
        const std::string next = std::move(stack.back());
        stack.pop_back();
        if (add(next)) pushFolders(next, stack);
    }
}

void Folders::addRoot(const std::string& root) {
    addTree(root);
    const std::string git = inFolder(root, ".git");
    if (!mbutil::dirExists(git) || !mayAdd()) return;
    (void)add(git);
    if (mbutil::dirExists(git + "/refs")) addTree(git + "/refs");
}

const std::string* Folders::find(int watch) const {
    const auto known = watches.find(watch);
    return known == watches.end() ? nullptr : &known->second;
}

}  // namespace mbwatch
