#pragma once
// A running server for tests, with a token and a page of its own.

#include <functional>
#include <string>
#include <utility>

#include "net/net.hpp"
#include "support/client.hpp"
#include "support/support.hpp"

namespace mbtest {

struct Bridge {
    TempDir root;
    mbnet::Server server;
    int port = 0;

    // `prepare` adds routes and hooks before the start.
    explicit Bridge(const std::function<void(mbnet::Server&)>& prepare = {}) {
        root.write("index.html", "<h1>page</h1>");
        server.staticRoot = root.path();
        server.token = "sesame";
        if (prepare) prepare(server);
        port = server.start(0);
    }
};

// Answers with what the handler saw of the request, one thing a line.
inline bool echo(const mbnet::Request& request, mbnet::Response& response) {
    response.contentType = "text/plain";
    response.body = request.method + "\n" + request.path + "\n" + request.rawQuery + "\n";
    for (const auto& [key, value] : request.query) response.body += "?" + key + "=" + value + "\n";
    response.body += request.body;
    return true;
}

}  // namespace mbtest
