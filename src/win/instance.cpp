#include "win/instance.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "util/socket.hpp"
#include "util/util.hpp"
#include "win/win.hpp"
#include "json/json.hpp"

namespace mbwin {

using mbjson::Json;
using mbutil::Fd;

namespace {

constexpr std::string_view kTaken = "ok";
constexpr size_t kMessageLimit = 1048577;  // bytes; what follows is cut off

enum class Attempt {
    taken,
    refused,     // nobody listens, or nobody answers: worth a pause
    cut,         // while it was sent
    impossible,  // this process can make no sockets
};

// A path that is too long for the address is cut, on both ends alike.
sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
    return address;
}

const sockaddr* generic(const sockaddr_un& address) {
    return static_cast<const sockaddr*>(static_cast<const void*>(&address));
}

Fd makeSocket() { return Fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)); }

// The owner keeps the lock open for the rest of its life; the kernel drops it however that ends.
bool becomeOwner(Fd& lock) {
    if (::flock(lock.value, LOCK_EX | LOCK_NB) != 0) return false;
    (void)lock.release();
    return true;
}

std::string messageFor(const std::vector<std::string>& paths) {
    std::array<char, 4096> buffer = {};
    const char* folder = ::getcwd(buffer.data(), buffer.size());
    const std::string cwd = folder ? folder : "";
    Json list = Json::array();
    for (const std::string& path : paths) {
        const bool relative = !path.empty() && path[0] != '/';
        list.push(relative ? mbutil::canonical(cwd + "/" + path) : path);
    }
    Json message = Json::object();
    message.set("paths", std::move(list));
    return message.dump();
}

// In "/tmp" anybody could listen under this name.
bool isOurs(int fd) {
    ucred peer = {};
    socklen_t size = sizeof peer;
    return ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::getuid();
}

bool awaitAnswer(int fd, int limitMs) {
    pollfd waiting = {fd, POLLIN, 0};
    if (::poll(&waiting, 1, limitMs) <= 0) return false;
    std::array<char, kTaken.size()> answer = {};
    const ssize_t got = ::recv(fd, answer.data(), answer.size(), 0);
    return got > 0 && std::string_view(answer.data(), static_cast<size_t>(got)) == kTaken;
}

Attempt handOver(const std::string& message, const ForwardOptions& options) {
    const Fd socket = makeSocket();
    if (!socket) return Attempt::impossible;
    // An owner that hangs neither accepts nor reads; connecting and sending would wait for ever.
    timeval limit = {};
    limit.tv_sec = options.answerMs / 1000;
    limit.tv_usec = options.answerMs % 1000 * 1000;
    (void)::setsockopt(socket.value, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    const sockaddr_un address = addressOf(options.base + ".sock");
    if (::connect(socket.value, generic(address), sizeof address) != 0 || !isOurs(socket.value))
        return Attempt::refused;
    if (!mbutil::sendAll(socket.value, message)) return Attempt::cut;
    (void)::shutdown(socket.value, SHUT_WR);
    return awaitAnswer(socket.value, options.answerMs) ? Attempt::taken : Attempt::refused;
}

}  // namespace

std::string instanceBaseIn(const char* runtimeFolder, uid_t user) {
    std::string folder = runtimeFolder ? runtimeFolder : "";
    if (folder.empty() || !mbutil::dirExists(folder)) folder = "/tmp";
    return folder + "/marlin-bench-" + std::to_string(user);
}

const std::string& instanceBase() {
    static const std::string base = instanceBaseIn(std::getenv("XDG_RUNTIME_DIR"), ::getuid());
    return base;
}

std::string instanceSocketPath() { return instanceBase() + ".sock"; }

bool forwardToExistingInstance(const std::vector<std::string>& paths) {
    ForwardOptions options;
    options.base = instanceBase();
    return forwardToExistingInstance(paths, options);
}

