#pragma once
// The one JSON value of the program: an owned tree, its parser and its serialisers.
//
// Use: Json::parse a body, read with operator[] and the as...() functions, build with set() and
// push(), write with dump().
// Reading never fails: a missing or wrongly typed field is the empty value of the type asked for.
// Limits: none of its own in length or nesting. No operation recurses, so that depth costs heap
// and never the thread's stack.
// Errors: malformed text gives null and `ok` false. A number that no double can hold raises
// std::out_of_range("stod") from parse(); parseText() takes it for malformed text.
// Threads: none of its own; a value that nobody writes may be read by all.
// Locale: numbers are read and written with a decimal point whatever the locale is.

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace mbjson {

class Json {
public:
    enum class Type : int32_t { Null, Boolean, Number, String, Array, Object };
    using Array = std::vector<Json>;
    // std::less<> lets a lookup take a string_view without making a string of it.
    using Object = std::map<std::string, Json, std::less<>>;

    Json() = default;
    Json(bool value) : type(Type::Boolean), boolean(value) {}
    Json(double value) : type(Type::Number), number(value) {}
    Json(int value) : Json(static_cast<double>(value)) {}
    Json(unsigned value) : Json(static_cast<double>(value)) {}
    Json(long value) : Json(static_cast<double>(value)) {}
    Json(unsigned long value) : Json(static_cast<double>(value)) {}
    Json(long long value) : Json(static_cast<double>(value)) {}
    Json(unsigned long long value) : Json(static_cast<double>(value)) {}
    Json(std::string value) : type(Type::String), text(std::move(value)) {}
    Json(std::string_view value) : type(Type::String), text(value) {}
    Json(const char* value) : type(Type::String), text(value) {}
    // Deep, and without recursion.
    Json(const Json& other);
    Json(Json&& other) noexcept
        : type(std::exchange(other.type, Type::Null)), boolean(other.boolean), number(other.number),
          text(std::move(other.text)), items(std::move(other.items)),
          fields(std::move(other.fields)) {}
    Json& operator=(const Json& other);
    Json& operator=(Json&& other) noexcept;
    ~Json() {
        if (holdsChildren()) destroyChildren();
    }

    static Json array();
    static Json object();

    // Null on failure. `ok` may be absent. Raises std::out_of_range for a number out of range.
    static Json parse(std::string_view text, bool* ok = nullptr);
    // The same without raising, for text from outside: bodies, files, what children print.
    static Json parseText(std::string_view text, bool* ok = nullptr);

    // Compact, keys in ascending byte order. Bytes above 0x1f are copied as they are, so text that
    // is not UTF-8 stays so: toUtf8Lenient() comes first where the result leaves the process.
    std::string dump() const;
    void dumpTo(std::string& out) const;

    // A value that is no object (no array) silently becomes an empty one first.
    void set(std::string key, Json value);
    void push(Json value);

    // Never inserts; null for a missing key, an index out of range or a value of another type.
    const Json& operator[](std::string_view key) const;
    const Json& operator[](const char* key) const { return (*this)[std::string_view(key)]; }
    const Json& operator[](const std::string& key) const { return (*this)[std::string_view(key)]; }
    const Json& operator[](size_t index) const;
    const Json& operator[](int index) const { return (*this)[static_cast<size_t>(index)]; }

    bool isNull() const { return type == Type::Null; }
    bool isBool() const { return type == Type::Boolean; }
    bool isNumber() const { return type == Type::Number; }
    bool isString() const { return type == Type::String; }
    bool isArray() const { return type == Type::Array; }
    bool isObject() const { return type == Type::Object; }
    bool has(std::string_view key) const;

    // References to shared empties for any other type; they live as long as the process.
    const std::string& asString() const;
    const Array& asArray() const;
    const Object& asObject() const;

    // The fallback for any other type: nothing is converted.
    bool asBool(bool fallback = false) const { return isBool() ? boolean : fallback; }
    double asNumber(double fallback = 0) const { return isNumber() ? number : fallback; }
    // Truncates toward zero. A number that the result cannot hold is held at its nearest end.
    int32_t asInt(int32_t fallback = 0) const;

private:
    friend class Parser;
    friend class Dumper;
    friend class PrettyPrinter;

    bool holdsChildren() const { return !items.empty() || !fields.empty(); }
    void destroyChildren();
    void copyScalars(const Json& other);

    // The alternatives lie side by side; only the one that `type` names counts.
    Type type = Type::Null;
    bool boolean = false;
    double number = 0;
    std::string text;
    Array items;
    Object fields;
};

// Indented by two blanks a level, for files that people read; no newline after the last bracket.
// `depth` is the level of nesting that `value` stands on, 0 for a whole file.
std::string prettyJson(const Json& value, int depth = 0);

}  // namespace mbjson
