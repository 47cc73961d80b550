#pragma once
// Where the program's own files lie. All are settled once, at start.

#include <string>

namespace mbapp {

struct Folders {
    std::string executable;
    std::string webBase;        // holds web, vendor and assets
    std::string configuration;  // holds the settings

    // A build folder inside the source tree: settings then lie beside the sources.
    bool sourceTree() const { return webBase != executable; }
};

// The folder of the running program, "." when the system does not tell.
std::string executableFolder();
Folders foldersFor(const std::string& executable);

// The PNG for the window, empty when none is there.
std::string iconPathFor(const Folders& folders);

// Writes the start URL to "session-url.txt", readable by the user alone: it holds the token.
// Failures are ignored, as the window does not need the file.
void writeSessionUrl(const Folders& folders, const std::string& url);

}  // namespace mbapp
