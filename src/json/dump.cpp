#include <array>
#include <charconv>
#include <cmath>
#include <cstring>

#include "json/json.hpp"
#include "json/scan.hpp"

namespace mbjson {

// Writes into a small block first: most tokens are a few bytes, and appending each of them to the
// result by itself costs more than the bytes.
class Dumper {
public:
    explicit Dumper(std::string& target) : out(target) {}

    void dump(const Json& root) {
        const Json* value = &root;
        do {
            writeValue(*value);
        } while (nextValue(value));
        flush();
    }

private:
    // A container that is being written. Only the place that belongs to its type counts.
    struct Level {
        const Json* container;
        size_t index = 0;
        Json::Object::const_iterator field{};
    };

    void writeValue(const Json& value) {
        switch (value.type) {
        case Json::Type::Null:
            return write("null");
        case Json::Type::Boolean:
            return write(value.boolean ? "true" : "false");
        case Json::Type::Number:
            return writeNumber(value.number);
        case Json::Type::String:
            return writeString(value.text);
        case Json::Type::Array:
            write('[');
            path.push_back({&value});
            return;
        case Json::Type::Object:
            write('{');
            path.push_back({&value, 0, value.fields.begin()});
            return;
        }
    }

    // The value to write next, with what stands before it written; false when all is.
    bool nextValue(const Json*& value) {
        for (; !path.empty(); path.pop_back()) {
            Level& level = path.back();
            const Json& container = *level.container;
            if (container.isArray()) {
                if (level.index < container.items.size()) {
                    if (level.index > 0) write(',');
                    value = &container.items[level.index++];
                    return true;
                }
                write(']');
            } else {
                if (level.field != container.fields.end()) {
                    if (level.field != container.fields.begin()) write(',');
                    writeString(level.field->first);
                    write(':');
                    value = &level.field->second;
                    ++level.field;
                    return true;
                }
                write('}');
            }
        }
        return false;
    }

    void writeNumber(double number) {
        if (!std::isfinite(number)) return write("null");
        makeRoom(kNumberRoom);
        char* begin = block.data() + used;
        char* limit = block.data() + block.size();
        std::to_chars_result result;
        // Inside these bounds every whole number fits a 64-bit integer, and "-0" becomes "0".
        if (number > -9.2e18 && number < 9.2e18 && number == std::trunc(number))
            result = std::to_chars(begin, limit, static_cast<int64_t>(number));
        else
            result = std::to_chars(begin, limit, number, std::chars_format::general, 17);
        used = static_cast<size_t>(result.ptr - block.data());
    }

    void writeString(std::string_view text) {
        const char* at = text.data();
        const char* end = at + text.size();
        write('"');
        for (;;) {
            const char* stop = findEscaped(at, end);
            write(std::string_view(at, static_cast<size_t>(stop - at)));
            if (stop == end) break;
            writeEscape(*stop);
            at = stop + 1;
        }
        write('"');
    }

    void writeEscape(char byte) {
        switch (byte) {
        case '"':
            return write("\\\"");
        case '\\':
            return write("\\\\");
        case '\b':
            return write("\\b");
        case '\t':
            return write("\\t");
        case '\n':
            return write("\\n");
        case '\f':
            return write("\\f");
        case '\r':
            return write("\\r");
        default:
            write("\\u00");
            write(byte < 0x10 ? '0' : '1');
            write("0123456789abcdef"[byte & 15]);
        }
    }

    void write(char byte) {
        makeRoom(1);
        block[used++] = byte;
    }

    void write(std::string_view bytes) {
        if (bytes.size() > block.size() - used) {
            flush();
            if (bytes.size() > block.size()) {
                out.append(bytes);
                return;
            }
        }
        std::memcpy(block.data() + used, bytes.data(), bytes.size());
        used += bytes.size();
    }

    void makeRoom(size_t bytes) {
        if (block.size() - used < bytes) flush();
    }

    void flush() {
        out.append(block.data(), used);
        used = 0;
    }

    // More than "%.17g" ever takes.
    static constexpr size_t kNumberRoom = 40;

    std::string& out;
    std::vector<Level> path;
    size_t used = 0;
    std::array<char, 4096> block;
};

std::string Json::dump() const {
    std::string out;
    dumpTo(out);
    return out;
}

void Json::dumpTo(std::string& out) const { Dumper(out).dump(*this); }

}  // namespace mbjson
