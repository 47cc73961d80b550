#include "support/events.hpp"

#include <chrono>

namespace mbtest {

using mbjson::Json;

namespace {

int64_t nowMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace

Events::Events(const Program& from) : program(from), client(from.port(), from.token()) {}

bool Events::receive(int limitMs) {
    const std::optional<std::string> text = client.recvText(limitMs);
    if (!text) return false;
    received.push_back(parseJson(*text));
    return true;
}

std::optional<Json> Events::await(const std::string& type, int limitMs) {
    return await(
        type, [](const Json&) { return true; }, limitMs);
}

std::optional<Json> Events::await(const std::string& type, const Predicate& predicate,
                                  int limitMs) {
    const int64_t end = nowMs() + limitMs;
    for (;;) {
        while (taken < received.size()) {
            const Json& event = received[taken++];
            if (event["type"].asString() == type && predicate(event)) return event;
        }
        const int64_t left = end - nowMs();
        if (left <= 0 || !receive(static_cast<int>(left))) return {};
    }
}

int Events::count(const std::string& type) const {
    int number = 0;
    for (const Json& event : received)
        if (event["type"].asString() == type) ++number;
    return number;
}

bool Events::catchUp(const Layout& layout) {
    static int marks = 0;
    const std::string name = "mark-" + std::to_string(++marks);
    Json paths = Json::array();
    paths.push(layout.mkdir("home/marks/" + name));
    Json body = Json::object();
    body.set("paths", std::move(paths));
    (void)program.request("/api/open", body.dump());
    return await("open.request",
                 [&](const Json& event) { return event["targets"][0]["path"].asString() == name; })
        .has_value();
}

}  // namespace mbtest
