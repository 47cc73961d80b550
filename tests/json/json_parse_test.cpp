#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <random>
#include <stdexcept>

#include "json/json.hpp"

namespace {

using mbjson::Json;

bool parses(std::string_view text) {
    bool ok = false;
    (void)Json::parse(text, &ok);
    return ok;
}

std::string reread(std::string_view text) {
    bool ok = false;
    const Json value = Json::parse(text, &ok);
    return ok ? value.dump() : "failed";
}

TEST(JsonParse, EmptyAndBlankTextFail) {
    for (const char* text : {"", " ", "\t\r\n ", "\xef\xbb\xbf", "\xef\xbb\xbf "}) {
        bool ok = true;
        EXPECT_TRUE(Json::parse(text, &ok).isNull());
        EXPECT_FALSE(ok);
    }
}

TEST(JsonParse, OkMayBeAbsent) {
    EXPECT_EQ(Json::parse("5").asInt(), 5);
    EXPECT_TRUE(Json::parse("[1").isNull());
}

TEST(JsonParse, NullIsASuccess) {
    bool ok = false;
    EXPECT_TRUE(Json::parse(" null ", &ok).isNull());
    EXPECT_TRUE(ok);
}

TEST(JsonParse, ByteOrderMarkIsSkippedOnceAndOnlyInFront) {
    EXPECT_EQ(reread("\xef\xbb\xbf[1]"), "[1]");
    EXPECT_FALSE(parses("\xef\xbb\xbf\xef\xbb\xbf[1]"));
    EXPECT_FALSE(parses(" \xef\xbb\xbf[1]"));
    EXPECT_FALSE(parses("\xef\xbb"));
}

TEST(JsonParse, BlanksAreAllowedBetweenAllTokens) {
    EXPECT_EQ(reread(" \t\r\n{ \n\"a\"\t:\r[ 1 , 2 ] , \"b\" : { } , \"c\" : [ ] } \n"),
              R"({"a":[1,2],"b":{},"c":[]})");
}

TEST(JsonParse, NoOtherByteIsABlank) {
    for (const char* text : {"\v1", "\f1", "1\xc2\xa0", "1\v", "[1\f]"})
        EXPECT_FALSE(parses(text)) << text;
    EXPECT_FALSE(parses(std::string_view("1\0", 2)));
}

TEST(JsonParse, MalformedTextFails) {
    for (const char* text : {"[1,]",
                             "{\"a\":1,}",
                             "[1 2]",
                             "[",
                             "]",
                             "{",
                             "}",
                             "[}",
                             "{]",
                             "[1}",
                             "{\"a\":1]",
                             "[,1]",
                             "[,]",
                             "{,}",
                             "{\"a\"}",
                             "{\"a\":}",
                             "{\"a\":,}",
                             "{a:1}",
                             "{1:1}",
                             "{\"a\" 1}",
                             "{\"a\":1 \"b\":2}",
                             "{\"a\":1,,\"b\":2}",
                             "1 2",
                             "[] []",
                             "[]]",
                             "{}}",
                             "null null",
                             ",",
                             ":",
                             "nul",
                             "tru",
                             "fals",
                             "True",
                             "NULL",
                             "nullx",
                             "truefalse",
                             "'a'",
                             "[1",
                             "[1,",
                             "{\"a\"",
                             "{\"a\":",
                             "{\"a\":1",
                             "{\"a\":1,",
                             "\"a",
                             "\"",
                             "// x",
                             "NaN",
                             "Infinity",
                             "-Infinity",
                             "nan",
                             "inf",
                             "[[1],",
                             "[\"a\""})
        EXPECT_FALSE(parses(text)) << text;
}

TEST(JsonParse, LiteralsAreNotCheckedForWhatFollowsThemButByTheirContainer) {
    EXPECT_EQ(reread("[true,false,null]"), "[true,false,null]");
    EXPECT_FALSE(parses("[truex]"));
    EXPECT_FALSE(parses("[nullnull]"));
}

TEST(JsonParse, LastOfTwoEqualKeysCounts) {
    EXPECT_EQ(reread(R"({"a":1,"a":2})"), R"({"a":2})");
    EXPECT_EQ(reread(R"({"a":[1,2],"b":0,"a":"x"})"), R"({"a":"x","b":0})");
    EXPECT_EQ(reread(R"({"a":"x","a":[1]})"), R"({"a":[1]})");
    EXPECT_EQ(reread(R"({"a":{"x":1},"a":{"y":2}})"), R"({"a":{"y":2}})");
    EXPECT_EQ(reread(R"({"a":{"x":1},"a":null})"), R"({"a":null})");
    EXPECT_EQ(reread(R"({"\u0061":1,"a":2})"), R"({"a":2})");
}

TEST(JsonParse, KeysComeOutInByteOrder) {
    EXPECT_EQ(reread(R"({"c":1,"a":2,"b":{"z":1,"y":2},"":3})"),
              R"({"":3,"a":2,"b":{"y":2,"z":1},"c":1})");
}

TEST(JsonParse, NumbersAreReadLiberally) {
    struct Case {
        const char* text;
        double value;
    };
    for (const Case& c :
         std::initializer_list<Case>{{"+5", 5},
                                     {"5.", 5},
                                     {".5", 0.5},
                                     {"007", 7},
                                     {"1e", 1},
                                     {"1E", 1},
                                     {"1e+", 1},
                                     {"1e-", 1},
                                     {"2.5e", 2.5},
                                     {"-.5", -0.5},
                                     {"+.5e1", 5},
                                     {"5.e2", 500},
                                     {"1e5", 1e5},
                                     {"1E+5", 1e5},
                                     {"1e-5", 1e-5},
                                     {"-0", 0},
                                     {"00", 0},
                                     {"-007.50", -7.5},
                                     {"0e999999999", 0},
                                     {"0.0e-999999999", 0},
                                     {"1e308", 1e308},
                                     {"123456789012345", 123456789012345},
                                     {"9007199254740993", 9007199254740992},
                                     {"12345678901234567890", 12345678901234567890.},
                                     {"0.1", 0.1},
                                     {"1e000000000000000000000001", 10}}) {
        bool ok = false;
        const Json value = Json::parse(c.text, &ok);
        EXPECT_TRUE(ok) << c.text;
        EXPECT_TRUE(value.isNumber()) << c.text;
        EXPECT_EQ(value.asNumber(-1), c.value) << c.text;
    }
}

TEST(JsonParse, NegativeZeroKeepsItsSign) {
    EXPECT_TRUE(std::signbit(Json::parse("-0").asNumber()));
    EXPECT_TRUE(std::signbit(Json::parse("-0.0").asNumber()));
    EXPECT_FALSE(std::signbit(Json::parse("+0").asNumber()));
}

TEST(JsonParse, WhatIsNoNumberFails) {
    for (const char* text :
         {"-",   "+",     ".",     "-.",    "+.",   "e5",   ".e5",   "-e5", "+-5", "--5",
          "- 5", "1.2.3", "1e5.5", "1e+-5", "1ee5", "0x10", "1_000", "1,5", "5f",  "#"})
        EXPECT_FALSE(parses(text)) << text;
}

TEST(JsonParse, NumberEndsWhereItsContainerGoesOn) {
    EXPECT_EQ(reread("[1e,+2,3.]"), "[1,2,3]");
    EXPECT_EQ(reread(R"({"a":1e-})"), R"({"a":1})");
}

TEST(JsonParse, NumberOutOfRangeRaisesStod) {
    const std::string nines(400, '9');
    for (const std::string& text :
         {std::string("1e400"), std::string("-1e400"), std::string("1e-400"),
          std::string("-1e-400"), std::string("1e99999999999999999999"),
          std::string("1e-99999999999999999999"), nines, "0." + std::string(400, '0') + "1",
          std::string("[1,2,1e400"), std::string("1.8e308"), std::string("5e-324"),
          std::string("2.2250738585072011e-308"), std::string("1e-310")}) {
        bool ok = true;
        try {
            (void)Json::parse(text, &ok);
            ADD_FAILURE() << text << " did not raise";
        } catch (const std::out_of_range& raised) {
            EXPECT_STREQ(raised.what(), "stod") << text;
        }
    }
}

TEST(JsonParse, TextFromOutsideDoesNotRaise) {
    for (const char* text : {"1e999", "[1,-1e999]", "{\"a\":1e-999}", "[", ""}) {
        bool ok = true;
        EXPECT_TRUE(Json::parseText(text, &ok).isNull()) << text;
        EXPECT_FALSE(ok) << text;
        EXPECT_TRUE(Json::parseText(text).isNull());
    }
    bool ok = false;
    EXPECT_EQ(Json::parseText("[1]", &ok).dump(), "[1]");
    EXPECT_TRUE(ok);
}

TEST(JsonParse, ErrorBeforeANumberOutOfRangeWins) {
    bool ok = true;
    EXPECT_TRUE(Json::parse("[1 1e400]", &ok).isNull());
    EXPECT_FALSE(ok);
}

TEST(JsonParse, NumbersAtTheEndsOfTheRangeAreRead) {
    EXPECT_EQ(Json::parse("1.7976931348623157e308").asNumber(), 1.7976931348623157e308);
    EXPECT_EQ(Json::parse("2.2250738585072014e-308").asNumber(), 2.2250738585072014e-308);
}

// The same value, or a range error in both, as the standard conversion has in the C locale.
void expectLikeStod(const std::string& text) {
    double expected = 0;
    bool expectRaise = false;
    try {
        expected = std::stod(text);
    } catch (const std::out_of_range&) {
        expectRaise = true;
    }
    try {
        bool ok = false;
        const double value = Json::parse(text, &ok).asNumber(-1);
        ASSERT_TRUE(ok) << text;
        ASSERT_FALSE(expectRaise) << text;
        ASSERT_EQ(value, expected) << text;
        ASSERT_EQ(std::signbit(value), std::signbit(expected)) << text;
    } catch (const std::out_of_range&) {
        ASSERT_TRUE(expectRaise) << text;
    }
}

TEST(JsonParse, NumbersAgreeWithTheStandardConversion) {
    ASSERT_STREQ(std::setlocale(LC_NUMERIC, nullptr), "C");
    std::mt19937_64 random(20240229);
    const auto digits = [&random](size_t most) {
        std::string text(random() % (most + 1), '0');
        for (char& digit : text) digit = static_cast<char>('0' + random() % 10);
        return text;
    };
    for (int round = 0; round < 100000; ++round) {
        std::string text = random() % 2 ? "-" : "";
        text += std::to_string(random() % 10) + digits(20);
        if (random() % 2) text += "." + digits(25);
        if (random() % 2) {
            text += random() % 2 ? "e" : "E-";
            text += std::to_string(random() % 340);
        }
        expectLikeStod(text);
        if (HasFatalFailure()) return;
    }
}

TEST(JsonParse, TinyNumbersAgreeWithTheStandardConversion) {
    std::mt19937_64 random(7);
    std::array<char, 1200> text;
    for (int round = 0; round < 20000; ++round) {
        // Around the smallest normal number and in the subnormal range; long forms are exact.
        const double scale = std::ldexp(1.0, -1022 - static_cast<int>(random() % 53));
        const double value = scale * (1 + static_cast<double>(random() % 1000) / 1e17);
        const int precision = random() % 4 ? static_cast<int>(random() % 20) : 1080;
        std::snprintf(text.data(), text.size(), "%.*e", precision, value);
        expectLikeStod(text.data());
        if (HasFatalFailure()) return;
    }
    // Rounded up to the smallest normal number, yet inexact and tiny.
    expectLikeStod("2.22507385850720125e-308");
    expectLikeStod("2.2250738585072013e-308");
}

TEST(JsonParse, BytesOfAStringAreKeptAsTheyAre) {
    const std::string raw("\x01\x1f\t\n\x7f\x80\xff\xc3\x28\0/", 11);
    EXPECT_EQ(Json::parse("\"" + raw + "\"").asString(), raw);
}

TEST(JsonParse, EscapesAreRead) {
    EXPECT_EQ(Json::parse(R"("\"\\\/\b\f\n\r\t")").asString(), "\"\\/\b\f\n\r\t");
    EXPECT_EQ(Json::parse(R"("a\u0041\u00e9\u20AC\u20ac z")").asString(),
              "aA\xc3\xa9\xe2\x82\xac\xe2\x82\xac z");
    EXPECT_EQ(Json::parse(R"("\u0000")").asString(), std::string(1, '\0'));
    EXPECT_EQ(Json::parse(R"("\u007f\u0080\u07ff\u0800\uffff")").asString(),
              "\x7f\xc2\x80\xdf\xbf\xe0\xa0\x80\xef\xbf\xbf");
    EXPECT_EQ(Json::parse(R"({"\n":1})")["\n"].asInt(), 1);
}

TEST(JsonParse, BadEscapesFail) {
    for (const char* text :
         {R"("\x41")", R"("\a")", R"("\v")", R"("\0")", R"("\'")", R"("\U0041")", R"("\u")",
          R"("\u1")", R"("\u12")", R"("\u123")", R"("\u123g")", R"("\u 123")", R"("\u+123")",
          R"("\)", R"("\")", R"("\u12)", R"("\u0041)", R"("a\)"})
        EXPECT_FALSE(parses(text)) << text;
}

TEST(JsonParse, SurrogatePairBecomesFourBytes) {
    EXPECT_EQ(Json::parse(R"("\ud83d\ude00")").asString(), "\xf0\x9f\x98\x80");
    EXPECT_EQ(Json::parse(R"("\uD800\uDC00\uDBFF\uDFFF")").asString(),
              "\xf0\x90\x80\x80\xf4\x8f\xbf\xbf");
}

TEST(JsonParse, LoneSurrogatesAreKeptAsThreeBytes) {
    EXPECT_EQ(Json::parse(R"("\ud83d")").asString(), "\xed\xa0\xbd");
    EXPECT_EQ(Json::parse(R"("\ude00")").asString(), "\xed\xb8\x80");
    EXPECT_EQ(Json::parse(R"("\ud83dx")").asString(), "\xed\xa0\xbdx");
    EXPECT_EQ(Json::parse(R"("\ud83d\n")").asString(), "\xed\xa0\xbd\n");
    EXPECT_EQ(Json::parse(R"("\ud83d\u0041")").asString(), "\xed\xa0\xbd"
                                                           "A");
    // The second of two high halves may still find its own low half.
    EXPECT_EQ(Json::parse(R"("\ud83d\ud83d\ude00")").asString(), "\xed\xa0\xbd\xf0\x9f\x98\x80");
    EXPECT_EQ(Json::parse(R"("\ude00\ud83d")").asString(), "\xed\xb8\x80\xed\xa0\xbd");
}

TEST(JsonParse, BadEscapeBehindAHighSurrogateFailsOnItsOwn) {
    EXPECT_FALSE(parses(R"("\ud83d\udeg0")"));
    EXPECT_FALSE(parses(R"("\ud83d\u")"));
    EXPECT_FALSE(parses(R"("\ud83d\)"));
}

TEST(JsonParse, StringsOfAllLengthsEndAtTheirQuote) {
    for (size_t length = 0; length < 70; ++length) {
        const std::string plain(length, 'x');
        EXPECT_EQ(Json::parse("\"" + plain + "\"").asString(), plain);
        EXPECT_EQ(Json::parse("[\"" + plain + "\\n\",\"y\"]")[0].asString(), plain + "\n");
        EXPECT_FALSE(parses("\"" + plain));
        EXPECT_FALSE(parses("\"" + plain + "\\"));
        EXPECT_FALSE(parses("\"" + plain + "\\\""));
    }
}

TEST(JsonParse, TextCutOffAnywhereFails) {
    const std::string text = R"({"a":[1.5e3,true,{"b":"\u00e9\ud83d\ude00"}],"c":null,"d":false})";
    ASSERT_TRUE(parses(text));
    for (size_t size = 0; size < text.size(); ++size)
        EXPECT_FALSE(parses(text.substr(0, size))) << size;
}

TEST(JsonParse, TextNeedNotEndWithANulByte) {
    const std::string text = "[123]";
    EXPECT_EQ(Json::parse(std::string_view(text).substr(1, 2)).asInt(), 12);
}

}  // namespace
