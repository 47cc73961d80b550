#pragma once
// An HTTPS server in this process that answers as a test tells it: one request a connection, a
// thread each.

#include <openssl/ssl.h>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "util/fd.hpp"

namespace mbtest {

struct Reply {
    int status = 200;
    std::string body;
    std::vector<std::string> headers;  // whole lines
    bool announceLength = true;
    size_t missing = 0;  // so many bytes are announced beyond the body
    bool stall = false;  // instead of an end the connection falls silent
};

class HttpsServer {
public:
    // `identity` is a key with its certificate, in PEM.
    explicit HttpsServer(const std::string& identity);
    HttpsServer(const HttpsServer&) = delete;
    HttpsServer& operator=(const HttpsServer&) = delete;
    ~HttpsServer();

    std::string url(const std::string& path, const std::string& host = "127.0.0.1") const;
    // Any other path is a 404. The function runs on the connection's thread and may block.
    void serve(const std::string& path, std::function<Reply()> handler);
    void serve(const std::string& path, Reply reply);
    // Heads of requests, in the order of their coming.
    std::vector<std::string> requests() const;

private:
    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context;
    int port = 0;
    mbutil::Fd listener;
    mutable std::mutex mutex;
    std::map<std::string, std::function<Reply()>> handlers;  // guarded by mutex
    std::vector<std::string> heads;                          // guarded by mutex
    std::vector<int> sockets;                                // guarded by mutex; open ones
    std::thread acceptThread;
    std::vector<std::thread> connections;  // accept thread's

    void acceptLoop();
    void serveConnection(mbutil::Fd socket);
    void answer(SSL* connection);
    Reply replyTo(const std::string& head);
};

}  // namespace mbtest
