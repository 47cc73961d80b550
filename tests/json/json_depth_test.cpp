// Nesting must cost heap only: everything here runs on a thread with a stack of 128 KiB.

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>

#include "json/json.hpp"

namespace {

using mbjson::Json;

constexpr size_t kDepth = 1'000'000;
constexpr size_t kStack = 128 * 1024;

void onSmallStack(const std::function<void()>& work) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, kStack), 0);
    pthread_t thread;
    const auto run = [](void* argument) -> void* {
        (*static_cast<const std::function<void()>*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&work)),
              0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

std::string repeated(std::string_view piece, size_t times) {
    std::string text;
    for (size_t i = 0; i < times; ++i) text += piece;
    return text;
}

TEST(JsonDepth, DeepArraysAreParsedDumpedCopiedAndDestroyed) {
    onSmallStack([] {
        const std::string text = std::string(kDepth, '[') + std::string(kDepth, ']');
        bool ok = false;
        Json value = Json::parse(text, &ok);
        ASSERT_TRUE(ok);
        EXPECT_TRUE(value.dump() == text);
        Json copy = value;
        value = Json();
        EXPECT_TRUE(copy.dump() == text);
        const Json moved = std::move(copy);
        EXPECT_TRUE(moved[0][0][0].isArray());
    });
}

TEST(JsonDepth, DeepObjectsAreParsedDumpedCopiedAndDestroyed) {
    onSmallStack([] {
        const std::string text = repeated("{\"a\":", kDepth) + "1" + std::string(kDepth, '}');
        bool ok = false;
        const Json value = Json::parse(text, &ok);
        ASSERT_TRUE(ok);
        Json copy = value;
        copy.set("b", 1);
        EXPECT_TRUE(copy.dump() == text.substr(0, text.size() - 1) + ",\"b\":1}");
        EXPECT_TRUE(value.dump() == text);
    });
}

TEST(JsonDepth, DeepMixedValueBuiltByHandIsDestroyed) {
    onSmallStack([] {
        Json value;
        for (size_t i = 0; i < kDepth / 2; ++i) {
            Json list = Json::array();
            list.push("before");
            list.push(std::move(value));
            list.push("after");
            value = Json::object();
            value.set("list", std::move(list));
            value.set("other", 1);
        }
        EXPECT_EQ(value["list"][2].asString(), "after");
    });
}

TEST(JsonDepth, DeepTextThatFailsAtItsEndIsTakenDown) {
    onSmallStack([] {
        bool ok = true;
        EXPECT_TRUE(
            Json::parse(std::string(kDepth, '[') + std::string(kDepth, ']') + "x", &ok).isNull());
        EXPECT_FALSE(ok);
        EXPECT_TRUE(
            Json::parse(std::string(kDepth, '[') + "1 1" + std::string(kDepth, ']'), &ok).isNull());
        EXPECT_FALSE(ok);
        EXPECT_TRUE(Json::parse(std::string(kDepth, '[') + std::string(kDepth, '}'), &ok).isNull());
        EXPECT_FALSE(ok);
    });
}

TEST(JsonDepth, DeepValueInAReplacedKeyIsTakenDown) {
    onSmallStack([] {
        const std::string deep = std::string(kDepth, '[') + std::string(kDepth, ']');
        EXPECT_EQ(Json::parse("{\"a\":" + deep + ",\"a\":1}").dump(), R"({"a":1})");
        Json value = Json::object();
        value.set("a", Json::parse(deep));
        value.set("a", 1);
        EXPECT_EQ(value.dump(), R"({"a":1})");
    });
}

#ifdef __SANITIZE_THREAD__
constexpr bool kThreadSanitizer = true;
#else
constexpr bool kThreadSanitizer = false;
#endif

long peakMemoryKb() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

TEST(JsonDepth, BodyOfOpeningBracketsTakesNoMemory) {
    onSmallStack([] {
        // Built, the values of such a body would take several gigabytes.
        const size_t limit = size_t{64} << 20;
        // ThreadSanitizer's shadow of the memory counts too, and is several times its size.
        const long allowedKb = kThreadSanitizer ? 1200 * 1024 : 300 * 1024;
        for (const char* piece : {"[", "{\"a\":", "[\"]\",", "[\"\\\"\",", "[\""}) {
            const long before = peakMemoryKb();
            bool ok = true;
            EXPECT_TRUE(Json::parse(repeated(piece, limit / std::strlen(piece)), &ok).isNull());
            EXPECT_FALSE(ok);
            EXPECT_LT(peakMemoryKb() - before, allowedKb) << piece;
        }
        const long before = peakMemoryKb();
        bool ok = true;
        (void)Json::parse(std::string(limit / 2 + 1, '[') + std::string(limit / 2, ']'), &ok);
        EXPECT_FALSE(ok);
        EXPECT_LT(peakMemoryKb() - before, allowedKb);
    });
}

TEST(JsonDepth, ManyOpenBracketsThatCloseAreRead) {
    // Around the depth at which the rest of the text is looked through.
    for (size_t depth : {1023u, 1024u, 1025u, 1026u, 3000u}) {
        const std::string inner = R"("]\"}\\",{"[":"{"})";
        const std::string text = std::string(depth, '[') + inner + std::string(depth, ']');
        EXPECT_EQ(Json::parse(text).dump(), text) << depth;
        bool ok = true;
        (void)Json::parse(text.substr(0, text.size() - 1), &ok);
        EXPECT_FALSE(ok) << depth;
        (void)Json::parse(text + "]", &ok);
        EXPECT_FALSE(ok) << depth;
    }
}

TEST(JsonDepth, ManyContainersAtTheCheckedDepthAreReadInOnePass) {
    // Looking through the rest at each of them would take hours.
    const std::string text =
        std::string(1024, '[') + repeated("[],", 500'000) + "[]" + std::string(1024, ']');
    EXPECT_TRUE(Json::parse(text).dump() == text);
}

TEST(JsonDepth, PrettyPrintingDoesNotRecurse) {
    onSmallStack([] {
        constexpr size_t kLines = 4000;  // the blanks grow with the square of the depth
        const std::string text = std::string(kLines, '[') + std::string(kLines, ']');
        const std::string pretty = mbjson::prettyJson(Json::parse(text));
        EXPECT_EQ(static_cast<size_t>(std::count(pretty.begin(), pretty.end(), '\n')),
                  2 * kLines - 2);
        EXPECT_TRUE(Json::parse(pretty).dump() == text);
    });
}

}  // namespace
