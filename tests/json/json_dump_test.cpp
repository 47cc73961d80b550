#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>

#include "support/comma_locale.hpp"
#include "json/json.hpp"

namespace {

using mbjson::Json;
using mbjson::prettyJson;

TEST(JsonDump, ScalarsAndEmptyContainers) {
    EXPECT_EQ(Json().dump(), "null");
    EXPECT_EQ(Json(true).dump(), "true");
    EXPECT_EQ(Json(false).dump(), "false");
    EXPECT_EQ(Json("").dump(), "\"\"");
    EXPECT_EQ(Json::array().dump(), "[]");
    EXPECT_EQ(Json::object().dump(), "{}");
}

TEST(JsonDump, WritesNoBlanks) {
    Json value = Json::object();
    value.set("b", Json::parse("[1,[],{},[2,{\"x\":null}]]"));
    value.set("a", true);
    EXPECT_EQ(value.dump(), R"({"a":true,"b":[1,[],{},[2,{"x":null}]]})");
}

TEST(JsonDump, NumbersAreIntegersOrSeventeenDigits) {
    struct Case {
        double value;
        const char* text;
    };
    for (const Case& c :
         std::initializer_list<Case>{{1, "1"},
                                     {-1, "-1"},
                                     {1.5, "1.5"},
                                     {0.1, "0.10000000000000001"},
                                     {0, "0"},
                                     {-0.0, "0"},
                                     {1e19, "1e+19"},
                                     {-1e19, "-1e+19"},
                                     {1e18, "1000000000000000000"},
                                     {9.2e18, "9.2e+18"},
                                     {-9.2e18, "-9.2e+18"},
                                     {std::nextafter(9.2e18, 0), "9199999999999998976"},
                                     {std::nextafter(-9.2e18, 0), "-9199999999999998976"},
                                     {9007199254740993.0, "9007199254740992"},
                                     {1e-7, "9.9999999999999995e-08"},
                                     {0.0001, "0.0001"},
                                     {0.00001, "1.0000000000000001e-05"},
                                     {123456.789, "123456.789"},
                                     {1e300, "1.0000000000000001e+300"},
                                     {5e-324, "4.9406564584124654e-324"},
                                     {1.7976931348623157e308, "1.7976931348623157e+308"}})
        EXPECT_EQ(Json(c.value).dump(), c.text);
}

TEST(JsonDump, WhatIsNoFiniteNumberIsNull) {
    EXPECT_EQ(Json(std::nan("")).dump(), "null");
    EXPECT_EQ(Json(std::numeric_limits<double>::infinity()).dump(), "null");
    EXPECT_EQ(Json(-std::numeric_limits<double>::infinity()).dump(), "null");
}

TEST(JsonDump, IntegersBeyondTheIntegerTypesAreDoubles) {
    EXPECT_EQ(Json(std::numeric_limits<uint64_t>::max()).dump(), "1.8446744073709552e+19");
    EXPECT_EQ(Json(std::numeric_limits<int64_t>::min()).dump(), "-9.2233720368547758e+18");
}

TEST(JsonDump, NumbersAgreeWithSnprintf) {
    ASSERT_STREQ(std::setlocale(LC_NUMERIC, nullptr), "C");
    std::mt19937_64 random(42);
    std::array<char, 64> expected;
    int compared = 0;
    while (compared < 200000) {
        double value = std::bit_cast<double>(random());
        if (compared % 3 == 0) value = static_cast<double>(random() % 1000000) / 1000;
        if (!std::isfinite(value)) continue;
        ++compared;
        const bool integer = value == std::trunc(value) && value > -9.2e18 && value < 9.2e18;
        if (integer)
            std::snprintf(expected.data(), expected.size(), "%lld", static_cast<long long>(value));
        else
            std::snprintf(expected.data(), expected.size(), "%.17g", value);
        ASSERT_EQ(Json(value).dump(), expected.data());
    }
}

TEST(JsonDump, NumbersComeBackAsTheyWere) {
    std::mt19937_64 random(43);
    for (int round = 0; round < 100000; ++round) {
        const double value = std::bit_cast<double>(random());
        if (!std::isnormal(value)) continue;
        ASSERT_EQ(Json::parse(Json(value).dump()).asNumber(), value);
    }
}

TEST(JsonDump, ControlBytesQuoteAndBackslashAreEscaped) {
    EXPECT_EQ(Json("\"\\\b\t\n\f\r").dump(), R"("\"\\\b\t\n\f\r")");
    EXPECT_EQ(Json("\x01\x0b\x0e\x0f\x10\x1a\x1f").dump(),
              R"("\u0001\u000b\u000e\u000f\u0010\u001a\u001f")");
    EXPECT_EQ(Json(std::string(1, '\0')).dump(), R"("\u0000")");
}

TEST(JsonDump, EveryOtherByteIsCopied) {
    std::string bytes;
    for (int byte = 0x20; byte < 0x100; ++byte)
        if (byte != '"' && byte != '\\') bytes += static_cast<char>(byte);
    EXPECT_EQ(Json(bytes).dump(), "\"" + bytes + "\"");
    EXPECT_EQ(Json("\x7f/\xc3\xa9").dump(), "\"\x7f/\xc3\xa9\"");
}

TEST(JsonDump, EscapesAreFoundAtEveryPlace) {
    for (size_t length = 1; length < 40; ++length) {
        for (size_t at = 0; at < length; ++at) {
            for (const char* byte : {"\"", "\\", "\n", "\x1f"}) {
                std::string text(length, '\xe9');
                text[at] = byte[0];
                const std::string dumped = Json(text).dump();
                EXPECT_EQ(dumped.size(), length + (byte[0] == '\x1f' ? 7 : 3));
                EXPECT_EQ(Json::parse(dumped).asString(), text);
            }
        }
    }
}

TEST(JsonDump, KeysAreEscapedLikeStrings) {
    Json value = Json::object();
    value.set("a\"\n", 1);
    EXPECT_EQ(value.dump(), R"({"a\"\n":1})");
}

