// Project set-up: switches of the CLI, the memory folder, and what git shall not see.

#include <initializer_list>
#include <utility>

#include "memory/memory.hpp"
#include "util/util.hpp"

namespace mbmem {

using mbjson::Json;

namespace {

constexpr const char* kMemoryFlag = "autoMemoryEnabled";
constexpr const char* kDreamFlag = "autoDreamEnabled";
constexpr const char* kPersonalSettings = ".claude/settings.local.json";
constexpr const char* kSharedSettings = ".claude/settings.json";
// What a project keeps for itself: the editor's own folder and the user's own switches.
constexpr const char* kIgnored[] = {".marlin/", kPersonalSettings};

// An empty object for whatever does not parse to one.
Json readObject(const std::string& path) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    std::string text;
    if (!mbutil::readFileRaw(path, text)) return Json::object();
    std::string_view body = text;
    if (mbutil::startsWith(body, kByteOrderMark)) body.remove_prefix(kByteOrderMark.size());
    Json parsed = Json::parseText(body);
    return parsed.isObject() ? parsed : Json::object();
}

// The user's own file decides, where it says anything, and then the project's.
bool flag(const std::string& path, const char* key) {
    for (const char* file : {kPersonalSettings, kSharedSettings}) {
        const Json settings = readObject(mbutil::pathJoin(path, file));
        if (settings.has(key)) return settings[key].asBool();
    }
    return false;
}

bool isRepository(const std::string& path) {
    const std::string mark = mbutil::pathJoin(path, ".git");
    return mbutil::dirExists(mark) || mbutil::fileExists(mark);
}

std::string_view withoutOuterSlashes(std::string_view entry) {
    if (mbutil::startsWith(entry, "/")) entry.remove_prefix(1);
    if (mbutil::endsWith(entry, "/")) entry.remove_suffix(1);
    return entry;
}

// Whole lines are compared; patterns are not interpreted.
bool covers(std::string_view ignoreFile, std::string_view entry) {
    for (const std::string& line : mbutil::split(ignoreFile, '\n')) {
        const std::string trimmed = mbutil::trim(line);
        if (withoutOuterSlashes(trimmed) == withoutOuterSlashes(entry)) return true;
    }
    return false;
}

std::string missingEntries(std::string_view ignoreFile) {
    std::string missing;
    for (const char* entry : kIgnored)
        if (!covers(ignoreFile, entry)) missing += std::string(entry) + "\n";
    return missing;
}

bool writeSettings(const std::string& path, const SetupWishes& wishes) {
    const std::string file = mbutil::pathJoin(path, kPersonalSettings);
    Json settings = readObject(file);
    if (wishes.memory) settings.set(kMemoryFlag, *wishes.memory);
    if (wishes.dream) settings.set(kDreamFlag, *wishes.dream);
    return mbutil::ensureDir(mbutil::dirName(file)) &&
           mbutil::writeFileRaw(file, prettyJson(settings) + "\n");
}

bool makeMemoryFolder(const std::string& name, const std::string& path) {
    const std::string folder = memoryFolderOf(path);
    if (!mbutil::ensureDir(folder)) return false;
    const std::string index = folder + "/MEMORY.md";
    // The folder is what the step is for; a status without the index shows that it is missing.
    if (!mbutil::fileExists(index))
        (void)mbutil::writeFileRaw(index, "# Memory\n\nWhat Claude has learned about " + name +
                                              ", one line per memory file.\n");
    return true;
}

enum class Outcome { Nothing, Done, Failed };

Outcome addIgnored(const std::string& path) {
    const std::string file = mbutil::pathJoin(path, ".gitignore");
    std::string text;
    // What is there and cannot be read must not be replaced.
    if (!mbutil::readFileRaw(file, text) && mbutil::fileExists(file)) return Outcome::Failed;
    const std::string missing = missingEntries(text);
    if (missing.empty()) return Outcome::Nothing;
    if (!text.empty()) text += text.back() == '\n' ? "\n" : "\n\n";
    text += "# Marlin Bench and personal Claude settings\n" + missing;
    return mbutil::writeFileRaw(file, text) ? Outcome::Done : Outcome::Failed;
}

}  // namespace

Json projectStatus(const std::string& name, const std::string& path) {
    Json status = Json::object();
    status.set("ok", !path.empty());
    status.set("root", name);
    status.set("path", mbutil::toUtf8Lenient(path));
    if (path.empty()) return status;
    const std::string memory = memoryFolderOf(path);
    const bool repository = isRepository(path);
    std::string ignoreFile;
    (void)mbutil::readFileRaw(mbutil::pathJoin(path, ".gitignore"), ignoreFile);
    status.set("claudeMd", mbutil::fileExists(mbutil::pathJoin(path, "CLAUDE.md")));
    status.set("autoMemory", flag(path, kMemoryFlag));
    status.set("autoDream", flag(path, kDreamFlag));
    status.set("memoryDir", mbutil::toUtf8Lenient(memory));
    status.set("memoryIndex", mbutil::fileExists(memory + "/MEMORY.md"));
    status.set("isRepo", repository);
    status.set("gitignored", repository && missingEntries(ignoreFile).empty());
    return status;
}

SetupResult setUpProject(const std::string& name, const std::string& path,
                         const SetupWishes& wishes) {
    SetupResult result;
    const auto report = [&](bool worked, const char* step, const char* message) {
        (worked ? result.done : result.failed).push_back(worked ? step : message);
    };
    if (wishes.memory || wishes.dream)
        report(writeSettings(path, wishes), "settings",
               "could not write .claude/settings.local.json");
    if (wishes.memory.value_or(false))
        report(makeMemoryFolder(name, path), "memory", "could not create the memory folder");
    if (wishes.gitignore) {
        const Outcome outcome = addIgnored(path);
        if (outcome != Outcome::Nothing)
            report(outcome == Outcome::Done, "gitignore", "could not update .gitignore");
    }
    return result;
}

}  // namespace mbmem
