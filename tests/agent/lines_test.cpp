// Cutting a stream into lines.

#include "agent/lines.hpp"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "proc/proc_support.hpp"

namespace {

using mbagent::LineCutter;
using Lines = std::vector<std::string>;

Lines linesOf(const std::vector<std::string_view>& pieces) {
    Lines lines;
    LineCutter cutter;
    const auto take = [&](const std::string& line) { lines.push_back(line); };
    for (const std::string_view piece : pieces) cutter.feed(piece, take);
    cutter.finish(take);
    return lines;
}

TEST(AgentLines, EndsAreTakenOffAndBlankLinesDropped) {
    struct Row {
        std::string stream;
        Lines lines;
    };
    const Row rows[] = {
        {"", {}},
        {"a\n", {"a"}},
        {"a", {"a"}},
        {"a\r\nb\n", {"a", "b"}},
        {"\n\n\r\n\n", {}},
        {"a\r\r\n", {"a\r"}},
        {"\r\r\n", {"\r"}},
        {"a\rb\n", {"a\rb"}},
        {"\ra\n", {"\ra"}},
        {" \n\t\n", {" ", "\t"}},
        {"a\nb\r", {"a", "b\r"}},
        {"a\n\r", {"a", "\r"}},
        {std::string("a\0b\n\0", 5), {std::string("a\0b", 3), std::string(1, '\0')}},
        {"\xff\xfe\n", {"\xff\xfe"}}};
    for (const Row& row : rows) EXPECT_EQ(linesOf({row.stream}), row.lines) << row.stream;
}

const std::string kStream = "{\"a\":1}\r\n\n\r\nb\rb\r\r\n\xc3\xa4\n  \nlast\r";
const Lines kLines = {"{\"a\":1}", "b\rb\r", "\xc3\xa4", "  ", "last\r"};

TEST(AgentLines, EveryCutOfOneStreamGivesTheSameLines) {
    const std::string_view all = kStream;
    for (size_t first = 0; first <= all.size(); ++first)
        for (size_t second = first; second <= all.size(); ++second)
            EXPECT_EQ(linesOf({all.substr(0, first), all.substr(first, second - first),
                               all.substr(second)}),
                      kLines)
                << first << " " << second;
}

// Each bit of the number says whether there is a cut at that place.
TEST(AgentLines, EverySetOfCutsOfAShortStreamGivesTheSameLines) {
    const std::string_view all = "ab\r\n\r\n\rc\n\nd\r";
    const Lines expected = {"ab", "\rc", "d\r"};
    for (unsigned cuts = 0; cuts < 1U << (all.size() - 1); ++cuts) {
        std::vector<std::string_view> pieces;
        size_t begin = 0;
        for (size_t at = 1; at < all.size(); ++at) {
            if ((cuts >> (at - 1) & 1U) == 0) continue;
            pieces.push_back(all.substr(begin, at - begin));
            begin = at;
        }
        pieces.push_back(all.substr(begin));
        ASSERT_EQ(linesOf(pieces), expected) << cuts;
    }
}

TEST(AgentLines, RandomStreamsInRandomPiecesAreCutAsAWhole) {
    std::mt19937 random(20);
    for (int round = 0; round < 300; ++round) {
        std::string stream;
        for (auto i = random() % 200; i > 0; --i) stream += "ab\r\n\n"[random() % 5];
        std::vector<std::string_view> pieces;
        for (std::string_view rest = stream; !rest.empty();) {
            const size_t size = std::min<size_t>(random() % 9, rest.size());
            pieces.push_back(rest.substr(0, size));
            rest.remove_prefix(size);
        }
        ASSERT_EQ(linesOf(pieces), linesOf({stream})) << stream;
    }
}

TEST(AgentLines, LineIsDeliveredWithItsLastByteAndOnlyOnce) {
    LineCutter cutter;
    Lines lines;
    const auto take = [&](const std::string& line) { lines.push_back(line); };
    cutter.feed("a", take);
    EXPECT_EQ(lines, Lines{});
    cutter.feed("\n", take);
    EXPECT_EQ(lines, Lines{"a"});
    cutter.finish(take);
    cutter.finish(take);
    EXPECT_EQ(lines, Lines{"a"});
}

TEST(AgentLines, NobodyNeedsToListen) {
    LineCutter cutter;
    cutter.feed("a\nb", nullptr);
    cutter.finish(nullptr);
}

// If each piece had all that is pending searched or moved again, this would take hours.
TEST(AgentLines, LineOf64MiBInSmallPiecesTakesLinearTime) {
    constexpr size_t kBytes = size_t{64} << 20;
    const std::string piece(1000, 'x');
    const mbtest::Stopwatch watch;
    LineCutter cutter;
    std::vector<size_t> sizes;
    const auto take = [&](const std::string& line) { sizes.push_back(line.size()); };
    for (size_t fed = 0; fed < kBytes; fed += piece.size()) cutter.feed(piece, take);
    cutter.feed("\nshort\n", take);
    EXPECT_EQ(sizes, (std::vector<size_t>{(kBytes + 999) / 1000 * 1000, 5}));
    EXPECT_LT(watch.ms(), 10000);
}

}  // namespace
