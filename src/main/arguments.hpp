#pragma once
// The command line.

#include <string>
#include <vector>

namespace mbapp {

struct Arguments {
    bool version = false;
    // Either ends the process when it is done; of both, the first.
    bool registerShell = false;
    bool unregisterShell = false;
    bool quiet = false;              // no dialog for these
    std::vector<std::string> paths;  // to open, in order, as given
    // A manifest and its signature to look at instead; empty otherwise.
    std::vector<std::string> verify;
};

// Unknown options and empty words are ignored without a word.
Arguments readArguments(int argc, const char* const* argv);

// Relative paths against OWD, where an AppImage's runtime keeps the user's folder, else against the
// working folder. Absolute ones stay as they are.
std::vector<std::string> absolutePaths(const std::vector<std::string>& paths);

}  // namespace mbapp
