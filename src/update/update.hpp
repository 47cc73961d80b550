#pragma once
// Keeps the program current: checks a signed manifest on a web server, downloads the release it
// names, and replaces the program through a shell script that waits for this process's end.
//
// Use: configure() once and only for an installed program, setChannel(), setCallback(), then
// checkAsync(false) when the settings want automatic checks. An updater that was not configured
// never checks and never downloads. stop() when the process is about to end.
// Limits: a manifest stays below 1,048,576 bytes; a download has none, its digest decides. At most
// one check or download at a time: another one that is asked for meanwhile is dropped.
// Errors: a state with words for the user in Status::error. Nothing raises.
// Threads: every function on any thread, at once too. A check or a download runs on a thread that
// the updater owns: stop() and the destructor break off its transfer, also in the middle of a name
// lookup, a handshake or a stall, and join it. The callback runs on whichever thread changed the
// state, without a lock; it must not stop or destroy the updater.

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "update/stop_signal.hpp"
#include "json/json.hpp"

namespace mbupdate {

// Where the releases come from.
enum class Channel : int32_t { Stable, Beta };

// How the program came onto this machine. None: from a source tree or an unpacked folder.
enum class InstallKind : int32_t { None, AppImage, Deb, Rpm, Arch };

enum class State : int32_t {
    Idle,  // nothing is known, or a check that nobody asked for failed: `error` has its words
    Checking,
    UpToDate,   // or the newer release was skipped
    Available,  // a newer release is known
    Downloading,
    Ready,   // a verified file waits to be applied
    Failed,  // `error` says why
};

// What the manifest says for this kind of installation.
struct Release {
    std::string version;
    std::string notes;
    std::string url;     // absolute
    std::string sha256;  // in lower case
    uint64_t size = 0;   // bytes; for display only
    std::string published;
};

struct Status {
    State state = State::Idle;
    std::string currentVersion;  // empty until configured
    Release release;             // the last one that a check found, also when it is not newer
    int32_t progress = 0;        // percent of the download
    std::string error;
    std::string skippedVersion;
    int64_t lastCheck = 0;  // seconds since the epoch; 0 before the first
};

class Updater {
public:
    using Callback = std::function<void(const Status&)>;

    Updater() = default;
    Updater(const Updater&) = delete;
    Updater& operator=(const Updater&) = delete;
    ~Updater() { stop(); }

    // `url` is the manifest's base without the channel, `downloadDir` a folder of the updater's own
    // in which it removes old files, `target` the program file to run after the installation.
    void configure(const std::string& url, const std::string& key, const std::string& version,
                   const std::string& folder, InstallKind kind, const std::string& target);
    void setChannel(Channel chosen);
    // Told of every change of the state from then on.
    void setCallback(Callback called);

    Status status() const;

    // Both return at once; what comes of it is told by the callback. A failed check becomes Failed
    // when the user asked for it, else Idle; a bad signature is always Failed.
    void checkAsync(bool userAsked);
    // Nothing happens while no release is known.
    void downloadAsync();
    // The known release no longer counts as newer, for the life of the process.
    void skipCurrentRelease();
    // Starts the script that installs the verified file and then the program. True: it waits for
    // the end of this process, which goes on until somebody ends it. False: nothing is Ready.
    bool applyAndRestart();

    // Breaks off what runs, waits for its end and starts nothing any more. No callback follows.
    // Prompt at any point of a transfer; does nothing the second time.
    void stop();

private:
    friend struct UpdaterPeek;  // tests look at the channel

    mutable std::mutex mutex;
    // Guarded by mutex, down to callback.
    Status current;
    std::string baseUrl;  // without a slash at its end
    std::string publicKey;
    Channel channel = Channel::Stable;
    std::string downloadDir;
    InstallKind installKind = InstallKind::None;
    std::string installTarget;
    std::string downloadedPath;  // the verified file; empty until there is one
    Callback callback;
    std::atomic<bool> busy{false};  // a check or a download runs

    StopSignal stopSignal;
    std::mutex workerMutex;  // never taken on the worker
    std::thread worker;      // guarded by workerMutex

    struct CheckTask;
    struct DownloadTask;

    void setState(State state, const std::string& error);
    void setProgress(int32_t percent);
    void startWorker(std::function<void()> work, State stateOfFailure);
    void failCheck(bool userAsked, const std::string& error);
    void check(const CheckTask& task);        // runs on worker
    void download(const DownloadTask& task);  // runs on worker
};

// What the route and the event "update.state" carry; `type` is added by who pushes it.
mbjson::Json updateStatusJson(const Status& status);

// The manifest's member for this kind; empty for None.
const char* assetKey(InstallKind kind);

// True when `a` is the later one of two versions of dotted numbers.
bool isNewer(std::string_view a, std::string_view b);

// The key whose owner signs the releases: 96 characters of Base64.
const char* builtInPublicKey();

// Whether `signature`, a text in Base64, was made by the key's owner for exactly these bytes.
// False for anything that is malformed.
bool verifyManifestSignature(const std::string& publicKey, std::string_view manifest,
                             std::string_view signature);

}  // namespace mbupdate
