// WebSocket frames as values, without a socket.

#include "net/frame.hpp"

#include <gtest/gtest.h>

#include <vector>

#include "support/client.hpp"

namespace {

using mbnet::Frame;
using mbnet::FrameReader;
using mbtest::clientFrame;
using namespace std::string_literals;

struct Reading {
    bool good = true;
    std::vector<Frame> frames;
};

// `step` bytes at a time.
Reading readIn(std::string_view bytes, size_t step, FrameReader reader = {}) {
    Reading reading;
    while (!bytes.empty() && reading.good) {
        const std::string_view piece = bytes.substr(0, step);
        reading.good = reader.feed(piece, [&](Frame& frame) {
            reading.frames.push_back(frame);
            return true;
        });
        bytes.remove_prefix(piece.size());
    }
    return reading;
}

std::string pattern(size_t size) {
    std::string text(size, '\0');
    for (size_t i = 0; i < size; ++i) text[i] = static_cast<char>(i * 31 % 251);
    return text;
}

TEST(NetFrame, FramesAreTheSameInAnyPieces) {
    const std::string bytes = clientFrame(1, "hi") + clientFrame(9, "") +
                              clientFrame(0, pattern(126), {.fin = false, .masked = false}) +
                              clientFrame(2, pattern(300)) + clientFrame(8, "\x03\xE8 bye");
    for (const size_t step :
         {size_t{1}, size_t{2}, size_t{3}, size_t{7}, size_t{200}, bytes.size()}) {
        const Reading reading = readIn(bytes, step);
        EXPECT_TRUE(reading.good);
        ASSERT_EQ(reading.frames.size(), 5U) << step;
        EXPECT_EQ(reading.frames[0].payload, "hi");
        EXPECT_TRUE(reading.frames[0].fin);
        EXPECT_EQ(reading.frames[0].opcode, 1);
        EXPECT_EQ(reading.frames[1].opcode, 9);
        EXPECT_EQ(reading.frames[1].payload, "");
        EXPECT_FALSE(reading.frames[2].fin);
        EXPECT_EQ(reading.frames[2].opcode, 0);
        EXPECT_EQ(reading.frames[2].payload, pattern(126));
        EXPECT_EQ(reading.frames[3].payload, pattern(300));
        EXPECT_EQ(reading.frames[4].payload, "\x03\xE8 bye");
    }
}

TEST(NetFrame, EveryLengthFormIsRead) {
    for (const size_t size : {size_t{0}, size_t{1}, size_t{125}, size_t{126}, size_t{65535},
                              size_t{65536}, size_t{200000}}) {
        for (const bool masked : {false, true}) {
            const Reading reading =
                readIn(clientFrame(2, pattern(size), {.masked = masked}), 16384);
            ASSERT_EQ(reading.frames.size(), 1U) << size;
            EXPECT_EQ(reading.frames[0].payload, pattern(size)) << size;
        }
    }
    // Longer forms than needed are taken too.
    EXPECT_EQ(readIn(clientFrame(1, "abc", {.lengthBits = 16}), 1).frames.at(0).payload, "abc");
    EXPECT_EQ(readIn(clientFrame(1, "abc", {.lengthBits = 64}), 1).frames.at(0).payload, "abc");
}

TEST(NetFrame, ReservedBitsAreNotLookedAt) {
    const Reading reading = readIn("\xF1\x02hi", 1);
    ASSERT_EQ(reading.frames.size(), 1U);
    EXPECT_TRUE(reading.frames[0].fin);
    EXPECT_EQ(reading.frames[0].opcode, 1);
    EXPECT_EQ(reading.frames[0].payload, "hi");
}

TEST(NetFrame, LengthOverTheLimitIsRefusedBeforeTheMask) {
    const std::string justFits = "\x82\xFF\x00\x00\x00\x00\x04\x00\x00\x00"s;
    const std::string justOver = "\x82\xFF\x00\x00\x00\x00\x04\x00\x00\x01"s;
    const std::string huge = "\x82\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s;
    EXPECT_TRUE(readIn(justFits, 1).good);
    EXPECT_FALSE(readIn(justOver, 1).good);
    EXPECT_FALSE(readIn(huge, 10).good);
    EXPECT_TRUE(readIn(justOver.substr(0, 9), 1).good) << "the last byte of the length decides";
}

TEST(NetFrame, CutFrameIsNotDelivered) {
    const std::string bytes = clientFrame(1, pattern(130));
    for (size_t size = 0; size < bytes.size(); ++size)
        EXPECT_TRUE(readIn(bytes.substr(0, size), 16384).frames.empty()) << size;
}

TEST(NetFrame, UnwantedPayloadIsCountedOffNotGathered) {
    FrameReader reader;
    reader.keepsPayload = [](uint8_t opcode) { return opcode == 9; };
    const std::string bytes =
        clientFrame(2, pattern(70000)) + clientFrame(9, "ping") + clientFrame(1, "text");
    const Reading reading = readIn(bytes, 1000, reader);
    ASSERT_EQ(reading.frames.size(), 3U);
    EXPECT_EQ(reading.frames[0].payload, "");
    EXPECT_EQ(reading.frames[1].payload, "ping");
    EXPECT_EQ(reading.frames[2].payload, "");
}

TEST(NetFrame, ReaderEndsWhenTheReceiverDoes) {
    FrameReader reader;
    int seen = 0;
    EXPECT_FALSE(reader.feed(clientFrame(1, "a") + clientFrame(1, "b"), [&](Frame&) {
        ++seen;
        return false;
    }));
    EXPECT_EQ(seen, 1);
}

TEST(NetFrame, HeaderTakesTheShortestForm) {
    struct Row {
        uint8_t opcode;
        uint64_t size;
        std::string bytes;
    };
    const Row kRows[] = {
        {1, 0, "\x81\x00"s},
        {2, 125, "\x82\x7D"s},
        {1, 126, "\x81\x7E\x00\x7E"s},
        {1, 65535, "\x81\x7E\xFF\xFF"s},
        {1, 65536, "\x81\x7F\x00\x00\x00\x00\x00\x01\x00\x00"s},
        {10, 0x0102030405060708, "\x8A\x7F\x01\x02\x03\x04\x05\x06\x07\x08"s},
        {0xF9, 1, "\x89\x01"s},
    };
    for (const Row& row : kRows)
        EXPECT_EQ(mbnet::frameHeader(row.opcode, row.size).view(), row.bytes) << row.size;
}

}  // namespace
