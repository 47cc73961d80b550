#pragma once
// The bridge: a small HTTP/1.1 and WebSocket server on the loopback interface.
//
// Use: fill `staticRoot`, `token` and the hooks, add routes, start(), broadcast(), stop().
// Limits: 64 KiB for request line and headers, 64 MiB for a body or a WebSocket frame, 15 s of
// silence on an HTTP connection; no cap on connections.
// Errors: start() returns 0. What a client does wrong costs that client its connection.
// Threads: one accepts, one detached thread a connection; handlers and hooks run on the
// connection's thread, any number at once. broadcast() may be called on any thread and blocks
// while a client does not read. Nothing is caught around handlers: they let nothing escape.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "net/websocket.hpp"
#include "util/fd.hpp"

namespace mbnet {

struct Gate;

struct Request {
    std::string method;                          // as sent
    std::string path;                            // decoded, without the query
    std::string rawQuery;                        // undecoded, behind the first "?"
    std::map<std::string, std::string> query;    // decoded; the last of equal keys
    std::map<std::string, std::string> headers;  // names in lower case, values trimmed
    std::string body;

    // Both give the empty string for what is not there; a header's name is in lower case.
    const std::string& param(const std::string& name) const;
    const std::string& header(const std::string& name) const;
};

struct Response {
    int32_t status = 200;
    std::string contentType = "application/json; charset=utf-8";
    std::string body;
    std::map<std::string, std::string> headers;  // sent in key order

    static Response json(std::string text);
    // {"ok":false,"error":"..."}. Only backslash, quote and newline are escaped: a message with
    // another control character makes a body that is no valid JSON.
    static Response error(int32_t status, std::string_view message);
};

// True: the response is complete. False: the next matching route is asked.
using Handler = std::function<bool(const Request&, Response&)>;

struct Route {
    std::string prefix;
    Handler handler;
    bool requireToken = true;
};

struct CachedFile {
    uint64_t size = 0;
    uint64_t mtimeNs = 0;
    std::string etag;  // with its quotes
    // Shared with responses that are being filled while the entry is replaced.
    std::shared_ptr<const std::string> body;
};

class Server {
public:
    Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    // Stops, then waits for handlers that still run, without a limit: where one might hang, ask
    // waitForHandlers() first. Not to be called by a handler or a hook.
    ~Server();

    // Set before start(), read without a lock afterwards.
    std::string staticRoot;  // empty: nothing static is served
    std::string token;       // empty: nothing is checked
    std::function<void(const std::shared_ptr<WsConnection>&, const Request&)> onWsOpen;
    std::function<void(const std::shared_ptr<WsConnection>&, const std::string&, bool isBinary)>
        onWsMessage;
    std::function<void(const std::shared_ptr<WsConnection>&)> onWsClose;

    // Before start() only. The longest matching prefix is asked first; no path boundary is needed:
    // "/api/config" also takes "/api/configure".
    void route(std::string prefix, Handler handler, bool requireToken);
    // The rows of the table as they are matched.
    const std::vector<Route>& routeTable() const { return routes; }

    // Binds 127.0.0.1; port 0 lets the system choose. The bound port, or 0. At most once.
    int start(int wantedPort);
    int boundPort() const { return port; }

    // Idempotent. New connections are refused and WebSockets closed; handlers that run go on.
    void stop();
    // After stop(): true once no connection thread is inside a handler or a WebSocket any more and
    // none will enter one, so that what they use can be destroyed; false when the time is over.
    bool waitForHandlers(uint32_t timeoutMs);

    // One text frame to every open WebSocket; `text` is valid UTF-8.
    void broadcast(std::string_view text);

    // A file below `root`, with validators and from the cache. Links are followed, also out of
    // `root`; what is neither a file nor a folder (a pipe, a device) is not read.
    Response serveFile(const Request& request, const std::string& root,
                       const std::string& relative);

private:
    friend class Connection;
    friend struct ServerPeek;  // tests count the list of connections

    std::mutex cacheMutex;
    std::map<std::string, CachedFile> fileCache;  // by canonical path; guarded by cacheMutex
    uint64_t cacheBytes = 0;                      // guarded by cacheMutex
    mbutil::Fd listenSocket;
    std::atomic<int> port{0};
    // Shared with connection threads, which may outlive the server.
    std::shared_ptr<Gate> gate;
    std::thread acceptThread;
    std::vector<Route> routes;  // by descending length of prefix
    std::mutex wsMutex;
    std::vector<std::weak_ptr<WsConnection>> connections;  // guarded by wsMutex

    void acceptLoop();  // runs on acceptThread
    void closeWebSockets();

    // These run on connection threads, inside the gate.
    bool authorised(const Request& request) const;
    Response respond(const Request& request);
    Response serveStatic(const Request& request);
    std::shared_ptr<const std::string> cachedBody(const std::string& path, const CachedFile& now);
    void remember(const std::string& path, const CachedFile& file);
    void serveWebSocket(mbutil::Fd socket, const Request& request);
    void registerWebSocket(const std::shared_ptr<WsConnection>& connection);
    void readFrames(const std::shared_ptr<WsConnection>& connection);
};

// "+" is a blank, "%41" a byte; any other "%" stays as it is.
std::string urlDecode(std::string_view text);

// Content type by the file's name.
std::string mimeTypeFor(const std::string& path);

}  // namespace mbnet
