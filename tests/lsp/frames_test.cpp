// Framing, without any process: whatever a stream is cut into, the same messages come out of it.

#include "lsp/frames.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <random>
#include <string>
#include <vector>

namespace {

using mblsp::FrameReader;
using Texts = std::vector<std::string>;

Texts readPieces(const std::vector<std::string_view>& pieces) {
    FrameReader frames;
    Texts bodies;
    for (const std::string_view piece : pieces)
        frames.feed(piece, [&](std::string body) { bodies.push_back(std::move(body)); });
    return bodies;
}

Texts readWhole(std::string_view stream) { return readPieces({stream}); }

Texts readInPiecesOf(size_t bytes, std::string_view stream) {
    std::vector<std::string_view> pieces;
    for (size_t at = 0; at < stream.size(); at += bytes) pieces.push_back(stream.substr(at, bytes));
    return readPieces(pieces);
}

std::string framed(const std::string& body) { return mblsp::frameHeader(body.size()) + body; }

struct Row {
    const char* name;
    std::string stream;
    Texts bodies;
};

const Row kRows[] = {
    {"plain", "Content-Length: 2\r\n\r\n{}", {"{}"}},
    {"any case", "Content-LENGTH: 2\r\n\r\n{}", {"{}"}},
    {"no blank", "content-length:2\r\n\r\n{}", {"{}"}},
    {"many blanks", "Content-Length: \t  2 \r\n\r\n{}", {"{}"}},
    {"sign", "Content-Length: +2\r\n\r\n{}", {"{}"}},
    {"leading zeros", "Content-Length: 0002\r\n\r\n{}", {"{}"}},
    {"text behind the number", "Content-Length: 2bytes\r\n\r\n{}", {"{}"}},
    {"number in the next line", "Content-Length:\r\n 2\r\n\r\n{}", {"{}"}},
    {"other field before",
     "Content-Type: application/vscode-jsonrpc; charset=utf-8\r\nContent-Length: 2\r\n\r\n{}",
     {"{}"}},
    {"other field behind", "Content-Length: 2\r\nContent-Type: x\r\n\r\n{}", {"{}"}},
    {"first length counts", "Content-Length: 2\r\nContent-Length: 1\r\n\r\n{}", {"{}"}},
    {"text before the header", "starting up\nContent-Length: 2\r\n\r\n{}", {"{}"}},
    {"two in a row", "Content-Length: 3\r\n\r\noneContent-Length: 3\r\n\r\ntwo", {"one", "two"}},
    {"length of zero", "Content-Length: 0\r\n\r\nContent-Length: 1\r\n\r\na", {"", "a"}},
    {"length of zero at the end", "Content-Length: 1\r\n\r\naContent-Length: 0\r\n\r\n", {"a", ""}},
    {"length that is no number", "Content-Length: two\r\n\r\n", {""}},
    {"length that is missing", "Content-Length:\r\n\r\n", {""}},
    {"block without a length", "X: 1\r\n\r\nContent-Length: 2\r\n\r\n{}", {"{}"}},
    {"empty block", "\r\n\r\nContent-Length: 2\r\n\r\n{}", {"{}"}},
    {"blank line overlaps the next", "X\r\n\r\n\r\nContent-Length: 2\r\n\r\n{}", {"{}"}},
    {"header end in a body", "Content-Length: 6\r\n\r\na\r\n\r\nb", {"a\r\n\r\nb"}},
    {"header in a body",
     "Content-Length: 21\r\n\r\nContent-Length: 9\r\n\r\nContent-Length: 1\r\n\r\na",
     {"Content-Length: 9\r\n\r\n", "a"}},
    {"bare newlines end no header", "Content-Length: 2\n\nab\r\n\r\ncd", {"cd"}},
    {"length out of range",
     "Content-Length: 99999999999999999999999\r\n\r\nContent-Length: 2\r\n\r\n{}",
     {"{}"}},
    {"length at the end of the range",
     "Content-Length: 18446744073709551615\r\n\r\nContent-Length: 2\r\n\r\n{}",
     {"{}"}},
    {"negative length", "Content-Length: -1\r\n\r\nContent-Length: 2\r\n\r\n{}", {"{}"}},
    {"cut in the header", "Content-Length: 2\r\n\r\n{}Content-Le", {"{}"}},
    {"cut in the body", "Content-Length: 2\r\n\r\n{}Content-Length: 9\r\n\r\n1234", {"{}"}},
    {"zero bytes",
     std::string("Content-Length: 3\r\n\r\n\0\xff\0", 24),
     {std::string("\0\xff\0", 3)}},
    {"zero byte in the header", std::string("A\0B\r\nContent-Length: 2\r\n\r\n{}", 28), {"{}"}},
};

TEST(LspFrames, RowsAreReadWhole) {
    for (const Row& row : kRows) EXPECT_EQ(readWhole(row.stream), row.bodies) << row.name;
}

TEST(LspFrames, RowsAreTheSameCutAtEveryByte) {
    for (const Row& row : kRows) {
        const std::string_view stream = row.stream;
        for (size_t cut = 0; cut <= stream.size(); ++cut)
            EXPECT_EQ(readPieces({stream.substr(0, cut), stream.substr(cut)}), row.bodies)
                << row.name << " cut at " << cut;
    }
}

TEST(LspFrames, RowsAreTheSameInSmallPieces) {
    for (const Row& row : kRows)
        for (size_t bytes = 1; bytes <= 7; ++bytes)
            EXPECT_EQ(readInPiecesOf(bytes, row.stream), row.bodies)
                << row.name << " in pieces of " << bytes;
}

TEST(LspFrames, HugeLengthThatAStringCouldHaveIsWaitedForWithoutTakingTheMemory) {
    EXPECT_EQ(readWhole("Content-Length: 4611686018427387904\r\n\r\nabc"), Texts{});
}

TEST(LspFrames, WithoutAHandlerMessagesAreDropped) {
    FrameReader frames;
    frames.feed("Content-Length: 3\r\n\r\noneContent-Length: 3\r\n\r\ntw", {});
    Texts bodies;
    frames.feed("o" + framed("three"),
                [&](std::string body) { bodies.push_back(std::move(body)); });
    EXPECT_EQ(bodies, (Texts{"two", "three"}));
}

TEST(LspFrames, MessageGoesOutWithTheByteThatMakesItWhole) {
    FrameReader frames;
    size_t seen = 0;
    const auto count = [&](const std::string&) { ++seen; };
    frames.feed("Content-Length: 1\r\n\r", count);
    EXPECT_EQ(seen, 0U);
    frames.feed("\n", count);
    EXPECT_EQ(seen, 0U);
    frames.feed("a", count);
    EXPECT_EQ(seen, 1U);
    frames.feed("Content-Length: 0\r\n\r\n", count);
    EXPECT_EQ(seen, 2U);
}

// A stream of odd headers and bodies, and what must come of it.
struct Stream {
    std::string bytes;
    Texts bodies;

