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
#include <vector>

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

private:
    mutable std::mutex configMutex;  // guards the pointer, not what it points to
    std::shared_ptr<const Config> current = std::make_shared<const Config>();
};

}  // namespace mbws
