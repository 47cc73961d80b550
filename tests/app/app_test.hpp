#pragma once
// What the program's tests ask again and again.

#include <string>
#include <vector>

#include "support/events.hpp"
#include "support/program.hpp"
#include "util/util.hpp"

namespace mbtest {

// The paths that wait for a page; asking takes them.
inline std::vector<std::string> pendingPaths(const Program& program) {
    std::vector<std::string> paths;
    const mbjson::Json state = program.ask("/api/state");
    for (const mbjson::Json& target : state["pendingOpen"].asArray())
        paths.push_back(target["path"].asString());
    return paths;
}

// A JSON object of one string, as a request's body.
inline std::string body(const std::string& key, const std::string& value) {
    mbjson::Json object = mbjson::Json::object();
    object.set(key, value);
    return object.dump();
}

}  // namespace mbtest
