#include <cerrno>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "json/json.hpp"
#include "json/scan.hpp"

namespace mbjson {

namespace {

// The digits' number as strtod gives it in the C locale, also for its idea of a range error.
double convertExactly(const std::string& digits) {
    static const locale_t kCLocale = ::newlocale(LC_ALL_MASK, "C", nullptr);
    errno = 0;
    const double value = ::strtod_l(digits.c_str(), nullptr, kCLocale);
    if (errno == ERANGE) throw std::out_of_range("stod");
    return value;
}

// `digits` is a number by the scanner's rules, without a plus sign in front.
double convertNumber(const char* begin, const char* end) {
    double value = 0;
    const auto result = std::from_chars(begin, end, value);
    // A tiny result that is not exact is a range error as well, and only strtod tells. It may have
    // been rounded up to the smallest normal number, hence "not above". Digits which really are
    // zero come here too; they are rare enough.
    if (result.ec != std::errc() || std::abs(value) <= std::numeric_limits<double>::min())
        return convertExactly(std::string(begin, end));
    return value;
}

bool isDigit(char byte) { return byte >= '0' && byte <= '9'; }

int hexValue(char byte) {
    if (isDigit(byte)) return byte - '0';
    if (byte >= 'a' && byte <= 'f') return byte - 'a' + 10;
    if (byte >= 'A' && byte <= 'F') return byte - 'A' + 10;
    return -1;
}

void appendUtf8(std::string& out, unsigned codePoint) {
    const auto continuation = [codePoint](int shift) {
        return static_cast<char>(0x80 | (codePoint >> shift & 0x3f));
    };
    if (codePoint < 0x80) {
        out += static_cast<char>(codePoint);
    } else if (codePoint < 0x800) {
        out += static_cast<char>(0xc0 | codePoint >> 6);
        out += continuation(0);
    } else if (codePoint < 0x10000) {
        out += static_cast<char>(0xe0 | codePoint >> 12);
        out += continuation(6);
        out += continuation(0);
    } else {
        out += static_cast<char>(0xf0 | codePoint >> 18);
        out += continuation(12);
        out += continuation(6);
        out += continuation(0);
    }
}

}  // namespace

// One pass over the text. Values are built where they stay, and the containers that are still open
// are kept in a list, so depth is no matter of the thread's stack. A pointer in that list stays
// good: a container only grows while it is the last of the list.
class Parser {
public:
    explicit Parser(std::string_view text) : cursor(text.data()), end(text.data() + text.size()) {}

    bool parse(Json& root) {
        if (remaining() >= 3 && std::memcmp(cursor, "\xef\xbb\xbf", 3) == 0) cursor += 3;
        Json* target = &root;
        do {
            if (!readValue(*target)) return false;
        } while (nextTarget(target));
        return !failed && cursor == end;
    }

private:
    size_t remaining() const { return static_cast<size_t>(end - cursor); }

    void skipBlanks() {
        while (cursor != end &&
               (*cursor == ' ' || *cursor == '\n' || *cursor == '\r' || *cursor == '\t'))
            ++cursor;
    }

    bool take(char byte) {
        if (cursor == end || *cursor != byte) return false;
        ++cursor;
        return true;
    }

    bool takeLiteral(std::string_view literal) {
        if (remaining() < literal.size() ||
            std::memcmp(cursor, literal.data(), literal.size()) != 0)
            return false;
        cursor += literal.size();
        return true;
    }

    // Reads a value, or the opening bracket of one: that is then in `open`.
    bool readValue(Json& value) {
        skipBlanks();
        if (cursor == end) return false;
        switch (*cursor) {
        case '"':
            ++cursor;
            value.type = Json::Type::String;
            return readString(value.text);
        case '[':
            ++cursor;
            value.type = Json::Type::Array;
            return openContainer(value);
        case '{':
            ++cursor;
            value.type = Json::Type::Object;
            return openContainer(value);
        case 't':
            value = Json(true);
            return takeLiteral("true");
        case 'f':
            value = Json(false);
            return takeLiteral("false");
        case 'n':
            return takeLiteral("null");
        default:
            value.type = Json::Type::Number;
            return readNumber(value.number);
        }
    }

    bool openContainer(Json& value) {
        if (open.size() == kTrustedDepth && !knownToClose) {
            knownToClose = bracketsClose(cursor, end, open.size() + 1);
            if (!knownToClose) return false;
        }
        open.push_back(&value);
        opened = true;
        return true;
    }

    // The place of the next value, closing what ends before it; false when none follows.
    bool nextTarget(Json*& target) {
        for (;;) {
            skipBlanks();
            if (open.empty()) return false;
            Json& container = *open.back();
            const bool first = std::exchange(opened, false);
            const bool isArray = container.isArray();
            if (first) {
                if (take(isArray ? ']' : '}')) {
                    open.pop_back();
                    continue;
                }
            } else if (!take(',')) {
                if (!take(isArray ? ']' : '}')) return fail();
                open.pop_back();
                continue;
            }
            if (!isArray) return readKey(container, target);
            target = &container.items.emplace_back();
            return true;
        }
    }