    explicit Stream(unsigned seed) : random(seed) {
        for (int i = 0; i < 40; ++i) add();
    }

private:
    std::mt19937 random;

    size_t below(size_t limit) {
        return std::uniform_int_distribution<size_t>(0, limit - 1)(random);
    }

    std::string someBody() {
        // Much of what is special to a header.
        static constexpr std::string_view kLetters = "\r\n\r\n: 0123Content-Length:\xc3\xa9\xff";
        std::string body(below(4) == 0 ? 0 : below(300), ' ');
        for (char& letter : body) letter = kLetters[below(kLetters.size())];
        return body;
    }

    void add() {
        static const std::string kNoise[] = {"X: 1\r\n\r\n", "\r\n\r\n", "some words\nmore\r\n\r\n",
                                             "Content-Length: 999999999999999999999\r\n\r\n"};
        static const std::string kNames[] = {
            "Content-Length: ", "content-length:", "CONTENT-LENGTH: \t",
            "A: b\r\nContent-Length: ", "Content-Length:\r\n  "};
        static const std::string kEnds[] = {"\r\n\r\n", "\r\nContent-Type: x\r\n\r\n", " \r\n\r\n"};
        if (below(4) == 0) bytes += kNoise[below(std::size(kNoise))];
        const std::string body = someBody();
        bytes += kNames[below(std::size(kNames))] + std::to_string(body.size()) +
                 kEnds[below(std::size(kEnds))] + body;
        bodies.push_back(body);
    }
};

TEST(LspFrames, RandomStreamsAreTheSameCutAtEveryByte) {
    for (unsigned seed = 1; seed <= 4; ++seed) {
        const Stream stream(seed);
        ASSERT_EQ(readWhole(stream.bytes), stream.bodies) << seed;
        const std::string_view bytes = stream.bytes;
        for (size_t cut = 0; cut < bytes.size(); ++cut)
            ASSERT_EQ(readPieces({bytes.substr(0, cut), bytes.substr(cut)}), stream.bodies)
                << seed << " at " << cut;
    }
}

TEST(LspFrames, RandomStreamsAreTheSameInRandomPieces) {
    for (unsigned seed = 1; seed <= 100; ++seed) {
        const Stream stream(seed);
        std::mt19937 random(seed);
        std::vector<std::string_view> pieces;
        for (std::string_view rest = stream.bytes; !rest.empty();) {
            const size_t bytes = 1 + random() % 40;
            pieces.push_back(rest.substr(0, bytes));
            rest.remove_prefix(std::min(bytes, rest.size()));
        }
        ASSERT_EQ(readPieces(pieces), stream.bodies) << seed;
    }
}

TEST(LspFrames, BodyOfThirtyTwoMebibytesArrivesWhole) {
    std::string body(size_t{32} << 20, '\0');
    for (size_t i = 0; i < body.size(); ++i) body[i] = static_cast<char>(i * 31 >> 7);
    const std::string stream = framed(body) + framed("next");
    for (const size_t bytes : {stream.size(), size_t{65536}, size_t{4097}}) {
        const Texts bodies = readInPiecesOf(bytes, stream);
        ASSERT_EQ(bodies.size(), 2U);
        EXPECT_TRUE(bodies[0] == body) << "in pieces of " << bytes;
        EXPECT_EQ(bodies[1], "next");
    }
}

// Of the processor, so that it does not matter what else the machine does.
double secondsFor(size_t pieceBytes, const std::string& stream, size_t messages) {
    const auto now = [] {
        timespec time = {};
        EXPECT_EQ(::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time), 0);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
    };
    const double start = now();
    EXPECT_EQ(readInPiecesOf(pieceBytes, stream).size(), messages);
    return now() - start;
}

