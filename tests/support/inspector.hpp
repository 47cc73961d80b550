#pragma once
// Looks into the page of the real window, through the inspector that WebKit serves when it is
// asked to (Start::inspector).

#include <optional>
#include <string>

#include "support/client.hpp"
#include "support/program.hpp"
#include "json/json.hpp"

namespace mbtest {

class Inspector {
public:
    // Waits for the page and connects; see connected(). One at a time: a second finds no page. It
    // stays with the page when that goes to another document of its origin.
    explicit Inspector(const Program& program);

    bool connected() const { return !target.empty(); }
    // The expression's value, by value; null when it raises, is undefined or there is no page.
    mbjson::Json evaluate(const std::string& expression);
    // True once the expression is truthy. It may be evaluated many times.
    bool await(const std::string& expression, int limitMs = 10000);

private:
    int port;
    RawSocket socket;
    std::string target;  // the inspector's id of the page
    int lastId = 0;
    bool unanswered = false;  // the last evaluation was

    bool connect();
    // WsClient asks for the bridge's own handshake; WebKit's server has another.
    bool shakeHands(const std::string& path);
    std::optional<std::string> nextText();
    mbjson::Json nextMessage();
    void followTarget(const mbjson::Json& message);
    bool send(const mbjson::Json& message);
};

}  // namespace mbtest
