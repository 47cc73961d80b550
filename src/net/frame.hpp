#pragma once
// WebSocket frames as values: cutting them out of a stream of bytes, and the header of our own.

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace mbnet {

struct Frame {
    bool fin = false;
    uint8_t opcode = 0;
    std::string payload;  // unmasked
};

// Feed it what arrives, in whatever pieces. Frames without a mask are taken like masked ones and
// reserved bits are not looked at.
class FrameReader {
public:
    static constexpr uint64_t kMaxPayload = 67108864;  // 64 MiB

    // False: the payload of frames with this opcode is counted off, not gathered. Unset: all kept.
    std::function<bool(uint8_t opcode)> keepsPayload;

    // Calls `onFrame` for each frame that is whole now, until that returns false. False when it
    // did, or when a frame announces too much; the reader is of no more use then.
    bool feed(std::string_view bytes, const std::function<bool(Frame&)>& onFrame);

private:
    std::array<uint8_t, 14> header{};
    size_t headerSize = 0;    // bytes of the header that are here
    size_t headerWanted = 2;  // grows as its first bytes tell more
    uint64_t payloadLength = 0;
    uint64_t payloadTaken = 0;
    bool keep = true;
    Frame frame;

    bool takeHeader(std::string_view& bytes);
    bool extendHeader();
    void takePayload(std::string_view& bytes);
    bool masked() const { return (header[1] & 0x80) != 0; }
    size_t lengthBytes() const;
};

struct FrameHeader {
    std::array<char, 10> bytes;
    size_t size = 0;

    std::string_view view() const { return {bytes.data(), size}; }
};

// For a whole message in one frame, without a mask.
FrameHeader frameHeader(uint8_t opcode, uint64_t payloadLength);

}  // namespace mbnet
