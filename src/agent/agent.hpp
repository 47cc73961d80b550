#pragma once
// One long-lived Claude CLI process that speaks stream-json: a JSON document a line, both ways.
//
// Use: set the callbacks, start() with options, send, stop() or destroy. The same object can be
// started again. What the CLI prints is cut into lines and handed on unparsed. launch.hpp turns
// the user's settings into options.
// Limits: none for a line in either direction; ids of requests count for the whole process. What
// the child wrote before its exit comes before onExit, unless a callback takes longer than 300 ms.
// Errors: start() gives a message for the user; a send that did not go out whole is false. The
// process must ignore SIGPIPE, which a child that ended would raise.
// Threads: any may call any function, at once too; start() and stop() wait for each other. Each
// callback runs on a thread of the session, one call at a time, and must neither start(), stop()
// nor destroy it.

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "util/fd.hpp"

namespace mbproc {
struct Child;
}

namespace mbagent {

struct StartOptions {
    std::string command;  // path of the CLI; a bare name only works in the working folder
    std::string cwd;      // empty keeps ours
    std::string model;    // this and the next two: empty leaves the flag out
    std::string permissionMode;
    std::string resume;
    std::vector<std::string> additionalDirectories;
    std::vector<std::string> extraArguments;  // come last, a word each
};

class Session {
public:
    using TextHandler = std::function<void(const std::string&)>;
    using ExitHandler = std::function<void(int)>;

    Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();  // stops

    // start() copies them, so an earlier run that is ending keeps its own. Each may be empty.
    TextHandler onLine;    // one line of output, without its end; never an empty one
    ExitHandler onExit;    // exit code, 128 + signal number, or -1; also after stop()
    TextHandler onStderr;  // bytes as they came, not cut into lines

    // True once the child runs; nothing has been written to it, and none of its words are awaited.
    // A session that runs already is left alone: true. False with the message in `error`.
    bool start(const StartOptions& options, std::string& error);

    // Closes the child's input, 1.5 s later sends SIGTERM to its group, 2 s later SIGKILL. Returns
    // when the child is collected and all callbacks are over. Does nothing to a stopped session.
    void stop();

    // True: the whole line was taken by the pipe. They block while the child does not read; its
    // end and stop() free them. JSON is inserted as it is and must not hold a newline.
    bool sendUserMessage(const std::string& text);
    bool sendUserContent(const std::string& contentJson);
    // `requestId` is set in any case; the answer is a line of output that carries it.
    bool sendControl(const std::string& requestJson, std::string& requestId);
    bool sendControlResponse(const std::string& responseJson);
    bool interrupt();
    bool writeLine(const std::string& line);

    // From a start to the child's end or stop(), whichever is first.
    bool isRunning() const { return running; }
    // The last child's, as onExit got it; -1 until there is one.
    int lastExitCode() const { return exitCode; }
    // Of the child and its group; -1 when there is none.
    int processId() const { return pid; }

    // Always empty: the id that matters travels in the stream, and its readers take it from there.
    const std::string sessionId;

private:
    // Held for the whole of start() and stop(), joins and waits included: whoever comes second
    // finds the work done. Comes before the other two, which are never held together.
    std::mutex lifecycleMutex;

    std::mutex writeMutex;  // a line at a time; guards the two below against closing
    mbutil::Fd stdinFd;     // does not block
    mbutil::Fd writeWake;   // event: readable once nothing shall be written any more

    // Closed only after the join of the threads that read them.
    mbutil::Fd stdoutFd;
    mbutil::Fd stderrFd;
    mbutil::Fd readWake;  // event: readable once the child is collected

    std::mutex childMutex;
    std::condition_variable childChanged;
    std::atomic<int> pid{-1};  // written under childMutex: a number given back is not signalled
    int readersLeft = 0;       // guarded by childMutex
    std::atomic<int> exitCode{-1};

    std::thread readThread;
    std::thread errorThread;
    std::thread waitThread;
    std::atomic<bool> running{false};

    // These run under lifecycleMutex.
    bool openWakes(std::string& reason);
    void adopt(const mbproc::Child& child);
    bool startThreads(std::string& reason);
    void abandonChild();
    void endChild();
    bool collectedWithin(int limitMs);
    void signalGroup(int number);
    void closeHandles();

    void readLoop(const TextHandler& handler);   // runs on readThread
    void errorLoop(const TextHandler& handler);  // runs on errorThread
    void readerDone();
    void waitLoop(const ExitHandler& handler);  // runs on waitThread
    int collect();
};

// `text` as a JSON string with its quotes. Bytes from 0x20 up are copied, UTF-8 or not.
std::string jsonQuote(std::string_view text);

// One word for the shell.
std::string quoteArgument(std::string_view text);

}  // namespace mbagent
