// Requests and responses as values, without a socket.

#include <gtest/gtest.h>

#include <limits>

#include "net/request_head.hpp"
#include "net/response_head.hpp"

namespace {

using mbnet::ReceiveBuffer;
using mbnet::Request;
using mbnet::Response;
using namespace std::string_literals;

struct Parsed {
    bool ok = false;
    Request request;
    std::string version;
};

Parsed parse(std::string_view head) {
    Parsed parsed;
    parsed.ok = mbnet::parseRequestHead(head, parsed.request, parsed.version);
    return parsed;
}

uint64_t lengthOf(const std::string& value) {
    Request request;
    request.headers["content-length"] = value;
    return mbnet::contentLength(request);
}

TEST(NetRequest, UrlDecodeTakesPlusAndTwoHexDigitsOnly) {
    const std::pair<std::string, std::string> kRows[] = {
        {"", ""},
        {"a+b", "a b"},
        {"a%2Fb", "a/b"},
        {"%41%7a%7A", "Azz"},
        {"%zz", "%zz"},
        {"%4", "%4"},
        {"%", "%"},
        {"%%41", "%A"},
        {"%4%41", "%4A"},
        {"%2", "%2"},
        {"%2B+", "+ "},
        {"%00x", "\0x"s},
        {"%c3%B6", "\xc3\xb6"},
        {"%g1", "%g1"},
        {"%1g", "%1g"},
        {"%-1", "%-1"},
        {"x%4", "x%4"},
        {"100%", "100%"},
        {"%25%34%31", "%41"},
    };
    for (const auto& [text, decoded] : kRows) EXPECT_EQ(mbnet::urlDecode(text), decoded) << text;
}

TEST(NetRequest, RequestLineIsSplitOnSingleBlanks) {
    struct Row {
        std::string line, method, path, version;
    };
    const Row kRows[] = {
        {"GET /a HTTP/1.1", "GET", "/a", "HTTP/1.1"},
        {"get /a", "get", "/a", ""},
        {"  GET /a HTTP/1.0 \r", "GET", "/a", "HTTP/1.0"},
        {"GET  /a HTTP/1.1", "GET", "", "/a"},
        {"GET /a  HTTP/1.1", "GET", "/a", ""},
        {"GET /a HTTP/1.1 more words", "GET", "/a", "HTTP/1.1"},
        {"GET\t/a HTTP/1.1", "GET\t/a", "HTTP/1.1", ""},
        {"- *", "-", "*", ""},
        {"GET /a+b%2Fc%zz%4 HTTP/1.1", "GET", "/a b/c%zz%4", "HTTP/1.1"},
    };
    for (const Row& row : kRows) {
        const Parsed parsed = parse(row.line);
        ASSERT_TRUE(parsed.ok) << row.line;
        EXPECT_EQ(parsed.request.method, row.method) << row.line;
        EXPECT_EQ(parsed.request.path, row.path) << row.line;
        EXPECT_EQ(parsed.version, row.version) << row.line;
    }
}

TEST(NetRequest, FewerThanTwoWordsAreRefused) {
    for (const std::string head : {"", " ", "GET", " GET ", "\r\nGET / HTTP/1.1", "\n", "\r"})
        EXPECT_FALSE(parse(head).ok) << testing::PrintToString(head);
}

TEST(NetRequest, QueryKeepsTheLastOfEqualKeysAndEmptyValues) {
    const Parsed parsed = parse("GET /p?a=1&&b&a=2=3&c%3D=%26+&=x&d=?e HTTP/1.1");
    const std::map<std::string, std::string> expected = {
        {"", "x"}, {"a", "2=3"}, {"b", ""}, {"c=", "& "}, {"d", "?e"}};
    EXPECT_EQ(parsed.request.query, expected);
    EXPECT_EQ(parsed.request.rawQuery, "a=1&&b&a=2=3&c%3D=%26+&=x&d=?e");
    EXPECT_EQ(parsed.request.path, "/p");
    EXPECT_EQ(parsed.request.param("a"), "2=3");
    EXPECT_EQ(parsed.request.param("missing"), "");
}

TEST(NetRequest, TargetWithoutQuestionMarkHasNoQuery) {
    const Parsed parsed = parse("GET /p&a=1 HTTP/1.1");
    EXPECT_EQ(parsed.request.rawQuery, "");
    EXPECT_TRUE(parsed.request.query.empty());
    EXPECT_EQ(parse("GET ?a=1 HTTP/1.1").request.path, "");
    EXPECT_TRUE(parse("GET /? HTTP/1.1").request.query.empty());
}

TEST(NetRequest, HeaderNamesAreFoldedAndValuesTrimmed) {
    const Parsed parsed =
        parse("GET / HTTP/1.1\r\nX-Word: \t one two \t\r\nx-word:last\r\n  Blank-Before : b:c\r\n"
              "no colon\r\n\r\nUnix: line end\nEmpty:\r\n: nameless\r\n\xC3\x84: kept");
    const std::map<std::string, std::string> expected = {
        {"", "nameless"},     {"blank-before", "b:c"}, {"empty", ""},
        {"unix", "line end"}, {"x-word", "last"},      {"\xC3\x84", "kept"}};
    EXPECT_EQ(parsed.request.headers, expected);
    EXPECT_EQ(parsed.request.header("x-word"), "last");
    EXPECT_EQ(parsed.request.header("missing"), "");
}

TEST(NetRequest, ContentLengthIsReadAsTheCLibraryReadsIt) {
    constexpr uint64_t kMax = std::numeric_limits<uint64_t>::max();
    const std::pair<std::string, uint64_t> kRows[] = {
        {"", 0},
        {"abc", 0},
        {"0", 0},
        {"12", 12},
        {"+5", 5},
        {"\v\f 7", 7},
        {"5abc", 5},
        {"5 6", 5},
        {"0x10", 0},
        {"007", 7},
        {"5\0006"s, 5},
        {"-", 0},
        {"- 1", 0},
        {"1e3", 1},
        {"-1", kMax},
        {"-0", 0},
        {"67108864", 67108864},
        {"67108865", 67108865},
        {"18446744073709551615", kMax},
        {"18446744073709551616", 0},
        {"99999999999999999999999", 0},
        {"-99999999999999999999999", 0},
    };
    for (const auto& [text, length] : kRows)
        EXPECT_EQ(lengthOf(text), length) << testing::PrintToString(text);
    EXPECT_EQ(mbnet::contentLength(Request()), 0U);
}

TEST(NetRequest, KeepAliveNeedsTheVersionOrTheWord) {
    struct Row {
        std::string version, connection;
        bool keeps;
    };
    const Row kRows[] = {
        {"HTTP/1.1", "", true},           {"HTTP/1.1", "close", false},
        {"HTTP/1.1", "CLOSE", false},     {"HTTP/1.1", "close, te", true},
        {"HTTP/1.1", "upgrade", true},    {"HTTP/1.0", "", false},
        {"HTTP/1.0", "Keep-Alive", true}, {"", "", false},
        {"", "keep-alive", true},         {"http/1.1", "", false},
        {"HTTP/2", "close", false},
    };
    for (const Row& row : kRows) {
        Request request;
        if (!row.connection.empty()) request.headers["connection"] = row.connection;
        EXPECT_EQ(mbnet::wantsKeepAlive(request, row.version), row.keeps)
            << row.version << " " << row.connection;
    }
}

TEST(NetRequest, UpgradeIsTheWholeWordInAnyCase) {
    for (const std::string value : {"websocket", "WebSocket", "WEBSOCKET"}) {
        Request request;
        request.headers["upgrade"] = value;
        EXPECT_TRUE(mbnet::wantsWebSocket(request)) << value;
    }
    for (const std::string value : {"", "h2c", "websocket, h2c", "websockets"}) {
        Request request;
        request.headers["upgrade"] = value;
        EXPECT_FALSE(mbnet::wantsWebSocket(request)) << value;
    }
}

TEST(NetReceiveBuffer, HeadFedByteByByteEndsAtTheBlankLine) {
    const std::string head = "GET / HTTP/1.1\r\nA: \r\n b\r\n\rc";
    const std::string bytes = head + "\r\n\r\nbody\r\n\r\n";
    ReceiveBuffer buffer;
    for (size_t i = 0; i < bytes.size(); ++i) {
        buffer.append({&bytes[i], 1});
        const bool complete = i + 1 >= head.size() + 4;
        EXPECT_EQ(buffer.findHeadEnd(), complete ? head.size() : std::string::npos) << i;
    }
    EXPECT_EQ(buffer.head(head.size()), head);
    buffer.dropHead(head.size());
    EXPECT_EQ(buffer.findHeadEnd(), 4U);
    EXPECT_EQ(buffer.takeBody(4), "body");
    EXPECT_EQ(buffer.findHeadEnd(), 0U);
}

TEST(NetReceiveBuffer, BodyGivesOnlyWhatIsHere) {
    ReceiveBuffer buffer;
    buffer.append("x\r\n\r\nabcdef");
    buffer.dropHead(buffer.findHeadEnd());
    EXPECT_EQ(buffer.takeBody(0), "");
    EXPECT_EQ(buffer.takeBody(4), "abcd");
    EXPECT_EQ(buffer.takeBody(100), "ef");
    EXPECT_EQ(buffer.takeBody(100), "");
}

TEST(NetReceiveBuffer, TooLongIsAboveTheLimitOnly) {
    ReceiveBuffer buffer;
    buffer.append(std::string(65536, 'a'));
    EXPECT_FALSE(buffer.tooLong());
    buffer.append("a");
    EXPECT_TRUE(buffer.tooLong());
}

TEST(NetResponse, ErrorEscapesThreeBytesOnly) {
    const Response response = Response::error(409, "a\\b \"c\"\nd\r\te\0f"s);
    EXPECT_EQ(response.status, 409);
    EXPECT_EQ(response.contentType, "application/json; charset=utf-8");
    EXPECT_EQ(response.body, "{\"ok\":false,\"error\":\"a\\\\b \\\"c\\\" d\r\te\0f\"}"s);
}

TEST(NetResponse, JsonIsTheDefaultType) {
    const Response response = Response::json("[1]");
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.contentType, "application/json; charset=utf-8");
    EXPECT_EQ(response.body, "[1]");
    EXPECT_TRUE(response.headers.empty());
}

