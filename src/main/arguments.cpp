#include "main/arguments.hpp"

#include <unistd.h>

#include <climits>
#include <cstdlib>

#include "util/util.hpp"

namespace mbapp {

Arguments readArguments(int argc, const char* const* argv) {
    Arguments arguments;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--version") {
            arguments.version = true;
            return arguments;
        }
        if (word == "--verify-manifest" && i + 2 < argc) {
            arguments.verify = {argv[i + 1], argv[i + 2]};
            return arguments;
        }
        if (word == "--register-shell") arguments.registerShell = true;
        if (word == "--unregister-shell") arguments.unregisterShell = true;
        if (word == "--quiet") arguments.quiet = true;
        if (!word.empty() && word[0] != '-') arguments.paths.push_back(word);
    }
    return arguments;
}

std::vector<std::string> absolutePaths(const std::vector<std::string>& paths) {
    const char* owd = std::getenv("OWD");
    std::string base = owd ? owd : "";
    char buffer[PATH_MAX] = {};
    if (base.empty() && ::getcwd(buffer, sizeof buffer) != nullptr) base = buffer;
    std::vector<std::string> result;
    for (const std::string& path : paths) {
        const bool relative = !path.empty() && path[0] != '/' && !base.empty();
        result.push_back(relative ? mbutil::canonical(base + "/" + path) : path);
    }
    return result;
}

}  // namespace mbapp
