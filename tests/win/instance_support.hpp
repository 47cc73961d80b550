#pragma once
// Both ends of the single-instance channel for tests, well-behaved and not.

#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/support.hpp"
#include "util/fd.hpp"
#include "win/instance.hpp"

namespace mbtest {

using Paths = std::vector<std::string>;

inline sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    return address;
}

inline const sockaddr* generic(const sockaddr_un& address) {
    return static_cast<const sockaddr*>(static_cast<const void*>(&address));
}

inline mbutil::Fd makeSocket() {
    return mbutil::Fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

// A client that sends what it likes.
class Sender {
public:
    explicit Sender(const std::string& path) : socket(makeSocket()) {
        const sockaddr_un address = addressOf(path);
        if (::connect(socket.value, generic(address), sizeof address) != 0) socket.reset();
    }
    bool connected() const { return static_cast<bool>(socket); }
    bool send(std::string_view bytes) const {
        while (!bytes.empty()) {
            const ssize_t sent = ::send(socket.value, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (sent <= 0) return false;
            bytes.remove_prefix(static_cast<size_t>(sent));
        }
        return true;
    }
    // What the other end has not taken yet; not in bytes of the message.
    int unread() const {
        int left = -1;
        return ::ioctl(socket.value, SIOCOUTQ, &left) == 0 ? left : -1;
    }
    void finish() const { ::shutdown(socket.value, SHUT_WR); }
    // Up to the end of the connection; nothing when that does not come.
    std::optional<std::string> answer() const {
        std::string all;
        char buffer[64];
        for (pollfd waiting = {socket.value, POLLIN, 0}; ::poll(&waiting, 1, 20000) > 0;) {
            const ssize_t got = ::recv(socket.value, buffer, sizeof buffer, 0);
            if (got <= 0) return all;
            all.append(buffer, static_cast<size_t>(got));
        }
        return {};
    }
    std::optional<std::string> say(std::string_view text) const {
        (void)send(text);
        finish();
        return answer();
    }

private:
    mbutil::Fd socket;
};

// A server that does as it likes.
inline mbutil::Fd listenAt(const std::string& path) {
    mbutil::Fd fd = makeSocket();
    const sockaddr_un address = addressOf(path);
    const bool done =
        ::bind(fd.value, generic(address), sizeof address) == 0 && ::listen(fd.value, 100) == 0;
    return done ? std::move(fd) : mbutil::Fd();
}

class WinInstance : public testing::Test {
protected:
    TempDir dir;
    mbwin::ForwardOptions options = {.base = dir.at("base")};
    const std::string socketPath = dir.at("base.sock");

    // The limits of an owner that hangs, shortened.
    mbwin::ForwardOptions hasty() const {
        mbwin::ForwardOptions shortened = options;
        shortened.attempts = 3;
        shortened.answerMs = 60;
        shortened.pauseMs = 5;
        return shortened;
    }
    bool forward(const Paths& paths) const {
        return mbwin::forwardToExistingInstance(paths, options);
    }
};

// Notes the messages.
class Owner {
public:
    explicit Owner(const std::string& path, int silenceMs = 20000) {
        listener.start(
            path,
            [this](const Paths& paths) {
                const std::lock_guard lock(mutex);
                messages.push_back(paths);
            },
            silenceMs);
    }
    std::vector<Paths> received() const {
        const std::lock_guard lock(mutex);
        return messages;
    }
    bool awaitMessages(size_t count) const {
        return waitUntil([&] { return received().size() >= count; }, 20000);
    }
    void stop() { listener.stop(); }

private:
    mutable std::mutex mutex;
    std::vector<Paths> messages;
    mbwin::InstanceListener listener;
};

}  // namespace mbtest
