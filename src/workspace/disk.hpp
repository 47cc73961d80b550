#pragma once
// The few looks at the disk that the workspace's operations share. Private to this module.

#include <string>
#include <string_view>
#include <vector>

namespace mbws {

// True for anything that has this name, a dangling link too.
bool existsInAnyForm(const std::string& path);

// Both refuse what is neither a regular file nor a link to one: opening a FIFO waits for its other
// end, perhaps for ever, and some devices have no end.
// False, and `bytes` untouched, also for a file that the memory cannot hold.
bool readWholeFile(const std::string& path, std::string& bytes);
// In place, mode 0644 for a new file.
bool writeWholeFile(const std::string& path, std::string_view bytes);

// The names in a folder without "." and "..", in the order of the disk. The folder is closed again
// on return, so that a deep recursion holds no descriptors.
bool readFolder(const std::string& path, std::vector<std::string>& names);

}  // namespace mbws
