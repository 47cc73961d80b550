// Output, input and the end of one terminal.

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <thread>

#include "term/term_support.hpp"
#include "util/util.hpp"

namespace {

using mbtest::NothingLeft;
using mbtest::Pane;
using mbtest::Stopwatch;
using mbtest::TempDir;
using mbtest::Transcript;
using Codes = std::vector<int32_t>;
using Pieces = std::vector<std::string>;

std::string sha1Hex(const std::string& text) {
    std::array<uint8_t, 20> digest{};
    mbutil::sha1(text, digest);
    std::string hex;
    for (const uint8_t byte : digest) {
        char two[3];
        std::snprintf(two, sizeof two, "%02x", byte);
        hex += two;
    }
    return hex;
}

// Bytes that show a lost, doubled or moved piece.
std::string pattern(size_t size) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>((i * 131 + i / 251) & 0xff);
    return bytes;
}

TEST(TermOutput, ArrivesByteForByteAlsoWhenItIsNoUtf8) {
    const TempDir folder;
    const std::string bytes = pattern(1 << 20);
    Pane pane("sh -c 'stty raw; cat " + folder.write("bytes", bytes) + "'");
    ASSERT_TRUE(pane.transcript.waitForExit());
    EXPECT_TRUE(pane.transcript.text() == bytes);
    for (const std::string& piece : pane.transcript.pieces()) EXPECT_LE(piece.size(), 16384U + 3U);
}

TEST(TermOutput, CharacterWrittenInTwoHalvesArrivesWholeInTheLaterPiece) {
    Pane pane("sh -c 'stty -echo; printf \"a\\303\"; read line; printf \"\\251b\"'");
    ASSERT_TRUE(pane.transcript.waitForText("a"));
    pane.terminal.write("\n");
    ASSERT_TRUE(pane.transcript.waitForExit());
    EXPECT_EQ(pane.transcript.pieces(), (Pieces{"a", "\xC3\xA9"
                                                     "b"}));
}

TEST(TermOutput, BeginningOfACharacterIsFlushedAtTheEnd) {
    Pane pane("printf 'a\\342\\202'");
    ASSERT_TRUE(pane.transcript.waitForExit());
    EXPECT_EQ(pane.transcript.pieces(), (Pieces{"a", "\xE2\x82"}));
    EXPECT_EQ(pane.transcript.printedBeforeExit(), 3U);
}

TEST(TermOutput, NoPieceOfALargeTextDividesACharacter) {
    std::string text;
    while (text.size() < 300000) text += "x\u00E9\u20AC\U0001F600";
    const TempDir folder;
    Pane pane("sh -c 'stty raw; cat " + folder.write("text", text) + "'");
    ASSERT_TRUE(pane.transcript.waitForExit());
    EXPECT_TRUE(pane.transcript.text() == text);
    for (const std::string& piece : pane.transcript.pieces())
        EXPECT_TRUE(mbutil::toUtf8Strict(piece) == piece);
}

TEST(TermOutput, AllOfItComesBeforeTheExit) {
    for (int i = 0; i < 20; ++i) {
        Pane pane("sh -c 'stty raw; head -c 100000 /dev/zero; printf end; exit 3'");
        ASSERT_TRUE(pane.transcript.waitForExit());
        EXPECT_EQ(pane.transcript.printedBeforeExit(), 100003U);
        EXPECT_EQ(pane.transcript.codes(), Codes{3});
    }
}

TEST(TermOutput, ExitIsToldWhileTheReaderIsStillBusy) {
    std::atomic<bool> letGo = false;
    std::atomic<bool> toldWhileBusy = false;
    std::atomic<bool> busy = false;
    {
        mbterm::Terminal terminal;
        terminal.onData = [&](const std::string&) {
            busy = true;
            EXPECT_TRUE(mbtest::waitUntil([&] { return letGo.load(); }, 30000));
            busy = false;
        };
        terminal.onExit = [&](int32_t) {
            toldWhileBusy = busy.load();
            letGo = true;
        };
        std::string error;
        ASSERT_TRUE(terminal.start(mbtest::optionsFor("echo x"), error));
        EXPECT_TRUE(mbtest::waitUntil([&] { return letGo.load(); }, 30000));
    }
    EXPECT_TRUE(toldWhileBusy);
}