    bool readKey(Json& object, Json*& target) {
        skipBlanks();
        key.clear();
        if (!take('"') || !readString(key)) return fail();
        skipBlanks();
        if (!take(':')) return fail();
        // Mostly the keys come in order, as dump() writes them: the end is the right hint.
        Json::Object& fields = object.fields;
        const size_t before = fields.size();
        target = &fields.try_emplace(fields.end(), std::move(key))->second;
        if (fields.size() == before) *target = Json();  // the last of two equal keys counts
        return true;
    }

    bool readString(std::string& out) {
        const char* run = cursor;
        cursor = findStringEnd(cursor, end);
        if (cursor == end) return false;
        out.assign(run, cursor);
        while (*cursor != '"') {
            ++cursor;
            if (!readEscape(out)) return false;
            run = cursor;
            cursor = findStringEnd(cursor, end);
            if (cursor == end) return false;
            out.append(run, cursor);
        }
        ++cursor;
        return true;
    }

    bool readEscape(std::string& out) {
        if (cursor == end) return false;
        const char byte = *cursor++;
        switch (byte) {
        case '"':
        case '\\':
        case '/':
            out += byte;
            return true;
        case 'b':
            out += '\b';
            return true;
        case 'f':
            out += '\f';
            return true;
        case 'n':
            out += '\n';
            return true;
        case 'r':
            out += '\r';
            return true;
        case 't':
            out += '\t';
            return true;
        case 'u':
            return readUnicodeEscape(out);
        default:
            return false;
        }
    }

    // The four digits at `at`, or -1.
    int codeUnit(const char* at) const {
        if (end - at < 4) return -1;
        int unit = 0;
        for (int i = 0; i < 4; ++i) {
            const int digit = hexValue(at[i]);
            if (digit < 0) return -1;
            unit = unit << 4 | digit;
        }
        return unit;
    }

    // Half a surrogate pair is kept as three bytes rather than refused: file names and foreign
    // tools do produce them.
    bool readUnicodeEscape(std::string& out) {
        const int unit = codeUnit(cursor);
        if (unit < 0) return false;
        cursor += 4;
        auto codePoint = static_cast<unsigned>(unit);
        if (unit >= 0xd800 && unit <= 0xdbff && remaining() >= 6 && cursor[0] == '\\' &&
            cursor[1] == 'u') {
            const int low = codeUnit(cursor + 2);
            if (low >= 0xdc00 && low <= 0xdfff) {
                codePoint =
                    0x10000 + ((codePoint - 0xd800) << 10) + (static_cast<unsigned>(low) - 0xdc00);
                cursor += 6;
            }
        }
        appendUtf8(out, codePoint);
        return true;
    }

    bool readNumber(double& out) {
        const char* begin = cursor;
        if (*cursor == '+')
            begin = ++cursor;
        else if (*cursor == '-')
            ++cursor;
        const char* digits = cursor;
        uint64_t whole = 0;
        for (; cursor != end && isDigit(*cursor); ++cursor)
            whole = whole * 10 + static_cast<uint64_t>(*cursor - '0');
        const auto wholeDigits = cursor - digits;
        if (cursor == end || (*cursor != '.' && *cursor != 'e' && *cursor != 'E')) {
            if (wholeDigits == 0) return false;
            if (wholeDigits <= kExactDigits) {
                const auto magnitude = static_cast<double>(whole);
                out = *begin == '-' ? -magnitude : magnitude;
                return true;
            }
        } else if (!skipFraction(wholeDigits > 0)) {
            return false;
        }
        out = convertNumber(begin, cursor);
        return true;
    }

    // From the point or the "e" to the number's end. The digits behind an "e" may be missing: "1e"
    // is taken whole and reads as 1.
    bool skipFraction(bool digitsBefore) {
        if (take('.')) {
            const char* fraction = cursor;
            skipDigits();
            if (cursor == fraction && !digitsBefore) return false;
        } else if (!digitsBefore) {
            return false;
        }
        if (take('e') || take('E')) {
            if (!take('+')) take('-');
            skipDigits();
        }
        return true;
    }

    void skipDigits() {
        while (cursor != end && isDigit(*cursor)) ++cursor;
    }

    bool fail() {
        failed = true;
        return false;
    }

    // Integers of so many digits are exact in a double.
    static constexpr std::ptrdiff_t kExactDigits = 15;
    // A value takes over a hundred times the memory of its bracket. Past this depth the text is
    // looked through once, so that a body of opening brackets only does not get it.
    static constexpr size_t kTrustedDepth = 1024;

    const char* cursor;
    const char* end;
    std::vector<Json*> open;
    std::string key;            // of the member being read; kept for its buffer
    bool knownToClose = false;  // looked through already: once, or this would be quadratic
    bool opened = false;        // the last of `open` has no child yet
    bool failed = false;
};

Json Json::parse(std::string_view text, bool* ok) {
    Json value;
    const bool parsed = Parser(text).parse(value);
    if (ok) *ok = parsed;
    return parsed ? std::move(value) : Json();
}

Json Json::parseText(std::string_view text, bool* ok) {
    try {
        return parse(text, ok);
    } catch (const std::out_of_range&) {
        if (ok) *ok = false;
        return {};
    }
}

}  // namespace mbjson
