#include "term/shell.hpp"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "proc/proc.hpp"
#include "util/util.hpp"

namespace mbterm {

namespace {

// The status is taken first, before anything else changes "$?". PS1 is in single quotes, so that
// the code is put in anew at each prompt, and what is invisible stands between \[ and \], which
// keeps it out of the prompt's width.
constexpr std::string_view kBashrc =
    R"(# Written by Marlin Bench for its terminals; rewritten on every start.
if [ -z "$__mb_loaded" ]; then
  __mb_loaded=1
  [ -r /etc/bash.bashrc ] && . /etc/bash.bashrc
  [ -r ~/.bashrc ] && . ~/.bashrc
  __mb_status() { __mb_code=$?; }
  PROMPT_COMMAND="__mb_status${PROMPT_COMMAND:+; $PROMPT_COMMAND}"
  PS1='\[\e]633;D;${__mb_code}\a\e]633;A\a\]'"$PS1"'\[\e]633;B\a\]'
fi
)";

// The last file of a start: it leaves ZDOTDIR where the user has it.
constexpr std::string_view kZshrc =
    R"(__mb_z=$ZDOTDIR; ZDOTDIR=$__mb_user_zdotdir; [ -r "$ZDOTDIR/.zshrc" ] && . "$ZDOTDIR/.zshrc"
ZDOTDIR=$__mb_user_zdotdir
__mb_precmd() { local c=$?; print -Pn "\e]633;D;$c\a"; }
precmd_functions=(__mb_precmd $precmd_functions)
PS1=$'%{\e]633;A\a%}'"$PS1"$'%{\e]633;B\a%}'
)";

constexpr const char* kEarlierZshFiles[] = {".zshenv", ".zprofile", ".zlogin"};

bool executable(const std::string& path) {
    return !path.empty() && ::access(path.c_str(), X_OK) == 0;
}

// Each of the user's files sees ZDOTDIR as the user has it; afterwards zsh finds our next file.
std::string earlierZshFile(const std::string& name) {
    return "__mb_z=$ZDOTDIR; ZDOTDIR=$__mb_user_zdotdir; [ -r \"$ZDOTDIR/" + name +
           "\" ] && . \"$ZDOTDIR/" + name + "\"; ZDOTDIR=$__mb_z\n";
}

// In place, so a file that is right already is left alone: another shell may be reading it.
void provide(const std::string& path, std::string_view text) {
    std::string present;
    if (mbutil::readFileRaw(path, present) && present == text) return;
    (void)mbutil::writeFileRaw(path, text);
}

std::string prepareBash(const std::string& path, const std::string& folder) {
    const std::string file = mbutil::pathJoin(folder, "bashrc");
    provide(file, kBashrc);
    return mbproc::quote(path) + " --init-file " + mbproc::quote(file) + " -i";
}

void prepareZsh(const std::string& folder, std::map<std::string, std::string>& env) {
    const std::string subfolder = mbutil::pathJoin(folder, "zsh");
    for (const char* name : kEarlierZshFiles)
        provide(mbutil::pathJoin(subfolder, name), earlierZshFile(name));
    provide(mbutil::pathJoin(subfolder, ".zshrc"), kZshrc);
    const char* user = ::getenv("ZDOTDIR");
    env["__mb_user_zdotdir"] = user && *user ? user : mbutil::homeDir();
    env["ZDOTDIR"] = subfolder;
}

}  // namespace

std::string loginShell() {
    passwd entry = {};
    passwd* found = nullptr;
    std::vector<char> buffer(1024);
    int failure = 0;
    while ((failure = ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found)) ==
               ERANGE ||
           failure == EINTR) {
        if (failure == ERANGE) buffer.resize(buffer.size() * 2);
    }
    return found && found->pw_shell ? found->pw_shell : "";
}

Shell chooseShell(const std::string& setting, const std::string& shellVariable,
                  const std::string& loginShell) {
    if (!setting.empty()) return {setting, false};
    for (const std::string& path : {shellVariable, loginShell, std::string("/bin/bash")})
        if (executable(path)) return {path, true};
    return {"/bin/sh", true};
}

std::string integrateShell(const Shell& shell,
                           const std::function<std::string()>& integrationFolder,
                           std::map<std::string, std::string>& env) {
    const std::string plain = shell.isPath ? mbproc::quote(shell.text) : shell.text;
    const std::string path = shell.isPath ? shell.text : mbutil::trim(shell.text);
    // With arguments it runs as it stands.
    if (!shell.isPath && path.find(' ') != std::string::npos) return plain;
    // Only the name counts, so a link called bash is bash.
    const std::string name = mbutil::baseName(path);
    if (name == "bash") return prepareBash(path, integrationFolder());
    if (name == "zsh") prepareZsh(integrationFolder(), env);
    return plain;
}

}  // namespace mbterm
