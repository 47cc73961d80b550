#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "bridge.hpp"
#include "net/net.hpp"
#include "type/type.hpp"

namespace {

using namespace std::string_literals;

using mbtest::Bridge;
using mbtest::HttpAnswer;
using mbtest::HttpClient;

constexpr int64_t kMiB = 1048576;

struct stat infoOf(const std::string& path) {
    struct stat info {};
    EXPECT_EQ(::stat(path.c_str(), &info), 0) << path;
    return info;
}

// Other bytes behind the same size and time: only a cache still gives the old ones.
void changeUnseen(const std::string& path, char first) {
    const struct stat before = infoOf(path);
    const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(::pwrite(file, &first, 1, 0), 1);
    const timespec times[2] = {before.st_atim, before.st_mtim};
    EXPECT_EQ(::futimens(file, times), 0);
    ::close(file);
}

// A file of that size which takes no room on the disk.
std::string sparse(const Bridge& bridge, const std::string& name, int64_t size, char first) {
    const std::string path = bridge.root.write(name, std::string(1, first));
    EXPECT_EQ(::truncate(path.c_str(), size), 0);
    return path;
}

std::string errorBody(const std::string& message) {
    return "{\"ok\":false,\"error\":\"" + message + "\"}";
}

TEST(NetStatic, SlashServesTheIndexForAnyMethod) {
    Bridge bridge;
    HttpClient client(bridge.port);
    for (const std::string method : {"GET", "POST", "HEAD", "anything"}) {
        const HttpAnswer answer = client.request(method, "/", {}, "");
        EXPECT_EQ(answer.status, 200) << method;
        EXPECT_EQ(answer.body, "<h1>page</h1>") << method;
        EXPECT_EQ(answer.header("content-type"), "text/html; charset=utf-8");
        EXPECT_EQ(answer.header("cache-control"), "no-cache");
    }
    EXPECT_EQ(client.get("?x=1").body, "<h1>page</h1>");
}

TEST(NetStatic, EtagIsSizeAndTimeInHexadecimal) {
    Bridge bridge;
    const struct stat info = infoOf(bridge.root.at("index.html"));
    char expected[64];
    std::snprintf(expected, sizeof expected, "\"%llx-%llx\"",
                  static_cast<unsigned long long>(info.st_size),
                  static_cast<unsigned long long>(info.st_mtim.tv_sec) * 1000000000ULL +
                      static_cast<unsigned long long>(info.st_mtim.tv_nsec));
    EXPECT_EQ(HttpClient(bridge.port).get("/").header("etag"), expected);
}

TEST(NetStatic, MatchingValidatorGivesNotModifiedWithoutBody) {
    Bridge bridge;
    HttpClient client(bridge.port);
    const std::string etag = client.get("/").header("etag");
    const HttpAnswer answer = client.get("/", {{"If-None-Match", etag}});
    EXPECT_EQ(answer.head, "HTTP/1.1 304 Not Modified\r\nConnection: keep-alive\r\n"
                           "Cache-Control: no-cache\r\nETag: " +
                               etag + "\r\n\r\n");
    for (const std::string& other :
         {"W/" + etag, etag + ", \"2-2\"", std::string("*"), etag.substr(1, etag.size() - 2)})
        EXPECT_EQ(client.get("/", {{"If-None-Match", other}}).status, 200) << other;
}

TEST(NetStatic, MissingFileAndFolderAreNotFoundWithThePath) {
    Bridge bridge;
    bridge.root.mkdir("folder");
    HttpClient client(bridge.port);
    for (const std::string path : {"/nothing.js", "/folder", "/folder/", "/index.html/x"}) {
        const HttpAnswer answer = client.get(path);
        EXPECT_EQ(answer.status, 404) << path;
        EXPECT_EQ(answer.body, errorBody("not found: " + path));
        EXPECT_EQ(answer.header("content-type"), "application/json; charset=utf-8");
    }
}

TEST(NetStatic, EmptyRootServesNothing) {
    Bridge bridge([](mbnet::Server& server) { server.staticRoot = ""; });
    const HttpAnswer answer = HttpClient(bridge.port).get("/index.html");
    EXPECT_EQ(answer.status, 404);
    EXPECT_EQ(answer.body, errorBody("not found"));
}

TEST(NetStatic, PathIsReducedBeforeTheCheckForEscapes) {
    mbtest::TempDir folder;
    folder.write("b/in.txt", "in");
    folder.write("bc/out.txt", "out");
    folder.write("out.txt", "out");
    mbnet::Server server;
    const auto serve = [&](const std::string& relative) {
        return server.serveFile({}, folder.at("b"), relative);
    };
    EXPECT_EQ(serve("x/../in.txt").body, "in");
    EXPECT_EQ(serve("../b/./in.txt").body, "in");
    EXPECT_EQ(serve("\\in.txt").body, "in");
    for (const std::string escape : {"../bc/out.txt", "../out.txt", "..\\out.txt", "..", "../bc",
                                     "../../../../../../../../etc/passwd"}) {
        const mbnet::Response response = serve(escape);
        EXPECT_EQ(response.status, 403) << escape;
        EXPECT_EQ(response.body, errorBody("path escapes static root"));
    }
    EXPECT_EQ(serve("").status, 404);
    EXPECT_EQ(serve("x/..").status, 404);
}

TEST(NetStatic, EscapeOverTheSocketIsForbidden) {
    Bridge bridge;
    HttpClient client(bridge.port);
    EXPECT_EQ(client.get("/../x").status, 403);
    EXPECT_EQ(client.get("/%2e%2e/%2e%2e/etc/passwd").status, 403);
    EXPECT_EQ(client.get("/a/../index.html").status, 200);
}

TEST(NetStatic, LinkInsideTheRootMayLeadOut) {
    Bridge bridge;
    mbtest::TempDir elsewhere;
    const std::string target = elsewhere.write("target.txt", "linked");
    ASSERT_EQ(::symlink(target.c_str(), bridge.root.at("link.txt").c_str()), 0);
    EXPECT_EQ(HttpClient(bridge.port).get("/link.txt").body, "linked");
}

TEST(NetStatic, PathIsNotCutAtANulByte) {
    Bridge bridge;
    const HttpAnswer answer = HttpClient(bridge.port).get("/index.html%00.png");
    EXPECT_EQ(answer.status, 404);
    EXPECT_EQ(answer.body, errorBody("not found: /index.html\0.png"s));
}

TEST(NetStatic, PipeAndDeviceAreNotReadFrom) {
    Bridge bridge;
    ASSERT_EQ(::mkfifo(bridge.root.at("pipe").c_str(), 0600), 0);
    ASSERT_EQ(::symlink("/dev/zero", bridge.root.at("endless").c_str()), 0);
    HttpClient client(bridge.port);
    for (const std::string path : {"/pipe", "/endless"}) {
        const HttpAnswer answer = client.get(path);
        EXPECT_EQ(answer.status, 500) << path;
        EXPECT_EQ(answer.body, errorBody("read failed: " + path));
    }
}

TEST(NetStatic, FileWithoutAKnownSizeIsTakenWhole) {
    // The kernel reports no size for these, so the buffer has to grow.
    mbnet::Server server;
    const mbnet::Response response = server.serveFile({}, "/proc/self", "/status");
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.body.substr(0, 6), "Name:\t");
    EXPECT_EQ(response.body.back(), '\n');
}

