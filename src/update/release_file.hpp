#pragma once
// Fetches a release's file and proves it against the digest of the manifest.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "update/stop_signal.hpp"
#include "update/update.hpp"

namespace mbupdate {

// The name that the url's file gets on the disk: never empty, hidden or a path.
std::string fileNameFor(std::string_view url);

// Blocks. The verified file's path below `folder`, which is made when it is missing; other files of
// that folder are gone then. Empty with the reason in `error`, and no new file is there.
// `onPercent` hears of every change of the progress, from 0 to 100.
std::string fetchRelease(const Release& release, const std::string& folder, const StopSignal& stop,
                         const std::function<void(int32_t percent)>& onPercent, std::string& error);

}  // namespace mbupdate
