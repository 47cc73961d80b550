// Requests that no page sends, thrown at the real program, which is well afterwards.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <random>

#include "app/app_test.hpp"
#include "support/display.hpp"

namespace {

using mbtest::Layout;
using mbtest::Program;
using mbtest::RawSocket;

constexpr int kRequests = 10000;
constexpr unsigned kDefaultSeed = 20250;

// What a mutation puts somewhere: odd lengths, headers and bytes.
const std::string kOdd[] = {
    "\r\n",
    "\r\n\r\n",
    "\n",
    std::string(1, '\0'),
    "\xff\xfe",
    "%",
    "%00",
    "%zz",
    "?",
    "&token=",
    "..",
    "/../../",
    "Content-Length: 99999999999999999999999\r\n",
    "Content-Length: -1\r\n",
    "Content-Length: 67108865\r\n",
    "Content-Length: 0x10\r\n",
    "Content-Length: 5\r\n",
    "Transfer-Encoding: chunked\r\n",
    "Upgrade: websocket\r\n",
    "Connection: close\r\n",
    "Connection: keep-alive\r\n",
    "If-None-Match: \"",
    ": no name\r\n",
    "No-Colon\r\n",
    "Range: bytes=0-\r\n",
    "Cookie: marlin_token=\r\n",
    "Sec-WebSocket-Key: \r\n",
    std::string(3000, 'A'),
    std::string(70000, 'B'),
    "1e999",
    "[[[[[[[[[[[[[[[[",
    "\"\\ud800\"",
    "{\"paths\":[1,null,{}]}",
    "\x81\xfe\xff\xff",
};

// Valid requests of all kinds but those that end the program or open something outside of it.
std::vector<std::string> validRequests(const std::string& token) {
    const std::string header = " HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Marlin-Token: " + token + "\r\n";
    std::vector<std::string> requests;
    for (const char* target :
         {"/", "/index.html", "/vendor/none.js", "/api/state", "/api/tree?path=proj", "/api/tree",
          "/api/file/info?path=proj/a.txt", "/api/file/raw?path=proj%2Fa.txt",
          "/api/file/read?path=proj/a.txt", "/api/ui-state"})
        requests.push_back("GET " + std::string(target) + header + "\r\n");
    struct Posted {
        const char* target;
        const char* body;
    };
    constexpr Posted kPosted[] = {
        {"/api/config", R"({"claude":{"x":1.5},"updateChannel":"beta"})"},
        {"/api/ui-state", R"({"left":240,"open":["proj/a.txt"]})"},
        {"/api/file/write", R"({"path":"proj/b.txt","contents":"text\n"})"},
        {"/api/file/create", R"({"path":"proj/c.txt","contents":""})"},
        {"/api/file/rename", R"({"from":"proj/b.txt","to":"proj/d.txt"})"},
        {"/api/file/duplicate", R"({"path":"proj/a.txt"})"},
        {"/api/open", R"({"paths":["/nowhere/at/all"]})"},
        {"/api/workspace/remove", R"({"name":"none"})"},
        {"/api/window", R"({"cmd":"state"})"},
    };
    for (const Posted& post : kPosted) {
        const std::string body = post.body;
        requests.push_back("POST " + std::string(post.target) + header +
                           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    }
    requests.push_back("GET /ws?token=" + token +
                       " HTTP/1.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                       "Sec-WebSocket-Version: 13\r\n"
                       "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n" +
                       mbtest::clientFrame(1, R"({"type":"hello"})") +
                       mbtest::clientFrame(9, "ping"));
    return requests;
}

class Mutator {
public:
    explicit Mutator(unsigned seed) : random(seed) {}

    std::string mutate(const std::vector<std::string>& valid) {
        std::string text = valid[below(valid.size())];
        for (size_t left = 1 + below(4); left > 0; --left) change(text, valid);
        return text;
    }

private:
    std::mt19937 random;

    size_t below(size_t limit) {
        return std::uniform_int_distribution<size_t>(0, limit - 1)(random);
    }
    void change(std::string& text, const std::vector<std::string>& valid) {
        const size_t at = below(text.size() + 1);
        switch (below(7)) {
        case 0:
            text = text.substr(0, at);
            break;
        case 1:
            text.erase(at, below(40));
            break;
        case 2:
            text.insert(at, kOdd[below(std::size(kOdd))]);
            break;
        case 3:
            text.insert(at, text.substr(below(text.size() + 1), below(200)));
            break;
        case 4:
            text += valid[below(valid.size())];
            break;  // pipelined behind it
        case 5:
            if (at < text.size()) text[at] = static_cast<char>(below(256));
            break;
        default:
            if (at < text.size()) text[at] = static_cast<char>(text[at] ^ (1 << below(8)));
        }
    }
};

unsigned seed() {
    const char* given = std::getenv("MARLIN_TEST_SEED");
    return given ? static_cast<unsigned>(std::atoi(given)) : kDefaultSeed;
}

// Answers, has its window, holds no thread or child of the storm any more.
void expectWell(const Program& program, int threadsBefore) {
    const mbjson::Json state = program.ask("/api/state");
    EXPECT_TRUE(state["ok"].asBool());
    EXPECT_EQ(program.request("/").status, 200);
    EXPECT_TRUE(program.window());
    EXPECT_TRUE(mbtest::waitUntil(
        [&] { return mbtest::threadsOf(program.process.pid()) <= threadsBefore + 4; }, 20000))
        << mbtest::threadsOf(program.process.pid()) << " threads, before " << threadsBefore;
    EXPECT_TRUE(mbtest::zombiesOf(program.process.pid()).empty());
}

TEST(AppRobustness, TenThousandMutatedRequestsLeaveItWell) {
    const Layout layout;
    layout.write("home/proj/a.txt", "text");
    Program program(layout, {.arguments = {layout.at("home/proj")}});
    ASSERT_TRUE(program.awaitBridge() && program.awaitWindow()) << program.errors();
    const int threadsBefore = mbtest::threadsOf(program.process.pid());
    const std::vector<std::string> valid = validRequests(program.token());
    std::printf("MARLIN_TEST_SEED=%u\n", seed());
    Mutator mutator(seed());
    int answered = 0;
    for (int i = 0; i < kRequests; ++i) {
        const std::string request = mutator.mutate(valid);
        RawSocket socket(program.port());
        ASSERT_TRUE(socket.connected()) << "request " << i;
        (void)socket.send(request);  // it may have closed already
        socket.finishSending();
        const auto answer = socket.recvToEnd();
        ASSERT_TRUE(answer || socket.wasReset()) << "request " << i << " hangs: " << request;
        if (answer && mbutil::startsWith(*answer, "HTTP/1.1 ")) ++answered;
    }
    // Mutations that hit nothing important are answered; were it none, nothing would be tested.
    EXPECT_GT(answered, kRequests / 4);
    expectWell(program, threadsBefore);
    (void)program.request("/api/shutdown");
    EXPECT_EQ(program.process.waitForExit(), 0) << program.errors();
}

TEST(AppRobustness, DeeplyNestedBodyIsAnswered) {
    const Layout layout;
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge() && program.awaitWindow()) << program.errors();
    const int threadsBefore = mbtest::threadsOf(program.process.pid());
    const std::string before = mbtest::slurp(layout.settingsPath());
    constexpr size_t kSize = 60 << 20;
    std::string objects;
    while (objects.size() < kSize) objects += "{\"a\":";
    for (const std::string& body : {std::string(kSize, '['), objects}) {
        mbtest::HttpClient client(program.port(), program.token());
        const mbtest::HttpAnswer answer = client.request("POST", "/api/config", {}, body, 60000);
        EXPECT_EQ(answer.status, 200);
    }
    // Such a body does not parse, and changes nothing.
    EXPECT_EQ(mbtest::slurp(layout.settingsPath()), before);
    expectWell(program, threadsBefore);
}

TEST(AppRobustness, NumbersOutOfRangeAreABodyThatDoesNotParse) {
    const Layout layout;
    Program program(layout);
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    const std::string before = mbtest::slurp(layout.settingsPath());
    for (const char* number : {"1e999", "-1e400", "[1,2,3e309]"}) {
        const std::string sent =
            "{\"theme\":1,\"claudeCommand\":\"other\",\"claude\":{\"x\":" + std::string(number) +
            "}}";
        EXPECT_EQ(program.request("/api/config", sent).status, 200);
        EXPECT_EQ(mbtest::slurp(layout.settingsPath()), before) << number;
    }
}

// Nobody will ever write to it: a handler that opened it would wait for ever.
TEST(AppRobustness, PipeInTheWorkspaceHoldsNoHandler) {
    const Layout layout;
    ASSERT_EQ(::mkfifo((layout.mkdir("home/proj") + "/pipe").c_str(), 0600), 0);
    Program program(layout, {.arguments = {layout.at("home/proj")}});
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    for (const char* route : {"/api/file/raw", "/api/file/read", "/api/file/info"}) {
        const int status = program.request(std::string(route) + "?path=proj/pipe").status;
        EXPECT_NE(status, 0) << route;
    }
}

}  // namespace
