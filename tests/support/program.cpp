#include "support/program.hpp"

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "util/util.hpp"

namespace mbtest {

namespace fs = std::filesystem;
using mbjson::Json;

namespace {

constexpr const char* kSmallPage =
    "<!doctype html><meta charset=utf-8><title>small</title><body><p id=hello>hello</p>";

// A hard link where that is possible: the program finds its folders through its own path, so a
// symbolic link would lead back to the build folder.
void putExecutable(const std::string& path) {
    std::error_code error;
    fs::create_hard_link(MARLIN_EXECUTABLE, path, error);
    if (error) fs::copy_file(MARLIN_EXECUTABLE, path);
}

// Suppressions for libraries that are none of ours, unless whoever runs the tests has chosen.
void addSanitizerOptions(std::map<std::string, std::string>& environment) {
    const std::string folder = MARLIN_SUPPRESSIONS;
    const std::map<std::string, std::string> defaults = {
        {"ASAN_OPTIONS", ""},
        {"UBSAN_OPTIONS", "print_stacktrace=1"},
        {"LSAN_OPTIONS", "print_suppressions=0:suppressions=" + folder + "/lsan.supp"},
        {"TSAN_OPTIONS", "second_deadlock_stack=1:suppressions=" + folder + "/tsan.supp"},
    };
    for (const auto& [name, value] : defaults) {
        const char* given = std::getenv(name.c_str());
        if (given != nullptr || !value.empty()) environment[name] = given ? given : value;
    }
}

bool isToken(const std::string& text) {
    return text.size() == 48 && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

}  // namespace

Layout::Layout(Kind wanted) : kind(wanted) {
    for (const char* name : {"home", "run", "bin", "app"}) folder.mkdir(name);
    ::chmod(at("run").c_str(), 0700);
    if (kind == Kind::SourceTree) folder.mkdir("build");
    putExecutable(executable());
    fs::create_directories(webBase() + "/web");
    page(kSmallPage);
}

std::string Layout::script(const std::string& relative, const std::string& text) const {
    const std::string path = write(relative, text);
    ::chmod(path.c_str(), 0755);
    return path;
}

std::string Layout::webBase() const { return kind == Kind::Installed ? at("app") : folder.path(); }

std::string Layout::executable() const {
    return kind == Kind::Installed ? at("app/marlin-bench") : at("build/marlin-bench");
}

std::string Layout::settingsPath() const {
    return kind == Kind::Installed ? at("home/.config/marlin-bench/marlin-bench.json")
                                   : at("marlin-bench.json");
}

std::string Layout::sessionUrlPath() const {
    return kind == Kind::Installed ? at("run/marlin-bench/session-url.txt")
                                   : at("build/session-url.txt");
}

void Layout::page(const std::string& html, const std::string& name) const {
    const std::string path = webBase() + "/web/" + name;
    (void)mbutil::writeFileRaw(path, html);
}

void Layout::shippedPage() const {
    fs::remove_all(webBase() + "/web");
    for (const char* name : {"web", "vendor"})
        fs::create_directory_symlink(std::string(MARLIN_SOURCE) + "/" + name,
                                     webBase() + "/" + name);
}

Json Layout::settings() const { return parseJson(slurp(settingsPath())); }

std::map<std::string, std::string> Layout::environment() const {
    std::map<std::string, std::string> all = {
        {"HOME", at("home")},           {"PATH", at("bin") + ":/usr/local/bin:/usr/bin:/bin"},
        {"XDG_RUNTIME_DIR", at("run")}, {"DBUS_SESSION_BUS_ADDRESS", "disabled:"},
        {"NO_AT_BRIDGE", "1"},          {"MARLIN_TEST_MARK", folder.path()},
    };
    addSanitizerOptions(all);
    return all;
}

std::vector<std::string> Layout::ownTmp() const {
    std::vector<std::string> command = {
        "bwrap",  "--die-with-parent", "--dev-bind", "/", "/", "--bind", mkdir("tmp"), "/tmp",
        "--bind", folder.path(),       folder.path()};
    // A sanitizer reads these, and the sources may lie in the other "/tmp".
    command.insert(command.end(), {"--ro-bind", MARLIN_SUPPRESSIONS, MARLIN_SUPPRESSIONS});
    Spawn trial;
    trial.command = command;
    trial.command.push_back("/bin/true");
    trial.environment = environment();
    trial.errorPath = "/dev/null";
    if (Process(trial).waitForExit() != 0) command.clear();
    return command;
}

Program::Program(const Layout& where, const Start& start)
    : layout(where), urlBefore(slurp(layout.sessionUrlPath())),
      displayName(start.display.empty() ? sharedDisplay() : start.display) {
    Spawn spawn;
    spawn.command = start.wrapper;
    spawn.command.push_back(layout.executable());
    spawn.command.insert(spawn.command.end(), start.arguments.begin(), start.arguments.end());
    spawn.environment = layout.environment();
    spawn.environment["DISPLAY"] = displayName;
    if (start.inspector) {
        inspector = freePort();
        spawn.environment["WEBKIT_INSPECTOR_HTTP_SERVER"] =
            "127.0.0.1:" + std::to_string(inspector);
    }
    for (const auto& [name, value] : start.environment) spawn.environment[name] = value;
    for (const std::string& name : start.without) spawn.environment.erase(name);
    spawn.cwd = start.cwd.empty() ? layout.at("home") : start.cwd;
    spawn.outputPath = layout.at("stdout.txt");
    spawn.errorPath = layout.at("stderr.txt");
    process = Process(spawn);
}

Program::~Program() {
    process.kill();
    (void)waitUntil([&] {
        const std::vector<pid_t> left = processesMarked(layout.mark());
        for (const pid_t pid : left) ::kill(pid, SIGKILL);
        return left.empty();
    });
}

bool Program::awaitBridge(int limitMs) {
    const std::string begin = "http://127.0.0.1:";
    const std::string middle = "/?token=";
    const auto complete = [&] {
        startUrl = slurp(layout.sessionUrlPath());
        const size_t at = startUrl.find(middle);
        if (startUrl == urlBefore || !mbutil::startsWith(startUrl, begin)) return false;
        if (at == std::string::npos) return false;
        sessionToken = startUrl.substr(at + middle.size());
        boundPort = std::atoi(startUrl.substr(begin.size()).c_str());
        return isToken(sessionToken);
    };
    // A program that has ended writes no more.
    return waitUntil([&] { return complete() || !process.running(); }, limitMs) && complete();
}

std::optional<WindowId> Program::window() const {
    return findWindow(displayName, "Marlin Bench", process.pid());
}

bool Program::awaitWindow(int limitMs) const {
    return waitUntil([&] { return window().has_value(); }, limitMs);
}

bool Program::awaitNothingLeft(int limitMs) const {
    return waitUntil([&] { return processesMarked(layout.mark()).empty(); }, limitMs);
}

HttpAnswer Program::request(const std::string& path, const std::string& body) const {
    HttpClient client(boundPort, sessionToken);
    return body.empty() ? client.get(path) : client.post(path, body);
}

Json Program::ask(const std::string& path, const std::string& body) const {
    return parseJson(request(path, body).body);
}

BusyPort::BusyPort() : listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* generic = static_cast<sockaddr*>(static_cast<void*>(&address));
    if (::bind(listener.value, generic, length) != 0 || ::listen(listener.value, 1) != 0) return;
    if (::getsockname(listener.value, generic, &length) == 0) number = ntohs(address.sin_port);
}

int freePort() { return BusyPort().port(); }

Json parseJson(const std::string& text) {
    try {
        return Json::parse(text);
    } catch (const std::out_of_range&) {
        return {};
    }
}

}  // namespace mbtest
