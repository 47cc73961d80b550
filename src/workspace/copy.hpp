#pragma once
// Copying of files and folders by absolute paths. Private to this module.

#include <string>
#include <vector>

namespace mbws {

// Copies each source into the folder, as "name - Copy" and so on where its name is taken. Stops at
// the first that fails, with the reason in `error`; what was copied stays.
bool shellCopy(const std::vector<std::string>& sources, const std::string& folder,
               std::string& error);

// Links are recreated, never followed; modes are kept, times and owners are not. What is neither
// folder, link nor regular file cannot be copied. A failure in a folder does not stop the rest of
// it; the result is true only when everything was copied.
bool copyTree(const std::string& source, const std::string& target);

}  // namespace mbws
