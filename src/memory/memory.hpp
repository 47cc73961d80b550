#pragma once
// The notes that the Claude CLI keeps of a project, one Markdown file each in a folder below the
// user's home, and how far a project is set up for the CLI.
//
// Use: directoryFor() the workspace's folders, list() what is there, resolve() a name before any
// file is read or written. projectStatus() and setUpProject() look at and change one project
// folder. Errors: an empty result, false, or messages in `failed`. Threads: none of its own, and no
// lock. The CLI writes the same files; the last writer wins.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "json/json.hpp"

namespace mbmem {

struct Entry {
    std::string file;         // the name, no folder
    std::string name;         // of the frontmatter, else the file's without its extension; UTF-8
    std::string description;  // this and the next two are the frontmatter's, else empty
    std::string type;
    std::string modified;  // as written
    uint64_t bytes = 0;
    int64_t mtime = 0;  // seconds
    bool isIndex = false;
    std::vector<std::string> links;  // targets of [[links]], each once, in order of appearance
};

// Where the CLI keeps the notes of the project in that folder, whether it exists or not.
std::string memoryFolderOf(const std::string& projectPath);

// The memory folder of the first project that has one; empty when none has.
std::string directoryFor(const std::vector<std::string>& projectPaths);

// The index first, then the newest. Empty for a folder that cannot be read.
std::vector<Entry> list(const std::string& directory);

// The path of a memory file; false, with `out` untouched, for a name that could leave the folder or
// is no Markdown file's. The file need not exist.
bool resolve(const std::string& directory, const std::string& file, std::string& out);

// The bytes of one. False for what cannot be read and for what is no file, such as a pipe, which
// could hold its reader for ever.
bool readNote(const std::string& path, std::string& out);
// Makes or replaces one, in a folder that exists; false as above.
bool writeNote(const std::string& path, std::string_view text);

// The value of a "key: value" line of the frontmatter, or of the first bytes of a text without one.
std::string frontmatterValue(std::string_view text, std::string_view key);

std::vector<std::string> linksIn(std::string_view text);

// What the page is told of a project; `name` is its root's. With an empty path only that.
mbjson::Json projectStatus(const std::string& name, const std::string& path);

// A wish that is absent leaves that setting alone.
struct SetupWishes {
    std::optional<bool> memory;
    std::optional<bool> dream;
    bool gitignore = false;
};

struct SetupResult {
    std::vector<std::string> done;    // names of steps
    std::vector<std::string> failed;  // messages for the user
};

// Each step stands for itself: the failure of one does not keep the next from running.
SetupResult setUpProject(const std::string& name, const std::string& path,
                         const SetupWishes& wishes);

}  // namespace mbmem
