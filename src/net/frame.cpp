#include "net/frame.hpp"

#include <algorithm>

namespace mbnet {

size_t FrameReader::lengthBytes() const {
    const uint8_t length = header[1] & 0x7F;
    if (length < 126) return 0;
    return length == 126 ? 2 : 8;
}

bool FrameReader::feed(std::string_view bytes, const std::function<bool(Frame&)>& onFrame) {
    for (;;) {
        if (!takeHeader(bytes)) return false;
        if (headerSize < headerWanted) return true;  // all bytes are used up
        takePayload(bytes);
        if (payloadTaken < payloadLength) return true;
        headerSize = 0;
        headerWanted = 2;
        payloadTaken = 0;
        if (!onFrame(frame)) return false;
    }
}

// False when the frame is too long.
bool FrameReader::takeHeader(std::string_view& bytes) {
    while (headerSize < headerWanted && !bytes.empty()) {
        header[headerSize++] = static_cast<uint8_t>(bytes.front());
        bytes.remove_prefix(1);
        if (headerSize == headerWanted && !extendHeader()) return false;
    }
    return true;
}

// Decides as early as the bytes allow: a length over the limit ends the connection before the mask
// has come.
bool FrameReader::extendHeader() {
    const size_t lengthEnd = 2 + lengthBytes();
    if (headerSize < lengthEnd) {
        headerWanted = lengthEnd;
        return true;
    }
    if (headerSize == lengthEnd && masked()) headerWanted = lengthEnd + 4;
    payloadLength = header[1] & 0x7F;
    if (lengthEnd > 2) {
        payloadLength = 0;
        for (size_t i = 2; i < lengthEnd; ++i) payloadLength = payloadLength << 8 | header[i];
    }
    frame.fin = (header[0] & 0x80) != 0;
    frame.opcode = header[0] & 0x0F;
    frame.payload.clear();
    keep = !keepsPayload || keepsPayload(frame.opcode);
    return payloadLength <= kMaxPayload;
}

void FrameReader::takePayload(std::string_view& bytes) {
    const auto count =
        static_cast<size_t>(std::min<uint64_t>(payloadLength - payloadTaken, bytes.size()));
    if (keep) {
        const size_t before = frame.payload.size();
        frame.payload.append(bytes.substr(0, count));
        const uint8_t* mask = header.data() + headerSize - 4;
        for (size_t i = before; masked() && i < frame.payload.size(); ++i)
            frame.payload[i] =
                static_cast<char>(static_cast<uint8_t>(frame.payload[i]) ^ mask[i % 4]);
    }
    payloadTaken += count;
    bytes.remove_prefix(count);
}

FrameHeader frameHeader(uint8_t opcode, uint64_t payloadLength) {
    FrameHeader header;
    const auto put = [&header](uint64_t byte) {
        header.bytes[header.size++] = static_cast<char>(byte & 0xFF);
    };
    put(0x80U | (opcode & 0x0FU));
    if (payloadLength <= 125) {
        put(payloadLength);
        return header;
    }
    const int lengthBytes = payloadLength <= 65535 ? 2 : 8;
    put(lengthBytes == 2 ? 126 : 127);
    for (int shift = (lengthBytes - 1) * 8; shift >= 0; shift -= 8) put(payloadLength >> shift);
    return header;
}

}  // namespace mbnet
