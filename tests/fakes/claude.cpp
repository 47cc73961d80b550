// The Claude CLI as tests need it: speaks stream-json by a script. Put it on PATH as "claude".
//
// Environment:
//   FAKE_CLAUDE_SCRIPT     the script's file; without one it greets and answers each line
//   FAKE_CLAUDE_LOG        a folder that gets "argv", the arguments of the latest start, one a line
//                          ("\n" and "\\" for newline and backslash), and "stdin", all bytes read
//   FAKE_CLAUDE_AUTH       a file that "claude auth status" prints, whatever the script
//   FAKE_CLAUDE_AUTH_CODE  the exit code of that
//
// A script is a command a line; blank lines and those that begin with "#" count for nothing.
//   out TEXT             TEXT and a newline to standard output
//   raw TEXT, err TEXT   to standard output or error without a newline; \n \r \t \\ \xHH stand for
//                        bytes
//   big BYTES            one line of JSON of that length
//   repeat COUNT COMMAND does one other command so often, with ${n} as 1, 2, ...
//   read                 waits for a line of input
//   expect TEXT          reads lines until one contains TEXT
//   await-end            reads until the end of input, and goes on
//   sleep MS
//   await FILE           waits until FILE exists
//   note FILE TEXT       puts TEXT and a newline into FILE
//   exit CODE            leaves at once
//   kill NUMBER          sends itself the signal
//   hang                 does nothing more, and reads nothing
//   ignore-end           from now on the end of input is no reason to leave
//   ignore-term          from now on SIGTERM is ignored
//   close in|out|err
//   grandchild MS [chatty] [stubborn] [away]
//                        starts a process that lives so long with all three streams open; it
//                        fills standard output, ignores SIGTERM, has a group of its own
//   loop ... again       does what stands between for ever
// In TEXT, ${id} is the request_id of the line read last, ${line} that line, ${pid} and ${cwd} are
// the program's own, ${grandchild} is the process started last.
//
// At the end of input it leaves with 0. Behind the script's last command it reads on until then.

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
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using std::chrono::milliseconds;

constexpr const char* kGreetAndAnswer =
    R"(out {"type":"system","subtype":"init","session_id":"fake-session","cwd":"${cwd}"}
loop
read
out {"type":"assistant","message":{"role":"assistant","content":[{"type":"text","text":"heard"}]}}
out {"type":"result","subtype":"success","is_error":false,"total_cost_usd":0.01,"result":"heard"}
again
)";

std::string environment(const char* name) {
    const char* value = ::getenv(name);
    return value ? value : "";
}

