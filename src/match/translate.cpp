#include "match/translate.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "match/byte_set.hpp"

namespace mbmatch {

namespace {

constexpr std::string_view kCallout = "(?C)";
constexpr long kLargestCount = 65535;  // PCRE2's

// A part of the pattern that stands for itself, in both spellings, and what is known of its
// matches.
struct Piece {
    std::string plain;
    std::string interruptible;
    bool exact = true;    // it matches `literal` and nothing else
    std::string literal;  // when it is not exact: the longest that each of its matches holds
    bool quantified = false;

    void append(std::string_view text) {
        plain += text;
        interruptible += text;
    }
};

const std::string& longer(const std::string& left, const std::string& right) {
    return right.size() > left.size() ? right : left;
}

Piece spelled(const std::string& text) {
    Piece piece;
    piece.append(text);
    return piece;
}

// A row of pieces. Literals that stand side by side are one.
class Row {
public:
    void add(const Piece& piece) {
        row.plain += piece.plain;
        row.interruptible += piece.interruptible;
        if (piece.exact) {
            run += piece.literal;
            return;
        }
        row.exact = false;
        row.literal = longer(row.literal, longer(run, piece.literal));
        run.clear();
    }

    Piece finish() {
        row.literal = row.exact ? run : longer(row.literal, run);
        return std::move(row);
    }

private:
    Piece row;
    std::string run;
};

// Goes through a pattern as the library's own scanner and compiler do, habits included.
class Translator {
public:
    Translator(std::string_view text, bool fold) : pattern(text), foldCase(fold) {}

    Translation run() {
        Piece all = disjunction();
        Translation result;
        result.pattern = std::move(all.plain);
        result.interruptible = std::move(all.interruptible);
        result.required = std::move(all.literal);
        result.withinLine = withinLine;
        result.branches = branches;
        return result;
    }

private:
    std::string_view pattern;
    bool foldCase;
    size_t at = 0;
    bool withinLine = true;
    bool branches = false;

    bool atEnd() const { return at >= pattern.size(); }
    bool sees(char byte) const { return !atEnd() && pattern[at] == byte; }
    bool takes(std::string_view text) {
        if (pattern.substr(at, text.size()) != text) return false;
        at += text.size();
        return true;
    }

    Piece disjunction() {
        Piece all = alternative();
        while (takes("|")) {
            branches = true;
            Piece next = alternative();
            all.plain += "|" + next.plain;
            all.interruptible.append("|").append(kCallout).append(next.interruptible);
            all.exact = false;
            all.literal.clear();
        }
        return all;
    }

    Piece alternative() {
        Row row;
        while (!atEnd() && !sees('|') && !sees(')')) row.add(term());
        return row.finish();
    }

    Piece term() {
        if (takes("^")) return spelled("\\A");
        if (takes("$")) return spelled("\\z");
        if (takes("\\b")) return spelled("\\b");
        if (takes("\\B")) return spelled("\\B");
        if (takes("(?=")) return lookahead("(?=");
        if (takes("(?!")) return lookahead("(?!");
        Piece piece = atom();
        while (quantify(piece)) {
        }
        return piece;
    }

    // What it holds need not be in the match.
    Piece lookahead(const std::string& opening) {
        branches = true;
        Piece piece = group(opening);
        piece.exact = true;
        piece.literal.clear();
        return piece;
    }

    Piece group(const std::string& opening) {
        Piece piece = disjunction();
        takes(")");
        piece.plain = opening + piece.plain + ")";
        piece.interruptible = opening + piece.interruptible + ")";
        piece.quantified = false;
        return piece;
    }

    Piece atom() {
        if (takes("(?:")) return group("(?:");
        if (takes("(")) return group("(");
        if (takes(".")) {
            ByteClass lineEnds(false);
            lineEnds.add('\n');
            lineEnds.add('\r');
            return classPiece(lineEnds.bytes(true));
        }
        if (takes("[")) return bracket();
        if (takes("\\")) return escape();
        return bytePiece(pattern[at++]);
    }

    Piece bytePiece(char byte) {
        if (byte == '\n') withinLine = false;
        Piece piece = spelled(byteText(byte));
        piece.literal = byte;
        return piece;
    }

    Piece classPiece(const ByteSet& set) {
        if (set['\n']) withinLine = false;
        Piece piece = spelled(classText(set));
        piece.exact = false;
        return piece;
    }

    Piece escape() {
        const char byte = pattern[at];
        if (std::string_view("dDsSwW").find(byte) != std::string_view::npos) {
            ++at;
            ByteClass all(foldCase);
            all.addNamed(std::string(1, byte), false);
            return classPiece(all.bytes(isUpper(byte)));
        }
        // "\0" is a byte, whatever digits follow.
        if (byte >= '1' && byte <= '9') return reference();
        return bytePiece(escapedByte());
    }

    Piece reference() {
        Piece piece = spelled("\\g{" + std::to_string(number(10)) + "}");
        piece.exact = false;
        return piece;
    }

