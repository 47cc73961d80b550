#include "support/fake_discord.hpp"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstdlib>
#include <cstring>

namespace mbtest {

namespace {

constexpr std::chrono::seconds kPatience{30};

uint32_t numberAt(const std::string& bytes, size_t at) {
    uint32_t number = 0;
    for (size_t i = 0; i < 4; ++i)
        number |= static_cast<uint32_t>(static_cast<unsigned char>(bytes[at + i])) << (8 * i);
    return number;
}

}  // namespace

FakeDiscord::FakeDiscord(const std::string& socketPath) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (socketPath.size() >= sizeof address.sun_path) std::abort();
    std::memcpy(address.sun_path, socketPath.c_str(), socketPath.size() + 1);
    listener.reset(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (::bind(listener.value, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener.value, 8) != 0)
        std::abort();
    thread = std::thread(&FakeDiscord::serve, this);
}

FakeDiscord::~FakeDiscord() {
    {
        const std::lock_guard lock(mutex);
        closing = true;
        if (client) ::shutdown(client.value, SHUT_RDWR);
    }
    ::shutdown(listener.value, SHUT_RDWR);
    thread.join();
}

void FakeDiscord::serve() {
    for (int connection = 1;; ++connection) {
        mbutil::Fd accepted(::accept4(listener.value, nullptr, nullptr, SOCK_CLOEXEC));
        if (!accepted) return;
        {
            const std::lock_guard lock(mutex);
            if (closing) return;
            client = std::move(accepted);
        }
        readClient(connection);
        const std::lock_guard lock(mutex);
        client.reset();
        ended = connection;
        changed.notify_all();
    }
}

void FakeDiscord::readClient(int connection) {
    const int fd = client.value;  // replaced on this thread only
    for (;;) {
        std::string head(8, '\0');
        if (!readExactly(fd, head)) return;
        Frame frame;
        frame.opcode = numberAt(head, 0);
        frame.body.resize(numberAt(head, 4));
        frame.connection = connection;
        if (!readExactly(fd, frame.body)) return;
        frame.arrived = std::chrono::steady_clock::now();
        const std::lock_guard lock(mutex);
        frames.push_back(std::move(frame));
        changed.notify_all();
    }
}

bool FakeDiscord::readExactly(int fd, std::string& bytes) const {
    for (size_t at = 0; at < bytes.size();) {
        const ssize_t got = ::recv(fd, bytes.data() + at, bytes.size() - at, 0);
        if (got <= 0) return false;
        at += static_cast<size_t>(got);
    }
    return true;
}

FakeDiscord::Frame FakeDiscord::frame(size_t index) {
    std::unique_lock lock(mutex);
    if (!changed.wait_for(lock, kPatience, [&] { return frames.size() > index; })) return {};
    return frames[index];
}

size_t FakeDiscord::frameCount() {
    const std::lock_guard lock(mutex);
    return frames.size();
}

bool FakeDiscord::waitForEnd(int connection) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, kPatience, [&] { return ended >= connection; });
}

void FakeDiscord::sendBytes(const std::string& bytes) {
    const std::lock_guard lock(mutex);
    for (size_t at = 0; client && at < bytes.size();) {
        const ssize_t sent =
            ::send(client.value, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
        if (sent <= 0) return;
        at += static_cast<size_t>(sent);
    }
}

void FakeDiscord::sendFrame(uint32_t opcode, const std::string& body) {
    sendBytes(header(opcode, static_cast<uint32_t>(body.size())) + body);
}

void FakeDiscord::hangUp() {
    const std::lock_guard lock(mutex);
    if (client) ::shutdown(client.value, SHUT_RDWR);
}

std::string FakeDiscord::header(uint32_t opcode, uint32_t length) {
    std::string bytes;
    for (const uint32_t number : {opcode, length})
        for (int shift = 0; shift < 32; shift += 8)
            bytes += static_cast<char>(static_cast<unsigned char>(number >> shift));
    return bytes;
}

}  // namespace mbtest
