#include <gtest/gtest.h>

#include <optional>

#include "memory/memory.hpp"
#include "support/support.hpp"

namespace {

using mbjson::Json;
using mbmem::SetupResult;
using mbmem::SetupWishes;
using Texts = std::vector<std::string>;

constexpr const char* kIgnoreComment = "# Marlin Bench and personal Claude settings\n";

struct Project : testing::Test {
    mbtest::TempDir dir;
    mbtest::ScopedEnv home{{{"HOME", dir.at("home")}}};
    std::string path = dir.mkdir("my proj");
    std::string settings = path + "/.claude/settings.local.json";
    std::string memory = mbmem::memoryFolderOf(path);

    std::string write(const std::string& file, const std::string& text) const {
        return dir.write("my proj/" + file, text);
    }
    Json status() const { return mbmem::projectStatus("proj", path); }
    SetupResult setUp(const SetupWishes& wishes) const {
        return mbmem::setUpProject("proj", path, wishes);
    }
    SetupResult ignore() const {
        SetupWishes wishes;
        wishes.gitignore = true;
        return setUp(wishes);
    }
};

TEST_F(Project, UnknownNameSaysNoMore) {
    EXPECT_EQ(mbmem::projectStatus("x", "").dump(), R"({"ok":false,"path":"","root":"x"})");
}

TEST_F(Project, BareFolderHasNothing) {
    const Json bare = status();
    EXPECT_TRUE(bare["ok"].asBool());
    EXPECT_EQ(bare["root"].asString(), "proj");
    EXPECT_EQ(bare["path"].asString(), path);
    EXPECT_EQ(bare["memoryDir"].asString(), memory);
    for (const char* key :
         {"claudeMd", "autoMemory", "autoDream", "memoryIndex", "isRepo", "gitignored"})
        EXPECT_TRUE(bare[key].isBool() && !bare[key].asBool()) << key;
}

TEST_F(Project, StatusSeesWhatIsThere) {
    write("CLAUDE.md", "");
    write(".git", "gitdir: elsewhere");
    write(".gitignore", "/.marlin\n.claude/settings.local.json\n");
    write(".claude/settings.json",
          "\xEF\xBB\xBF{\"autoMemoryEnabled\":true,\"autoDreamEnabled\":1}");
    dir.write(memory.substr(dir.path().size() + 1) + "/MEMORY.md", "");
    const Json full = status();
    for (const char* key : {"claudeMd", "autoMemory", "memoryIndex", "isRepo", "gitignored"})
        EXPECT_TRUE(full[key].asBool()) << key;
    EXPECT_FALSE(full["autoDream"].asBool()) << "no boolean";
}

TEST_F(Project, PersonalSettingsDecideBeforeTheShared) {
    write(".claude/settings.json", R"({"autoMemoryEnabled":true,"autoDreamEnabled":true})");
    write(".claude/settings.local.json", R"({"autoMemoryEnabled":false})");
    EXPECT_FALSE(status()["autoMemory"].asBool());
    EXPECT_TRUE(status()["autoDream"].asBool());
    for (const char* broken : {"{", "[true]", "{\"autoMemoryEnabled\":1e999}"}) {
        write(".claude/settings.local.json", broken);
        EXPECT_TRUE(status()["autoMemory"].asBool()) << broken;
    }
}

TEST_F(Project, IgnoredCountsInARepositoryOnly) {
    write(".gitignore", ".marlin/\n.claude/settings.local.json\n");
    EXPECT_FALSE(status()["gitignored"].asBool());
    dir.mkdir("my proj/.git");
    EXPECT_TRUE(status()["isRepo"].asBool());
    EXPECT_TRUE(status()["gitignored"].asBool());
}

TEST_F(Project, IgnoreLinesMayDifferByOuterSlashes) {
    dir.mkdir("my proj/.git");
    const struct {
        const char* line;
        bool covers;
    } rows[] = {{".marlin", true},    {".marlin/", true},    {"/.marlin", true},
                {"/.marlin/", true},  {" .marlin/\r", true}, {"x/.marlin/", false},
                {"//.marlin", false}, {".marlin*", false},   {"# .marlin/", false},
                {"", false}};
    for (const auto& [line, covers] : rows) {
        write(".gitignore", std::string(line) + "\n.claude/settings.local.json");
        EXPECT_EQ(status()["gitignored"].asBool(), covers) << line;
    }
}

TEST_F(Project, EmptyWishesChangeNothing) {
    const SetupResult result = setUp({});
    EXPECT_TRUE(result.done.empty() && result.failed.empty());
    EXPECT_EQ(mbtest::slurp(settings), "");
}

TEST_F(Project, SettingsKeepTheirOtherKeys) {
    write(".claude/settings.local.json", R"({"other":{"a":[1]},"autoDreamEnabled":true})");
    const SetupResult result = setUp({true, std::nullopt, false});
    EXPECT_EQ(result.done, (Texts{"settings", "memory"}));
    EXPECT_EQ(mbtest::slurp(settings), "{\n  \"autoDreamEnabled\": true,\n"
                                       "  \"autoMemoryEnabled\": true,\n"
                                       "  \"other\": {\n    \"a\": [\n      1\n    ]\n  }\n}\n");
}

TEST_F(Project, DreamAloneMakesNoMemoryFolder) {
    EXPECT_EQ(setUp({std::nullopt, false, false}).done, Texts{"settings"});
    EXPECT_EQ(mbtest::slurp(settings), "{\n  \"autoDreamEnabled\": false\n}\n");
    EXPECT_EQ(mbmem::directoryFor({path}), "");
}

TEST_F(Project, MemoryFalseWritesTheFlagAndMakesNoFolder) {
    EXPECT_EQ(setUp({false, std::nullopt, false}).done, Texts{"settings"});
    EXPECT_FALSE(status()["autoMemory"].asBool(true));
    EXPECT_EQ(mbmem::directoryFor({path}), "");
}

TEST_F(Project, IndexOfMemoryIsNeverTouchedAgain) {
    setUp({true, std::nullopt, false});
    const std::string first =
        "# Memory\n\nWhat Claude has learned about proj, one line per memory file.\n";
    EXPECT_EQ(mbtest::slurp(memory + "/MEMORY.md"), first);
    EXPECT_EQ(mbmem::setUpProject("renamed", path, {true, std::nullopt, false}).done,
              (Texts{"settings", "memory"}));
    EXPECT_EQ(mbtest::slurp(memory + "/MEMORY.md"), first);
}

TEST_F(Project, IgnoreFileGetsOnlyWhatIsMissing) {
    EXPECT_EQ(ignore().done, Texts{"gitignore"});
    const std::string both =
        std::string(kIgnoreComment) + ".marlin/\n.claude/settings.local.json\n";
    EXPECT_EQ(mbtest::slurp(path + "/.gitignore"), both);
    EXPECT_TRUE(ignore().done.empty()) << "nothing is missing any more";
    EXPECT_EQ(mbtest::slurp(path + "/.gitignore"), both);

    const std::string rest = std::string("\n") + kIgnoreComment + ".claude/settings.local.json\n";
    write(".gitignore", "build\n/.marlin\n");
    ignore();
    EXPECT_EQ(mbtest::slurp(path + "/.gitignore"), "build\n/.marlin\n" + rest);
    write(".gitignore", ".marlin/");
    ignore();
    EXPECT_EQ(mbtest::slurp(path + "/.gitignore"), ".marlin/\n" + rest);
}

TEST_F(Project, FailedStepDoesNotStopTheNext) {
    write(".claude", "a file in the way");
    dir.write("home/.claude", "another");
    const SetupResult result = setUp({true, true, true});
    EXPECT_EQ(result.done, Texts{"gitignore"});
    EXPECT_EQ(result.failed, (Texts{"could not write .claude/settings.local.json",
                                    "could not create the memory folder"}));
}

TEST_F(Project, IgnoreFileThatCannotBeWrittenIsAFailure) {
    dir.mkdir("my proj/.gitignore");
    const SetupResult result = ignore();
    EXPECT_EQ(result.failed, Texts{"could not update .gitignore"});
    EXPECT_TRUE(result.done.empty());
}

}  // namespace