TEST(NetStatic, FileThatCannotBeOpenedIsAnError) {
    Bridge bridge;
    // A socket's file is found by stat() and refused by open(), whoever asks.
    const mbutil::Fd listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    bridge.root.at("socket").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(listener.value, reinterpret_cast<const sockaddr*>(&address), sizeof address),
              0);
    const HttpAnswer answer = HttpClient(bridge.port).get("/socket");
    EXPECT_EQ(answer.status, 500);
    EXPECT_EQ(answer.body, errorBody("read failed: /socket"));
}

TEST(NetStatic, SecondRequestComesFromTheCache) {
    Bridge bridge;
    HttpClient client(bridge.port);
    const std::string path = bridge.root.write("a.txt", "abc");
    EXPECT_EQ(client.get("/a.txt").body, "abc");
    changeUnseen(path, 'X');
    EXPECT_EQ(client.get("/a.txt").body, "abc");
    EXPECT_EQ(client.get("/./a.txt").body, "abc") << "one entry for all spellings";
}

TEST(NetStatic, ChangedFileHasANewEtagAndBody) {
    Bridge bridge;
    HttpClient client(bridge.port);
    bridge.root.write("a.txt", "abc");
    const std::string etag = client.get("/a.txt").header("etag");
    bridge.root.write("a.txt", "longer");
    const HttpAnswer answer = client.get("/a.txt", {{"If-None-Match", etag}});
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.body, "longer");
    EXPECT_NE(answer.header("etag"), etag);
    changeUnseen(bridge.root.at("a.txt"), 'X');
    EXPECT_EQ(client.get("/a.txt").body, "longer") << "the new body replaced the old entry";
}

