// Frames are the same from a stream whole, cut in two and byte by byte, and a frame of ours that is
// written again reads as itself.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "net/frame.hpp"

namespace {

using mbnet::Frame;
using mbnet::FrameReader;

void require(bool holds) {
    if (!holds) std::abort();
}

struct Reading {
    bool good = true;
    std::string frames;  // all of them, written out

    bool operator==(const Reading&) const = default;
};

void feed(FrameReader& reader, std::string_view piece, Reading& reading) {
    if (!reading.good) return;
    reading.good = reader.feed(piece, [&](Frame& frame) {
        require(frame.opcode < 16 && frame.payload.size() <= FrameReader::kMaxPayload);
        reading.frames += std::to_string(frame.opcode) + (frame.fin ? "." : "+") +
                          std::to_string(frame.payload.size()) + ":" + frame.payload;
        return frame.opcode != 8;
    });
}

Reading readPieces(const std::vector<std::string_view>& pieces) {
    FrameReader reader;
    Reading reading;
    for (const std::string_view piece : pieces) feed(reader, piece, reading);
    return reading;
}

Reading readBytes(std::string_view bytes) {
    FrameReader reader;
    Reading reading;
    for (size_t i = 0; i < bytes.size(); ++i) feed(reader, bytes.substr(i, 1), reading);
    return reading;
}

// The payload, sent as the bridge sends it.
void checkOwnFrame(uint8_t opcode, std::string_view payload) {
    const std::string sent =
        std::string(mbnet::frameHeader(opcode, payload.size()).view()) + std::string(payload);
    FrameReader reader;
    int seen = 0;
    require(reader.feed(sent, [&](Frame& frame) {
        require(frame.fin && frame.opcode == (opcode & 0x0F) && frame.payload == payload);
        return ++seen == 1;
    }));
    require(seen == 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    const size_t where = data[0] * 256U + data[1];
    const std::string_view bytes(reinterpret_cast<const char*>(data) + 2, size - 2);
    const size_t cut = bytes.empty() ? 0 : where % bytes.size();
    const Reading whole = readPieces({bytes});
    require(whole == readPieces({bytes.substr(0, cut), bytes.substr(cut)}));
    require(whole == readBytes(bytes));
    checkOwnFrame(data[0], bytes);
    return 0;
}
