// "cat" of 200 MB in a terminal, to a WebSocket client, beside a bare reader of the same terminal.
//
// Ours is the whole road: reader thread, event, JSON, broadcast, and a client in this process that
// receives and counts. The bare reader takes pieces of the same 16 KiB from a pseudo-terminal and
// drops them: what it needs is the price of cat and the kernel. Both take turns, round after round,
// and the median of the rounds' ratios counts. Fails where it is below 0.5.

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <pty.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "net/net.hpp"
#include "term/term.hpp"
#include "util/fd.hpp"
#include "util/util.hpp"
#include "json/json.hpp"

namespace {

using mbjson::Json;
using mbutil::Fd;

constexpr size_t kBytes = 200'000'000;
constexpr int kRounds = 5;
constexpr double kLowestRatio = 0.5;
constexpr size_t kPieceBytes = 16384;

[[noreturn]] void giveUp(const char* what) {
    std::fprintf(stderr, "term_bench: %s failed\n", what);
    std::exit(1);
}

// A file of lines as a build or a log prints them, some with colours and with letters beyond ASCII.
class Text {
public:
    Text() {
        if (const int fd = ::mkstemp(path.data()); fd < 0)
            giveUp("mkstemp");
        else
            ::close(fd);
        std::string block;
        for (int line = 0; block.size() < 1'000'000; ++line) {
            const std::string number = std::to_string(line);
            block.append("[").append(number).append("/90000] Building CXX object src/term/file");
            block.append(number).append(".cpp.o");
            if (line % 8 == 0) block += "\x1b[33m warning:\x1b[0m \u201Cna\u00EFve\u201D";
            block += '\n';
        }
        block.resize(1'000'000, '\n');
        std::string all;
        all.reserve(kBytes);
        while (all.size() < kBytes) all += block;
        if (!mbutil::writeFileRaw(path, all)) giveUp("writing the text");
    }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    ~Text() { ::unlink(path.c_str()); }

    std::string path = "/tmp/marlin-term-bench-XXXXXX";
};

double megabytesASecond(std::chrono::steady_clock::time_point start) {
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    return kBytes / 1e6 / taken.count();
}

double bareRate(const Text& text) {
    const auto start = std::chrono::steady_clock::now();
    int number = -1;
    const pid_t pid = ::forkpty(&number, nullptr, nullptr, nullptr);
    if (pid < 0) giveUp("forkpty");
    if (pid == 0) {
        ::execlp("cat", "cat", text.path.c_str(), nullptr);
        ::_exit(127);
    }
    const Fd master(number);
    std::array<char, kPieceBytes> piece;
    size_t all = 0;
    for (ssize_t got = 0; (got = ::read(master.value, piece.data(), piece.size())) > 0;)
        all += static_cast<size_t>(got);
    if (::waitpid(pid, nullptr, 0) != pid || all < kBytes) giveUp("the bare reader");
    return megabytesASecond(start);
}

Fd connectWebSocket(int port) {
    Fd socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    if (::connect(socket.value, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        giveUp("connect");
    const std::string head = "GET /ws HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
                             "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                             "Sec-WebSocket-Version: 13\r\n"
                             "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n";
    if (::send(socket.value, head.data(), head.size(), MSG_NOSIGNAL) < 0) giveUp("send");
    std::string answer;
    for (char byte = 0; answer.find("\r\n\r\n") == std::string::npos; answer += byte)
        if (::recv(socket.value, &byte, 1, 0) != 1) giveUp("the handshake");
    return socket;
}

// Until the event that tells of the exit, which is the last.
size_t receiveToExit(int socket) {
    static std::vector<char> buffer(1 << 18);
    std::string tail;
    for (size_t all = 0;;) {
        const ssize_t got = ::recv(socket, buffer.data(), buffer.size(), 0);
        if (got < 1) giveUp("the client");
        all += static_cast<size_t>(got);
        const size_t kept = std::min<size_t>(static_cast<size_t>(got), 100);
        tail.append(buffer.data() + got - kept, kept);
        if (tail.find("\"type\":\"terminal.exit\"") != std::string::npos) return all;
        if (tail.size() > 100) tail.erase(0, tail.size() - 100);
    }
}

class Bridge {
public:
    Bridge() {
        if (server.start(0) == 0) giveUp("the bridge");
        client = connectWebSocket(server.boundPort());
    }

    double rate(const Text& text) {
        mbterm::SpawnOptions options;
        options.command = "cat " + text.path;
        const auto start = std::chrono::steady_clock::now();
        std::string error;
        const std::string id = terminals.create(
            options,
            [this](const std::string& from, const std::string& bytes) {
                push("terminal.data", from, "data", mbutil::toUtf8Lenient(bytes));
            },
            [this](const std::string& from, int32_t code) {
                push("terminal.exit", from, "code", code);
            },
            error);
        if (id.empty() || receiveToExit(client.value) < kBytes) giveUp("the terminal");
        const double rate = megabytesASecond(start);
        (void)terminals.kill(id);
        return rate;
    }

private:
    mbnet::Server server;
    Fd client;
    mbterm::Manager terminals;

    // As the program does it.
    void push(const char* type, const std::string& id, const char* key, Json value) {
        Json event = Json::object();
        event.set("type", type);
        event.set("id", id);
        event.set(key, std::move(value));
        server.broadcast(mbutil::toUtf8Strict(event.dump()));
    }
};

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int main() {
    ::signal(SIGPIPE, SIG_IGN);
    const Text text;
    Bridge bridge;
    (void)bareRate(text);
    std::vector<double> ours, bare, ratios;
    for (int round = 0; round < kRounds; ++round) {
        bare.push_back(bareRate(text));
        ours.push_back(bridge.rate(text));
        ratios.push_back(ours.back() / bare.back());
    }
    std::printf("200 MB   terminal to client %6.1f MB/s   bare reader %6.1f MB/s   ratio %.2f\n",
                median(ours), median(bare), median(ratios));
    return median(ratios) >= kLowestRatio ? 0 : 1;
}
