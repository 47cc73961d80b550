#include "json/json.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace mbjson {

// Deep trees are walked with lists of pending nodes on the heap. That a list is allocated only when
// a child has children of its own keeps the common flat values cheap.

void Json::copyScalars(const Json& other) {
    type = other.type;
    boolean = other.boolean;
    number = other.number;
    if (type == Type::String) text = other.text;
}

Json::Json(const Json& other) {
    copyScalars(other);
    if (!other.holdsChildren()) return;

    struct Pair {
        const Json* from;
        Json* to;
    };
    std::vector<Pair> pending{{&other, this}};
    const auto copyInto = [&pending](const Json& from, Json& to) {
        to.copyScalars(from);
        if (from.holdsChildren()) pending.push_back({&from, &to});
    };
    while (!pending.empty()) {
        const auto [from, to] = pending.back();
        pending.pop_back();
        if (from->type == Type::Array) {
            to->items.resize(from->items.size());  // before pointers to the elements are taken
            for (size_t i = 0; i < from->items.size(); ++i) copyInto(from->items[i], to->items[i]);
        } else if (from->type == Type::Object) {
            for (const auto& [key, value] : from->fields)
                copyInto(value, to->fields.try_emplace(to->fields.end(), key)->second);
        }
    }
}

Json& Json::operator=(const Json& other) { return *this = Json(other); }

Json& Json::operator=(Json&& other) noexcept {
    Json taken(std::move(other));  // first: `other` may be a child of this value
    type = std::exchange(taken.type, Type::Null);
    boolean = taken.boolean;
    number = taken.number;
    text.swap(taken.text);
    items.swap(taken.items);
    fields.swap(taken.fields);
    return *this;
}

// Takes the tree down from its leaves, so that no destructor finds a grandchild.
void Json::destroyChildren() {
    struct Level {
        Json* node;
        Object::iterator field;
    };
    std::vector<Level> path;
    const auto descend = [&path](Json& node) { path.push_back({&node, node.fields.begin()}); };
    descend(*this);
    while (!path.empty()) {
        Level& level = path.back();
        Json& node = *level.node;
        // Elements go one by one from the end, while they are still warm from the visit.
        while (!node.items.empty() && !node.items.back().holdsChildren()) node.items.pop_back();
        if (!node.items.empty()) {
            descend(node.items.back());
            continue;
        }
        while (level.field != node.fields.end() && !level.field->second.holdsChildren())
            ++level.field;
        if (level.field != node.fields.end()) {
            descend(level.field->second);
            continue;
        }
        node.fields.clear();
        path.pop_back();
    }
}

Json Json::array() {
    Json value;
    value.type = Type::Array;
    return value;
}

Json Json::object() {
    Json value;
    value.type = Type::Object;
    return value;
}

void Json::set(std::string key, Json value) {
    if (!isObject()) {
        fields.clear();
        type = Type::Object;
    }
    fields.insert_or_assign(std::move(key), std::move(value));
}

void Json::push(Json value) {
    if (!isArray()) {
        items.clear();
        type = Type::Array;
    }
    items.push_back(std::move(value));
}

const Json& Json::operator[](std::string_view key) const {
    static const Json kNull;
    if (!isObject()) return kNull;
    const auto found = fields.find(key);
    return found == fields.end() ? kNull : found->second;
}

const Json& Json::operator[](size_t index) const {
    static const Json kNull;
    return isArray() && index < items.size() ? items[index] : kNull;
}

bool Json::has(std::string_view key) const {
    return isObject() && fields.find(key) != fields.end();
}

const std::string& Json::asString() const {
    static const std::string kEmpty;
    return isString() ? text : kEmpty;
}

const Json::Array& Json::asArray() const {
    static const Array kEmpty;
    return isArray() ? items : kEmpty;
}

const Json::Object& Json::asObject() const {
    static const Object kEmpty;
    return isObject() ? fields : kEmpty;
}

int32_t Json::asInt(int32_t fallback) const {
    if (!isNumber() || std::isnan(number)) return fallback;
    // Converting what an int cannot hold is undefined, so hold it first.
    constexpr double kLeast = std::numeric_limits<int32_t>::min();
    constexpr double kMost = std::numeric_limits<int32_t>::max();
    return static_cast<int32_t>(std::clamp(number, kLeast, kMost));
}

}  // namespace mbjson
