#include <string_view>
#include <utility>

#include "net/response_head.hpp"

namespace mbnet {

namespace {

struct Reason {
    int32_t status;
    std::string_view phrase;
};

// A status that is not listed goes out as "OK", whatever its number.
constexpr Reason kReasons[] = {
    {204, "No Content"},         {304, "Not Modified"},      {400, "Bad Request"},
    {401, "Unauthorized"},       {403, "Forbidden"},         {404, "Not Found"},
    {405, "Method Not Allowed"}, {413, "Payload Too Large"}, {500, "Internal Server Error"},
};

std::string_view reasonPhrase(int32_t status) {
    for (const Reason& reason : kReasons) {
        if (reason.status == status) return reason.phrase;
    }
    return "OK";
}

}  // namespace

Response Response::json(std::string text) {
    Response response;
    response.body = std::move(text);
    return response;
}

Response Response::error(int32_t status, std::string_view message) {
    Response response;
    response.status = status;
    response.body = "{\"ok\":false,\"error\":\"";
    for (const char byte : message) {
        if (byte == '\\' || byte == '"') response.body += '\\';
        response.body += byte == '\n' ? ' ' : byte;
    }
    response.body += "\"}";
    return response;
}

std::string responseHead(const Response& response, bool keepAlive) {
    std::string head;
    head.reserve(256);
    head.append("HTTP/1.1 ").append(std::to_string(response.status)).append(" ");
    head.append(reasonPhrase(response.status)).append("\r\n");
    if (statusHasBody(response.status)) {
        head.append("Content-Type: ").append(response.contentType);
        head.append("\r\nContent-Length: ").append(std::to_string(response.body.size()));
        head.append("\r\n");
    }
    head.append(keepAlive ? "Connection: keep-alive\r\n" : "Connection: close\r\n");
    for (const auto& [name, value] : response.headers)
        head.append(name).append(": ").append(value).append("\r\n");
    return head.append("\r\n");
}

}  // namespace mbnet
