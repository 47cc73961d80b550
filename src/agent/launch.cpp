#include "agent/launch.hpp"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <memory>

#include "util/util.hpp"

namespace mbagent {

using mbjson::Json;

namespace {

// Where installers put the CLI. A desktop that was started from a menu often lacks them on PATH.
constexpr const char* kPlacesBelowHome[] = {"/.local/bin/claude",      "/.claude/local/claude",
                                            "/.npm-global/bin/claude", "/.volta/bin/claude",
                                            "/.bun/bin/claude",        "/.local/share/pnpm/claude"};
constexpr const char* kPlaces[] = {"/home/linuxbrew/.linuxbrew/bin/claude", "/usr/local/bin/claude",
                                   "/usr/bin/claude"};
constexpr const char* kEfforts[] = {"low", "medium", "high", "xhigh", "max"};

using Version = std::vector<long>;

// Compared number by number; a part that is no number counts as 0, one out of range as the nearest.
Version versionOf(const std::string& folderName) {
    Version numbers;
    for (const std::string& part : mbutil::split(folderName.substr(1), '.'))
        numbers.push_back(std::strtol(part.c_str(), nullptr, 10));
    return numbers;
}

// The CLI of the newest node that nvm has installed with one, empty when there is none.
std::string newestOfNvm(const std::string& home) {
    const std::string folder = home + "/.nvm/versions/node";
    struct Close {
        void operator()(DIR* open) const { ::closedir(open); }
    };
    const std::unique_ptr<DIR, Close> entries(::opendir(folder.c_str()));
    if (!entries) return {};
    std::string newest;
    Version newestVersion;
    while (const dirent* entry = ::readdir(entries.get())) {
        const std::string name = entry->d_name;
        if (name.size() < 2 || name[0] != 'v') continue;
        const std::string path = folder + "/" + name + "/bin/claude";
        if (!mbutil::fileExists(path)) continue;
        Version version = versionOf(name);
        if (!newest.empty() && version <= newestVersion) continue;
        newest = path;
        newestVersion = std::move(version);
    }
    return newest;
}

std::vector<std::string> candidates() {
    const std::string home = mbutil::homeDir();
    std::vector<std::string> paths;
    if (std::string newest = newestOfNvm(home); !newest.empty()) paths.push_back(std::move(newest));
    if (const char* prefix = ::getenv("NPM_CONFIG_PREFIX"))
        paths.push_back(std::string(prefix) + "/bin/claude");
    for (const char* place : kPlacesBelowHome) paths.push_back(home + place);
    paths.insert(paths.end(), std::begin(kPlaces), std::end(kPlaces));
    return paths;
}

using Arguments = std::vector<std::string>;

struct Rule {
    const char* key;
    const char* flag;
    void (*append)(const Rule& rule, const Json& settings, Arguments& arguments);
};

std::string trimmed(const Json& settings, const char* key) {
    return mbutil::trim(settings[key].asString());
}

void appendText(const Rule& rule, const Json& settings, Arguments& arguments) {
    std::string value = trimmed(settings, rule.key);
    if (value.empty()) return;
    arguments.emplace_back(rule.flag);
    arguments.push_back(std::move(value));
}

void appendEffort(const Rule& rule, const Json& settings, Arguments& arguments) {
    const std::string value = trimmed(settings, rule.key);
    if (std::find(std::begin(kEfforts), std::end(kEfforts), value) != std::end(kEfforts))
        appendText(rule, settings, arguments);
}

void appendList(const Rule& rule, const Json& settings, Arguments& arguments) {
    std::vector<std::string> items = splitList(settings[rule.key].asString());
    if (items.empty()) return;
    arguments.emplace_back(rule.flag);
    std::move(items.begin(), items.end(), std::back_inserter(arguments));
}

// Handed on with its blanks, which may be meant.
void appendPrompt(const Rule& rule, const Json& settings, Arguments& arguments) {
    if (trimmed(settings, rule.key).empty()) return;
    arguments.emplace_back(rule.flag);
    arguments.push_back(settings[rule.key].asString());
}

// A prompt of the user's own leaves nothing to append to.
void appendSecondPrompt(const Rule& rule, const Json& settings, Arguments& arguments) {
    if (trimmed(settings, "systemPrompt").empty()) appendPrompt(rule, settings, arguments);
}

void appendIfTrue(const Rule& rule, const Json& settings, Arguments& arguments) {
    if (settings[rule.key].asBool()) arguments.emplace_back(rule.flag);
}

// With a decimal point, whatever the locale is.
void appendDollars(const Rule& rule, const Json& settings, Arguments& arguments) {
    const double dollars = settings[rule.key].asNumber();
    if (!(dollars > 0)) return;
    std::array<char, std::numeric_limits<double>::max_exponent10 + 8> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), dollars,
                                   std::chars_format::fixed, 2);
    arguments.emplace_back(rule.flag);
    arguments.emplace_back(digits.data(), end.ptr);
}

