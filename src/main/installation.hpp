#pragma once
// How the program came onto this machine, and what of it concerns updates.

#include <string>

#include "main/app.hpp"
#include "main/folders.hpp"

namespace mbapp {

struct Installation {
    mbupdate::InstallKind kind = mbupdate::InstallKind::None;
    std::string target;  // the program to start after an update
};

// None for a run from a source tree or an unpacked folder.
Installation installationOf(const std::string& executableFolder);

// Has the updater of an installed program work by the settings, and check once when they want it.
void startUpdater(App& app, const Folders& folders);

// Says on standard output whether the file was signed by the releases' signer; the exit code.
int verifyManifestFiles(const std::string& manifestPath, const std::string& signaturePath);

}  // namespace mbapp