std::string contents(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

void replaceAll(std::string& text, std::string_view from, std::string_view to) {
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
}

bool writeAll(int descriptor, std::string_view rest) {
    while (!rest.empty()) {
        const ssize_t written = ::write(descriptor, rest.data(), rest.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        rest.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

[[noreturn]] void hang() {
    for (;;) ::pause();
}

// The text before the first blank; `rest` keeps what is behind it.
std::string takeWord(std::string& rest) {
    const size_t blank = rest.find(' ');
    std::string word = rest.substr(0, blank);
    rest = blank == std::string::npos ? "" : rest.substr(blank + 1);
    return word;
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
            bytes += kind == 'n' ? '\n' : kind == 'r' ? '\r' : kind == 't' ? '\t' : kind;
        }
    }
    return bytes;
}

class Fake {
public:
    Fake() : log(environment("FAKE_CLAUDE_LOG")) {}

    void noteArguments(const std::vector<std::string>& arguments) const {
        if (log.empty()) return;
        std::ofstream file(log + "/argv", std::ios::binary);
        for (std::string argument : arguments) {
            replaceAll(argument, "\\", "\\\\");
            replaceAll(argument, "\n", "\\n");
            file << argument << "\n";
        }
    }

    void run(const std::string& script) {
        std::vector<std::string> commands;
        std::istringstream lines(script);
        for (std::string command; std::getline(lines, command);)
            if (!command.empty() && command[0] != '#') commands.push_back(command);
        size_t loopStart = 0;
        for (size_t at = 0; at < commands.size(); ++at) {
            if (commands[at] == "loop")
                loopStart = at;
            else if (commands[at] == "again")
                at = loopStart;
            else
                perform(commands[at]);
        }
        for (;;) readLine();
    }

private:
    std::string log;
    std::string unread;
    std::string line;  // read last
    std::string number;
    pid_t grandchild = -1;
    bool ended = false;  // the input is
    bool ignoreEnd = false;

    void perform(std::string rest) {
        const std::string name = takeWord(rest);
        const auto known = commandTable().find(name);
        if (known == commandTable().end()) {
            (void)writeAll(STDERR_FILENO, "fake_claude does not know: " + name + "\n");
            ::_exit(2);
        }
        known->second(*this, rest);
    }

    using Command = std::function<void(Fake&, const std::string&)>;
    static const std::map<std::string, Command>& commandTable() {
        static const std::map<std::string, Command> table = {
            {"out", [](Fake& f, auto& t) { f.print(STDOUT_FILENO, f.filled(t) + "\n"); }},
            {"raw", [](Fake& f, auto& t) { f.print(STDOUT_FILENO, unescape(f.filled(t))); }},
            {"err", [](Fake& f, auto& t) { f.print(STDERR_FILENO, unescape(f.filled(t))); }},
            {"big", [](Fake& f, auto& t) { f.printBig(std::stoul(t)); }},
            {"repeat", [](Fake& f, auto& t) { f.repeat(t); }},
            {"read", [](Fake& f, auto&) { f.readLine(); }},
            {"expect",
             [](Fake& f, auto& t) {
                 do f.readLine();
                 while (f.line.find(t) == std::string::npos);
             }},
            {"await-end",
             [](Fake& f, auto&) {
                 while (!f.ended) f.readMore();
             }},
            {"sleep",
             [](Fake&, auto& t) { std::this_thread::sleep_for(milliseconds(std::stoi(t))); }},
            {"await",
             [](Fake&, auto& t) {
                 while (::access(t.c_str(), F_OK) != 0)
                     std::this_thread::sleep_for(milliseconds(5));
             }},
            {"note", [](Fake& f, auto& t) { f.note(t); }},
            {"exit", [](Fake&, auto& t) { ::_exit(std::stoi(t)); }},
            {"kill", [](Fake&, auto& t) { ::kill(::getpid(), std::stoi(t)); }},
            {"hang", [](Fake&, auto&) { hang(); }},
            {"ignore-end", [](Fake& f, auto&) { f.ignoreEnd = true; }},
            {"ignore-term", [](Fake&, auto&) { ::signal(SIGTERM, SIG_IGN); }},
            {"close", [](Fake&, auto& t) { ::close(t == "in"    ? 0
                                                   : t == "out" ? 1
                                                                : 2); }},
            {"grandchild", [](Fake& f, auto& t) { f.startGrandchild(t); }},
        };
        return table;
    }

    static void print(int descriptor, const std::string& text) {
        if (!writeAll(descriptor, text)) ::_exit(3);
    }

    static void printBig(size_t bytes) {
        const std::string begin = R"({"type":"big","pad":")", end = "\"}";
        const size_t frame = begin.size() + end.size();
        print(STDOUT_FILENO,
              begin + std::string(bytes > frame ? bytes - frame : 0, 'x') + end + "\n");
    }

    void repeat(std::string rest) {
        const long count = std::stol(takeWord(rest));
        for (long i = 1; i <= count; ++i) {
            number = std::to_string(i);
            perform(rest);
        }
    }

    // By renaming, so that whoever waits for the file finds it whole.
    void note(std::string rest) const {
        const std::string path = takeWord(rest);
        std::ofstream(path + ".part", std::ios::binary) << filled(rest) << "\n";
        (void)std::rename((path + ".part").c_str(), path.c_str());
    }

    std::string filled(std::string text) const {
        const std::string_view key = "\"request_id\":\"";
        const size_t at = line.find(key);
        const size_t begin = at == std::string::npos ? line.size() : at + key.size();
        std::array<char, 4096> cwd = {};
        const char* folder = ::getcwd(cwd.data(), cwd.size());
        replaceAll(text, "${id}", line.substr(begin, line.find('"', begin) - begin));
        replaceAll(text, "${line}", line);
        replaceAll(text, "${n}", number);
        replaceAll(text, "${grandchild}", std::to_string(grandchild));
        replaceAll(text, "${pid}", std::to_string(::getpid()));
        replaceAll(text, "${cwd}", folder ? folder : "");
        return text;
    }

    void readLine() {
        size_t end = 0;
        while ((end = unread.find('\n')) == std::string::npos) {
            if (!ended) readMore();
            if (!ended) continue;
            if (ignoreEnd) hang();
            ::_exit(0);
        }
        line = unread.substr(0, end);
        unread.erase(0, end + 1);
    }

    void readMore() {
        std::array<char, 65536> buffer;
        const ssize_t got = ::read(STDIN_FILENO, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR) return;
        ended = got <= 0;
        if (ended) return;
        const std::string_view bytes(buffer.data(), static_cast<size_t>(got));
        unread += bytes;
        if (!log.empty()) std::ofstream(log + "/stdin", std::ios::binary | std::ios::app) << bytes;
    }

    void startGrandchild(std::string rest) {
        const milliseconds life(std::stoi(takeWord(rest)));
        grandchild = ::fork();
        if (grandchild != 0) return;
        const auto end = std::chrono::steady_clock::now() + life;
        if (rest.find("stubborn") != std::string::npos) ::signal(SIGTERM, SIG_IGN);
        if (rest.find("away") != std::string::npos) (void)::setpgid(0, 0);
        const bool chatty = rest.find("chatty") != std::string::npos;
        while (std::chrono::steady_clock::now() < end) {
            if (chatty)
                print(STDOUT_FILENO, "{\"type\":\"chatter\"}\n");
            else
                std::this_thread::sleep_until(end);
        }
        ::_exit(0);
    }
};

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const Fake notes;
    notes.noteArguments(arguments);
    if (arguments == std::vector<std::string>{"auth", "status"}) {
        (void)writeAll(STDOUT_FILENO, contents(environment("FAKE_CLAUDE_AUTH")));
        return std::atoi(environment("FAKE_CLAUDE_AUTH_CODE").c_str());
    }
    const std::string script = environment("FAKE_CLAUDE_SCRIPT");
    Fake().run(script.empty() ? kGreetAndAnswer : contents(script));
}
