// A language server's messages on their road to the page.
//
// Latency: a server that stamps each message of 1 KB with the clock and writes it when it is asked
// to; the median time until our callback has it, and until a WebSocket client has it, with event,
// JSON and broadcast in between as the program does it. Fails from a millisecond on.
//
// Throughput: a server that writes lists of completions of 20 KB as fast as it can, read by us and
// by a bare reader of a pipe that cuts the same frames and drops them. Both take turns, round after
// round, and the median of the rounds' ratios counts. Fails where it is below 0.5. What arrives at
// a WebSocket client in the same time is printed beside it.
//
// This program plays the server too: see main().

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "lsp/frames.hpp"
#include "lsp/lsp.hpp"
#include "net/net.hpp"
#include "proc/proc.hpp"
#include "util/fd.hpp"
#include "util/util.hpp"
#include "json/json.hpp"

namespace {

using mbjson::Json;
using mbutil::Fd;

constexpr int kQuestions = 2000;
constexpr size_t kSmallBytes = 1024;
constexpr size_t kListBytes = 20'000;
constexpr size_t kLists = 10'000;
constexpr int kRounds = 7;
constexpr double kLongestMs = 1;
constexpr double kLowestRatio = 0.5;
constexpr size_t kPieceBytes = 65536;

[[noreturn]] void giveUp(const char* what) {
    std::fprintf(stderr, "lsp_bench: %s failed\n", what);
    std::exit(1);
}

// Of a clock that all processes share.
long long nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// --- The server's side

void writeAll(std::string_view rest) {
    while (!rest.empty()) {
        const ssize_t written = ::write(STDOUT_FILENO, rest.data(), rest.size());
        if (written <= 0) std::exit(1);
        rest.remove_prefix(static_cast<size_t>(written));
    }
}

void answerWithStamps() {
    mblsp::FrameReader questions;
    std::vector<char> buffer(kPieceBytes);
    for (ssize_t got = 0; (got = ::read(STDIN_FILENO, buffer.data(), buffer.size())) > 0;)
        questions.feed({buffer.data(), static_cast<size_t>(got)}, [](const std::string&) {
            std::string body = R"({"jsonrpc":"2.0","id":1,"result":{"stamp":)";
            body += std::to_string(nowNs()) + R"(,"text":")";
            body.append(kSmallBytes - body.size() - 3, 'x');
            body += "\"}}";
            writeAll(mblsp::frameHeader(body.size()) + body);
        });
}

std::string completions() {
    Json items = Json::array();
    std::string list;
    for (int i = 0; list.size() < kListBytes; ++i) {
        Json item = Json::object();
        item.set("label", "completion" + std::to_string(i));
        item.set("kind", 3);
        item.set("detail", "std::string_view");
        item.set("documentation", "Gives the n\u00EFve result.\n\nNever \"fails\".");
        item.set("sortText", std::to_string(1000 + i));
        items.push(std::move(item));
        if (i % 10 == 0) list = items.dump();
    }
    return list;
}

void flood() {
    const std::string list = completions();
    const std::string message = mblsp::frameHeader(list.size()) + list;
    for (size_t i = 0; i < kLists; ++i) writeAll(message);
}

std::string serverCommand(const char* mode) {
    char path[4096];
    const ssize_t size = ::readlink("/proc/self/exe", path, sizeof path);
    if (size < 1) giveUp("readlink");
    return mbproc::quote({path, static_cast<size_t>(size)}) + " " + mode;
}

// --- The page's side

class Client {
public:
    explicit Client(int port) : socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<uint16_t>(port));
        if (::connect(socket.value, reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
            0)
            giveUp("connect");
        const std::string head = "GET /ws HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
                                 "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                                 "Sec-WebSocket-Version: 13\r\n"
                                 "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n";
        if (::send(socket.value, head.data(), head.size(), MSG_NOSIGNAL) < 0) giveUp("send");
        char byte = 0;
        for (std::string answer; answer.find("\r\n\r\n") == std::string::npos; answer += byte)
            if (::recv(socket.value, &byte, 1, 0) != 1) giveUp("the handshake");
    }

    // All that comes until `mark` has.
    std::string receiveTo(std::string_view mark) {
        std::string received;
        while (received.find(mark, received.size() - std::min(received.size(), kPieceBytes)) ==
               std::string::npos) {
            const ssize_t got = ::recv(socket.value, buffer.data(), buffer.size(), 0);
            if (got < 1) giveUp("the client");
            received.append(buffer.data(), static_cast<size_t>(got));
        }
        return received;
    }

    // How many bytes come until the event that tells of the exit, which is the last.
    size_t countToExit() {
        std::string tail;
        for (size_t all = 0;;) {
            const ssize_t got = ::recv(socket.value, buffer.data(), buffer.size(), 0);
            if (got < 1) giveUp("the client");
            all += static_cast<size_t>(got);
            const size_t kept = std::min<size_t>(static_cast<size_t>(got), 100);
            tail.append(buffer.data() + got - kept, kept);
            if (tail.find("\"type\":\"lsp.exit\"") != std::string::npos) return all;
            if (tail.size() > 100) tail.erase(0, tail.size() - 100);
        }
    }

private:
    Fd socket;
    std::vector<char> buffer = std::vector<char>(1 << 18);
};

// A bridge and a manager, joined as the program does it.
struct Bridge {
    mbnet::Server server;
    mblsp::Manager manager;