    // At the byte behind a backslash.
    char escapedByte() {
        const char byte = pattern[at++];
        switch (byte) {
        case '0':
            return '\0';
        case 'b':
            return '\b';
        case 'f':
            return '\f';
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        case 'v':
            return '\v';
        case 'c':
            return pattern[at++];  // the byte itself, no control character
        case 'x':
            return hexByte(2);
        case 'u':
            return hexByte(4);
        default:
            return byte;
        }
    }

    // Of "\u1234" only the lower byte is left.
    char hexByte(size_t digits) {
        const std::string text(pattern.substr(at, digits));
        at += digits;
        return static_cast<char>(std::stoul(text, nullptr, 16));
    }

    // As the library reads it: a long, cut to an int.
    long number(int base) {
        long value = 0;
        for (; !atEnd() && pattern[at] >= '0' && pattern[at] <= '9'; ++at)
            value = value * base + (pattern[at] - '0');
        return static_cast<int>(static_cast<uint32_t>(value));
    }

    // Behind the opening bracket.
    Piece bracket() {
        const bool complement = takes("^");
        ByteClass all(foldCase);
        // A byte that may yet begin a range, or nothing.
        std::string last;
        const auto keep = [&](std::string_view next) {
            if (!last.empty()) all.add(last[0]);
            last = next;
        };
        if (takes("-")) keep("-");
        while (!takes("]")) {
            if (takes("-")) {
                if (last.empty() || sees(']')) {
                    keep("-");
                } else {
                    all.addRange(last[0], classByte());
                    last.clear();
                }
            } else if (!classPart(all, keep)) {
                keep(std::string(1, classByte()));
            }
        }
        keep({});
        return classPiece(all.bytes(complement));
    }

    // One that is not a single byte, except for a collating element, which can begin a range.
    template <typename Keep>
    bool classPart(ByteClass& all, const Keep& keep) {
        if (takes("[:")) {
            keep({});
            all.addNamed(name(':'), false);
        } else if (takes("[=")) {
            keep({});
            all.addEquivalents(name('='));
        } else if (takes("[.")) {
            const char byte = all.collatingByte(name('.'));
            all.add(byte);
            keep(std::string(1, byte));
        } else if (sees('\\') && isClassLetter(at + 1)) {
            keep({});
            const char letter = pattern[at + 1];
            all.addNamed(std::string(1, letter), isUpper(letter));
            at += 2;
        } else {
            return false;
        }
        return true;
    }

    std::string name(char kind) {
        const size_t end = pattern.find(kind, at);
        const std::string found(pattern.substr(at, end - at));
        at = end + 2;
        return found;
    }

    char classByte() {
        if (takes("\\")) return escapedByte();
        return pattern[at++];
    }

    bool isClassLetter(size_t place) const {
        return place < pattern.size() &&
               std::string_view("dDsSwW").find(pattern[place]) != std::string_view::npos;
    }

    static bool isUpper(char byte) { return byte >= 'A' && byte <= 'Z'; }

    bool quantify(Piece& piece) {
        if (takes("*")) return repeat(piece, "*", 0);
        if (takes("+")) return repeat(piece, "+", 1);
        if (takes("?")) return repeat(piece, "?", 0);
        if (!takes("{")) return false;
        const long least = std::max(number(10), 0L);
        long most = least;
        bool open = false;
        if (takes(",")) {
            open = sees('}');
            if (!open) most = number(10);
        }
        takes("}");
        count(piece, least, most, open);
        return true;
    }

    bool repeat(Piece& piece, std::string quantifier, long least) {
        if (takes("?")) quantifier += '?';
        bracketize(piece);
        piece.append(quantifier);
        piece.interruptible += kCallout;
        forgetExact(piece, least);
        return true;
    }

    void count(Piece& piece, long least, long most, bool open) {
        const std::string lazy = takes("?") ? "?" : "";
        bracketize(piece);
        const Piece once = piece;
        piece.plain.clear();
        piece.interruptible.clear();
        const auto add = [&](const std::string& bounds) {
            piece.plain += once.plain + bounds + lazy;
            piece.interruptible += once.interruptible + bounds + lazy;
            piece.interruptible += kCallout;
        };
        // Only single bytes and classes can be counted so high: the library refuses more states.
        for (; least > kLargestCount; least -= kLargestCount, most -= kLargestCount)
            add("{" + std::to_string(kLargestCount) + "}");
        const std::string bounds = std::to_string(least) + ",";
        if (open) {
            add("{" + bounds + "}");
        } else if (most <= kLargestCount) {
            add("{" + bounds + std::to_string(most) + "}");
        } else {
            add("{" + bounds + std::to_string(kLargestCount) + "}");
            add("{0," + std::to_string(most - kLargestCount) + "}");
        }
        forgetExact(piece, least);
    }

    // So that the next quantifier counts all of it. "a*+" means something else to PCRE2.
    static void bracketize(Piece& piece) {
        if (!std::exchange(piece.quantified, true)) return;
        piece.plain = "(?:" + piece.plain + ")";
        piece.interruptible = "(?:" + piece.interruptible + ")";
    }

    static void forgetExact(Piece& piece, long least) {
        piece.exact = false;
        if (least < 1) piece.literal.clear();
    }
};

}  // namespace

Translation translate(std::string_view pattern, bool foldCase) {
    return Translator(pattern, foldCase).run();
}

}  // namespace mbmatch