TEST(NetStatic, NotModifiedLeavesTheCacheAlone) {
    Bridge bridge;
    HttpClient client(bridge.port);
    const std::string path = bridge.root.write("a.txt", "abc");
    // Known without a first request, so nothing is cached.
    const struct stat info = infoOf(path);
    char etag[64];
    std::snprintf(etag, sizeof etag, "\"%llx-%llx\"", 3ULL,
                  static_cast<unsigned long long>(info.st_mtim.tv_sec) * 1000000000ULL +
                      static_cast<unsigned long long>(info.st_mtim.tv_nsec));
    EXPECT_EQ(client.get("/a.txt", {{"If-None-Match", etag}}).status, 304);
    changeUnseen(path, 'X');
    EXPECT_EQ(client.get("/a.txt").body, "Xbc");
}

TEST(NetStatic, FileAboveTheCapIsServedAndNeverCached) {
    Bridge bridge;
    const std::string path = sparse(bridge, "big.bin", 97 * kMiB, 'A');
    const mbnet::Response first = bridge.server.serveFile({}, bridge.root.path(), "big.bin");
    EXPECT_EQ(static_cast<int64_t>(first.body.size()), 97 * kMiB);
    EXPECT_EQ(first.body[0], 'A');
    changeUnseen(path, 'B');
    EXPECT_EQ(bridge.server.serveFile({}, bridge.root.path(), "big.bin").body[0], 'B');
}

TEST(NetStatic, FileOfExactlyTheCapIsCachedAndLeavesNoRoom) {
    Bridge bridge;
    const std::string full = sparse(bridge, "full.bin", 96 * kMiB, 'A');
    const std::string small = bridge.root.write("small.txt", "A");
    const auto firstByte = [&](const std::string& name) {
        return bridge.server.serveFile({}, bridge.root.path(), name).body.substr(0, 1);
    };
    EXPECT_EQ(firstByte("full.bin"), "A");
    EXPECT_EQ(firstByte("small.txt"), "A");
    changeUnseen(full, 'B');
    changeUnseen(small, 'B');
    EXPECT_EQ(firstByte("full.bin"), "A");
    EXPECT_EQ(firstByte("small.txt"), "B") << "nothing is thrown out to make room";
}

TEST(NetStatic, ReplacedEntryGivesItsRoomBack) {
    Bridge bridge;
    const std::string path = sparse(bridge, "half.bin", 60 * kMiB, 'A');
    const auto firstByte = [&] {
        return bridge.server.serveFile({}, bridge.root.path(), "half.bin").body.substr(0, 1);
    };
    EXPECT_EQ(firstByte(), "A");
    ASSERT_EQ(::truncate(path.c_str(), 61 * kMiB), 0);
    EXPECT_EQ(firstByte(), "A");
    changeUnseen(path, 'B');
    EXPECT_EQ(firstByte(), "A") << "the second version is in the cache";
}

TEST(NetStatic, LargeFileArrivesWhole) {
    Bridge bridge;
    std::string bytes(3000000, '\0');
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7 % 253);
    bridge.root.write("large.bin", bytes);
    HttpClient client(bridge.port);
    EXPECT_EQ(client.get("/large.bin").body, bytes);
    EXPECT_EQ(client.get("/large.bin").body, bytes);
}

