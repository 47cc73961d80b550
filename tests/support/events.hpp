#pragma once
// The program's pushed events as a page receives them, over a client that insists on valid frames
// and valid UTF-8.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/client.hpp"
#include "support/program.hpp"
#include "json/json.hpp"

namespace mbtest {

class Events {
public:
    using Predicate = std::function<bool(const mbjson::Json&)>;

    // Connected when the constructor returns; see connected().
    explicit Events(const Program& program);

    bool connected() const { return client.connected(); }
    // What a browser would have closed the channel for.
    const std::string& error() const { return client.error(); }
    // The first event of this type behind those that were awaited before; nothing when the time is
    // over or the channel has ended.
    std::optional<mbjson::Json> await(const std::string& type, int limitMs = 10000);
    std::optional<mbjson::Json> await(const std::string& type, const Predicate& predicate,
                                      int limitMs = 10000);
    // Everything that was received, in order.
    const std::vector<mbjson::Json>& all() const { return received; }
    int count(const std::string& type) const;
    // Takes all that the program has pushed until now. Nothing that it pushed before this call is
    // missing afterwards: an event of our own making marks the place.
    bool catchUp(const Layout& layout);

private:
    const Program& program;
    WsClient client;
    std::vector<mbjson::Json> received;
    size_t taken = 0;  // events that await() has passed

    bool receive(int limitMs);
};

}  // namespace mbtest