// Eight times the bytes may take eight times as long; were each piece to cost what has come before
// it, it would be sixty-four.
void expectLinear(size_t pieceBytes, const std::string& small, const std::string& large,
                  size_t smallMessages, size_t largeMessages) {
    double smallTime = 1e9, largeTime = 1e9;
    for (int round = 0; round < 8 && (round < 2 || largeTime > 24 * smallTime); ++round) {
        smallTime = std::min(smallTime, secondsFor(pieceBytes, small, smallMessages));
        largeTime = std::min(largeTime, secondsFor(pieceBytes, large, largeMessages));
    }
    EXPECT_LT(largeTime, 24 * smallTime);
}

TEST(LspFrames, LongMessageInSmallPiecesTakesLinearTime) {
    expectLinear(16, framed(std::string(1 << 20, 'x')), framed(std::string(8 << 20, 'x')), 1, 1);
}

TEST(LspFrames, LongHeaderInSmallPiecesTakesLinearTime) {
    const auto stream = [](size_t bytes) {
        return "X: " + std::string(bytes, 'x') + "\r\nContent-Length: 0\r\n\r\n";
    };
    expectLinear(16, stream(1 << 20), stream(8 << 20), 1, 1);
}

TEST(LspFrames, ManyShortMessagesInOnePieceTakeLinearTime) {
    std::string small, large;
    for (int i = 0; i < 20000; ++i) small += framed("{}");
    for (int i = 0; i < 8; ++i) large += small;
    expectLinear(large.size(), small, large, 20000, 160000);
}

TEST(LspFrames, HeaderCountsBytes) {
    EXPECT_EQ(mblsp::frameHeader(0), "Content-Length: 0\r\n\r\n");
    EXPECT_EQ(mblsp::frameHeader(std::string("\xc3\xa9").size()), "Content-Length: 2\r\n\r\n");
    EXPECT_EQ(mblsp::frameHeader(33554432), "Content-Length: 33554432\r\n\r\n");
}

}  // namespace
