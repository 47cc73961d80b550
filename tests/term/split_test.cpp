#include "term/split.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using mbterm::completeLength;

TEST(TermSplit, OnlyTheBeginningOfASequenceIsHeldBack) {
    const struct {
        std::string bytes;
        size_t length;
    } cases[] = {
        {"", 0},
        {"a", 1},
        {"a\xC3", 1},      // of two bytes
        {"a\xC3\xA9", 3},  // whole
        {"a\xE2", 1},      // of three
        {"a\xE2\x82", 1},
        {"a\xE2\x82\xAC", 4},
        {"a\xF0", 1},  // of four
        {"a\xF0\x9F", 1},
        {"a\xF0\x9F\x98", 1},
        {"a\xF0\x9F\x98\x80", 5},
        {"\xF0\x9F\x98", 0},      // nothing but a beginning
        {"\xE2\x82\xAC\xC3", 3},  // behind a whole one
        {"a\xFF", 2},             // begins nothing
        {"a\xF8\x80", 3},
        {"\x80\x80\x80\x80", 4},      // four that continue nothing
        {"\xF0\x80\x80\x80\x80", 5},  // the lead is too far away to be looked at
        {"\x80", 1},
        {"\xC3\xA9\xA9", 3},  // one too many
        {"\xE9 ", 2},         // Latin-1 in front of a blank
    };
    for (const auto& [bytes, length] : cases)
        EXPECT_EQ(completeLength(bytes), length) << testing::PrintToString(bytes);
}

// As the reader does it: what cannot go out yet waits for the next piece.
std::string deliver(const std::vector<std::string>& pieces, bool& everyPieceWhole) {
    std::string pending, all;
    everyPieceWhole = true;
    for (const std::string& piece : pieces) {
        pending += piece;
        const size_t length = completeLength(pending);
        EXPECT_LE(pending.size() - length, 3U);
        // A piece that begins or ends within a character would be held back or begin with a
        // continuation byte.
        if (length > 0 && (static_cast<unsigned char>(pending[0]) & 0xC0) == 0x80)
            everyPieceWhole = false;
        if (completeLength(pending.substr(0, length)) != length) everyPieceWhole = false;
        all += pending.substr(0, length);
        pending.erase(0, length);
    }
    EXPECT_TRUE(pending.empty());
    return all;
}

TEST(TermSplit, NoCharacterIsDividedWhereverTwoCutsFall) {
    const std::string text = "a\u00E9\u20AC\U0001F600z\U0001F600\U0001F601\u00E9\u20AC";
    for (size_t first = 0; first <= text.size(); ++first)
        for (size_t second = first; second <= text.size(); ++second) {
            bool whole = false;
            const std::string all = deliver(
                {text.substr(0, first), text.substr(first, second - first), text.substr(second)},
                whole);
            EXPECT_EQ(all, text);
            EXPECT_TRUE(whole) << first << " " << second;
        }
}

TEST(TermSplit, NoCharacterIsDividedByteByByte) {
    const std::string text = "a\u00E9\u20AC\U0001F600z";
    std::vector<std::string> pieces;
    for (const char byte : text) pieces.emplace_back(1, byte);
    bool whole = false;
    EXPECT_EQ(deliver(pieces, whole), text);
    EXPECT_TRUE(whole);
}

}  // namespace
