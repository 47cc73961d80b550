#include <gtest/gtest.h>
#include <signal.h>

#include "proc/proc.hpp"
#include "proc/proc_support.hpp"
#include "support/support.hpp"

namespace {

using mbtest::runFor;

// Bytes that show a lost, doubled or moved piece.
std::string pattern(size_t size) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>((i * 131 + i / 251) & 0xff);
    return bytes;
}

mbproc::Result runWithInput(const std::string& command, std::string input,
                            uint32_t timeoutMs = 60000) {
    mbproc::Options options;
    options.timeoutMs = timeoutMs;
    options.input = std::move(input);
    return mbproc::run(command, options);
}

TEST(ProcRun, CapturesBothStreamsAndTheCode) {
    const mbproc::Result result = runFor("echo out; echo err >&2; exit 3");
    EXPECT_TRUE(result.started);
    EXPECT_EQ(result.code, 3);
    EXPECT_EQ(result.out, "out\n");
    EXPECT_EQ(result.err, "err\n");
}

TEST(ProcRun, CommandThatDoesNotExistGives127AndTheShellsWords) {
    const mbproc::Result result = runFor("no-such-command-of-ours");
    EXPECT_TRUE(result.started);
    EXPECT_EQ(result.code, 127);
    EXPECT_NE(result.err.find("not found"), std::string::npos);
}

TEST(ProcRun, EndBySignalGives128AndItsNumber) {
    EXPECT_EQ(runFor("kill -KILL $$").code, 128 + SIGKILL);
    EXPECT_EQ(runFor("kill -PIPE $$").code, 128 + SIGPIPE);
}

TEST(ProcRun, OutputHasNoLimit) {
    const mbproc::Result result = runFor("head -c 5000000 /dev/zero; head -c 300000 /dev/zero >&2");
    EXPECT_EQ(result.out, std::string(5000000, '\0'));
    EXPECT_EQ(result.err, std::string(300000, '\0'));
}

TEST(ProcRun, InputLargerThanThePipeIsEchoedWithoutDeadlock) {
    for (const size_t size : {size_t{1}, size_t{65536}, size_t{65537}, size_t{3 << 20}}) {
        const std::string input = pattern(size);
        const mbproc::Result result = runWithInput("tee /dev/stderr", input);
        EXPECT_EQ(result.code, 0);
        EXPECT_TRUE(result.out == input) << size;
        EXPECT_TRUE(result.err == input) << size;
    }
}

TEST(ProcRun, ChildThatDoesNotReadItsInputEndsAsItWants) {
    const mbproc::Result result = runWithInput("exit 5", pattern(1 << 20));
    EXPECT_EQ(result.code, 5);
    EXPECT_EQ(runWithInput("exec <&-; echo closed", pattern(1 << 20)).out, "closed\n");
    EXPECT_EQ(runWithInput("head -c 10", std::string(1 << 20, 'x')).out, "xxxxxxxxxx");
}

TEST(ProcRun, InputGoesOnAfterTheOutputsAreClosed) {
    const mbtest::TempDir folder;
    const std::string input = pattern(2 << 20);
    const mbproc::Result result =
        runWithInput("exec >" + folder.at("copy") + " 2>/dev/null; sleep 0.1; cat; exit 4", input);
    EXPECT_EQ(result.code, 4);
    EXPECT_TRUE(mbtest::slurp(folder.at("copy")) == input);
}

TEST(ProcRun, InputReachesAReaderThatOutlivesTheShell) {
    const mbtest::TempDir folder;
    const std::string input = pattern(2 << 20);
    const std::string copy = folder.at("copy");
    // The background job's own standard input is "/dev/null", hence the detour over 3.
    const mbproc::Result result =
        runWithInput("exec 3<&0; { sleep 0.2; cat <&3; } >" + copy + " 2>/dev/null 3<&3 &", input);
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(mbtest::waitUntil([&] { return mbtest::slurp(copy) == input; }));
}

TEST(ProcRun, GrandchildThatLetGoOfThePipesDoesNotHoldRun) {
    const mbtest::Stopwatch watch;
    const mbproc::Result result = runFor("sleep 30 >/dev/null 2>&1 & echo $!");
    EXPECT_LT(watch.ms(), 15000);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(::kill(std::stoi(result.out), SIGKILL), 0);
}

TEST(ProcRun, NoEndingLeavesADescriptorOrAZombie) {
    const int before = mbtest::openDescriptors();
    for (const char* command : {"true", "exit 3", "no-such-command-of-ours", "kill -9 $$",
                                "exec <&-; cat", "cat >/dev/null", "sleep 20", "sleep 20 & :"}) {
        (void)runWithInput(command, pattern(200000), 300);
        (void)runFor(command, 300);
        EXPECT_EQ(mbtest::openDescriptors(), before) << command;
        EXPECT_FALSE(mbtest::hasChildren()) << command;
    }
}

}  // namespace