void appendOutputStyle(const Rule& rule, const Json& settings, Arguments& arguments) {
    std::string style = trimmed(settings, rule.key);
    if (style.empty() || style == "default") return;
    Json value = Json::object();
    value.set("outputStyle", std::move(style));
    arguments.emplace_back(rule.flag);
    arguments.push_back(value.dump());
}

constexpr Rule kRules[] = {
    {"effort", "--effort", appendEffort},
    {"fallbackModel", "--fallback-model", appendText},
    {"agent", "--agent", appendText},
    {"allowedTools", "--allowedTools", appendList},
    {"disallowedTools", "--disallowedTools", appendList},
    {"systemPrompt", "--system-prompt", appendPrompt},
    {"appendSystemPrompt", "--append-system-prompt", appendSecondPrompt},
    {"mcpConfig", "--mcp-config", appendList},
    {"strictMcpConfig", "--strict-mcp-config", appendIfTrue},
    {"autocompact", "--autocompact", appendText},
    {"maxBudgetUsd", "--max-budget-usd", appendDollars},
    {"outputStyle", "--settings", appendOutputStyle},
    {"safeMode", "--safe-mode", appendIfTrue},
    {"chrome", "--chrome", appendIfTrue},
    {"disableSlashCommands", "--disable-slash-commands", appendIfTrue},
    {"forkSession", "--fork-session", appendIfTrue},
};

}  // namespace

bool isPermissionMode(std::string_view mode) {
    return std::find(kModes.begin(), kModes.end(), mode) != kModes.end();
}

std::string resolveClaudeCommand(const std::string& configured) {
    if (!configured.empty() && configured != "claude") return configured;
    if (std::string found = mbutil::findOnPath("claude"); !found.empty()) return found;
    for (const std::string& path : candidates())
        if (::access(path.c_str(), X_OK) == 0) return path;
    return "claude";
}

std::vector<std::string> claudeArguments(const Json& settings) {
    Arguments arguments;
    for (const Rule& rule : kRules) rule.append(rule, settings, arguments);
    return arguments;
}

std::vector<std::string> splitList(std::string_view text) {
    std::vector<std::string> items;
    std::string current;
    const auto endItem = [&] {
        if (std::string item = mbutil::trim(current); !item.empty())
            items.push_back(std::move(item));
        current.clear();
    };
    size_t depth = 0;
    for (const char byte : text) {
        // A line's end separates at any depth and leaves it alone: the commas behind a "(" that
        // is never closed stay in their items, on the lines that follow too.
        if (byte == '\n' || byte == '\r' || (byte == ',' && depth == 0)) {
            endItem();
            continue;
        }
        if (byte == '(') ++depth;
        if (byte == ')' && depth > 0) --depth;
        current += byte;
    }
    endItem();
    return items;
}

StartOptions baseAgentOptions(const Json& settings, const std::string& claudeCommand,
                              const std::string& cwd) {
    StartOptions options;
    options.command = resolveClaudeCommand(claudeCommand);
    options.cwd = cwd;
    options.model = settings["model"].asString();
    if (options.model == "default") options.model.clear();
    options.permissionMode = settings["permissionMode"].asString();
    if (!isPermissionMode(options.permissionMode)) options.permissionMode = "acceptEdits";
    options.extraArguments = claudeArguments(settings);
    return options;
}

std::string integrationFolder() {
    const std::string folder = mbutil::xdgDir("XDG_CACHE_HOME", ".cache") + "/marlin-bench/shell";
    // A folder that cannot be made shows where its files are written.
    (void)mbutil::ensureDir(folder + "/zsh");
    return folder;
}

}  // namespace mbagent
