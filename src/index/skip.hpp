#pragma once
// The folders that are neither indexed, searched nor watched: what tools make and fetch.

#include <string_view>

namespace mbindex {

// By the folder's name alone, without regard to case.
bool shouldSkipDir(std::string_view name);

// True when a folder between the first and the last component is to be skipped. The first is the
// root's name, which the user chose; the last is the file's own.
bool inSkippedDir(std::string_view workspacePath);

}  // namespace mbindex
