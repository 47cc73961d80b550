#pragma once
// A web site for the program to look at.

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "net/net.hpp"
#include "support/support.hpp"

namespace mbtest {

// A web server of pages that are given, which notes what it is asked for.
class WebServer {
public:
    WebServer() {
        server.route(
            "/",
            [this](const mbnet::Request& request, mbnet::Response& response) {
                answer(request, response);
                return true;
            },
            false);
        server.start(0);
    }
    ~WebServer() {
        release();
        server.stop();
        server.waitForHandlers(10000);
    }

    void page(const std::string& path, const std::string& html) {
        const std::lock_guard lock(mutex);
        pages[path] = html;
    }
    std::string url(const std::string& path) const {
        return "http://127.0.0.1:" + std::to_string(server.boundPort()) + path;
    }
    int count(const std::string& path) const {
        const std::lock_guard lock(mutex);
        return static_cast<int>(std::count(asked.begin(), asked.end(), path));
    }
    bool awaitCount(const std::string& path, int wanted) const {
        return waitUntil([&] { return count(path) >= wanted; }, 30000);
    }
    // What a page has posted to "/report".
    std::string report() const {
        const std::lock_guard lock(mutex);
        return reported;
    }
    // "/slow" is answered from now on.
    void release() {
        const std::lock_guard lock(mutex);
        released = true;
        changed.notify_all();
    }

private:
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::map<std::string, std::string> pages;
    std::vector<std::string> asked;
    std::string reported;
    bool released = false;
    mbnet::Server server;

    void answer(const mbnet::Request& request, mbnet::Response& response) {
        std::unique_lock lock(mutex);
        asked.push_back(request.path);
        changed.notify_all();
        if (request.path == "/report") reported = request.body;
        if (request.path == "/slow") changed.wait(lock, [this] { return released; });
        const auto found = pages.find(request.path);
        response.status = found == pages.end() ? 404 : 200;
        response.contentType = "text/html; charset=utf-8";
        response.body = found == pages.end() ? "none" : found->second;
    }
};

}  // namespace mbtest
