#include "index/skip.hpp"

#include <strings.h>

#include <algorithm>
#include <iterator>

namespace mbindex {

namespace {

constexpr std::string_view kSkipDirs[] = {
    ".git",        ".svn",  ".hg",          "node_modules", "bower_components",
    ".vs",         ".idea", ".vscode-test", "__pycache__",  ".pytest_cache",
    ".mypy_cache", ".venv", "venv",         ".tox",         ".gradle",
    ".next",       ".nuxt", ".turbo",       ".cache",       "target",
    "obj",
};

}  // namespace

bool shouldSkipDir(std::string_view name) {
    return std::any_of(std::begin(kSkipDirs), std::end(kSkipDirs), [&](std::string_view skipped) {
        return name.size() == skipped.size() &&
               ::strncasecmp(name.data(), skipped.data(), name.size()) == 0;
    });
}

bool inSkippedDir(std::string_view workspacePath) {
    size_t slash = workspacePath.find('/');
    while (slash != std::string_view::npos) {
        const size_t begin = slash + 1;
        slash = workspacePath.find('/', begin);
        if (slash == std::string_view::npos) break;  // what is left is the file's own name
        if (shouldSkipDir(workspacePath.substr(begin, slash - begin))) return true;
    }
    return false;
}

}  // namespace mbindex
