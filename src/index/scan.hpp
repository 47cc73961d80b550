#pragma once
// Walks the roots on several threads and makes the list of their files.

#include <atomic>
#include <memory>
#include <vector>

#include "index/table.hpp"

namespace mbindex {

struct Scan {
    int found = 0;  // files, before equal paths count once
    std::unique_ptr<FileTable> files;
};

// Blocks until all is read, the limit is reached or `cancelled` is set: then what has been found
// by then. `files` is null where the memory did not do.
Scan collect(const std::vector<Root>& roots, int limit, const std::atomic<bool>& cancelled);

}  // namespace mbindex
