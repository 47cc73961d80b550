#pragma once
// What is handed to the user's desktop: files, folders and addresses to open or to show.
//
// Threads: any. Errors: none; where the desktop does not answer, nothing is shown.

#include <string>

namespace mbapp {

// Opens a path or an address with the user's default program; does not wait for it.
void openWithDesktop(const std::string& target);

// Shows a file in the file manager, or its folder when there is no file manager that can. Blocks
// for at most 3 seconds.
void revealInFileManager(const std::string& absoluteFile);

}  // namespace mbapp
