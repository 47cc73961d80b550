#include "main/installation.hpp"

#include <cstdio>
#include <cstdlib>

#include "util/util.hpp"

namespace mbapp {

using mbjson::Json;
using mbupdate::InstallKind;

namespace {

constexpr const char* kInstalledProgram = "/usr/bin/marlin-bench";

// What a package writes beside the program.
constexpr struct {
    const char* word;
    InstallKind kind;
} kPackages[] = {{"deb", InstallKind::Deb}, {"rpm", InstallKind::Rpm}, {"arch", InstallKind::Arch}};

}  // namespace

Installation installationOf(const std::string& executableFolder) {
    const char* image = std::getenv("APPIMAGE");
    if (image != nullptr && mbutil::fileExists(image)) return {InstallKind::AppImage, image};
    std::string word;
    if (!mbutil::readFileRaw(mbutil::pathJoin(executableFolder, "install-kind"), word)) return {};
    word = mbutil::trim(word);
    for (const auto& package : kPackages) {
        if (word != package.word) continue;
        const std::string found = mbutil::findOnPath("marlin-bench");
        return {package.kind, found.empty() ? kInstalledProgram : found};
    }
    return {};
}

void startUpdater(App& app, const Folders& folders) {
    const Installation installation = installationOf(folders.executable);
    const auto config = app.workspace.config();
    if (installation.kind == InstallKind::None || config->updateUrl.empty()) return;
    app.updater.configure(config->updateUrl, mbupdate::builtInPublicKey(), kVersion,
                          mbutil::xdgDir("XDG_CACHE_HOME", ".cache") + "/marlin-bench/updates",
                          installation.kind, installation.target);
    applyUpdateChannel(app);
    app.updater.setCallback([&app](const mbupdate::Status& status) {
        Json event = updateStatusJson(status);
        event.set("type", "update.state");
        app.push(event);
    });
    if (config->automaticUpdates) app.updater.checkAsync(false);
}

int verifyManifestFiles(const std::string& manifestPath, const std::string& signaturePath) {
    std::string manifest;
    std::string signature;
    if (!mbutil::readFileRaw(manifestPath, manifest) ||
        !mbutil::readFileRaw(signaturePath, signature))
        return 2;
    const bool valid =
        mbupdate::verifyManifestSignature(mbupdate::builtInPublicKey(), manifest, signature);
    std::puts(valid ? "signature ok" : "signature BAD");
    return valid ? 0 : 1;
}

}  // namespace mbapp
