#include "https_server.hpp"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <openssl/pem.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <array>

namespace mbtest {

namespace {

using Connection = std::unique_ptr<SSL, decltype(&SSL_free)>;

// Longer than any client here has patience for.
constexpr timeval kStallTime = {30, 0};

void useIdentity(SSL_CTX* context, const std::string& identity) {
    const std::unique_ptr<BIO, decltype(&BIO_free_all)> text(
        BIO_new_mem_buf(identity.data(), static_cast<int>(identity.size())), &BIO_free_all);
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(
        PEM_read_bio_PrivateKey(text.get(), nullptr, nullptr, nullptr), &EVP_PKEY_free);
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(
        PEM_read_bio_X509(text.get(), nullptr, nullptr, nullptr), &X509_free);
    EXPECT_EQ(SSL_CTX_use_certificate(context, certificate.get()), 1);
    EXPECT_EQ(SSL_CTX_use_PrivateKey(context, key.get()), 1);
}

mbutil::Fd listenAnywhere(int& port) {
    mbutil::Fd socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    socklen_t length = sizeof address;
    EXPECT_EQ(::bind(socket.value, reinterpret_cast<sockaddr*>(&address), length), 0);
    EXPECT_EQ(::listen(socket.value, 16), 0);
    ::getsockname(socket.value, reinterpret_cast<sockaddr*>(&address), &length);
    port = ntohs(address.sin_port);
    return socket;
}

// Empty when the client went away.
std::string readHead(SSL* connection) {
    std::string head;
    std::array<char, 4096> buffer;
    while (head.find("\r\n\r\n") == std::string::npos) {
        const int got = SSL_read(connection, buffer.data(), static_cast<int>(buffer.size()));
        if (got <= 0) return {};
        head.append(buffer.data(), static_cast<size_t>(got));
    }
    return head;
}

bool writeAll(SSL* connection, const std::string& bytes) {
    size_t written = 0;
    return bytes.empty() || SSL_write_ex(connection, bytes.data(), bytes.size(), &written) == 1;
}

}  // namespace

HttpsServer::HttpsServer(const std::string& identity)
    : context(SSL_CTX_new(TLS_server_method()), &SSL_CTX_free), listener(listenAnywhere(port)) {
    useIdentity(context.get(), identity);
    acceptThread = std::thread([this] { acceptLoop(); });
}

HttpsServer::~HttpsServer() {
    ::shutdown(listener.value, SHUT_RDWR);
    acceptThread.join();
    {
        const std::lock_guard lock(mutex);
        for (const int socket : sockets) ::shutdown(socket, SHUT_RDWR);
    }
    for (std::thread& connection : connections) connection.join();
}

std::string HttpsServer::url(const std::string& path, const std::string& host) const {
    return "https://" + host + ":" + std::to_string(port) + path;
}

void HttpsServer::serve(const std::string& path, std::function<Reply()> handler) {
    const std::lock_guard lock(mutex);
    handlers[path] = std::move(handler);
}

void HttpsServer::serve(const std::string& path, Reply reply) {
    serve(path, [reply = std::move(reply)] { return reply; });
}

std::vector<std::string> HttpsServer::requests() const {
    const std::lock_guard lock(mutex);
    return heads;
}

void HttpsServer::acceptLoop() {
    for (;;) {
        mbutil::Fd socket(::accept4(listener.value, nullptr, nullptr, SOCK_CLOEXEC));
        if (!socket) return;
        ::setsockopt(socket.value, SOL_SOCKET, SO_RCVTIMEO, &kStallTime, sizeof kStallTime);
        {
            const std::lock_guard lock(mutex);
            sockets.push_back(socket.value);
        }
        connections.emplace_back(
            [this, socket = std::move(socket)]() mutable { serveConnection(std::move(socket)); });
    }
}

void HttpsServer::serveConnection(mbutil::Fd socket) {
    {
        const Connection connection(SSL_new(context.get()), &SSL_free);
        SSL_set_fd(connection.get(), socket.value);
        if (SSL_accept(connection.get()) == 1) answer(connection.get());
    }
    const std::lock_guard lock(mutex);
    std::erase(sockets, socket.value);
    socket.reset();
}

void HttpsServer::answer(SSL* connection) {
    const std::string head = readHead(connection);
    if (head.empty()) return;
    const Reply reply = replyTo(head);
    std::string answer =
        "HTTP/1.1 " + std::to_string(reply.status) + " Words\r\nConnection: close\r\n";
    for (const std::string& line : reply.headers) answer += line + "\r\n";
    if (reply.announceLength)
        answer += "Content-Length: " + std::to_string(reply.body.size() + reply.missing) + "\r\n";
    if (!writeAll(connection, answer + "\r\n") || !writeAll(connection, reply.body)) return;
    char byte = 0;
    if (reply.stall) (void)SSL_read(connection, &byte, 1);  // until either side ends it
    SSL_shutdown(connection);
}

Reply HttpsServer::replyTo(const std::string& head) {
    std::function<Reply()> handler;
    {
        const std::lock_guard lock(mutex);
        heads.push_back(head);
        const size_t begin = head.find(' ') + 1;
        const auto found = handlers.find(head.substr(begin, head.find(' ', begin) - begin));
        if (found != handlers.end()) handler = found->second;
    }
    if (handler) return handler();
    Reply missing;
    missing.status = 404;
    missing.body = "not here";
    return missing;
}

}  // namespace mbtest
