#include "workspace/copy.hpp"

#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "util/util.hpp"
#include "workspace/disk.hpp"
#include "workspace/workspace.hpp"

namespace mbws {

namespace {

constexpr mode_t kPermissionBits = S_IRWXU | S_IRWXG | S_IRWXO;
constexpr int kMostCopies = 999;

// The folder that a copy began with, to be known again when it turns up inside its own source.
struct CopyRoot {
    bool made = false;
    dev_t device = 0;
    ino_t inode = 0;

    bool is(const struct stat& status) const {
        return made && status.st_dev == device && status.st_ino == inode;
    }
};

bool copyEntry(const std::string& source, const std::string& target, CopyRoot& root);

bool copyLink(const std::string& source, const std::string& target) {
    std::array<char, 4096> text = {};  // the last byte stays zero
    const ssize_t length = ::readlink(source.c_str(), text.data(), text.size() - 1);
    return length > 0 && ::symlink(text.data(), target.c_str()) == 0;
}

bool copyFolder(const std::string& source, mode_t mode, const std::string& target, CopyRoot& root) {
    if (::mkdir(target.c_str(), mode & kPermissionBits) != 0 && errno != EEXIST) return false;
    struct stat made = {};
    if (!root.made && ::stat(target.c_str(), &made) == 0) root = {true, made.st_dev, made.st_ino};

    std::vector<std::string> names;
    bool all = readFolder(source, names);
    for (const std::string& name : names)
        all &= copyEntry(mbutil::pathJoin(source, name), mbutil::pathJoin(target, name), root);
    return all;
}

bool copyFile(const std::string& source, const std::string& target) {
    std::string bytes;
    if (!readWholeFile(source, bytes) || !writeWholeFile(target, bytes)) return false;
    struct stat status = {};
    // A file system without modes is no reason to fail: the contents are there.
    if (::stat(source.c_str(), &status) == 0)
        (void)::chmod(target.c_str(), status.st_mode & kPermissionBits);
    return true;
}

// Recursion ends with the longest path that the system takes, so its depth needs no other bound.
bool copyEntry(const std::string& source, const std::string& target, CopyRoot& root) {
    struct stat status = {};
    if (::lstat(source.c_str(), &status) != 0) return false;
    if (S_ISLNK(status.st_mode)) return copyLink(source, target);
    if (!S_ISDIR(status.st_mode)) return copyFile(source, target);
    // A link on the way to the target can lead back into the source, where no comparison of paths
    // sees it; the copy would then copy itself, level by level.
    if (root.is(status)) return false;
    return copyFolder(source, status.st_mode, target, root);
}

// The name that the next copy of `source` gets in `folder`; empty when all are taken.
std::string freeTarget(const std::string& source, const std::string& folder) {
    const std::string name = mbutil::baseName(source);
    const std::string plain = mbutil::pathJoin(folder, name);
    if (!existsInAnyForm(plain)) return plain;

    const size_t dot = name.rfind('.');
    const bool hasExtension = dot != std::string::npos && dot > 0 && !mbutil::dirExists(source);
    const std::string stem = hasExtension ? name.substr(0, dot) : name;
    const std::string extension = hasExtension ? name.substr(dot) : std::string();
    for (int number = 1; number <= kMostCopies; ++number) {
        const std::string suffix =
            number == 1 ? " - Copy" : " - Copy (" + std::to_string(number) + ")";
        const std::string target = mbutil::pathJoin(folder, stem + suffix + extension);
        if (!existsInAnyForm(target)) return target;
    }
    return {};
}

// `destination` is the folder or lies inside it.
bool holds(const std::string& folder, const std::string& destination) {
    return destination == folder || mbutil::startsWith(destination, folder + "/");
}

}  // namespace

bool copyTree(const std::string& source, const std::string& target) {
    CopyRoot root;
    return copyEntry(source, target, root);
}

bool shellCopy(const std::vector<std::string>& sources, const std::string& folder,
               std::string& error) {
    for (const std::string& source : sources) {
        const std::string target = freeTarget(source, folder);
        if (target.empty() || !copyTree(source, target)) {
            error = "could not copy " + mbutil::baseName(source);
            return false;
        }
    }
    return true;
}

bool Workspace::duplicatePath(const std::string& workspacePath, std::string& error) const {
    std::string path;
    if (!resolveInside(workspacePath, path)) {
        error = "path is outside the workspace";
        return false;
    }
    return shellCopy({path}, mbutil::dirName(path), error);
}

bool Workspace::copyInto(const std::vector<std::string>& sources, const std::string& destination,
                         std::string& error) const {
    std::string folder;
    if (!resolveInside(destination, folder) || !mbutil::dirExists(folder)) {
        error = "the destination is not a folder in the workspace";
        return false;
    }
    std::vector<std::string> present;
    for (const std::string& given : sources) {
        const std::string source = mbutil::canonical(given);
        // No file can have a NUL in its name; the system would see the part before it.
        if (source.find('\0') != std::string::npos || !existsInAnyForm(source)) continue;
        if (mbutil::dirExists(source) && holds(source, folder)) {
            error = "a folder cannot be copied into itself";
            return false;
        }
        present.push_back(source);
    }
    if (present.empty()) {
        error = "nothing to copy";
        return false;
    }
    return shellCopy(present, folder, error);
}

}  // namespace mbws
