#pragma once
// Which shell a terminal runs, and the start-up files that make it mark its prompts.
//
// bash and zsh get generated files that source the user's own and add three OSC 633 sequences to
// the prompt: A where it begins, B where it ends, D with the last command's exit code. The page's
// terminal reads them; on this side they are output like any other.
// Errors: none. A file that cannot be written costs the marks, not the terminal.
// Threads: any number at once.

#include <functional>
#include <map>
#include <string>

namespace mbterm {

struct Shell {
    std::string text;
    // A path is one word, blanks and all; otherwise the text is a command line of the user's.
    bool isPath = false;
};

// The login shell of this process's user, empty when there is none.
std::string loginShell();

// The setting as it stands if it is not empty, else the first of the variable SHELL, the login
// shell and /bin/bash that can be executed, else /bin/sh.
Shell chooseShell(const std::string& setting, const std::string& shellVariable,
                  const std::string& loginShell);

// The command line that starts the shell, with its files and variables prepared where it is bash or
// zsh without arguments. `integrationFolder` is called only then; it names a folder that exists and
// has a subfolder "zsh".
std::string integrateShell(const Shell& shell,
                           const std::function<std::string()>& integrationFolder,
                           std::map<std::string, std::string>& env);

}  // namespace mbterm
