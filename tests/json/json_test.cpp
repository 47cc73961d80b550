#include "json/json.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

using mbjson::Json;

static_assert(std::is_nothrow_move_constructible_v<Json>, "vectors must move their elements");
static_assert(std::is_nothrow_move_assignable_v<Json>);

TEST(JsonValue, DefaultIsNull) {
    const Json value;
    EXPECT_TRUE(value.isNull());
    EXPECT_EQ(value.dump(), "null");
}

TEST(JsonValue, EachConstructorGivesItsType) {
    EXPECT_TRUE(Json(true).isBool());
    EXPECT_TRUE(Json(1.5).isNumber());
    EXPECT_TRUE(Json(1).isNumber());
    EXPECT_TRUE(Json(1u).isNumber());
    EXPECT_TRUE(Json(size_t{1}).isNumber());
    EXPECT_TRUE(Json(int64_t{1}).isNumber());
    EXPECT_TRUE(Json(std::string("x")).isString());
    EXPECT_TRUE(Json(std::string_view("x")).isString());
    EXPECT_TRUE(Json("x").isString());
    EXPECT_TRUE(Json::array().isArray());
    EXPECT_TRUE(Json::object().isObject());
}

TEST(JsonValue, StringMayHoldNulBytes) {
    const Json value(std::string("a\0b", 3));
    EXPECT_EQ(value.asString().size(), 3u);
}

TEST(JsonValue, ReadingAWrongTypeGivesTheEmptyValue) {
    const Json number(1);
    EXPECT_EQ(number.asString(), "");
    EXPECT_TRUE(number.asArray().empty());
    EXPECT_TRUE(number.asObject().empty());
    EXPECT_TRUE(number["key"].isNull());
    EXPECT_TRUE(number[0].isNull());
    EXPECT_FALSE(number.has("key"));
    EXPECT_TRUE(number["a"]["b"][3]["c"].isNull());
}

TEST(JsonValue, NothingIsConvertedWhenRead) {
    EXPECT_TRUE(Json(1).asBool(true));
    EXPECT_FALSE(Json(1).asBool());
    EXPECT_EQ(Json("5").asNumber(7), 7);
    EXPECT_EQ(Json("5").asInt(7), 7);
    EXPECT_EQ(Json(true).asInt(7), 7);
    EXPECT_EQ(Json(true).asString(), "");
    EXPECT_EQ(Json(2.5).asNumber(7), 2.5);
    EXPECT_TRUE(Json(true).asBool(false));
}

TEST(JsonValue, EmptiesAreTheSameForEveryReader) {
    EXPECT_EQ(&Json(1).asString(), &Json().asString());
    EXPECT_EQ(&Json(1).asArray(), &Json("x").asArray());
    EXPECT_EQ(&Json(1).asObject(), &Json("x").asObject());
    EXPECT_EQ(&Json(1)["a"], &Json::object()["b"]);
    EXPECT_EQ(&Json(1)[0], &Json::array()[9]);
}

TEST(JsonValue, AsIntTruncatesTowardZero) {
    EXPECT_EQ(Json(1.9).asInt(), 1);
    EXPECT_EQ(Json(-1.9).asInt(), -1);
    EXPECT_EQ(Json(-0.5).asInt(), 0);
}

TEST(JsonValue, AsIntHoldsWhatAnIntCannot) {
    constexpr int32_t kMost = std::numeric_limits<int32_t>::max();
    constexpr int32_t kLeast = std::numeric_limits<int32_t>::min();
    EXPECT_EQ(Json(2147483647.0).asInt(), kMost);
    EXPECT_EQ(Json(2147483648.0).asInt(), kMost);
    EXPECT_EQ(Json(1e300).asInt(), kMost);
    EXPECT_EQ(Json(-2147483648.0).asInt(), kLeast);
    EXPECT_EQ(Json(-1e300).asInt(), kLeast);
    EXPECT_EQ(Json(std::numeric_limits<double>::infinity()).asInt(), kMost);
    EXPECT_EQ(Json(std::nan("")).asInt(42), 42);
}

TEST(JsonValue, SubscriptNeverInserts) {
    Json value = Json::object();
    value.set("a", 1);
    const Json& constant = value;
    EXPECT_TRUE(constant["b"].isNull());
    EXPECT_TRUE(constant[std::string("b")].isNull());
    EXPECT_TRUE(constant[std::string_view("b")].isNull());
    EXPECT_EQ(value.asObject().size(), 1u);
}

