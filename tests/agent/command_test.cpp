// Finding the CLI and the cache folder, with real folders in a temporary home.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "agent/launch.hpp"
#include "support/support.hpp"
#include "util/util.hpp"

namespace {

using mbagent::resolveClaudeCommand;

// A home of its own, and a PATH that holds no CLI.
class AgentCommand : public ::testing::Test {
protected:
    mbtest::TempDir home;
    mbtest::ScopedEnv environment{{{"HOME", home.path()},
                                   {"PATH", home.mkdir("path")},
                                   {"NPM_CONFIG_PREFIX", std::nullopt},
                                   {"XDG_CACHE_HOME", std::nullopt}}};

    std::string install(const std::string& relative, mode_t mode = 0755) const {
        const std::string path = home.write(relative, "#!/bin/sh\n");
        EXPECT_EQ(::chmod(path.c_str(), mode), 0);
        return path;
    }
    std::string installNode(const std::string& version, mode_t mode = 0755) const {
        return install(".nvm/versions/node/" + version + "/bin/claude", mode);
    }
};

// What the last places hold is up to the machine; on most there is nothing.
std::string ofTheSystem() {
    for (const char* path :
         {"/home/linuxbrew/.linuxbrew/bin/claude", "/usr/local/bin/claude", "/usr/bin/claude"})
        if (::access(path, X_OK) == 0) return path;
    return "claude";
}

TEST_F(AgentCommand, ExplicitSettingIsTakenOnTrust) {
    install("path/claude");
    EXPECT_EQ(resolveClaudeCommand("/no/such/file"), "/no/such/file");
    EXPECT_EQ(resolveClaudeCommand("claude-next"), "claude-next");
    EXPECT_EQ(resolveClaudeCommand(" claude"), " claude");
}

TEST_F(AgentCommand, BareNameAndEmptySettingAreSearchedFor) {
    const std::string path = install("path/claude");
    EXPECT_EQ(resolveClaudeCommand("claude"), path);
    EXPECT_EQ(resolveClaudeCommand(""), path);
}

TEST_F(AgentCommand, NothingFoundGivesTheBareName) {
    EXPECT_EQ(resolveClaudeCommand(""), ofTheSystem());
    EXPECT_EQ(resolveClaudeCommand("claude"), ofTheSystem());
}

// Installed from the last choice to the first, so that each has to beat all before it.
TEST_F(AgentCommand, EachPlaceIsPreferredToThoseBehindIt) {
    const mbtest::ScopedEnv prefix({{"NPM_CONFIG_PREFIX", home.at("prefix")}});
    for (const char* place :
         {".local/share/pnpm/claude", ".bun/bin/claude", ".volta/bin/claude",
          ".npm-global/bin/claude", ".claude/local/claude", ".local/bin/claude",
          "prefix/bin/claude", ".nvm/versions/node/v1/bin/claude", "path/claude"}) {
        const std::string path = install(place);
        EXPECT_EQ(resolveClaudeCommand("claude"), path);
    }
}

TEST_F(AgentCommand, FileThatCannotBeRunIsPassedOver) {
    install(".local/bin/claude", 0644);
    installNode("v20.0.0", 0644);
    const std::string next = install(".bun/bin/claude");
    EXPECT_EQ(resolveClaudeCommand(""), next);
}

TEST_F(AgentCommand, NewestNodeWinsByNumbers) {
    installNode("v18.2.0");
    const std::string newest = installNode("v20.11.1");
    installNode("v9.0.0");
    installNode("v20.9.30");
    EXPECT_EQ(resolveClaudeCommand(""), newest);
}

TEST_F(AgentCommand, LongerVersionBeatsItsOwnBeginning) {
    installNode("v20");
    installNode("v20.1");
    const std::string newest = installNode("v20.1.0");
    EXPECT_EQ(resolveClaudeCommand(""), newest);
}

TEST_F(AgentCommand, NodeFoldersWithoutTheCliOrWithOtherNamesDoNotCount) {
    home.mkdir(".nvm/versions/node/v99.0.0/bin/claude");
    home.mkdir(".nvm/versions/node/v98.0.0/bin");
    installNode("97.0.0");
    installNode("v");
    installNode("w96.0.0");
    const std::string only = installNode("v1.0.0");
    EXPECT_EQ(resolveClaudeCommand(""), only);
}

TEST_F(AgentCommand, VersionNumbersOutOfRangeAndWordsAreTolerated) {
    const std::string word = installNode("vsystem");
    EXPECT_EQ(resolveClaudeCommand(""), word);
    installNode("v1");
    const std::string huge = installNode("v99999999999999999999999.1");
    installNode("v-99999999999999999999999");
    EXPECT_EQ(resolveClaudeCommand(""), huge);
}

TEST_F(AgentCommand, NewestNodeThatCannotBeRunDoesNotGiveWayToAnOlderOne) {
    installNode("v18.0.0");
    installNode("v20.0.0", 0644);
    EXPECT_EQ(resolveClaudeCommand(""), ofTheSystem());
}

TEST_F(AgentCommand, HomeIsTheTemporaryFolderWhenItIsUnsetOrEmpty) {
    for (const auto& value : {std::optional<std::string>(), std::optional<std::string>("")}) {
        const mbtest::ScopedEnv scope(
            std::map<std::string, std::optional<std::string>>{{"HOME", value}});
        EXPECT_EQ(mbutil::homeDir(), "/tmp");
        EXPECT_FALSE(resolveClaudeCommand("").empty());
    }
}

TEST_F(AgentCommand, IntegrationFolderIsMadeBelowTheCache) {
    EXPECT_EQ(mbagent::integrationFolder(), home.at(".cache/marlin-bench/shell"));
    EXPECT_TRUE(mbutil::dirExists(home.at(".cache/marlin-bench/shell/zsh")));
    EXPECT_EQ(mbagent::integrationFolder(), home.at(".cache/marlin-bench/shell"));
}

TEST_F(AgentCommand, IntegrationFolderFollowsAnAbsoluteCacheVariable) {
    const mbtest::ScopedEnv absolute({{"XDG_CACHE_HOME", home.at("cache")}});
    EXPECT_EQ(mbagent::integrationFolder(), home.at("cache/marlin-bench/shell"));
    EXPECT_TRUE(mbutil::dirExists(home.at("cache/marlin-bench/shell/zsh")));
    for (const std::string value : {"", "relative"}) {
        const mbtest::ScopedEnv other({{"XDG_CACHE_HOME", value}});
        EXPECT_EQ(mbagent::integrationFolder(), home.at(".cache/marlin-bench/shell"));
    }
}

TEST_F(AgentCommand, IntegrationFolderThatCannotBeMadeIsStillNamed) {
    home.write("file", "");
    const mbtest::ScopedEnv scope({{"XDG_CACHE_HOME", home.at("file")}});
    EXPECT_EQ(mbagent::integrationFolder(), home.at("file/marlin-bench/shell"));
}

}  // namespace
