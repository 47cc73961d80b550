#pragma once
// Reads the manifest, a JSON object whose signature was verified before.

#include <string>
#include <string_view>

#include "update/update.hpp"

namespace mbupdate {

// The release for the member `asset` of "assets"; a url without "://" lies below `base`. False with
// the reason in `error`; `release` is then untouched.
bool readManifest(std::string_view text, const std::string& asset, const std::string& base,
                  Release& release, std::string& error);

}  // namespace mbupdate
