#pragma once
// The folders under watch, by the numbers that the kernel gives them.

#include <atomic>
#include <cstddef>
#include <map>
#include <string>

namespace mbwatch {

inline constexpr size_t kMostWatches = 50'000;

class Folders {
public:
    // Neither is owned; clearing `goOn` ends an addition half-way.
    Folders(int inotifyFd, const std::atomic<bool>& goOnFlag, size_t limit = kMostWatches)
        : inotify(inotifyFd), goOn(goOnFlag), mostWatches(limit) {}

    // The tree, and of its ".git" the folder itself and the refs below it: a commit or a change of
    // branch is noticed while the objects are not watched.
    void addRoot(const std::string& root);
    // The folder and all below it, without links and what is skipped; what cannot be read or
    // watched is passed over. A folder that is known under another path gets this one.
    void addTree(const std::string& folder);
    void forget(int watch) { watches.erase(watch); }
    // Null for a number that is not known (any more).
    const std::string* find(int watch) const;

private:
    const int inotify;
    const std::atomic<bool>& goOn;
    const size_t mostWatches;
    std::map<int, std::string> watches;

    bool mayAdd() const { return goOn && watches.size() < mostWatches; }
    bool add(const std::string& folder);
};

// `folder`, "/" and the name, and no second slash behind "/".
std::string inFolder(const std::string& folder, const char* name);

}  // namespace mbwatch
