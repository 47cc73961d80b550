#include "support/process.hpp"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <utility>

#include "support/support.hpp"
#include "util/util.hpp"

namespace mbtest {

namespace fs = std::filesystem;

namespace {

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> list;
    for (std::string& text : texts) list.push_back(text.data());
    list.push_back(nullptr);
    return list;
}

// Runs in the child: async-signal-safe calls only.
void redirect(const char* path, int descriptor) {
    const int fd = ::open(path, O_WRONLY | O_CREAT | O_APPEND, 0644);
    if (fd >= 0) ::dup2(fd, descriptor);
}

struct Prepared {
    std::string file;
    std::vector<std::string> words;
    std::vector<std::string> assignments;
};

[[noreturn]] void becomeChild(const Spawn& spawn, const Prepared& prepared, char* const* argv,
                              char* const* envp, pid_t parent) {
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(126);  // the parent was gone before the line above
    const int null = ::open("/dev/null", O_RDWR);
    ::dup2(null, 0);
    redirect(spawn.outputPath.empty() ? "/dev/null" : spawn.outputPath.c_str(), 1);
    if (!spawn.errorPath.empty()) redirect(spawn.errorPath.c_str(), 2);
    if (spawn.keptDescriptor >= 0) ::fcntl(spawn.keptDescriptor, F_SETFD, 0);
    if (!spawn.cwd.empty() && ::chdir(spawn.cwd.c_str()) != 0) ::_exit(125);
    ::execve(prepared.file.c_str(), argv, envp);
    ::_exit(127);
}

// Fields of /proc/PID/stat behind the name, which may hold blanks: state, parent, ...
std::vector<std::string> statFields(const fs::path& process) {
    const std::string text = slurp(process / "stat");
    const size_t name = text.rfind(')');
    if (name == std::string::npos || name + 2 > text.size()) return {};
    return mbutil::split(text.substr(name + 2), ' ');
}

// 0 for an entry of /proc that is no process.
pid_t pidOf(const fs::path& entry) {
    const std::string name = entry.filename().string();
    pid_t pid = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), pid);
    return error == std::errc() && end == name.data() + name.size() ? pid : 0;
}

template <typename Predicate>
std::vector<pid_t> processesWhere(const Predicate& predicate) {
    std::vector<pid_t> found;
    for (const auto& entry : fs::directory_iterator("/proc"))
        if (const pid_t pid = pidOf(entry.path()); pid != 0 && predicate(entry.path()))
            found.push_back(pid);
    return found;
}

std::vector<pid_t> childrenWhere(pid_t parent, bool zombies) {
    return processesWhere([&](const fs::path& process) {
        const std::vector<std::string> fields = statFields(process);
        return fields.size() > 1 && fields[1] == std::to_string(parent) &&
               (fields[0] == "Z") == zombies;
    });
}

int entriesIn(const std::string& folder) {
    std::error_code error;
    const fs::directory_iterator list(folder, error);
    return error ? 0 : static_cast<int>(std::distance(begin(list), end(list)));
}

}  // namespace

Process::Process(const Spawn& spawn) {
    Prepared prepared;
    prepared.file = mbutil::findOnPath(spawn.command[0]);
    prepared.words = spawn.command;
    for (const auto& [name, value] : spawn.environment)
        prepared.assignments.push_back(name + "=" + value);
    const std::vector<char*> argv = pointers(prepared.words);
    const std::vector<char*> envp = pointers(prepared.assignments);
    const pid_t parent = ::getpid();
    id = ::fork();
    if (id == 0) becomeChild(spawn, prepared, argv.data(), envp.data(), parent);
    if (id > 0) ::setpgid(id, id);  // whoever is first: the group stands when this returns
}

Process::Process(Process&& other) noexcept
    : id(std::exchange(other.id, -1)), code(std::exchange(other.code, {})) {}

Process& Process::operator=(Process&& other) noexcept {
    if (this == &other) return *this;
    kill();
    id = std::exchange(other.id, -1);
    code = std::exchange(other.code, {});
    return *this;
}

Process::~Process() { kill(); }

bool Process::collect() {
    if (id <= 0 || code) return true;
    int status = 0;
    const pid_t got = ::waitpid(id, &status, WNOHANG);
    if (got == 0 || (got < 0 && errno == EINTR)) return false;
    if (got < 0) {
        code = -1;  // collected behind our back: no test expects that number
        return true;
    }
    code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return true;
}

bool Process::running() { return !collect(); }

void Process::signal(int number) const {
    if (id > 0 && !code) ::kill(id, number);
}

std::optional<int> Process::waitForExit(int limitMs) {
    (void)waitUntil([&] { return collect(); }, limitMs);
    return code;
}

void Process::kill() {
    if (id <= 0) return;
    ::kill(-id, SIGKILL);
    if (!code) ::waitpid(id, nullptr, 0);
    id = -1;
}

std::map<std::string, std::string> ownEnvironment() {
    std::map<std::string, std::string> all;
    for (char** entry = ::environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const size_t equals = text.find('=');
        if (equals != std::string::npos) all[text.substr(0, equals)] = text.substr(equals + 1);
    }
    return all;
}

std::vector<pid_t> processesMarked(const std::string& assignment) {
    const std::string whole = std::string(1, '\0') + assignment + '\0';
    return processesWhere([&](const fs::path& process) {
        // A leading NUL, so that the first variable is found like any other.
        return (std::string(1, '\0') + slurp(process / "environ")).find(whole) != std::string::npos;
    });
}

std::vector<pid_t> zombiesOf(pid_t parent) { return childrenWhere(parent, true); }

std::vector<pid_t> childrenOf(pid_t parent) { return childrenWhere(parent, false); }

int descriptorsOf(pid_t process) { return entriesIn("/proc/" + std::to_string(process) + "/fd"); }

int threadsOf(pid_t process) { return entriesIn("/proc/" + std::to_string(process) + "/task"); }

}  // namespace mbtest
