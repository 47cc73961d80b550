#pragma once
// One WebSocket client of the bridge.
//
// Threads: any thread may send or close; frames stay whole. The connection's own thread reads.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>

#include "util/fd.hpp"

namespace mbnet {

class WsConnection : public std::enable_shared_from_this<WsConnection> {
public:
    explicit WsConnection(mbutil::Fd connected) : socket(std::move(connected)) {}
    WsConnection(const WsConnection&) = delete;
    WsConnection& operator=(const WsConnection&) = delete;
    ~WsConnection() { close(); }

    // Unfragmented and unmasked, in one go. Blocks while the client does not read; after a failed
    // send, and on a closed connection, nothing happens.
    void sendFrame(uint8_t opcode, const void* data, size_t size);
    void sendText(std::string_view text) { sendFrame(1, text.data(), text.size()); }
    void sendBinary(const void* data, size_t size) { sendFrame(2, data, size); }
    // The first call ends the connection in both directions; the reading thread then returns.
    void close();
    bool isOpen() const { return open; }

private:
    friend class Server;

    // Given back only with the last reference: while another thread may still send on it, its
    // number must not come to stand for a different connection. close() just shuts it down.
    mbutil::Fd socket;
    std::mutex writeMutex;  // held for a whole frame
    // Whoever swaps it to false is the one that ends the connection.
    std::atomic<bool> open{true};
};

}  // namespace mbnet
