#include "json/json.hpp"

namespace mbjson {

class PrettyPrinter {
public:
    std::string print(const Json& root, int depth) {
        indentation.assign(static_cast<size_t>(depth) * 2, ' ');
        const Json* value = &root;
        do {
            writeValue(*value);
        } while (nextValue(value));
        return std::move(out);
    }

private:
    struct Level {
        const Json* container;
        size_t index = 0;
        Json::Object::const_iterator field{};
    };

    void writeValue(const Json& value) {
        const bool array = value.isArray();
        if ((array ? value.items.empty() : !value.isObject() || value.fields.empty())) {
            value.dumpTo(out);  // "[]" and "{}" too
            return;
        }
        out += array ? "[" : "{";
        path.push_back({&value, 0, value.fields.begin()});
        indentation += "  ";
    }

    bool nextValue(const Json*& value) {
        for (; !path.empty(); path.pop_back()) {
            Level& level = path.back();
            const Json& container = *level.container;
            const size_t size =
                container.isArray() ? container.items.size() : container.fields.size();
            if (level.index < size) {
                out += level.index == 0 ? "\n" : ",\n";
                out += indentation;
                value = container.isArray() ? &container.items[level.index] : nextField(level);
                ++level.index;
                return true;
            }
            indentation.resize(indentation.size() - 2);
            out += '\n';
            out += indentation;
            out += container.isArray() ? ']' : '}';
        }
        return false;
    }

    const Json* nextField(Level& level) {
        Json(level.field->first).dumpTo(out);
        out += ": ";
        return &(level.field++)->second;
    }

    std::string out;
    std::string indentation;
    std::vector<Level> path;
};

std::string prettyJson(const Json& value, int depth) { return PrettyPrinter().print(value, depth); }

}  // namespace mbjson
