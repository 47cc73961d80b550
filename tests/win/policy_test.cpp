// Where the page may go: the pure parts of the navigation policy.

#include <gtest/gtest.h>

#include <string>

#include "win/win.hpp"

namespace {

TEST(WinPolicy, OriginEndsWithTheSlashBehindTheHost) {
    struct Row {
        const char* url;
        const char* prefix;
    };
    constexpr Row kRows[] = {
        {"http://127.0.0.1:4000/?token=ab", "http://127.0.0.1:4000/"},
        {"http://127.0.0.1:4000/a/b?c=/d", "http://127.0.0.1:4000/"},
        {"http://127.0.0.1:4000", "http://127.0.0.1:4000"},
        {"about:blank", "about:blank"},
        {"/no/scheme", "/no/scheme"},
        {"file:///etc/passwd", "file:///"},
        {"", ""},
    };
    for (const Row& row : kRows) EXPECT_EQ(mbwin::originPrefix(row.url), row.prefix) << row.url;
}

TEST(WinPolicy, PageStaysOnItsOwnOriginAndItsOwnDocuments) {
    const std::string prefix = "http://127.0.0.1:4000/";
    for (const char* uri :
         {"http://127.0.0.1:4000/", "http://127.0.0.1:4000/?token=1", "http://127.0.0.1:4000/a#b",
          "about:blank", "about:srcdoc", "blob:http://x/1", "data:text/html,a"})
        EXPECT_TRUE(mbwin::staysInPage(uri, prefix)) << uri;
}

TEST(WinPolicy, PageLeavesForNoOtherPortHostOrScheme) {
    const std::string prefix = "http://127.0.0.1:4000/";
    for (const char* uri :
         {"http://127.0.0.1:40001/", "http://127.0.0.1:400/", "http://127.0.0.1:4000",
          "https://127.0.0.1:4000/", "http://localhost:4000/", "HTTP://127.0.0.1:4000/",
          "file:///etc/passwd", "javascript:alert(1)", "mailto:a@b", "About:blank", "x", ""})
        EXPECT_FALSE(mbwin::staysInPage(uri, prefix)) << uri;
}

TEST(WinPolicy, WebAddressesBeginWithLowerCaseHttp) {
    for (const char* uri : {"http://", "https://", "http://a", "https://a/b"})
        EXPECT_TRUE(mbwin::isWeb(uri)) << uri;
    for (const char* uri :
         {"", "http:/a", "HTTP://a", "Https://a", " http://a", "ftp://a", "file:///a", "httpx://a"})
        EXPECT_FALSE(mbwin::isWeb(uri)) << uri;
}

}  // namespace
