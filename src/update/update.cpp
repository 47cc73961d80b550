#include "update/update.hpp"

#include <unistd.h>

#include <ctime>
#include <new>
#include <system_error>
#include <utility>

#include "update/install.hpp"
#include "update/manifest.hpp"
#include "update/release_file.hpp"
#include "update/signature.hpp"
#include "update/transport.hpp"
#include "util/util.hpp"

namespace mbupdate {

using mbjson::Json;

namespace {

constexpr size_t kManifestLimit = 1048576;  // bytes; that many are too many

// By their values.
constexpr const char* kStateWords[] = {"idle",        "checking", "uptodate", "available",
                                       "downloading", "ready",    "failed"};
constexpr const char* kAssetKeys[] = {"", "appimage", "deb", "rpm", "arch"};

bool fetchText(const std::string& url, const StopSignal& stop, std::string& text,
               std::string& error) {
    const Sink sink = [&](const char* data, size_t length, uint64_t) {
        text.append(data, length);
        return text.size() < kManifestLimit;
    };
    return httpGet(url, sink, stop, error);
}

}  // namespace

// Copies of what the thread needs.
struct Updater::CheckTask {
    std::string base;
    std::string publicKey;
    std::string asset;
    bool userAsked = false;
};

struct Updater::DownloadTask {
    Release release;
    std::string folder;
};

void Updater::configure(const std::string& url, const std::string& key, const std::string& version,
                        const std::string& folder, InstallKind kind, const std::string& target) {
    const std::lock_guard<std::mutex> lock(mutex);
    baseUrl = url;
    while (mbutil::endsWith(baseUrl, "/")) baseUrl.pop_back();
    publicKey = key;
    current.currentVersion = version;
    downloadDir = folder;
    installKind = kind;
    installTarget = target;
}

void Updater::setChannel(Channel chosen) {
    const std::lock_guard<std::mutex> lock(mutex);
    channel = chosen;
}

void Updater::setCallback(Callback called) {
    const std::lock_guard<std::mutex> lock(mutex);
    callback = std::move(called);
}

Status Updater::status() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return current;
}

void Updater::checkAsync(bool userAsked) {
    CheckTask task;
    task.userAsked = userAsked;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (baseUrl.empty() || installKind == InstallKind::None) return;
        task.base = baseUrl + (channel == Channel::Beta ? "/linux/beta" : "/linux/stable");
        task.publicKey = publicKey;
        task.asset = assetKey(installKind);
    }
    if (busy.exchange(true)) return;
    startWorker([this, task] { check(task); }, userAsked ? State::Failed : State::Idle);
}

void Updater::downloadAsync() {
    DownloadTask task;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        task = {current.release, downloadDir};
    }
    if (task.release.url.empty() || busy.exchange(true)) return;
    startWorker([this, task] { download(task); }, State::Failed);
}

void Updater::skipCurrentRelease() {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        current.skippedVersion = current.release.version;
    }
    setState(State::UpToDate, "");
}

bool Updater::applyAndRestart() {
    std::string file, target;
    InstallKind kind = InstallKind::None;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (current.state != State::Ready) return false;
        file = downloadedPath;
        target = installTarget;
        kind = installKind;
    }
    if (file.empty() || !mbutil::fileExists(file) || target.empty()) return false;
    return startInstaller(installScript(kind, ::getpid(), file, target));
}

void Updater::stop() {
    stopSignal.raise();
    const std::lock_guard<std::mutex> lock(workerMutex);
    if (worker.joinable()) worker.join();
}

// The caller has set `busy`, which the worker clears as its last act.
void Updater::startWorker(std::function<void()> work, State stateOfFailure) {
    const auto run = [this, work = std::move(work), stateOfFailure] {
        try {
            work();
        } catch (const std::bad_alloc&) {
            setState(stateOfFailure, "out of memory");
        }
        busy = false;
    };
    try {
        const std::lock_guard<std::mutex> lock(workerMutex);
        if (stopSignal.raised()) return;
        if (worker.joinable()) worker.join();  // it is over, or has only its return before it
        worker = std::thread(run);
        return;
    } catch (const std::system_error&) {
        setState(stateOfFailure, "no thread could be started");
    }
    busy = false;
}

void Updater::setState(State state, const std::string& error) {
    // An event for which there is no memory is lost; the state stands.
    try {
        Status snapshot;
        Callback called;
        {
            const std::lock_guard<std::mutex> lock(mutex);
            current.state = state;
            current.error = error;
            snapshot = current;
            called = callback;
        }
        if (called && !stopSignal.raised()) called(snapshot);
    } catch (const std::bad_alloc&) {
    }
}

void Updater::setProgress(int32_t percent) {
    const std::lock_guard<std::mutex> lock(mutex);
    current.progress = percent;
}

void Updater::failCheck(bool userAsked, const std::string& error) {
    setState(userAsked ? State::Failed : State::Idle, error);
}

void Updater::check(const CheckTask& task) {
    setState(State::Checking, "");
    std::string manifest, signature, error;
    bool fetched = fetchText(task.base + "/update.json", stopSignal, manifest, error);
    fetched = fetched && fetchText(task.base + "/update.json.sig", stopSignal, signature, error);
    {
        const std::lock_guard<std::mutex> lock(mutex);
        current.lastCheck = std::time(nullptr);
    }
    if (!fetched) return failCheck(task.userAsked, error);
    // Before anything of the manifest is looked at.
    if (!verifySignature(task.publicKey, manifest, signature))
        return setState(State::Failed,
                        "the update did not carry a valid signature and was ignored");
    Release release;
    if (!readManifest(manifest, task.asset, task.base, release, error))
        return failCheck(task.userAsked, error);
    bool wanted = false;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        current.release = release;
        wanted = isNewer(release.version, current.currentVersion) &&
                 release.version != current.skippedVersion;
    }
    setState(wanted ? State::Available : State::UpToDate, "");
}

void Updater::download(const DownloadTask& task) {
    setProgress(0);  // of an earlier one it may stand at 100
    setState(State::Downloading, "");
    const auto onPercent = [this](int32_t percent) {
        setProgress(percent);
        setState(State::Downloading, "");
    };
    std::string error;
    const std::string path = fetchRelease(task.release, task.folder, stopSignal, onPercent, error);
    if (path.empty()) return setState(State::Failed, error);
    {
        const std::lock_guard<std::mutex> lock(mutex);
        downloadedPath = path;
        current.progress = 100;
    }
    setState(State::Ready, "");
}

Json updateStatusJson(const Status& status) {
    Json object = Json::object();
    object.set("state", kStateWords[static_cast<size_t>(status.state)]);
    object.set("currentVersion", status.currentVersion);
    object.set("version", status.release.version);
    object.set("notes", status.release.notes);
    object.set("size", status.release.size);
    object.set("published", status.release.published);
    object.set("progress", status.progress);
    object.set("error", status.error);
    object.set("lastCheck", status.lastCheck);
    return object;
}

const char* assetKey(InstallKind kind) { return kAssetKeys[static_cast<size_t>(kind)]; }

}  // namespace mbupdate
