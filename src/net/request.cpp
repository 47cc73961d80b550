#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "net/request_head.hpp"
#include "util/util.hpp"

namespace mbnet {

namespace {

const std::string kEmpty;

// The text before the next separator, which is dropped; the rest stays in `text`. False at the end.
bool nextPiece(std::string_view& text, bool& atEnd, char separator, std::string_view& piece) {
    if (atEnd) return false;
    const size_t end = text.find(separator);
    atEnd = end == std::string_view::npos;
    piece = text.substr(0, end);
    text.remove_prefix(atEnd ? text.size() : end + 1);
    return true;
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

int hexDigit(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    return -1;
}

bool parseRequestLine(std::string_view line, std::string_view& method, std::string_view& target,
                      std::string_view& version) {
    bool atEnd = false;
    if (!nextPiece(line, atEnd, ' ', method) || !nextPiece(line, atEnd, ' ', target)) return false;
    (void)nextPiece(line, atEnd, ' ', version);  // a request of two words has no version
    return true;
}

void parseQuery(std::string_view text, std::map<std::string, std::string>& query) {
    bool atEnd = false;
    std::string_view piece;
    while (nextPiece(text, atEnd, '&', piece)) {
        if (piece.empty()) continue;
        const size_t equals = piece.find('=');
        const std::string_view value =
            equals == std::string_view::npos ? std::string_view() : piece.substr(equals + 1);
        query.insert_or_assign(urlDecode(piece.substr(0, equals)), urlDecode(value));
    }
}

void parseHeader(std::string_view line, std::map<std::string, std::string>& headers) {
    const size_t colon = line.find(':');
    if (colon == std::string_view::npos) return;
    headers.insert_or_assign(mbutil::lowerCase(trimmed(line.substr(0, colon))),
                             std::string(trimmed(line.substr(colon + 1))));
}

const std::string& valueOf(const std::map<std::string, std::string>& map, const std::string& name) {
    const auto found = map.find(name);
    return found == map.end() ? kEmpty : found->second;
}

}  // namespace

const std::string& Request::param(const std::string& name) const { return valueOf(query, name); }
const std::string& Request::header(const std::string& name) const { return valueOf(headers, name); }

std::string urlDecode(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const bool escape = text[i] == '%' && i + 2 < text.size();
        const int high = escape ? hexDigit(text[i + 1]) : -1;
        const int low = escape ? hexDigit(text[i + 2]) : -1;
        if (high >= 0 && low >= 0) {
            decoded += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            decoded += text[i] == '+' ? ' ' : text[i];
        }
    }
    return decoded;
}

size_t ReceiveBuffer::findHeadEnd() {
    constexpr std::string_view kBlankLine = "\r\n\r\n";
    const size_t found = bytes.find(kBlankLine, searched);
    // A blank line whose last bytes are still to come begins within the last three.
    searched =
        found != std::string::npos ? found : bytes.size() - std::min<size_t>(bytes.size(), 3);
    return found;
}

std::string ReceiveBuffer::takeBody(size_t length) {
    const size_t here = std::min(length, bytes.size());
    std::string body = bytes.substr(0, here);
    drop(here);
    return body;
}

void ReceiveBuffer::drop(size_t count) {
    bytes.erase(0, count);
    searched = 0;
}

bool parseRequestHead(std::string_view head, Request& request, std::string& version) {
    bool atEnd = false;
    std::string_view line, method, target, versionWord;
    (void)nextPiece(head, atEnd, '\n', line);  // a first piece is always there, if an empty one
    if (!parseRequestLine(trimmed(line), method, target, versionWord)) return false;
    request.method = method;
    version = versionWord;
    const size_t question = target.find('?');
    if (question != std::string_view::npos) {
        request.rawQuery = target.substr(question + 1);
        parseQuery(request.rawQuery, request.query);
    }
    request.path = urlDecode(target.substr(0, question));
    while (nextPiece(head, atEnd, '\n', line)) parseHeader(trimmed(line), request.headers);
    return true;
}

bool wantsWebSocket(const Request& request) {
    return mbutil::lowerCase(request.header("upgrade")) == "websocket";
}

bool wantsKeepAlive(const Request& request, std::string_view version) {
    const std::string connection = mbutil::lowerCase(request.header("connection"));
    return version == "HTTP/1.1" ? connection != "close" : connection == "keep-alive";
}

uint64_t contentLength(const Request& request) {
    const std::string& text = request.header("content-length");
    errno = 0;
    const uint64_t length = std::strtoull(text.c_str(), nullptr, 10);
    return errno == ERANGE ? 0 : length;
}

}  // namespace mbnet