TEST(NetStatic, EmptyFileHasAnEmptyBody) {
    Bridge bridge;
    bridge.root.write("empty.css", "");
    const HttpAnswer answer = HttpClient(bridge.port).get("/empty.css");
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.header("content-length"), "0");
}

struct MimeRow {
    const char* extensions;  // separated by blanks
    const char* mime;
};

constexpr MimeRow kMimeRows[] = {
    {"lua ts tsx toml ini cfg conf editorconfig env vmf c h cc cpp hpp glsl hlsl shader cs py rb "
     "go "
     "rs java php sql sh bash bat cmd ps1 psm1 patch diff log txt gitignore gitattributes vmt vdf "
     "res qc qci",
     "text/plain; charset=utf-8"},
    {"js mjs cjs jsx", "text/javascript; charset=utf-8"},
    {"json jsonc map", "application/json; charset=utf-8"},
    {"css scss less", "text/css; charset=utf-8"},
    {"html htm", "text/html; charset=utf-8"},
    {"xml", "text/xml; charset=utf-8"},
    {"md markdown", "text/markdown; charset=utf-8"},
    {"yml yaml", "text/yaml; charset=utf-8"},
    {"csv", "text/csv; charset=utf-8"},
    {"png", "image/png"},
    {"jpg jpeg", "image/jpeg"},
    {"gif", "image/gif"},
    {"webp", "image/webp"},
    {"bmp", "image/bmp"},
    {"ico", "image/x-icon"},
    {"avif", "image/avif"},
    {"svg", "image/svg+xml"},
    {"mp3", "audio/mpeg"},
    {"wav", "audio/wav"},
    {"ogg", "audio/ogg"},
    {"flac", "audio/flac"},
    {"m4a", "audio/mp4"},
    {"mp4", "video/mp4"},
    {"webm", "video/webm"},
    {"mov", "video/quicktime"},
    {"pdf", "application/pdf"},
    {"ttf", "font/ttf"},
    {"otf", "font/otf"},
    {"woff", "font/woff"},
    {"woff2", "font/woff2"},
    {"zip", "application/zip"},
    {"gma vpk", "application/octet-stream"},
    {"7z", "application/x-7z-compressed"},
    {"gz", "application/gzip"},
    {"exe dll lib mdl vtf vtx vvd phy bsp db sqlite", "application/octet-stream"},
};

TEST(NetMime, EveryExtensionHasItsType) {
    size_t count = 0;
    for (const MimeRow& row : kMimeRows) {
        std::string extension;
        for (const char* byte = row.extensions;; ++byte) {
            if (*byte != ' ' && *byte != '\0') {
                extension += *byte;
                continue;
            }
            ++count;
            EXPECT_EQ(mbnet::mimeTypeFor("/some.dir/a b." + extension), row.mime) << extension;
            EXPECT_NE(mbtype::findRule(extension), nullptr) << extension;
            extension.clear();
            if (*byte == '\0') break;
        }
    }
    EXPECT_EQ(count, 99U);
    EXPECT_EQ(mbtype::rules().size(), 99U);
}

TEST(NetMime, TypeFollowsTheLastExtensionInAnyCase) {
    const std::pair<std::string, std::string> kRows[] = {
        {"x.unknown", "application/octet-stream"},
        {"x.wasm", "application/wasm"},
        {"X.WASM", "application/wasm"},
        {"Makefile", "application/octet-stream"},
        {"", "application/octet-stream"},
        {"a.TXT", "text/plain; charset=utf-8"},
        {"a.js.map", "application/json; charset=utf-8"},
        {"/x/.gitignore", "text/plain; charset=utf-8"},
        {".wasm", "application/wasm"},
        {"/a.css/readme", "application/octet-stream"},
        {"a.", "application/octet-stream"},
    };
    for (const auto& [path, mime] : kRows) EXPECT_EQ(mbnet::mimeTypeFor(path), mime) << path;
}

}  // namespace
