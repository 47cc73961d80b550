#include "workspace/config.hpp"

#include <utility>

#include "util/util.hpp"

namespace mbws {

using mbjson::Json;

const char* const kDefaultUpdateUrl = MARLIN_UPDATE_URL;

namespace {

// An element that lacks its name or its path is dropped, the others keep their order.
std::vector<mbindex::Root> readRoots(const Json& value) {
    std::vector<mbindex::Root> roots;
    for (const Json& element : value.asArray()) {
        mbindex::Root root{element["name"].asString(), element["path"].asString()};
        if (!root.name.empty() && !root.path.empty()) roots.push_back(std::move(root));
    }
    return roots;
}

// An empty string is a value like any other.
void takeString(const Json& value, std::string& field) {
    if (value.isString()) field = value.asString();
}

void takeObject(const Json& value, Json& field) {
    if (value.isObject()) field = value;
}

}  // namespace

Config Config::fromJson(const Json& document) {
    Config config;
    config.roots = readRoots(document["roots"]);
    takeString(document["claudeCommand"], config.claudeCommand);
    takeObject(document["claude"], config.claude);
    takeObject(document["languageServers"], config.languageServers);
    takeString(document["shellCommand"], config.shellCommand);
    takeString(document["theme"], config.theme);
    // Unlike the others: the file cannot blank the place that updates come from.
    if (!document["updateUrl"].asString().empty())
        takeString(document["updateUrl"], config.updateUrl);
    config.automaticUpdates = document["automaticUpdates"].asBool(true);
    takeString(document["updateChannel"], config.updateChannel);
    takeString(document["discordAppId"], config.discordAppId);
    config.discordPresence = document["discordPresence"].asBool(true);
    config.discordShowFileNames = document["discordShowFileNames"].asBool(true);
    config.bridgePort = document["bridgePort"].asInt(0);
    return config;
}

Json Config::toJson() const {
    Json list = Json::array();
    for (const mbindex::Root& root : roots) {
        Json element = Json::object();
        // A folder's name may be any bytes. One that is not UTF-8 would make the whole file count
        // as Windows-1252 at the next start, and every other name in it would be read wrongly.
        element.set("name", mbutil::toUtf8Lenient(root.name));
        element.set("path", mbutil::toUtf8Lenient(root.path));
        list.push(std::move(element));
    }
    Json document = Json::object();
    document.set("roots", std::move(list));
    document.set("claudeCommand", claudeCommand);
    document.set("claude", claude);
    document.set("languageServers", languageServers);
    document.set("shellCommand", shellCommand);
    document.set("theme", theme);
    document.set("updateUrl", updateUrl);
    document.set("automaticUpdates", automaticUpdates);
    document.set("updateChannel", updateChannel);
    document.set("discordAppId", discordAppId);
    document.set("discordPresence", discordPresence);
    document.set("discordShowFileNames", discordShowFileNames);
    document.set("bridgePort", bridgePort);
    return document;
}

}  // namespace mbws
