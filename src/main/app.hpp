#pragma once
// The program put together: one App owns all services; routes and callbacks hold a reference to it.
//
// Threads: App is made and destroyed on the main thread. Its members lock themselves; handlers use
// them from connection threads, any number at once.

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "agent/agent.hpp"
#include "discord/discord.hpp"
#include "dispatch/dispatch.hpp"
#include "git/git.hpp"
#include "index/index.hpp"
#include "lsp/lsp.hpp"
#include "net/net.hpp"
#include "term/term.hpp"
#include "update/update.hpp"
#include "watch/watch.hpp"
#include "workspace/workspace.hpp"
#include "json/json.hpp"

namespace mbwin {
class Host;
}

namespace mbapp {

inline constexpr const char* kVersion = MARLIN_VERSION;

// Cleared as the first step of any shutdown.
extern std::atomic<bool> g_running;
// The live window, or null: routes reach it only through this.
extern std::atomic<mbwin::Host*> g_host;

struct App {
    mbws::Workspace workspace;
    mbindex::Index index;
    mbterm::Manager terminals;
    mbagent::Session agent;  // the chat pane's
    mbdispatch::Manager dispatch;
    mbwatch::Watcher watcher;
    mbnet::Server server;
    std::string configPath;  // of the settings file
    mbupdate::Updater updater;
    mbdiscord::Presence presence;
    mblsp::Manager lsp;
    // The repositories among the roots, one entry each, under the name of its first root. Found
    // once, before the page is there: a root that is added later acts on the first of them.
    std::vector<mbgit::Repository> repoRoots;
    mbwatch::Watcher::Callback fsChangedHandler;  // empty: nothing is watched
    std::mutex watchMutex;                        // one change of the watched roots at a time
    std::mutex pendingMutex;
    std::vector<mbjson::Json> pendingOpen;  // open targets that wait for a page; by pendingMutex

    ~App();

    // The name of the root for this folder, which is added and saved when it is none yet. Two
    // callers at once can lose one of two roots, never tear the record.
    std::string ensureRoot(const std::string& path, bool& created);
    // Turns paths into open targets and pushes them; with `queue` they also wait for the first page
    // that asks. Paths that do not exist are dropped.
    void requestOpen(const std::vector<std::string>& paths, bool queue);
    // One event to all pages. Any thread; blocks while a page does not read. Whatever text the
    // event holds, the frame is valid UTF-8: a web view closes the channel at one that is not.
    void push(const mbjson::Json& event);
    // Watches all roots anew, and scans them anew. Neither once the shutdown has begun.
    void watchRoots();
    void startIndex();
    // Fills repoRoots.
    void findRepositories();
    // The repository of that root; the first one's for an unknown name; empty when there is none.
    std::string repoRootFor(const std::string& name) const;
    // Takes over into the index what was done to a workspace path.
    void reindex(const std::string& path);
    void unindex(const std::string& path);
    // Takes all open targets that wait.
    mbjson::Json drainPendingOpen();
};

// The JSON body; an empty object when it does not parse.
mbjson::Json parseBody(const mbnet::Request& request);

// {"ok":true}
mbnet::Response okResponse();

// The root's path; the first root's for an unknown name; empty when there is no root.
std::string rootPathFor(const App& app, const std::string& name);

// Has the updater follow the channel of the settings: "beta", any other text is the stable one.
void applyUpdateChannel(App& app);

// Has the Discord status follow the settings; false when it is not wanted or has no id.
bool applyPresence(App& app);
// The same at the start, with what is shown before the page speaks.
void startPresence(App& app);

// The window's state as the page knows it; without a window it is active and not maximised.
mbjson::Json windowState();

// A path as a JSON string that may leave the process. Each component is converted by itself:
// folders and files of different ages rarely share an encoding.
mbjson::Json utf8Path(std::string_view path);

}  // namespace mbapp
