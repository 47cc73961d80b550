#include <gtest/gtest.h>

#include "util/util.hpp"

namespace {

using mbutil::toUtf8Strict;

TEST(Utf8Strict, WellFormedTextStaysAsItIs) {
    for (const char* text : {"", "plain", "caf\xc3\xa9", "\xe2\x82\xac\xf0\x9f\x98\x80",
                             "\xed\x9f\xbf\xee\x80\x80", "\xf4\x8f\xbf\xbf", "\xef\xbf\xbf"})
        EXPECT_EQ(toUtf8Strict(text), text);
}

TEST(Utf8Strict, EachByteOfAnIllFormedSequenceIsReplaced) {
    const std::string mark = "\xef\xbf\xbd";
    EXPECT_EQ(toUtf8Strict("a\xe9z"), "a" + mark + "z");
    EXPECT_EQ(toUtf8Strict("\xc0\x80"), mark + mark);             // overlong
    EXPECT_EQ(toUtf8Strict("\xed\xa0\xbd"), mark + mark + mark);  // half a surrogate pair
    EXPECT_EQ(toUtf8Strict("\xf4\x90\x80\x80"), mark + mark + mark + mark);  // above U+10FFFF
    EXPECT_EQ(toUtf8Strict("\xf8\x88\x80\x80\x80").size(), 5 * mark.size());
}

TEST(Utf8Strict, ASequenceCutOffAnywhereIsReplaced) {
    const std::string face = "\xf0\x9f\x98\x80";
    for (size_t length = 1; length < face.size(); ++length) {
        const std::string clean = toUtf8Strict("12345678" + face.substr(0, length));
        EXPECT_EQ(clean.size(), 8 + 3 * length);
        EXPECT_EQ(toUtf8Strict(clean), clean);
    }
}

}  // namespace
