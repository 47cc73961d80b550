#pragma once
// The settings record and its form in the settings file.

#include <cstdint>
#include <string>
#include <vector>

#include "index/root.hpp"
#include "json/json.hpp"

namespace mbws {

// Set by the packager; an HTTPS URL whose path is /updates/marlin-bench.
extern const char* const kDefaultUpdateUrl;

struct Config {
    std::vector<mbindex::Root> roots;
    std::string claudeCommand = "claude";
    mbjson::Json claude = mbjson::Json::object();           // kept verbatim
    mbjson::Json languageServers = mbjson::Json::object();  // kept verbatim
    std::string shellCommand;                               // empty: the default shell
    std::string theme = "marlin-dark";
    std::string updateUrl = kDefaultUpdateUrl;
    bool automaticUpdates = true;
    std::string updateChannel = "stable";
    std::string discordAppId;
    bool discordPresence = true;
    bool discordShowFileNames = true;
    int32_t bridgePort = 0;  // 0: the system chooses

    // Never fails: what is missing or of the wrong type has its default.
    static Config fromJson(const mbjson::Json& document);
    // All thirteen keys, always.
    mbjson::Json toJson() const;
};

}  // namespace mbws
