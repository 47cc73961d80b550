#pragma once
// One GET over HTTPS at a time. Certificates are checked, redirects are followed as long as they
// stay on HTTPS, and the proxies of the environment are used.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "update/stop_signal.hpp"

namespace mbupdate {

// Bounds on a server that hangs.
struct TransportLimits {
    long connectSeconds = 15;
    long lowSpeedBytes = 1024;  // a second, over lowSpeedSeconds
    long lowSpeedSeconds = 120;
};

// Takes a piece of the body and says whether to go on. `total` is the body's size as far as it is
// known: what the server announced, else the bytes so far, this piece included.
using Sink = std::function<bool(const char* data, size_t length, uint64_t total)>;

// Blocks until the end. True for an answer 200 that arrived whole. False with the reason in
// `error`; one that the sink put there is kept. `sink` also gets the bodies of other answers.
bool httpGet(const std::string& url, const Sink& sink, const StopSignal& stop, std::string& error,
             const TransportLimits& limits = {});

}  // namespace mbupdate
