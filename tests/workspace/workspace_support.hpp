#pragma once
// What the tests of the workspace share.

#include <string>
#include <utility>
#include <vector>

#include "support/support.hpp"
#include "workspace/workspace.hpp"

namespace mbtest {

constexpr const char* kOutside = "path is outside the workspace";

// A workspace with the roots "app" and "notes", each a folder of its own.
class TwoRoots {
public:
    TwoRoots() {
        folder.mkdir("app");
        folder.mkdir("notes");
        setRoots({{"app", folder.at("app")}, {"notes", folder.at("notes")}});
    }

    void setRoots(std::vector<mbindex::Root> roots) {
        mbws::Config config;
        config.roots = std::move(roots);
        workspace.setConfig(std::move(config));
    }

    TempDir folder;
    mbws::Workspace workspace;
};

// "ok", or the reason of an operation that failed.
template <typename Operation>
std::string outcome(Operation operation) {
    std::string error = "no reason given";
    return operation(error) ? "ok" : error;
}

}  // namespace mbtest