TEST(TermInput, ReachesTheProgramAndIsEchoed) {
    Pane pane("cat");
    pane.terminal.write("typed\n");
    EXPECT_TRUE(pane.transcript.waitForText("typed\r\ntyped\r\n"));
    pane.terminal.write("\x04");
    ASSERT_TRUE(pane.transcript.waitForExit());
    EXPECT_EQ(pane.transcript.codes(), Codes{0});
}

// The program begins to read only when it finds the file, so the write has long been waiting.
TEST(TermInput, MebibyteReachesASlowReaderWhole) {
    const TempDir folder;
    const std::string bytes = pattern(1 << 20);
    Pane pane("sh -c 'stty raw -echo; echo ready; while ! [ -e " + folder.at("go") +
              " ]; do sleep 0.02; done; head -c 1048576 | sha1sum'");
    ASSERT_TRUE(pane.transcript.waitForText("ready"));
    std::atomic<bool> written = false;
    std::thread writer([&] {
        pane.terminal.write(bytes);
        written = true;
    });
    pane.terminal.resize(80, 25);  // not held up by the write
    EXPECT_FALSE(written);
    folder.write("go", "");
    EXPECT_TRUE(pane.transcript.waitForText(sha1Hex(bytes)));
    writer.join();
}

TEST(TermInput, WritesOfTwoThreadsDoNotMix) {
    Pane pane("sh -c 'stty raw -echo; echo ready; head -c 400000 | tr -s ab'");
    ASSERT_TRUE(pane.transcript.waitForText("ready"));
    std::thread other([&] { pane.terminal.write(std::string(200000, 'a')); });
    pane.terminal.write(std::string(200000, 'b'));
    other.join();
    ASSERT_TRUE(pane.transcript.waitForExit());
    const std::string text = pane.transcript.text();
    EXPECT_TRUE(mbutil::endsWith(text, "\nab") || mbutil::endsWith(text, "\nba")) << text;
}

// Raw, as the kernel drops what is too much for a line.
TEST(TermInput, WriteIntoAnEndedTerminalReturns) {
    Pane pane("stty raw");
    ASSERT_TRUE(pane.transcript.waitForExit());
    pane.terminal.write(std::string(1 << 20, 'x'));
    pane.terminal.resize(90, 40);
}

TEST(TermEnd, CodeIsTheExitStatusOr128AndTheSignal) {
    const struct {
        std::string command;
        int32_t code;
    } cases[] = {
        {"true", 0},
        {"sh -c 'exit 7'", 7},
        {"sh -c 'exit 255'", 255},
        {"sh -c 'kill -KILL $$'", 128 + SIGKILL},
        {"sh -c 'kill -TERM $$'", 128 + SIGTERM},
        {"sh -c 'kill -PIPE $$'", 128 + SIGPIPE},
    };
    for (const auto& [command, code] : cases) {
        Pane pane(command);
        ASSERT_TRUE(pane.transcript.waitForExit());
        EXPECT_EQ(pane.transcript.codes(), Codes{code}) << command;
        EXPECT_EQ(pane.terminal.exitStatus(), code);
        EXPECT_EQ(pane.terminal.processId(), -1);
        EXPECT_FALSE(pane.terminal.isRunning());
    }
}

TEST(TermEnd, DestructionOfARunningTerminalTellsTheExitAndLeavesNothing) {
    const NothingLeft nothing;
    Transcript transcript;
    {
        mbterm::Terminal terminal;
        transcript.attach(terminal);
        std::string error;
        ASSERT_TRUE(terminal.start(mbtest::optionsFor("sleep 300"), error));
        EXPECT_TRUE(terminal.isRunning());
        EXPECT_EQ(terminal.exitStatus(), -1);
    }
    EXPECT_EQ(transcript.codes(), Codes{128 + SIGHUP});
}

TEST(TermEnd, DestructionOfAnEndedTerminalTellsNothingTwice) {
    const NothingLeft nothing;
    Transcript transcript;
    {
        mbterm::Terminal terminal;
        transcript.attach(terminal);
        std::string error;
        ASSERT_TRUE(terminal.start(mbtest::optionsFor("true"), error));
        ASSERT_TRUE(transcript.waitForExit());
        terminal.terminate();
        terminal.cleanup();
        terminal.cleanup();
        terminal.write("x");
        terminal.resize(10, 10);
    }
    EXPECT_EQ(transcript.codes(), Codes{0});
}

TEST(TermEnd, TerminalThatWasNeverStartedIsDestroyed) {
    const NothingLeft nothing;
    mbterm::Terminal terminal;
    terminal.write("x");
    terminal.terminate();
}