TEST(NetResponse, StatusLineNamesTheListedStatusesAndOkElsewhere) {
    const std::pair<int, std::string> kRows[] = {
        {200, "OK"},
        {201, "OK"},
        {204, "No Content"},
        {304, "Not Modified"},
        {400, "Bad Request"},
        {401, "Unauthorized"},
        {403, "Forbidden"},
        {404, "Not Found"},
        {405, "Method Not Allowed"},
        {409, "OK"},
        {413, "Payload Too Large"},
        {500, "Internal Server Error"},
        {503, "OK"},
        {0, "OK"},
        {-7, "OK"},
        {2147483647, "OK"},
    };
    for (const auto& [status, phrase] : kRows) {
        Response response;
        response.status = status;
        const std::string line = "HTTP/1.1 " + std::to_string(status) + " " + phrase + "\r\n";
        EXPECT_EQ(mbnet::responseHead(response, true).substr(0, line.size()), line);
    }
}

TEST(NetResponse, HeadersGoOutInKeyOrderBehindTheConnection) {
    Response response = Response::json("{}");
    response.headers = {{"X-B", "2"}, {"ETag", "\"1\""}, {"X-A", ""}};
    EXPECT_EQ(mbnet::responseHead(response, false),
              "HTTP/1.1 200 OK\r\nContent-Type: application/json; charset=utf-8\r\n"
              "Content-Length: 2\r\nConnection: close\r\nETag: \"1\"\r\nX-A: \r\nX-B: 2\r\n\r\n");
}

TEST(NetResponse, StatusesWithoutBodySendNeitherTypeNorLength) {
    Response response = Response::json("ignored");
    response.headers = {{"ETag", "\"1\""}};
    response.status = 204;
    EXPECT_EQ(mbnet::responseHead(response, true),
              "HTTP/1.1 204 No Content\r\nConnection: keep-alive\r\nETag: \"1\"\r\n\r\n");
    response.status = 304;
    EXPECT_EQ(mbnet::responseHead(response, false),
              "HTTP/1.1 304 Not Modified\r\nConnection: close\r\nETag: \"1\"\r\n\r\n");
}

}  // namespace
