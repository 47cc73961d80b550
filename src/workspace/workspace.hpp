#pragma once
// The workspace: its roots, the settings record and everything the page does to a file.
//
// A workspace path is the name of a root, "/" and a path below that root. It becomes an absolute
// path lexically: ".." cannot leave the root, a symbolic link can.
// Use: loadConfig() once, then any operation.
// Errors: false with a reason for the user in `error`; outputs are written on success only.
// Nothing is rolled back.
// Limits: files are read whole; a file of more than 2 GiB is slow, not refused.
// Threads: all operations run on any thread at once and meet on disk only. Readers of the settings
// take a snapshot; of two that change them at the same time one can lose.

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "match/match.hpp"
#include "workspace/config.hpp"

namespace mbws {

struct FileInfo {
    bool exists = false;
    bool directory = false;
    uint64_t size = 0;     // bytes; 0 for a folder
    int64_t modified = 0;  // seconds since the epoch; 0 for a folder
    std::string kind = "text";
    std::string mime;
    std::string language;
    bool binary = false;  // not opened as text
};

struct DirEntry {
    std::string name;
    std::string path;  // workspace path
    bool directory = false;
    uint64_t size = 0;
    int64_t modified = 0;
};

struct SearchScope {
    std::vector<std::string> extensions = {};  // of the files to search; empty: all kinds of text
    int maxResults = 400;                      // 0 or less counts as 400
};

struct SearchHit {
    std::string path;         // workspace path
    int32_t line = 0;         // from 1
    int32_t column = 0;       // byte in the line as it stands in the file, from 1
    int32_t matchColumn = 0;  // byte in `text`, from 1
    int32_t length = 0;       // bytes of the match
    std::string text;         // the line without blanks at its ends, at most 400 bytes
};

// A file to search: its absolute and its workspace path.
using SearchFile = std::pair<std::string, std::string>;

class Workspace {
public:
    // A snapshot that stays as it is while others change the settings.
    std::shared_ptr<const Config> config() const;
    void setConfig(Config next);

    // False, and the record untouched, when the file cannot be read or does not parse.
    bool loadConfig(const std::string& path);
    bool saveConfig(const std::string& path) const;
    static Config detectDefaults(const std::string& executableFolder);

    // False for an empty path, a NUL byte, an unknown root or a path that leaves its root.
    bool resolveInside(const std::string& workspacePath, std::string& absolutePath) const;
    // The first root that holds the path gives the name.
    bool toRelative(const std::string& absolutePath, std::string& workspacePath) const;

    FileInfo inspect(const std::string& workspacePath) const;
    bool readRawFile(const std::string& workspacePath, std::string& bytes,
                     std::string& error) const;
    // As UTF-8; other text counts as Windows-1252.
    bool readTextFile(const std::string& workspacePath, std::string& text,
                      std::string& error) const;
    // In place, byte for byte; makes no folders.
    bool writeTextFile(const std::string& workspacePath, const std::string& text,
                       std::string& error) const;
    bool createFile(const std::string& workspacePath, const std::string& contents,
                    std::string& error) const;
    bool createDirectory(const std::string& workspacePath, std::string& error) const;
    // To the Trash, or not at all.
    bool deletePath(const std::string& workspacePath, std::string& error) const;
    bool renamePath(const std::string& from, const std::string& to, std::string& error) const;
    bool duplicatePath(const std::string& workspacePath, std::string& error) const;
    // Sources are absolute and may lie anywhere.
    bool copyInto(const std::vector<std::string>& sources, const std::string& destination,
                  std::string& error) const;
    // Folders first, then by name regardless of case. An empty path or "/" lists the roots.
    std::vector<DirEntry> listDirectory(const std::string& workspacePath, bool& listed) const;

    // Trimmed, in lower case, without leading dots; what is then empty is left out.
    static std::vector<std::string> normaliseExtensions(const std::vector<std::string>& extensions);
    // By name and size alone: at most 16 MiB and of one of the clean `extensions`, which can name
    // any kind of file; without such, of a kind of text or of an unknown one.
    static bool searchable(const std::string& name, uint64_t size,
                           const std::vector<std::string>& extensions);
    // Hits in the order of the files, then of their position. Reads on two to eight threads of its
    // own and blocks until they have ended. Files with a NUL byte in their first 8192 bytes, those
    // that cannot be read and all that are no regular files have no hits. Once there are enough
    // hits the files that were not reached are left out.
    // Empty with the reason in `error` when the pattern does not compile.
    std::vector<SearchHit> searchFileList(const std::vector<SearchFile>& files,
                                          const std::string& query, const mbmatch::Options& options,
                                          const SearchScope& scope, std::string& error) const;
    // The same in all searchable files below the roots, sorted by workspace path, without folders
    // that the index skips and those called "backups". Follows no links.
    std::vector<SearchHit> searchInFiles(const std::string& query, const mbmatch::Options& options,
                                         const SearchScope& scope, std::string& error) const;

private:
    mutable std::mutex configMutex;  // guards the pointer, not what it points to
    std::shared_ptr<const Config> current = std::make_shared<const Config>();
};

}  // namespace mbws
