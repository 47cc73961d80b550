#pragma once
// One folder of the workspace.

#include <string>

namespace mbindex {

struct Root {
    std::string name;  // the first component of every workspace path; unique regardless of case
    std::string path;  // absolute, canonical
};

}  // namespace mbindex
