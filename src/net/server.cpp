#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <system_error>
#include <utility>

#include "net/connection.hpp"
#include "net/gate.hpp"
#include "net/net.hpp"
#include "net/socket.hpp"

namespace mbnet {

namespace {

constexpr int kBacklog = 4096;

mbutil::Fd listenOnLoopback(int port) {
    mbutil::Fd socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket) return socket;
    setNoDelay(socket.value);
    const int on = 1;
    ::setsockopt(socket.value, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    const bool listening =
        ::bind(socket.value, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        ::listen(socket.value, kBacklog) == 0;
    if (!listening) socket.reset();
    return socket;
}

int portOf(int socket) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
    return ntohs(address.sin_port);
}

// The thread is nobody's: an idle one sits in a receive for up to 15 s, too long to be joined at
// the end. It owns its socket, and the gate keeps it from a server that is gone.
void serveDetached(Server* server, std::shared_ptr<Gate> gate, mbutil::Fd socket) {
    const auto serve = [server](std::shared_ptr<Gate> shared, mbutil::Fd connected) {
        Connection(server, std::move(shared), std::move(connected)).serve();
    };
    try {
        std::thread(serve, std::move(gate), std::move(socket)).detach();
    } catch (const std::system_error&) {
        // The system is short of threads; the client finds its connection closed.
    }
}

}  // namespace

Server::Server() : gate(std::make_shared<Gate>()) {}

Server::~Server() {
    stop();
    gate->waitUntilEmpty();
}

void Server::route(std::string prefix, Handler handler, bool requireToken) {
    routes.push_back({std::move(prefix), std::move(handler), requireToken});
    std::stable_sort(routes.begin(), routes.end(), [](const Route& left, const Route& right) {
        return left.prefix.size() > right.prefix.size();
    });
}

int Server::start(int wantedPort) {
    listenSocket = listenOnLoopback(wantedPort);
    if (!listenSocket) return 0;
    port = portOf(listenSocket.value);
    gate->open();
    try {
        acceptThread = std::thread(&Server::acceptLoop, this);
    } catch (const std::system_error&) {
        gate->shut();
        listenSocket.reset();
        port = 0;
    }
    return port;
}

void Server::acceptLoop() {
    while (gate->running) {
        mbutil::Fd socket(::accept4(listenSocket.value, nullptr, nullptr, SOCK_CLOEXEC));
        if (!socket) continue;
        setNoDelay(socket.value);
        serveDetached(this, gate, std::move(socket));
    }
}

void Server::stop() {
    if (!gate->shut()) return;
    ::shutdown(listenSocket.value, SHUT_RDWR);  // wakes the accept
    acceptThread.join();
    listenSocket.reset();  // only now: until its end the thread accepts on it
    closeWebSockets();
}

bool Server::waitForHandlers(uint32_t timeoutMs) {
    return gate->waitUntilEmpty(std::chrono::milliseconds(timeoutMs));
}

bool Server::authorised(const Request& request) const {
    return token.empty() || request.param("token") == token ||
           request.header("x-marlin-token") == token ||
           request.header("cookie").find("marlin_token=" + token) != std::string::npos;
}

Response Server::respond(const Request& request) {
    Response response;
    for (const Route& candidate : routes) {
        if (!request.path.starts_with(candidate.prefix)) continue;
        if (candidate.requireToken && !authorised(request))
            return Response::error(401, "invalid or missing session token");
        // A handler that declines may leave traces in the response, which the next one finds.
        if (candidate.handler(request, response)) return response;
    }
    return serveStatic(request);
}

}  // namespace mbnet