    Bridge() {
        manager.emit = [this](const Json& event) {
            server.broadcast(mbutil::toUtf8Strict(event.dump()));
        };
        if (server.start(0) == 0) giveUp("the bridge");
    }
    void start(const char* mode) {
        std::string error;
        if (!manager.ensure("bench", "", serverCommand(mode), error)) giveUp(error.c_str());
    }
};

// --- Measurements

double msSinceStamp(const std::string& message, std::string_view key) {
    const size_t at = message.find(key);
    if (at == std::string::npos) giveUp("reading a stamp");
    return static_cast<double>(nowNs() - std::atoll(message.c_str() + at + key.size())) / 1e6;
}

double latencyToCallback() {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<double> times;
    mblsp::Server server;
    std::string error;
    const auto onMessage = [&](const std::string& body) {
        const double time = msSinceStamp(body, "\"stamp\":");
        const std::lock_guard lock(mutex);
        times.push_back(time);
        changed.notify_one();
    };
    if (!server.start(serverCommand("stamps"), "", onMessage, {}, error)) giveUp(error.c_str());
    for (size_t i = 0; i < kQuestions; ++i) {
        if (!server.send("{}")) giveUp("send");
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return times.size() > i; });
    }
    server.stop();
    return median(times);
}

double latencyToClient() {
    Bridge bridge;
    Client client(bridge.server.boundPort());
    bridge.start("stamps");
    std::vector<double> times;
    for (int i = 0; i < kQuestions; ++i) {
        if (!bridge.manager.send("bench", "{}")) giveUp("send");
        times.push_back(msSinceStamp(client.receiveTo("\"type\":\"lsp.message\"}"), "stamp\\\":"));
    }
    return median(times);
}

double megabytesASecond(long long startNs, size_t bodyBytes) {
    return static_cast<double>(bodyBytes) / 1e6 / (static_cast<double>(nowNs() - startNs) / 1e9);
}

double bareRate() {
    const long long start = nowNs();
    mbproc::Child child;
    std::string error;
    if (!mbproc::spawnPiped("exec " + serverCommand("flood"), "", {}, true, child, error))
        giveUp(error.c_str());
    const Fd input(child.stdinFd), output(child.stdoutFd), errors(child.stderrFd);
    mblsp::FrameReader frames;
    std::vector<char> buffer(kPieceBytes);
    size_t bytes = 0, messages = 0;
    for (ssize_t got = 0; (got = ::read(output.value, buffer.data(), buffer.size())) > 0;)
        frames.feed({buffer.data(), static_cast<size_t>(got)}, [&](const std::string& body) {
            bytes += body.size();
            ++messages;
        });
    bool reaped = false;
    if (mbproc::waitFor(child.pid, 0, reaped) != 0 || messages != kLists) giveUp("the bare reader");
    return megabytesASecond(start, bytes);
}

double rateToCallback() {
    const long long start = nowNs();
    size_t bytes = 0, messages = 0;
    std::atomic<bool> over = false;
    mblsp::Server server;
    std::string error;
    if (!server.start(
            serverCommand("flood"), "",
            [&](const std::string& body) {
                bytes += body.size();
                ++messages;
            },
            [&](int) {
                over = true;
                over.notify_one();
            },
            error))
        giveUp(error.c_str());
    over.wait(false);
    if (messages != kLists) giveUp("the callback");
    return megabytesASecond(start, bytes);
}

double rateToClient(Bridge& bridge, Client& client, size_t bodyBytes) {
    const long long start = nowNs();
    bridge.start("flood");
    if (client.countToExit() < bodyBytes) giveUp("the client");
    return megabytesASecond(start, bodyBytes);
}

bool measureThroughput() {
    Bridge bridge;
    Client client(bridge.server.boundPort());
    const size_t bodyBytes = completions().size() * kLists;
    (void)bareRate();
    std::vector<double> bare, callback, page, ratios, pageRatios;
    for (int round = 0; round < kRounds; ++round) {
        bare.push_back(bareRate());
        callback.push_back(rateToCallback());
        page.push_back(rateToClient(bridge, client, bodyBytes));
        ratios.push_back(callback.back() / bare.back());
        pageRatios.push_back(page.back() / bare.back());
    }
    std::printf("messages of 20 KB   bare reader %7.1f MB/s   to the callback %7.1f MB/s   "
                "ratio %.2f   to a client %7.1f MB/s   ratio %.2f\n",
                median(bare), median(callback), median(ratios), median(page), median(pageRatios));
    return median(ratios) >= kLowestRatio;
}

bool measureLatency() {
    const double callback = latencyToCallback();
    const double client = latencyToClient();
    std::printf("message of 1 KB     to the callback %.3f ms   to a client %.3f ms\n", callback,
                client);
    return client < kLongestMs;
}

}  // namespace

// "lsp_bench stamps" and "lsp_bench flood" are the servers.
int main(int argc, char** argv) {
    const std::string_view mode = argc > 1 ? argv[1] : "";
    if (mode == "stamps") {
        answerWithStamps();
        return 0;
    }
    if (mode == "flood") {
        flood();
        return 0;
    }
    ::signal(SIGPIPE, SIG_IGN);
    const bool quick = measureLatency();
    const bool fast = measureThroughput();
    return quick && fast ? 0 : 1;
}
