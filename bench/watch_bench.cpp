// The watcher beside `inotifywait -m -r`: from its start until all folders of a tree are watched.
//
// watch_bench FOLDER FOLDERS: makes so many folders below it and compares in turn with the peer,
// round after round. The median of the rounds' ratios counts. Fails above 1.6.
//
// Ours does not say when it is done. But its thread reads events only then, and tells of one after
// 220 ms of quiet: a file that is made once the root is watched dates the end.

#include <signal.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "watch/watch.hpp"

namespace {

namespace fs = std::filesystem;

using Clock = std::chrono::steady_clock;

constexpr int kRounds = 5;
constexpr double kGoal = 1.6;
constexpr double kQuietMs = 220;

[[noreturn]] void giveUp(const char* what) {
    std::fprintf(stderr, "watch_bench: %s failed\n", what);
    std::exit(1);
}

double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Ten folders in each, as far as they go.
void makeFolders(const std::string& base, int count) {
    std::vector<std::string> folders = {base};
    fs::create_directories(base);
    for (int i = 1; i < count; ++i) {
        folders.push_back(folders[static_cast<size_t>(i - 1) / 10] + "/folder" + std::to_string(i));
        fs::create_directory(folders.back());
    }
}

// The kernel's own list of what an inotify instance of this process watches.
std::string inotifyInfo() {
    std::error_code gone;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd"))
        if (fs::read_symlink(entry.path(), gone) == "anon_inode:inotify")
            return "/proc/self/fdinfo/" + entry.path().filename().string();
    giveUp("inotify");
}

void waitForFirstWatch() {
    const std::string path = inotifyInfo();
    for (;;) {
        std::ifstream info(path);
        for (std::string line; std::getline(info, line);)
            if (line.compare(0, 11, "inotify wd:") == 0) return;
        std::this_thread::yield();
    }
}

double ours(const std::string& folder) {
    std::mutex mutex;
    std::condition_variable changed;
    double toldAt = 0;
    mbwatch::Watcher watcher;
    watcher.watch(folder);
    const auto start = Clock::now();
    watcher.start([&](const std::vector<std::string>&) {
        const std::lock_guard lock(mutex);
        if (toldAt == 0) toldAt = millisecondsSince(start);
        changed.notify_all();
    });
    waitForFirstWatch();
    std::ofstream(folder + "/mark") << "x";
    std::unique_lock lock(mutex);
    if (!changed.wait_for(lock, std::chrono::seconds(60), [&] { return toldAt > 0; }))
        giveUp("watching");
    return toldAt - kQuietMs;
}

double peer(const std::string& folder) {
    // It waits on until it is killed, which happens here as soon as it is ready.
    const std::string command = "echo $$; exec inotifywait -m -r " + folder + " 2>&1 >/dev/null";
    const auto start = Clock::now();
    FILE* output = ::popen(command.c_str(), "r");
    if (output == nullptr) giveUp("popen");
    double ready = -1;
    int process = 0;
    char line[256];
    while (std::fgets(line, sizeof line, output) != nullptr) {
        if (process == 0) process = std::atoi(line);
        if (std::string(line).find("Watches established") == std::string::npos) continue;
        ready = millisecondsSince(start);
        if (process > 0) (void)::kill(process, SIGTERM);
    }
    (void)::pclose(output);
    if (ready < 0) giveUp("inotifywait");
    return ready;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: watch_bench FOLDER FOLDERS\n");
        return 2;
    }
    const std::string folder = argv[1];
    makeFolders(folder, std::atoi(argv[2]));
    (void)ours(folder);  // both start warm
    (void)peer(folder);
    std::vector<double> ourTimes, peerTimes, ratios;
    for (int round = 0; round < kRounds; ++round) {
        ourTimes.push_back(ours(folder));
        peerTimes.push_back(peer(folder));
        ratios.push_back(ourTimes.back() / peerTimes.back());
    }
    const double ratio = median(ratios);
    std::printf(
        "watch %s folders: ours %.0f ms  inotifywait %.0f ms  ratio %.3f (at most %.1f)%s\n",
        argv[2], median(ourTimes), median(peerTimes), ratio, kGoal,
        ratio > kGoal ? "  MISSED" : "");
    return ratio > kGoal ? 1 : 0;
}