bool forwardToExistingInstance(const std::vector<std::string>& paths,
                               const ForwardOptions& options) {
    const std::string path = options.base + ".lock";
    Fd lock(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!lock || becomeOwner(lock)) return false;
    const std::string message = messageFor(paths);
    for (int left = options.attempts; left > 0; --left) {
        const Attempt attempt = handOver(message, options);
        if (attempt == Attempt::taken) return true;
        if (attempt == Attempt::impossible) return false;
        if (attempt == Attempt::refused) ::usleep(static_cast<useconds_t>(options.pauseMs) * 1000);
        // An owner that was about to end has ended: its window is gone, ours comes.
        if (becomeOwner(lock)) return false;
    }
    return false;
}

bool readInstanceMessage(std::string_view text, std::vector<std::string>& paths) {
    bool ok = false;
    const Json message = Json::parseText(text, &ok);
    if (!ok) return false;
    paths.clear();
    for (const Json& path : message["paths"].asArray()) paths.push_back(path.asString());
    return true;
}

bool InstanceListener::bindSocket(const std::string& path) {
    const sockaddr_un address = addressOf(path);
    // One that is left of an owner that was killed. Nobody listens there: we hold the lock.
    ::unlink(address.sun_path);
    listenFd = makeSocket();
    wakeFd = Fd(::eventfd(0, EFD_CLOEXEC));
    if (!listenFd || !wakeFd) return false;
    const mode_t before = ::umask(077);
    const bool bound = ::bind(listenFd.value, generic(address), sizeof address) == 0;
    ::umask(before);
    if (!bound) return false;
    socketPath = address.sun_path;
    return ::listen(listenFd.value, 8) == 0;
}

void InstanceListener::start(const std::string& path, Callback callback, int silenceMs) {
    onPaths = std::move(callback);
    silenceLimitMs = silenceMs;
    bool listening = bindSocket(path);
    try {
        if (listening) listener = std::thread([this] { listen(); });
    } catch (const std::system_error&) {
        listening = false;
    }
    // Closed, so that a second start is refused at once instead of waiting for an answer.
    if (!listening) listenFd.reset();
}

void InstanceListener::stop() {
    closing = true;
    if (wakeFd) (void)::eventfd_write(wakeFd.value, 1);
    if (listener.joinable()) listener.join();
    listenFd.reset();
    if (!socketPath.empty()) ::unlink(socketPath.c_str());
    socketPath.clear();
}

void InstanceListener::listen() {
    while (!closing && awaitReadable(listenFd.value, -1)) {
        Fd connection(::accept4(listenFd.value, nullptr, nullptr, SOCK_CLOEXEC));
        if (!connection && errno == EINTR) continue;
        if (!connection) break;
        serve(std::move(connection));
    }
    // Who comes now is refused instead of waiting for an answer that never comes.
    (void)::shutdown(listenFd.value, SHUT_RDWR);
}

void InstanceListener::serve(Fd connection) {
    const std::string text = receive(connection.value);
    // Unanswered, the sender tries again, and opens a window of its own once this one is gone.
    if (closing) return;
    (void)::send(connection.value, kTaken.data(), kTaken.size(), MSG_NOSIGNAL);
    connection.reset();
    std::vector<std::string> paths;
    if (readInstanceMessage(text, paths) && onPaths) onPaths(std::move(paths));
}

std::string InstanceListener::receive(int connection) const {
    std::string text;
    std::array<char, 4096> buffer;
    while (text.size() < kMessageLimit && awaitReadable(connection, silenceLimitMs)) {
        const size_t room = std::min(buffer.size(), kMessageLimit - text.size());
        const ssize_t got = ::recv(connection, buffer.data(), room, 0);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        text.append(buffer.data(), static_cast<size_t>(got));
    }
    return text;
}

bool InstanceListener::awaitReadable(int fd, int limitMs) const {
    pollfd waiting[] = {{fd, POLLIN, 0}, {wakeFd.value, POLLIN, 0}};
    int ready = 0;
    do ready = ::poll(waiting, 2, limitMs);
    while (ready < 0 && errno == EINTR);
    return ready > 0 && waiting[1].revents == 0;
}

}  // namespace mbwin
