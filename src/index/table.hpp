#pragma once
// The list itself. A file has a slot; what searches read lies packed in the order of the slots, so
// that one pass over all workspace paths is a pass over one text. About 130 bytes a file and half
// of that again while single files come and go.
//
// No locks: the index has one around it. The limit on the number of files is the caller's.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "index/index.hpp"

namespace mbindex {

// What is known of a file apart from its workspace path.
struct FileFacts {
    uint64_t size = 0;
    int64_t modified = 0;
    uint32_t root = 0;        // as numbered by FileTable::rootNumber()
    uint32_t nameLength = 0;  // the last bytes of the workspace path
};

class FileTable {
public:
    size_t size() const { return order.size(); }
    // With those that are free, which memory goes by: never much more than two a file.
    size_t slotCount() const { return starts.size(); }

    // A number for the root that the files are told by.
    uint32_t rootNumber(const Root& root);
    void reserve(size_t fileCount, size_t pathBytes);
    // For paths that come in their byte order; of equal paths the last counts.
    void append(std::string_view relative, const FileFacts& facts);
    // Adds or overwrites one file.
    void put(std::string_view relative, const FileFacts& facts);

    bool contains(std::string_view relative) const;
    // False when there is no such file.
    bool erase(std::string_view relative);
    void eraseBelow(std::string_view folder);

    std::vector<FileEntry> search(std::string_view query, int limit) const;
    std::vector<std::pair<std::string, std::string>> where(const Index::Predicate& accept) const;

private:
    std::string relatives;  // the workspace paths, each with a NUL behind it
    std::string folded;     // the same with A to Z in lower case; all NUL where a file is gone
    std::vector<uint32_t> starts;  // by slot, rising: where its path begins
    std::vector<FileFacts> facts;  // by slot
    std::vector<uint32_t> order;   // the slots in use, in the byte order of their paths
    std::vector<Root> roots;

    using Scored = std::pair<int32_t, uint32_t>;  // lower is better; slot

    size_t endOf(size_t slot) const;  // of the path, without its NUL
    std::string_view path(size_t slot) const;
    size_t lowerBound(std::string_view relative) const;
    size_t find(std::string_view needle, size_t from) const;
    std::vector<Scored> matches(std::string_view needle) const;
    void addSlot(std::string_view relative, const FileFacts& of);
    void eraseOrdered(size_t first, size_t last);
    void repack();
    void read(size_t slot, FileEntry& entry) const;
};

}  // namespace mbindex
