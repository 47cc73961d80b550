// What it costs to run "true" and capture its output, beside posix_spawn() with the same two pipes:
// in a small process and in one that holds 500 MB. The rounds of both alternate, so that what else
// the machine does meets both alike. Fails where run() takes more than 1.6 times as long.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "proc/proc.hpp"
#include "util/fd.hpp"

namespace {

using mbutil::Fd;

constexpr int kRounds = 21;
constexpr int kSpawnsPerRound = 40;
constexpr double kHighestRatio = 1.6;
constexpr size_t kLargeBytes = 500'000'000;

[[noreturn]] void giveUp(const char* what) {
    std::fprintf(stderr, "spawn_bench: %s failed\n", what);
    std::exit(1);
}

void runOnce() {
    mbproc::Options options;
    options.timeoutMs = 10000;
    const mbproc::Result result = mbproc::run("true", options);
    if (!result.started || result.code != 0) giveUp("run");
}

struct Pipe {
    Fd readEnd, writeEnd;
    Pipe() {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) giveUp("pipe2");
        readEnd.reset(ends[0]);
        writeEnd.reset(ends[1]);
    }
};

void drain(Fd& pipe, std::string& text) {
    char buffer[16384];
    const ssize_t got = ::read(pipe.value, buffer, sizeof buffer);
    if (got > 0)
        text.append(buffer, static_cast<size_t>(got));
    else
        pipe.reset();
}

void spawnOnce() {
    Pipe out, err;
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, out.writeEnd.value, 1);
    ::posix_spawn_file_actions_adddup2(&actions, err.writeEnd.value, 2);
    std::string words[] = {"/bin/sh", "-c", "true"};
    char* arguments[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
    pid_t pid = -1;
    if (::posix_spawn(&pid, "/bin/sh", &actions, nullptr, arguments, ::environ) != 0)
        giveUp("posix_spawn");
    ::posix_spawn_file_actions_destroy(&actions);
    out.writeEnd.reset();
    err.writeEnd.reset();
    std::string outText, errText;
    while (out.readEnd || err.readEnd) {
        pollfd waited[] = {{out.readEnd.value, POLLIN, 0}, {err.readEnd.value, POLLIN, 0}};
        if (::poll(waited, 2, 10000) <= 0) giveUp("poll");
        if (waited[0].revents != 0) drain(out.readEnd, outText);
        if (waited[1].revents != 0) drain(err.readEnd, errText);
    }
    int status = 0;
    if (::waitpid(pid, &status, 0) != pid || status != 0) giveUp("waitpid");
}

double microsecondsEach(const std::function<void()>& spawn) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kSpawnsPerRound; ++i) spawn();
    const std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - start;
    return took.count() / kSpawnsPerRound;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

bool compare(const char* name) {
    std::vector<double> ours, theirs, ratios;
    for (int round = 0; round < kRounds; ++round) {
        theirs.push_back(microsecondsEach(spawnOnce));
        ours.push_back(microsecondsEach(runOnce));
        ratios.push_back(ours.back() / theirs.back());
    }
    std::printf("%-16s run %7.1f us   posix_spawn %7.1f us   ratio %.2f\n", name, median(ours),
                median(theirs), median(ratios));
    return median(ratios) <= kHighestRatio;
}

}  // namespace

int main() {
    ::signal(SIGPIPE, SIG_IGN);
    (void)microsecondsEach(spawnOnce);
    const bool small = compare("small process");
    const std::vector<char> held(kLargeBytes, 1);
    const bool large = held.back() == 1 && compare("500 MB resident");
    return small && large ? 0 : 1;
}
