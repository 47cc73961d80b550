#include "watch/watch.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <new>
#include <system_error>
#include <utility>

#include "index/skip.hpp"
#include "util/util.hpp"
#include "watch/batch.hpp"
#include "watch/folders.hpp"

namespace mbwatch {

namespace {

constexpr size_t kReadBytes = 65536;

// What the thread does from its start to its end; all of it is the thread's own but the flag.
class Loop {
public:
    Loop(int inotifyFd, int wakeFd, const std::atomic<bool>& runningFlag,
         const Watcher::Callback& onChange)
        : inotify(inotifyFd), wake(wakeFd), running(runningFlag), callback(onChange),
          folders(inotifyFd, runningFlag) {}

    void watch(const std::string& root) { folders.addRoot(root); }
    // One wait and what follows from it. False when the loop is to end.
    bool turn();
    // After a turn that ran out of memory: less is told, later ones may have more luck.
    void dropPending() { batch = Batch(); }

private:
    const int inotify;
    const int wake;
    const std::atomic<bool>& running;
    const Watcher::Callback& callback;
    Folders folders;
    Batch batch;
    alignas(inotify_event) std::array<char, kReadBytes> buffer;

    void readEvents();
    void takeEvent(const inotify_event& event);
    void flush();
};

bool Loop::turn() {
    pollfd waited[] = {{inotify, POLLIN, 0}, {wake, POLLIN, 0}};
    const int ready = ::poll(waited, 2, batch.timeoutMs(Clock::now()));
    if (ready < 0) return errno == EINTR;
    if (waited[1].revents != 0) return false;
    if (ready > 0) readEvents();
    if (ready == 0 || batch.due(Clock::now())) flush();
    return true;
}

// Until there are none, or until the batch must go: a program that never stops writing would keep
// us here.
void Loop::readEvents() {
    while (running && !batch.due(Clock::now())) {
        const ssize_t got = ::read(inotify, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return;
        const char* const end = buffer.data() + got;
        for (const char* at = buffer.data(); at < end;) {
            const auto& event = *reinterpret_cast<const inotify_event*>(at);
            takeEvent(event);
            if (batch.full()) flush();
            at += sizeof event + event.len;
        }
    }
}

void Loop::takeEvent(const inotify_event& event) {
    const std::string* folder = folders.find(event.wd);
    if (folder == nullptr) return;  // also where the queue ran over: that has no folder
    if ((event.mask & IN_IGNORED) != 0) {
        folders.forget(event.wd);
        return;
    }
    std::string path = event.len == 0 ? *folder : inFolder(*folder, event.name);
    const bool newFolder =
        (event.mask & IN_ISDIR) != 0 && (event.mask & (IN_CREATE | IN_MOVED_TO)) != 0;
    if (newFolder && !mbindex::shouldSkipDir(event.name)) folders.addTree(path);
    if (worthTelling(path)) batch.add(std::move(path), Clock::now());
}

void Loop::flush() {
    const std::vector<std::string> paths = batch.take();
    if (running && callback) callback(paths);
}

void run(Loop& loop, const std::vector<std::string>& roots) {
    try {
        for (const std::string& root : roots) loop.watch(root);
    } catch (const std::bad_alloc&) {
        // What is watched by now stays so.
    }
    for (bool goOn = true; goOn;) {
        try {
            goOn = loop.turn();
        } catch (const std::bad_alloc&) {
            loop.dropPending();
        }
    }
}

}  // namespace

void Watcher::watch(const std::string& folder) {
    const std::lock_guard lock(controlMutex);
    roots.push_back(mbutil::canonical(folder));
}

void Watcher::start(Callback onChange) {
    const std::lock_guard lock(controlMutex);
    if (running || !openDescriptors()) return;
    callback = std::move(onChange);
    running = true;
    try {
        thread = std::thread([this, watched = roots] {
            Loop loop(inotifyFd.value, wakeRead.value, running, callback);
            run(loop, watched);
        });
    } catch (const std::system_error&) {
        running = false;  // no thread, no watching
        closeDescriptors();
    }
}

void Watcher::stop() {
    const std::lock_guard lock(controlMutex);
    stopLocked();
}

void Watcher::reset() {
    const std::lock_guard lock(controlMutex);
    stopLocked();
    roots.clear();
}

void Watcher::stopLocked() {
    if (!running.exchange(false)) return;
    (void)!::write(wakeWrite.value, "", 1);  // a full pipe would wake the thread as well
    thread.join();
    closeDescriptors();  // only now: until its end the thread polls them
    callback = nullptr;
}

bool Watcher::openDescriptors() {
    int ends[2] = {-1, -1};
    inotifyFd.reset(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (inotifyFd && ::pipe2(ends, O_NONBLOCK | O_CLOEXEC) == 0) {
        wakeRead.reset(ends[0]);
        wakeWrite.reset(ends[1]);
        return true;
    }
    closeDescriptors();
    return false;
}

void Watcher::closeDescriptors() {
    inotifyFd.reset();
    wakeRead.reset();
    wakeWrite.reset();
}

}  // namespace mbwatch
