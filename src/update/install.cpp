#include "update/install.hpp"

#include <unistd.h>

namespace mbupdate {

namespace {

// Started in any case, also when the new file could not be put in place.
std::string replaceAppImage(const std::string& downloaded, const std::string& target) {
    const std::string file = shellQuote(downloaded);
    const std::string fresh = shellQuote(target + ".new");
    const std::string program = shellQuote(target);
    return "cp -f " + file + " " + fresh + " && chmod 755 " + fresh + " && mv -f " + fresh + " " +
           program + "; exec " + program;
}

std::string packageCommand(InstallKind kind, const std::string& file) {
    if (kind == InstallKind::Deb) return "apt-get install -y --allow-downgrades " + file;
    if (kind == InstallKind::Rpm)
        return "if command -v dnf >/dev/null 2>&1; then dnf install -y " + file +
               "; else zypper --non-interactive install --allow-unsigned-rpm " + file + "; fi";
    return "pacman -U --noconfirm " + file;
}

// Without rights the package is shown to the user, whose desktop may know how to install it.
std::string installPackage(InstallKind kind, const std::string& downloaded,
                           const std::string& target) {
    const std::string file = shellQuote(downloaded);
    return "if command -v pkexec >/dev/null 2>&1 && pkexec sh -c " +
           shellQuote(packageCommand(kind, file)) + "; then exec " + shellQuote(target) +
           "; else exec xdg-open " + file + "; fi";
}

}  // namespace

std::string shellQuote(std::string_view text) {
    std::string quoted = "'";
    for (const char byte : text) {
        if (byte == '\'')
            quoted += "'\\''";
        else
            quoted += byte;
    }
    return quoted + "'";
}

std::string installScript(InstallKind kind, int32_t pid, const std::string& downloaded,
                          const std::string& target) {
    const std::string wait =
        "while kill -0 " + std::to_string(pid) + " 2>/dev/null; do sleep 0.2; done; ";
    return wait + (kind == InstallKind::AppImage ? replaceAppImage(downloaded, target)
                                                 : installPackage(kind, downloaded, target));
}

bool startInstaller(const std::string& script) {
    const char* const arguments[] = {"/bin/sh", "-c", script.c_str(), nullptr};
    const pid_t pid = ::fork();
    if (pid < 0) return false;
    if (pid > 0) return true;  // it outlives us: nobody collects it
    (void)::setsid();
    // What a library left open without the close-on-exec mark, the bridge's port above all.
    for (int fd = 3; fd < 1024; ++fd) (void)::close(fd);
    ::execv("/bin/sh", const_cast<char* const*>(arguments));
    ::_exit(127);
}

}  // namespace mbupdate
