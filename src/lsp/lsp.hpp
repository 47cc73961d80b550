#pragma once
// Language servers: which ones there are, where they are installed, and their processes. Messages
// travel whole between a server and the page, and nobody here looks into them.
//
// Use: set Manager::emit once, then ensure() a server by its id and send() it messages; what it
// answers and its death come as events. stopAll() at the end.
// Limits: none on the number or the size of messages; of a server's standard error the last 16,384
// bytes are kept.
// Errors: only ensure() and start() have words, which are for the user. The process must ignore
// SIGPIPE, which a server that ended would raise.
// Threads: three a server. Every function may be called on any thread, at once too. Callbacks run
// on a thread of the server that they tell of and must not stop, start or destroy that server.
// Bytes: a Server hands on what came, whatever it is; a Manager turns it into UTF-8.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "util/fd.hpp"
#include "json/json.hpp"

namespace mbproc {
struct Child;
}

namespace mblsp {

// One way to launch a server.
struct Candidate {
    std::string command;  // a program's name
    std::vector<std::string> args;
};

struct ServerSpec {
    std::string id;
    std::string name;                    // for display
    std::vector<std::string> languages;  // ids of languages, as type/type.hpp names them
    std::vector<Candidate> candidates;   // best first; none: runs with a command of the user only
    std::string install;                 // a hint for the user; may be empty
    std::string homepage;
};

// The same table on every call.
const std::vector<ServerSpec>& knownServers();

// Looks for the row's candidates on PATH and in the folders where their installers put them. True
// with the program's path and the command line for the shell; false leaves both alone.
bool resolve(const ServerSpec& spec, std::string& path, std::string& commandLine);

// One process that speaks the protocol's framing on its standard streams. An object is one life:
// for a server that has ended make another.
class Server {
public:
    using MessageHandler = std::function<void(std::string body)>;
    using ExitHandler = std::function<void(int code)>;

    // What a server has to end in after its input was closed and its group got SIGTERM.
    static constexpr std::chrono::milliseconds kPoliteTime{1000};

    Server() = default;
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    ~Server() { stop(); }

    // At most once. `command` is a line for the shell, of which its program takes the place; an
    // empty `cwd` keeps ours. Either handler may be empty. onMessage is called for one message at a
    // time. onExit comes when the process ends by itself, with its code, 128 + signal number, or
    // -1, and never when stop() ended it. What the process said before comes first, unless
    // onMessage takes longer than 300 ms for it.
    // False with the message in `error`; nothing is left of the attempt then.
    bool start(const std::string& command, const std::string& cwd, MessageHandler onMessage,
               ExitHandler onExit, std::string& error);

    // False: it does not run, or not all was written. Blocks while the server does not read; its
    // end and stop() free it. Messages of several callers do not mix.
    bool send(std::string_view body);

    // Closes the input, signals the group, kills it when kPoliteTime is over. Returns when the
    // process is collected and the handlers are over. Does nothing the second time.
    void stop();
    // The two halves, for many servers at once; awaitEnd() kills when the time is over.
    void hangUp();
    void awaitEnd(std::chrono::steady_clock::time_point deadline);

    // The last 2000 bytes of standard error.
    std::string recentLog() const;

    // From a start to the process's end or a stop, whichever is first.
    bool isRunning() const { return running; }
    // Of the process and its group; -1 when there is none.
    int processId() const { return pid; }

private:
    std::mutex writeMutex;  // a message at a time; guards the next against closing
    mbutil::Fd stdinFd;     // does not block
    // Event: readable once nothing shall be written any more. Raised under childMutex, closed under
    // both.
    mbutil::Fd writeWake;

    // Closed only after the join of the threads that use them.
    mbutil::Fd stdoutFd;
    mbutil::Fd stderrFd;
    mbutil::Fd readWake;  // event: readable once the process is collected
    std::mutex endMutex;  // held for the joins: whoever comes second finds them done

    std::mutex childMutex;
    std::condition_variable childChanged;
    std::atomic<int> pid{-1};  // written under childMutex: a number given back is not signalled
    int readersLeft = 0;       // guarded by childMutex
    std::atomic<bool> running{false};

    mutable std::mutex logMutex;
    std::string log;  // guarded by logMutex; the tail of standard error

    MessageHandler messageHandler;  // not written once the threads run
    ExitHandler exitHandler;
    std::thread reader;
    std::thread errorReader;
    std::thread waiter;

    bool openWakes(std::string& reason);
    void adopt(const mbproc::Child& child);
    bool startThreads(std::string& reason);
    void closeInput();
    void signalGroup(int number);
    void abandonChild();
    void joinAll();

    void readLoop();   // runs on reader
    void errorLoop();  // runs on errorReader
    void readerDone();
    void waitLoop();  // runs on waiter
    int collect();
};

// For what send() refuses.
inline constexpr const char* kNotRunning = "the language server is not running";

// At most one server an id. An ended one stays known, with its log, until it is replaced or
// stopped.
class Manager {
public:
    using Emit = std::function<void(const mbjson::Json& event)>;

    Manager() = default;
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;
    ~Manager() { stopAll(); }

    // Set before the first ensure(). Gets {"type":"lsp.message","server":ID,"message":BODY}, where
    // BODY is a string, and {"type":"lsp.exit","server":ID,"code":NUMBER} for a server that was not
    // stopped. Of one id, everything of a server comes before anything of the next.
    Emit emit;

    // True when the server runs afterwards; one that runs is left alone. `custom` is the user's own
    // command line, used as it stands, or empty. False with the message for the user in `error`.
    bool ensure(const std::string& id, const std::string& cwd, const std::string& custom,
                std::string& error);
    // False: no such server, it does not run, or the write failed. Blocks as Server::send() does.
    bool send(const std::string& id, std::string_view body);
    // Waits for the server's end. Nothing happens for an unknown id.
    void stop(const std::string& id);
    // All at once, so it takes no longer than one.
    void stopAll();
    bool running(const std::string& id) const;
    // Server::recentLog() as text; empty for an unknown id.
    std::string log(const std::string& id) const;

    // The catalogue as the page gets it: an array of objects, one a row, in its order.
    // `customCommands` maps ids to command lines; what is no string counts as none. A row with one
    // is available unseen, and its "path" is empty. Looks through many folders.
    mbjson::Json serversJson(const mbjson::Json& customCommands) const;

private:
    mutable std::mutex mutex;
    // Guarded by mutex. Shared with callers that send while the entry goes.
    std::map<std::string, std::shared_ptr<Server>> servers;
    // Guarded by mutex: ids whose server is being started or ended by a thread that has let go of
    // the mutex. Whoever wants to do the same waits.
    std::set<std::string> busy;
    std::condition_variable idle;  // an id has left busy

    using Servers = std::map<std::string, std::shared_ptr<Server>>;

    std::shared_ptr<Server> find(const std::string& id) const;
    std::shared_ptr<Server> launch(const std::string& id, const std::string& cwd,
                                   const std::string& custom, std::string& error) const;
    void end(const Servers& taken, std::unique_lock<std::mutex>& lock);
};

}  // namespace mblsp
