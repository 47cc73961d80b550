#include "workspace/config.hpp"

#include <gtest/gtest.h>

#include "util/util.hpp"

namespace {

using mbjson::Json;
using mbws::Config;

Config read(const std::string& text) {
    bool ok = false;
    const Json document = Json::parse(text, &ok);
    EXPECT_TRUE(ok) << text;
    return Config::fromJson(document);
}

std::string dumped(const std::string& text) { return read(text).toJson().dump(); }

const std::string& defaults() {
    static const std::string text = Config().toJson().dump();
    return text;
}

TEST(Config, DefaultsHaveAllThirteenKeysInByteOrder) {
    EXPECT_EQ(defaults(),
              R"({"automaticUpdates":true,"bridgePort":0,"claude":{},"claudeCommand":"claude",)"
              R"("discordAppId":"","discordPresence":true,"discordShowFileNames":true,)"
              R"("languageServers":{},"roots":[],"shellCommand":"","theme":"marlin-dark",)"
              R"("updateChannel":"stable","updateUrl":")" +
                  std::string(mbws::kDefaultUpdateUrl) + "\"}");
}

TEST(Config, DefaultUpdateUrlIsSecureAndEndsInTheUpdatePath) {
    const std::string url = mbws::kDefaultUpdateUrl;
    EXPECT_TRUE(mbutil::startsWith(url, "https://"));
    EXPECT_TRUE(mbutil::endsWith(url, "/updates/marlin-bench"));
}

TEST(Config, DocumentOfAnotherShapeGivesTheDefaults) {
    for (const char* text : {"[]", "5", "null", "\"x\"", "{}", "{\"unknown\":1}"})
        EXPECT_EQ(dumped(text), defaults()) << text;
}

TEST(Config, ValuesOfTheRightTypeAreTaken) {
    const std::string full =
        R"({"automaticUpdates":false,"bridgePort":8080,"claude":{"a":[1,{"b":null}]},)"
        R"("claudeCommand":"/opt/claude","discordAppId":"7","discordPresence":false,)"
        R"("discordShowFileNames":false,"languageServers":{"x":"y z"},)"
        R"("roots":[{"name":"b","path":"/b"},{"name":"a","path":"/a"}],"shellCommand":"zsh",)"
        R"("theme":"t","updateChannel":"nightly","updateUrl":"http://u"})";
    EXPECT_EQ(dumped(full), full);
}

TEST(Config, ValuesOfAWrongTypeLeaveTheDefault) {
    for (const char* key : {"automaticUpdates", "claude", "claudeCommand", "discordAppId",
                            "discordPresence", "discordShowFileNames", "languageServers", "roots",
                            "shellCommand", "theme", "updateChannel", "updateUrl"})
        for (const char* value : {"null", "1"})
            EXPECT_EQ(dumped(std::string("{\"") + key + "\":" + value + "}"), defaults()) << key;
    EXPECT_EQ(dumped(R"({"claude":[],"languageServers":"x"})"), defaults());
    EXPECT_EQ(dumped(R"({"discordPresence":"false","automaticUpdates":0})"), defaults());
}

TEST(Config, EmptyStringStaysEmptyButForTheUpdateUrl) {
    const Config config =
        read(R"({"claudeCommand":"","theme":"","updateChannel":"","updateUrl":""})");
    EXPECT_EQ(config.claudeCommand, "");
    EXPECT_EQ(config.theme, "");
    EXPECT_EQ(config.updateChannel, "");
    EXPECT_EQ(config.updateUrl, mbws::kDefaultUpdateUrl);
}

TEST(Config, RootsLoseTheElementsThatLackSomething) {
    const Config config = read(
        R"({"roots":[{"name":"","path":"/x"},5,{"name":"b","path":"/b","more":1},{"name":"c"},)"
        R"({"path":"/d"},{"name":1,"path":"/e"},"f",null,{"name":"a","path":"/a"}]})");
    ASSERT_EQ(config.roots.size(), 2U);
    EXPECT_EQ(config.roots[0].name, "b");
    EXPECT_EQ(config.roots[0].path, "/b");
    EXPECT_EQ(config.roots[1].name, "a");
    EXPECT_TRUE(read(R"({"roots":{"name":"a","path":"/a"}})").roots.empty());
}

TEST(Config, BridgePortIsTruncatedAndOnlyANumberCounts) {
    EXPECT_EQ(read(R"({"bridgePort":8080.9})").bridgePort, 8080);
    EXPECT_EQ(read(R"({"bridgePort":-7.9})").bridgePort, -7);
    EXPECT_EQ(read(R"({"bridgePort":"8080"})").bridgePort, 0);
    EXPECT_EQ(read(R"({"bridgePort":true})").bridgePort, 0);
    EXPECT_EQ(read(R"({"bridgePort":70000})").bridgePort, 70000);
}

TEST(Config, BridgePortIsWrittenWithoutAFraction) {
    Config config;
    config.bridgePort = 8080;
    EXPECT_NE(config.toJson().dump().find("\"bridgePort\":8080,"), std::string::npos);
}

TEST(Config, MoveAssignmentReplacesEveryMember) {
    Config config = read(R"({"theme":"t","bridgePort":1,"roots":[{"name":"a","path":"/a"}]})");
    config = Config();
    EXPECT_EQ(config.toJson().dump(), defaults());
}

}  // namespace
