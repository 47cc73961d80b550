// Finds the files to search on disk, while the index cannot name them.

#include <dirent.h>
#include <strings.h>
#include <sys/stat.h>

#include <algorithm>

#include "index/skip.hpp"
#include "workspace/disk.hpp"
#include "workspace/workspace.hpp"

namespace mbws {

namespace {

bool passedOver(const std::string& folderName) {
    return mbindex::shouldSkipDir(folderName) || ::strcasecmp(folderName.c_str(), "backups") == 0;
}

}  // namespace

std::vector<SearchHit> Workspace::searchInFiles(const std::string& query,
                                                const mbmatch::Options& options,
                                                const SearchScope& scope,
                                                std::string& error) const {
    const std::vector<std::string> extensions = normaliseExtensions(scope.extensions);
    std::vector<std::string> folders;
    const auto settings = config();
    for (const mbindex::Root& root : settings->roots) folders.push_back(root.path);

    std::vector<SearchFile> files;
    std::vector<std::string> names;
    while (!folders.empty()) {
        const std::string folder = std::move(folders.back());
        folders.pop_back();
        if (!readFolder(folder, names)) continue;
        for (const std::string& name : names) {
            const std::string path = folder + "/" + name;
            struct stat status = {};
            if (::lstat(path.c_str(), &status) != 0) continue;
            if (S_ISDIR(status.st_mode) && !passedOver(name)) folders.push_back(path);
            if (!S_ISREG(status.st_mode)) continue;
            if (!searchable(name, static_cast<uint64_t>(status.st_size), extensions)) continue;
            std::string workspacePath = path;
            (void)toRelative(path, workspacePath);  // else the absolute path is its name
            files.emplace_back(path, std::move(workspacePath));
        }
    }
    std::sort(files.begin(), files.end(), [](const SearchFile& left, const SearchFile& right) {
        return left.second < right.second;
    });
    return searchFileList(files, query, options, scope, error);
}

}  // namespace mbws
