#include "discord/ipc.hpp"

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "util/socket.hpp"

namespace mbdiscord {

namespace {

constexpr const char* kFolderVariables[] = {"XDG_RUNTIME_DIR", "TMPDIR", "TMP", "TEMP"};
constexpr const char* kPlacesBelow[] = {"", "/app/com.discordapp.Discord", "/snap.discord",
                                        "/.flatpak/com.discordapp.Discord/xdg-run"};
constexpr size_t kHeaderBytes = 8;

void putNumber(std::string& out, uint32_t number) {
    for (int shift = 0; shift < 32; shift += 8)
        out += static_cast<char>(static_cast<unsigned char>(number >> shift));
}

uint32_t numberAt(const char* bytes) {
    uint32_t number = 0;
    for (unsigned i = 0; i < 4; ++i)
        number |= static_cast<uint32_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
    return number;
}

}  // namespace

std::vector<std::string> candidatePaths() {
    std::vector<std::string> folders;
    for (const char* variable : kFolderVariables)
        if (const char* value = std::getenv(variable); value != nullptr && *value != '\0')
            folders.emplace_back(value);
    folders.emplace_back("/tmp");
    std::vector<std::string> paths;
    for (const std::string& folder : folders)
        for (const char* place : kPlacesBelow)
            for (char digit = '0'; digit <= '9'; ++digit)
                paths.push_back(folder + place + "/discord-ipc-" + digit);
    return paths;
}

std::string frameBytes(Opcode opcode, std::string_view body) {
    std::string frame;
    frame.reserve(kHeaderBytes + body.size());
    putNumber(frame, static_cast<uint32_t>(opcode));
    putNumber(frame, static_cast<uint32_t>(body.size()));
    frame += body;
    return frame;
}

bool Connection::open(const std::string& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    // Cut, the path would name somebody else's socket.
    if (path.size() >= sizeof address.sun_path) return false;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    fd.reset(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (fd.value < 0) return false;
    // The first holds for connect() too, which waits while the listener's queue is full.
    const timeval limit = {1, 0};
    (void)::setsockopt(fd.value, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    (void)::setsockopt(fd.value, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    if (::connect(fd.value, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return true;
    close();
    return false;
}

bool Connection::send(Opcode opcode, std::string_view body) const {
    return fd.value >= 0 && mbutil::sendAll(fd.value, frameBytes(opcode, body));
}

int Connection::waiting() const {
    int bytes = 0;
    return ::ioctl(fd.value, FIONREAD, &bytes) == 0 ? bytes : -1;
}

bool Connection::ended() const {
    char byte = 0;
    return ::recv(fd.value, &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0;
}

bool Connection::readHeader(Header& header) const {
    std::array<char, kHeaderBytes> bytes;
    if (!readExactly(bytes.data(), bytes.size())) return false;
    header = {numberAt(bytes.data()), numberAt(bytes.data() + 4)};
    return true;
}

bool Connection::readExactly(char* data, size_t size) const {
    while (size > 0) {
        const ssize_t got = ::recv(fd.value, data, size, 0);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        data += got;
        size -= static_cast<size_t>(got);
    }
    return true;
}

}  // namespace mbdiscord
