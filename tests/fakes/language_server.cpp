// A language server as tests need it: each argument is a command, done in order.
//
//   serve                answers requests until the end of input: "initialize" with capabilities,
//                        "shutdown" with null, any other with its method and parameters. Leaves at
//                        the notification "exit".
//   echo                 sends each message back as it came, until the end of input
//   send TEXT            one message
//   big BYTES            one message of so many bytes
//   flood BYTES COUNT    so many messages of that size
//   raw TEXT, err TEXT   to standard output or error as it is; \n \r \\ \xHH stand for bytes
//   noise BYTES          numbered lines on standard error, so many bytes in all
//   note FILE TEXT       puts TEXT into FILE; ${pid}, ${cwd} and ${child} are filled in
//   await FILE           waits until FILE exists
//   drain                reads until the end of input
//   exit CODE, kill NUMBER, hang
//   ignore-term          from now on SIGTERM is ignored
//   slow-term MS         from now on SIGTERM ends it with 7, so much later, after a message "bye"
//   close in|out|err
//   child MS [away] [chatty] [stubborn]
//                        starts a process that lives so long with all streams open; it has a group
//                        of its own, fills standard output, ignores SIGTERM
// Behind the last command it reads until the end of input, and leaves with 0.

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <thread>

#include "json/json.hpp"

namespace {

using mbjson::Json;
using std::chrono::milliseconds;

volatile sig_atomic_t g_slowness = 0;  // in milliseconds

void writeAll(int descriptor, std::string_view rest) {
    while (!rest.empty()) {
        const ssize_t written = ::write(descriptor, rest.data(), rest.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) ::_exit(3);
        rest.remove_prefix(static_cast<size_t>(written));
    }
}

void sendMessage(const std::string& body) {
    writeAll(STDOUT_FILENO, "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
}

void leaveSlowly(int) {
    const timespec time = {g_slowness / 1000, g_slowness % 1000 * 1000000L};
    (void)::nanosleep(&time, nullptr);
    writeAll(STDOUT_FILENO, "Content-Length: 3\r\n\r\nbye");
    ::_exit(7);
}

// Empty at the end of input.
std::string readSome() {
    std::array<char, 65536> buffer;
    ssize_t got = 0;
    do {
        got = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    } while (got < 0 && errno == EINTR);
    return got > 0 ? std::string(buffer.data(), static_cast<size_t>(got)) : "";
}

// Reads by the one form of header that the tested side writes: anything else is an error of its.
class Input {
public:
    // False at the end of input.
    bool next(std::string& body) {
        size_t end = 0;
        while ((end = unread.find("\r\n\r\n")) == std::string::npos)
            if (!more()) return false;
        const std::string_view name = "Content-Length: ";
        if (!unread.starts_with(name)) ::_exit(4);
        const size_t length = std::strtoul(unread.c_str() + name.size(), nullptr, 10);
        while (unread.size() < end + 4 + length)
            if (!more()) return false;
        body = unread.substr(end + 4, length);
        unread.erase(0, end + 4 + length);
        return true;
    }

private:
    std::string unread;

    bool more() {
        const std::string bytes = readSome();
        unread += bytes;
        return !bytes.empty();
    }
};

Json resultOf(const std::string& method, const Json& parameters) {
    if (method == "shutdown") return {};
    Json result = Json::object();
    if (method == "initialize") {
        Json capabilities = Json::object();
        capabilities.set("hoverProvider", true);
        capabilities.set("textDocumentSync", 2);
        result.set("capabilities", capabilities);
        return result;
    }
    result.set("method", method);
    result.set("params", parameters);
    return result;
}

void serve() {
    Input input;
    for (std::string body; input.next(body);) {
        const Json message = Json::parse(body);
        const std::string& method = message["method"].asString();
        if (method == "exit") ::_exit(0);
        if (!message.has("id")) continue;
        Json answer = Json::object();
        answer.set("jsonrpc", "2.0");
        answer.set("id", message["id"]);
        answer.set("result", resultOf(method, message["params"]));
        sendMessage(answer.dump());
    }
}

void echo() {
    Input input;
    for (std::string body; input.next(body);) sendMessage(body);
}

std::string unescape(const std::string& text) {
    std::string bytes;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            bytes += text[i];
            continue;
        }
        const char kind = text[++i];
        if (kind == 'x' && i + 2 < text.size()) {
            bytes += static_cast<char>(std::strtol(text.substr(i + 1, 2).c_str(), nullptr, 16));
            i += 2;
        } else {
            bytes += kind == 'n' ? '\n' : kind == 'r' ? '\r' : kind;
        }
    }
    return bytes;
}