TEST(JsonValue, IndexOutOfRangeIsNull) {
    Json value = Json::array();
    value.push("first");
    EXPECT_EQ(value[0].asString(), "first");
    EXPECT_TRUE(value[1].isNull());
    EXPECT_TRUE(value[-1].isNull());
    EXPECT_TRUE(value[std::numeric_limits<size_t>::max()].isNull());
}

TEST(JsonValue, SetOnAnArrayMakesItAnObjectOfTheNewKey) {
    Json value = Json::array();
    value.push(1);
    value.set("a", 2);
    EXPECT_EQ(value.dump(), R"({"a":2})");
    EXPECT_TRUE(value.asArray().empty());
}

TEST(JsonValue, PushOnAnObjectMakesItAnArrayOfTheNewElement) {
    Json value = Json::object();
    value.set("a", 2);
    value.push(1);
    EXPECT_EQ(value.dump(), "[1]");
    value.set("b", 3);  // neither the old element nor the older member comes back
    EXPECT_EQ(value.dump(), R"({"b":3})");
    value.push(4);
    EXPECT_EQ(value.dump(), "[4]");
}

TEST(JsonValue, SetReplacesAndKeepsKeysInByteOrder) {
    Json value;
    for (const char* key : {"b", "a", "\xc3\xa4", "B", "", "a"}) value.set(key, key);
    value.set("b", 1);
    EXPECT_EQ(value.dump(),
              "{\"\":\"\",\"B\":\"B\",\"a\":\"a\",\"b\":1,\"\xc3\xa4\":\"\xc3\xa4\"}");
}

TEST(JsonValue, CopyIsDeep) {
    Json inner = Json::object();
    inner.set("list", Json::array());
    Json value = Json::array();
    value.push(inner);
    value.push("text");
    value.push(false);
    Json copy = value;
    copy.push(1);
    value = Json();
    EXPECT_EQ(copy.dump(), R"([{"list":[]},"text",false,1])");
    const Json assigned = copy;
    copy = copy[0];
    EXPECT_EQ(copy.dump(), R"({"list":[]})");
    EXPECT_EQ(assigned.dump(), R"([{"list":[]},"text",false,1])");
}

TEST(JsonValue, AssignmentFromAnOwnChildOrItselfIsSafe) {
    const std::string text = R"({"a":{"b":[1,{"c":"deep enough to be allocated"}]}})";
    Json copied = Json::parse(text);
    copied = copied["a"]["b"];
    EXPECT_EQ(copied.dump(), R"([1,{"c":"deep enough to be allocated"}])");

    Json moved = Json::parse(text);
    moved = std::move(const_cast<Json&>(moved["a"]["b"]));
    EXPECT_EQ(moved.dump(), R"([1,{"c":"deep enough to be allocated"}])");

    Json same = Json::parse(text);
    const Json& alias = same;
    same = alias;
    EXPECT_EQ(same.dump(), text);
}

TEST(JsonValue, MoveLeavesNull) {
    Json from = Json::parse(R"({"a":[1,2]})");
    const Json to = std::move(from);
    EXPECT_EQ(to.dump(), R"({"a":[1,2]})");
    EXPECT_EQ(from.dump(), "null");  // NOLINT: that it is null is the promise
    from.push(1);
    EXPECT_EQ(from.dump(), "[1]");
}

TEST(JsonValue, PushingAValueOntoItselfTakesACopyFirst) {
    Json value = Json::array();
    value.push(1);
    value.push(value);
    EXPECT_EQ(value.dump(), "[1,[1]]");
    value.set("self", value);
    EXPECT_EQ(value.dump(), R"({"self":[1,[1]]})");
}

TEST(JsonValue, HasTellsAnAbsentKeyFromANullOne) {
    const Json value = Json::parse(R"({"a":null})");
    EXPECT_TRUE(value.has("a"));
    EXPECT_FALSE(value.has("b"));
    EXPECT_FALSE(Json("a").has("a"));
}

TEST(JsonValue, ManyThreadsMayReadOneValue) {
    const Json value = Json::parse(R"({"a":[1,{"b":"text"}],"c":1.5})");
    std::atomic<int> right = 0;
    std::vector<std::thread> readers;
    readers.reserve(8);
    for (int i = 0; i < 8; ++i)
        readers.emplace_back([&] {
            Json copy = value;
            const bool same = copy.dump() == value.dump();
            copy.set("c", 1);
            const bool empties = value["none"]["x"][7].asString().empty() &&
                                 value["c"].asArray().empty() && value["c"].asObject().empty();
            if (same && empties) ++right;
        });
    for (std::thread& reader : readers) reader.join();
    EXPECT_EQ(right, 8);
}

}  // namespace