TEST(TermEnd, ProgramMayEndInItsOwnWayWhenItIsHungUp) {
    const NothingLeft nothing;
    Pane pane(
        "sh -c 'trap \"echo hung up; exit 5\" HUP; echo ready; while :; do sleep 0.02; done'");
    ASSERT_TRUE(pane.transcript.waitForText("ready"));
    pane.terminal.terminate();
    ASSERT_TRUE(pane.transcript.waitForExit());
    EXPECT_EQ(pane.transcript.codes(), Codes{5});
    EXPECT_NE(pane.transcript.text().find("hung up"), std::string::npos);
}

TEST(TermEnd, ProgramThatIgnoresTheHangUpIsKilledAfterASecond) {
    const NothingLeft nothing;
    Transcript transcript;
    Stopwatch watch;
    {
        mbterm::Terminal terminal;
        transcript.attach(terminal);
        std::string error;
        ASSERT_TRUE(terminal.start(
            mbtest::optionsFor("sh -c 'trap \"\" HUP; echo ready; while :; do sleep 1; done'"),
            error));
        ASSERT_TRUE(transcript.waitForText("ready"));
        watch = Stopwatch();
    }
    EXPECT_GE(watch.ms(), 1000);
    EXPECT_LT(watch.ms(), 5000);
    EXPECT_EQ(transcript.codes(), Codes{128 + SIGKILL});
}

// Both ignore the hang-up, which the kernel alone would send to all when the first of them ends.
TEST(TermEnd, WholeGroupIsKilled) {
    Pane pane("sh -c 'trap \"\" HUP; sleep 300 & echo \"<$!>\"; wait'");
    ASSERT_TRUE(pane.transcript.waitForText(">"));
    const std::string text = pane.transcript.text();
    const std::string pid = text.substr(1, text.find('>') - 1);
    EXPECT_FALSE(mbtest::gone(pid));
    pane.terminal.terminate();
    EXPECT_TRUE(mbtest::waitUntil([&] { return mbtest::gone(pid); }));
}

// A job in the background that outlives its shell; ended by the test at last.
class BackgroundJob {
public:
    explicit BackgroundJob(Transcript& transcript) {
        EXPECT_TRUE(transcript.waitForText(">"));
        const std::string text = transcript.text();
        pid = std::stoi(text.substr(text.find('<') + 1));
    }
    BackgroundJob(const BackgroundJob&) = delete;
    BackgroundJob& operator=(const BackgroundJob&) = delete;
    ~BackgroundJob() { ::kill(pid, SIGKILL); }
    bool alive() const { return !mbtest::gone(std::to_string(pid)); }

private:
    pid_t pid = -1;
};

const std::string kLeavesAJob = "sh -c 'trap \"\" HUP; stty raw -echo; sleep 300 & "
                                "echo \"<$!>\"; exit 3'";

TEST(TermEnd, JobThatKeepsTheTerminalOpenDoesNotHoldTheEnd) {
    const NothingLeft nothing;
    Pane pane(kLeavesAJob);
    const BackgroundJob job(pane.transcript);
    ASSERT_TRUE(pane.transcript.waitForExit());
    EXPECT_EQ(pane.transcript.codes(), Codes{3});
    EXPECT_TRUE(job.alive());
    const Stopwatch watch;
    pane.terminal.terminate();
    pane.terminal.cleanup();
    EXPECT_LT(watch.ms(), 1000);
}

TEST(TermEnd, WriteThatNobodyReadsLetsGoAtTheEnd) {
    for (const bool leavesAJob : {false, true}) {
        const NothingLeft nothing;
        Pane pane(leavesAJob ? kLeavesAJob
                             : "sh -c 'stty raw -echo; echo \"<$$>\"; exec sleep 300'");
        const BackgroundJob job(pane.transcript);
        EXPECT_TRUE(!leavesAJob || pane.transcript.waitForExit());
        std::atomic<int> written = 0;
        std::vector<std::thread> writers;
        writers.reserve(2);
        for (int i = 0; i < 2; ++i)
            writers.emplace_back([&] {
                pane.terminal.write(std::string(1 << 20, 'x'));
                ++written;
            });
        EXPECT_EQ(written, 0);
        pane.terminal.terminate();
        for (std::thread& writer : writers) writer.join();
        EXPECT_EQ(written, 2);
    }
}

}  // namespace
