#pragma once
// The program among the user's others: a desktop entry with its icon and types, so that files open
// in it from the file manager; and the desktop's folder picker.
//
// Everything that is written lies below XDG_DATA_HOME; nothing needs rights of its own.
// Errors: a bool with the reason in the last parameter.
// Threads: any, but for what says otherwise. registerShell() and unregisterShell() wait up to 10
// seconds for the desktop's tools.

#include <string>

typedef struct _GtkWidget GtkWidget;

namespace mbshell {

// Where the entry and its icon are, whether or not they exist.
std::string entryPath();
std::string iconPath();

struct ShellStatus {
    bool registered = false;           // there is a desktop entry
    std::string registeredExecutable;  // what it starts
    std::string currentExecutable;     // this program; an AppImage's own file
    bool stale = false;                // the entry starts something else
};
ShellStatus status();

// Writes the entry and the icon anew. A missing icon is no failure.
bool registerShell(std::string& error);
// Removes both. Success when there is no entry.
bool unregisterShell(std::string& error);

// The window that dialogs stand before; null for none. Main thread.
void setDialogParent(GtkWidget* window);
// Asks the user for a folder; empty when that was cancelled. Any thread but the main one, whose
// loop shows the dialog: blocks until it is answered, or until endPicking().
std::string pickFolder();
// Every pickFolder() that waits or is still to come gives an empty answer. Leaves the dialogs
// alone, so that it may be called when the display is gone. Any thread.
void endPicking();
// The same, and closes the dialogs that are open. Main thread.
void cancelPicking();

}  // namespace mbshell