TEST(JsonDump, LongTextsPassWhole) {
    // Around the size of the block that tokens are gathered in.
    for (size_t size : {4094u, 4095u, 4096u, 4097u, 8192u, 100000u}) {
        Json value = Json::array();
        value.push(std::string(size, 'x'));
        value.push(1.5);
        value.push(std::string(size / 2, '\n'));
        std::string newlines;
        for (size_t i = 0; i < size / 2; ++i) newlines += "\\n";
        EXPECT_EQ(value.dump(), "[\"" + std::string(size, 'x') + "\",1.5,\"" + newlines + "\"]");
    }
}

TEST(JsonDump, ManyNumbersPassWhole) {
    Json value = Json::array();
    std::string expected = "[";
    for (int i = 0; i < 5000; ++i) {
        value.push(0.1);
        expected += "0.10000000000000001,";
    }
    expected.back() = ']';
    EXPECT_EQ(value.dump(), expected);
}

TEST(JsonDump, DumpToAppends) {
    std::string out = "data: ";
    Json::parse(R"({"a":1})").dumpTo(out);
    out += '\n';
    EXPECT_EQ(out, "data: {\"a\":1}\n");
}

TEST(JsonDump, DecimalCommaOfALocaleIsNeverUsed) {
    const mbtest::CommaLocale locale;
    ASSERT_TRUE(locale.found) << "localedef and its character maps are in the package locales";
    std::array<char, 16> shown;
    std::snprintf(shown.data(), shown.size(), "%.1f", 1.5);
    ASSERT_STREQ(shown.data(), "1,5");
    EXPECT_EQ(Json(1.5).dump(), "1.5");
    EXPECT_EQ(Json(0.1).dump(), "0.10000000000000001");
    EXPECT_EQ(Json(1234567.25).dump(), "1234567.25");
    EXPECT_EQ(Json::parse("1.5").asNumber(), 1.5);
    EXPECT_FALSE(Json::parse("1,5").isNumber());
    // The exact conversion, which the smallest normal number needs, has a locale of its own.
    EXPECT_EQ(Json::parse("2.2250738585072014e-308").asNumber(), 2.2250738585072014e-308);
    EXPECT_THROW((void)Json::parse("1.5e999"), std::out_of_range);
}

TEST(PrettyJson, IndentsByTwoBlanksALevel) {
    const Json value = Json::parse(R"({"b":[1,"x",[],{}],"a":{"c":null,"\n":[[true]]}})");
    EXPECT_EQ(prettyJson(value), R"({
  "a": {
    "\n": [
      [
        true
      ]
    ],
    "c": null
  },
  "b": [
    1,
    "x",
    [],
    {}
  ]
})");
}

TEST(PrettyJson, ScalarsAndEmptyContainersAreOnTheSpot) {
    for (const char* text : {"null", "true", "0.10000000000000001", "\"a\\n\"", "[]", "{}"})
        EXPECT_EQ(prettyJson(Json::parse(text), 3), text);
}

TEST(PrettyJson, DepthShiftsAllButTheFirstLine) {
    EXPECT_EQ(prettyJson(Json::parse(R"({"a":[1]})"), 2),
              "{\n      \"a\": [\n        1\n      ]\n    }");
}

TEST(PrettyJson, ReadsBackAsTheSameValue) {
    const std::string text = R"([{"a":[{"b":[[],[1]]}],"z":-1.5},"x",false])";
    EXPECT_EQ(Json::parse(prettyJson(Json::parse(text))).dump(), text);
}

}  // namespace
