#pragma once
// One HTTP connection: serves its requests in order until one side has had enough.
//
// Threads: everything runs on the connection's own thread, which nobody joins.

#include <cstddef>
#include <memory>
#include <string>

#include "net/gate.hpp"
#include "net/net.hpp"
#include "net/request_head.hpp"
#include "util/fd.hpp"

namespace mbnet {

class Connection {
public:
    Connection(Server* owner, std::shared_ptr<Gate> shared, mbutil::Fd connected);

    // Returns when the socket is closed or has become a WebSocket that has ended.
    void serve();

private:
    Server* server;  // may be gone: touched with a GatePass only
    std::shared_ptr<Gate> gate;
    mbutil::Fd socket;
    ReceiveBuffer buffer;  // outlives single requests, so that pipelined ones are served in order

    // False: the connection is over; where the socket is still open it is closed silently.
    bool readHead(size_t& headEnd);
    bool serveOne(size_t headEnd);
    bool readBody(size_t length, std::string& body);
    bool answer(const Request& request, bool keepAlive);
    bool send(const Response& response, bool keepAlive);
    void becomeWebSocket(const Request& request);
    void refuseBody();
    // At most one receive; false when nothing came.
    bool receiveSome();
};

}  // namespace mbnet