// The text before the first blank; `rest` keeps what is behind it.
std::string takeWord(std::string& rest) {
    const size_t blank = rest.find(' ');
    std::string word = rest.substr(0, blank);
    rest = blank == std::string::npos ? "" : rest.substr(blank + 1);
    return word;
}

void flood(std::string rest) {
    const std::string body(std::stoul(takeWord(rest)), 'x');
    const std::string message =
        "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    for (long left = std::stol(rest); left > 0; --left) writeAll(STDOUT_FILENO, message);
}

void noise(size_t bytes) {
    std::string text;
    for (int line = 0; text.size() < bytes; ++line) text += std::to_string(line) + "\n";
    writeAll(STDERR_FILENO, std::string_view(text).substr(0, bytes));
}

class Commands {
public:
    void run(std::string rest) {
        const std::string name = takeWord(rest);
        const auto known = table.find(name);
        if (known == table.end()) {
            writeAll(STDERR_FILENO, "fake_language_server does not know: " + name + "\n");
            ::_exit(2);
        }
        known->second(rest);
    }

private:
    pid_t child = -1;

    const std::map<std::string, std::function<void(const std::string&)>> table = {
        {"serve", [](auto&) { serve(); }},
        {"echo", [](auto&) { echo(); }},
        {"send", [](auto& text) { sendMessage(text); }},
        {"big", [](auto& text) { sendMessage(std::string(std::stoul(text), 'x')); }},
        {"flood", [](auto& text) { flood(text); }},
        {"raw", [](auto& text) { writeAll(STDOUT_FILENO, unescape(text)); }},
        {"err", [](auto& text) { writeAll(STDERR_FILENO, unescape(text)); }},
        {"noise", [](auto& text) { noise(std::stoul(text)); }},
        {"note", [this](auto& text) { note(text); }},
        {"await",
         [](auto& text) {
             while (::access(text.c_str(), F_OK) != 0) std::this_thread::sleep_for(milliseconds(5));
         }},
        {"drain",
         [](auto&) {
             while (!readSome().empty()) {
             }
         }},
        {"exit", [](auto& text) { ::_exit(std::stoi(text)); }},
        {"kill", [](auto& text) { ::kill(::getpid(), std::stoi(text)); }},
        {"hang",
         [](auto&) {
             for (;;) ::pause();
         }},
        {"ignore-term", [](auto&) { ::signal(SIGTERM, SIG_IGN); }},
        {"slow-term",
         [](auto& text) {
             g_slowness = std::stoi(text);
             ::signal(SIGTERM, leaveSlowly);
         }},
        {"close", [](auto& text) { ::close(text == "in"    ? 0
                                           : text == "out" ? 1
                                                           : 2); }},
        {"child", [this](auto& text) { startChild(text); }},
    };

    // By renaming, so that whoever waits for the file finds it whole.
    void note(std::string text) const {
        const std::string path = takeWord(text);
        std::array<char, 4096> folder = {};
        if (!::getcwd(folder.data(), folder.size())) ::_exit(3);
        const std::map<std::string, std::string> values = {{"${pid}", std::to_string(::getpid())},
                                                           {"${child}", std::to_string(child)},
                                                           {"${cwd}", folder.data()}};
        for (const auto& [key, value] : values)
            for (size_t at = 0; (at = text.find(key)) != std::string::npos;)
                text.replace(at, key.size(), value);
        std::ofstream(path + ".part", std::ios::binary) << text;
        (void)std::rename((path + ".part").c_str(), path.c_str());
    }

    void startChild(std::string text) {
        const milliseconds life(std::stoi(takeWord(text)));
        child = ::fork();
        if (child != 0) return;
        const auto end = std::chrono::steady_clock::now() + life;
        if (text.find("stubborn") != std::string::npos) ::signal(SIGTERM, SIG_IGN);
        if (text.find("away") != std::string::npos) (void)::setpgid(0, 0);
        const bool chatty = text.find("chatty") != std::string::npos;
        while (std::chrono::steady_clock::now() < end) {
            if (chatty)
                sendMessage("chatter");
            else
                std::this_thread::sleep_until(end);
        }
        ::_exit(0);
    }
};

}  // namespace

int main(int argc, char** argv) {
    Commands commands;
    for (int i = 1; i < argc; ++i) commands.run(argv[i]);
    while (!readSome().empty()) {
    }
}
