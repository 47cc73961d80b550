#include "workspace/workspace.hpp"

#include <string_view>
#include <utility>

#include "util/util.hpp"
#include "workspace/disk.hpp"
#include "json/json.hpp"

namespace mbws {

using mbjson::Json;

namespace {

// `path` and `root` are canonical. A prefix only counts up to a slash: "/a/bc" is not in "/a/b".
bool liesBelow(std::string_view path, std::string_view root) {
    return path.size() > root.size() && path[root.size()] == '/' && mbutil::startsWith(path, root);
}

const mbindex::Root* findRoot(const Config& config, std::string_view name) {
    for (const mbindex::Root& root : config.roots)
        if (root.name == name) return &root;
    return nullptr;
}

}  // namespace

std::shared_ptr<const Config> Workspace::config() const {
    const std::lock_guard lock(configMutex);
    return current;
}

void Workspace::setConfig(Config next) {
    auto record = std::make_shared<const Config>(std::move(next));
    const std::lock_guard lock(configMutex);
    // The old record leaves with `record`, after the lock: it may be large.
    current.swap(record);
}

bool Workspace::loadConfig(const std::string& path) {
    std::string bytes;
    if (!readWholeFile(path, bytes)) return false;
    bool ok = false;
    const Json document = Json::parseText(mbutil::toUtf8Lenient(std::move(bytes)), &ok);
    if (!ok) return false;
    Config config = Config::fromJson(document);
    for (mbindex::Root& root : config.roots) root.path = mbutil::canonical(root.path);
    setConfig(std::move(config));
    return true;
}

bool Workspace::saveConfig(const std::string& path) const {
    // Where the folder cannot be made, the write fails and tells.
    (void)mbutil::ensureDir(mbutil::dirName(path));
    return writeWholeFile(path, config()->toJson().dump());
}

Config Workspace::detectDefaults(const std::string& /*executableFolder*/) { return {}; }

bool Workspace::resolveInside(const std::string& workspacePath, std::string& absolutePath) const {
    if (workspacePath.empty() || workspacePath.find('\0') != std::string::npos) return false;
    const size_t slash = workspacePath.find('/');
    const std::string_view name = std::string_view(workspacePath).substr(0, slash);
    const auto settings = config();
    const mbindex::Root* root = findRoot(*settings, name);
    if (!root) return false;

    const std::string relative =
        slash == std::string::npos ? std::string() : workspacePath.substr(slash + 1);
    std::string joined = mbutil::canonical(mbutil::pathJoin(root->path, relative));
    const std::string base = mbutil::canonical(root->path);
    if (joined != base && !liesBelow(joined, base)) return false;
    absolutePath = std::move(joined);
    return true;
}

bool Workspace::toRelative(const std::string& absolutePath, std::string& workspacePath) const {
    const std::string path = mbutil::canonical(absolutePath);
    const auto settings = config();
    for (const mbindex::Root& root : settings->roots) {
        const std::string base = mbutil::canonical(root.path);
        if (path != base && !liesBelow(path, base)) continue;
        workspacePath = root.name + path.substr(base.size());
        return true;
    }
    return false;
}

}  // namespace mbws
