// Small JSON answers of the bridge beside a bare blocking loop.
//
// The bare loop has a thread a connection, too, and only reads and writes the same bytes: what it
// takes is the price of the system's sockets and threads. Both servers and the clients live in one
// process; the servers take turns, round after round, and the median of the rounds' ratios counts,
// so that a busy machine slows both alike.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "net/net.hpp"
#include "util/fd.hpp"

namespace {

constexpr auto kRoundTime = std::chrono::milliseconds(200);
constexpr int kRounds = 21;

const std::string kAnswerBody = R"({"ok":true,"path":"src/net/net.hpp","size":5412})";
const std::string kAnswer =
    "HTTP/1.1 200 OK\r\nContent-Type: application/json; charset=utf-8\r\nContent-Length: " +
    std::to_string(kAnswerBody.size()) + "\r\nConnection: keep-alive\r\n\r\n" + kAnswerBody;

const std::string kShortRequest =
    "GET /api/file/stat?path=src%2Fnet%2Fnet.hpp&token=0123456789abcdef HTTP/1.1\r\n"
    "Host: 127.0.0.1:40000\r\n\r\n";
// What a web view sends along.
const std::string kBrowserRequest =
    "POST /api/file/stat HTTP/1.1\r\nHost: 127.0.0.1:40000\r\n"
    "Content-Type: application/json\r\nOrigin: http://127.0.0.1:40000\r\n"
    "Accept-Encoding: gzip, deflate\r\nConnection: Keep-Alive\r\nAccept: */*\r\n"
    "User-Agent: Mozilla/5.0 (X11; Linux x86_64) AppleWebKit/605.1.15 (KHTML, like Gecko)\r\n"
    "Referer: http://127.0.0.1:40000/index.html\r\nAccept-Language: en-US, en;q=0.9\r\n"
    "X-Marlin-Token: 0123456789abcdef\r\nContent-Length: 27\r\n\r\n"
    R"({"path":"src/net/net.hpp"} )";

void noDelay(int socket) {
    const int on = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    return address;
}

[[noreturn]] void die(const char* what) {
    std::perror(what);
    std::exit(1);
}

// True once `size` bytes have come; what they are is not looked at.
bool receiveAll(int socket, size_t size) {
    std::array<char, 16384> buffer;
    for (size_t have = 0; have < size;) {
        const ssize_t got = ::recv(socket, buffer.data(), buffer.size(), 0);
        if (got < 1) return false;
        have += static_cast<size_t>(got);
    }
    return true;
}

bool sendAll(int socket, const std::string& bytes) {
    return ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(bytes.size());
}

// The bare loop: knows how long a request is and answers each with the same bytes.
class BareServer {
public:
    explicit BareServer(size_t requestSize)
        : listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = loopback(0);
        socklen_t size = sizeof address;
        auto* raw = reinterpret_cast<sockaddr*>(&address);
        if (::bind(listener.value, raw, size) != 0 || ::listen(listener.value, 4096) != 0 ||
            ::getsockname(listener.value, raw, &size) != 0)
            die("the bare server");
        port = ntohs(address.sin_port);
        accepting = std::thread([this, requestSize] { acceptLoop(requestSize); });
    }
    ~BareServer() {
        ::shutdown(listener.value, SHUT_RDWR);
        accepting.join();
        for (std::thread& serving : threads) serving.join();
    }
    int port = 0;

private:
    mbutil::Fd listener;
    std::thread accepting;
    std::vector<std::thread> threads;  // the accepting thread's until it has ended

    void acceptLoop(size_t requestSize) {
        for (;;) {
            mbutil::Fd socket(::accept4(listener.value, nullptr, nullptr, SOCK_CLOEXEC));
            if (!socket) return;
            noDelay(socket.value);
            threads.emplace_back([requestSize, connected = std::move(socket)] {
                while (receiveAll(connected.value, requestSize) &&
                       sendAll(connected.value, kAnswer)) {
                }
            });
        }
    }
};

// As many routes as the program has, the longest ones asked in vain.
void prepare(mbnet::Server& server) {
    server.token = "0123456789abcdef";
    const auto decline = [](const mbnet::Request&, mbnet::Response&) { return false; };
    for (int i = 0; i < 110; ++i)
        server.route("/api/group" + std::to_string(i) + "/some-longer-name", decline, true);
    server.route(
        "/api/file/stat",
        [](const mbnet::Request&, mbnet::Response& response) {
            response = mbnet::Response::json(kAnswerBody);
            return true;
        },
        true);
}

std::vector<mbutil::Fd> connectAll(int port, int connections) {
    std::vector<mbutil::Fd> sockets;
    for (int i = 0; i < connections; ++i) {
        mbutil::Fd socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const sockaddr_in address = loopback(port);
        if (::connect(socket.value, reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
            0)
            die("a client");
        noDelay(socket.value);
        sockets.push_back(std::move(socket));
    }
    return sockets;
}

// Answers a second over all connections, each asking again as soon as it has its answer.
double rate(const std::vector<mbutil::Fd>& sockets, const std::string& request) {
    std::atomic<bool> over{false};
    std::atomic<uint64_t> answers{0};
    std::vector<std::thread> clients;
    const auto start = std::chrono::steady_clock::now();
    for (const mbutil::Fd& socket : sockets) {
        clients.emplace_back([&, fd = socket.value] {
            uint64_t mine = 0;
            while (!over) {
                if (!sendAll(fd, request) || !receiveAll(fd, kAnswer.size())) die("a request");
                ++mine;
            }
            answers += mine;
        });
    }
    std::this_thread::sleep_for(kRoundTime);
    over = true;
    for (std::thread& client : clients) client.join();
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    return static_cast<double>(answers) / taken.count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void compare(const char* name, const std::string& request, int connections) {
    mbnet::Server server;
    prepare(server);
    if (server.start(0) == 0) die("the bridge");
    BareServer bare(request.size());
    // Declared last: the clients leave first, which ends the bare server's threads.
    const std::vector<mbutil::Fd> toBridge = connectAll(server.boundPort(), connections);
    const std::vector<mbutil::Fd> toBare = connectAll(bare.port, connections);
    std::vector<double> bridgeRates, bareRates, ratios;
    for (int round = 0; round < kRounds; ++round) {
        bridgeRates.push_back(rate(toBridge, request));
        bareRates.push_back(rate(toBare, request));
        ratios.push_back(bridgeRates.back() / bareRates.back());
    }
    std::printf("%-16s %3d connections  bridge %8.0f/s  bare %8.0f/s  ratio %.3f\n", name,
                connections, median(bridgeRates), median(bareRates), median(ratios));
    std::fflush(stdout);
}

}  // namespace

int main() {
    for (const int connections : {1, 8, 64}) {
        compare("short request", kShortRequest, connections);
        compare("browser request", kBrowserRequest, connections);
    }
}
