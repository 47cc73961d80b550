// A stream of requests gives the same requests whole and cut in two, and what the parser promises
// of each holds.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "net/request_head.hpp"
#include "net/response_head.hpp"

namespace {

using mbnet::Request;

void require(bool holds) {
    if (!holds) std::abort();
}

struct Seen {
    Request request;
    std::string version;
    uint64_t announced = 0;
    size_t missing = 0;  // bytes of the body that have not come

    bool operator==(const Seen& other) const {
        return request.method == other.request.method && request.path == other.request.path &&
               request.query == other.request.query && request.headers == other.request.headers &&
               request.body == other.request.body && version == other.version &&
               announced == other.announced && missing == other.missing;
    }
};

void check(const Seen& seen) {
    require(seen.request.method.find(' ') == std::string::npos);
    require(seen.request.query.size() <= seen.request.rawQuery.size());
    for (const auto& [name, value] : seen.request.headers) {
        const bool folded =
            std::none_of(name.begin(), name.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
        require(folded && &seen.request.header(name) == &value);
        require(value.empty() || (value.front() != ' ' && value.back() != '\r'));
    }
    mbnet::Response response = mbnet::Response::error(400, seen.request.path);
    response.headers["X-Path"] = "fixed";
    const std::string head =
        mbnet::responseHead(response, mbnet::wantsKeepAlive(seen.request, seen.version));
    require(head.ends_with("\r\nX-Path: fixed\r\n\r\n"));
}

// Takes whole requests off the front, as a connection does; `last` lost part of its body.
void takeRequests(mbnet::ReceiveBuffer& buffer, std::vector<Seen>& all, bool& over) {
    while (!over) {
        if (!all.empty() && all.back().missing > 0) {
            const std::string more = buffer.takeBody(all.back().missing);
            all.back().request.body += more;
            all.back().missing -= more.size();
            if (all.back().missing > 0) return;
        }
        const size_t headEnd = buffer.findHeadEnd();
        if (headEnd == std::string::npos) return;
        Seen seen;
        over = !mbnet::parseRequestHead(buffer.head(headEnd), seen.request, seen.version);
        if (over) return;
        buffer.dropHead(headEnd);
        seen.announced = mbnet::contentLength(seen.request);
        over = seen.announced > 67108864 || mbnet::wantsWebSocket(seen.request);
        seen.missing = over ? 0 : static_cast<size_t>(seen.announced);
        all.push_back(seen);
    }
}

std::vector<Seen> readAll(std::string_view first, std::string_view second) {
    mbnet::ReceiveBuffer buffer;
    std::vector<Seen> all;
    bool over = false;
    for (const std::string_view piece : {first, second}) {
        buffer.append(piece);
        takeRequests(buffer, all, over);
    }
    return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    const size_t where = data[0] * 256U + data[1];
    const std::string_view bytes(reinterpret_cast<const char*>(data) + 2, size - 2);
    const size_t cut = bytes.empty() ? 0 : where % bytes.size();
    const std::vector<Seen> whole = readAll(bytes, {});
    require(whole == readAll(bytes.substr(0, cut), bytes.substr(cut)));
    for (const Seen& seen : whole) check(seen);
    return 0;
}
