// Settings into launch arguments.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <limits>
#include <string>
#include <vector>

#include "agent/launch.hpp"
#include "support/comma_locale.hpp"
#include "support/support.hpp"
#include "json/json.hpp"

namespace {

using mbagent::claudeArguments;
using mbagent::splitList;
using mbjson::Json;
using Words = std::vector<std::string>;

Words argumentsOf(const std::string& settings) {
    bool ok = false;
    const Json parsed = Json::parse(settings, &ok);
    EXPECT_TRUE(ok) << settings;
    return claudeArguments(parsed);
}

TEST(AgentArguments, EachSettingBecomesItsFlag) {
    struct Row {
        const char* settings;
        Words arguments;
    };
    const Row rows[] = {
        {"{}", {}},
        {"[]", {}},
        {"null", {}},
        {R"({"effort":" high\n"})", {"--effort", "high"}},
        {R"({"effort":"low"})", {"--effort", "low"}},
        {R"({"effort":"medium"})", {"--effort", "medium"}},
        {R"({"effort":"xhigh"})", {"--effort", "xhigh"}},
        {R"({"effort":"max"})", {"--effort", "max"}},
        {R"({"effort":"High"})", {}},
        {R"({"effort":"ultra"})", {}},
        {R"({"fallbackModel":" sonnet "})", {"--fallback-model", "sonnet"}},
        {R"({"fallbackModel":" \t"})", {}},
        {R"({"agent":"reviewer"})", {"--agent", "reviewer"}},
        {R"({"allowedTools":"Read,Edit"})", {"--allowedTools", "Read", "Edit"}},
        {R"({"allowedTools":" , \n"})", {}},
        {R"-({"disallowedTools":"Bash(rm *)"})-", {"--disallowedTools", "Bash(rm *)"}},
        {R"({"systemPrompt":" be brief\n"})", {"--system-prompt", " be brief\n"}},
        {R"({"appendSystemPrompt":" x"})", {"--append-system-prompt", " x"}},
        {R"({"systemPrompt":"   ","appendSystemPrompt":"x"})", {"--append-system-prompt", "x"}},
        {R"({"systemPrompt":"a","appendSystemPrompt":"x"})", {"--system-prompt", "a"}},
        {R"({"systemPrompt":"","appendSystemPrompt":" "})", {}},
        {R"({"mcpConfig":"a.json\nb c.json"})", {"--mcp-config", "a.json", "b c.json"}},
        {R"({"strictMcpConfig":true})", {"--strict-mcp-config"}},
        {R"({"strictMcpConfig":false})", {}},
        {R"({"autocompact":" 80 "})", {"--autocompact", "80"}},
        {R"({"maxBudgetUsd":1.5})", {"--max-budget-usd", "1.50"}},
        {R"({"maxBudgetUsd":20})", {"--max-budget-usd", "20.00"}},
        {R"({"maxBudgetUsd":0.125})", {"--max-budget-usd", "0.12"}},
        {R"({"maxBudgetUsd":0.001})", {"--max-budget-usd", "0.00"}},
        {R"({"maxBudgetUsd":1234567.891})", {"--max-budget-usd", "1234567.89"}},
        {R"({"maxBudgetUsd":0})", {}},
        {R"({"maxBudgetUsd":-3})", {}},
        {R"({"maxBudgetUsd":"5"})", {}},
        {R"({"outputStyle":" terse \"x\" "})", {"--settings", R"({"outputStyle":"terse \"x\""})"}},
        {R"({"outputStyle":" default "})", {}},
        {R"({"outputStyle":""})", {}},
        {R"({"safeMode":true})", {"--safe-mode"}},
        {R"({"chrome":true})", {"--chrome"}},
        {R"({"disableSlashCommands":true})", {"--disable-slash-commands"}},
        {R"({"forkSession":true})", {"--fork-session"}},
    };
    for (const Row& row : rows) EXPECT_EQ(argumentsOf(row.settings), row.arguments) << row.settings;
}

constexpr const char* kKeys[] = {
    "effort",       "fallbackModel",      "agent",     "allowedTools",    "disallowedTools",
    "systemPrompt", "appendSystemPrompt", "mcpConfig", "strictMcpConfig", "autocompact",
    "maxBudgetUsd", "outputStyle",        "safeMode",  "chrome",          "disableSlashCommands",
    "forkSession"};

TEST(AgentArguments, ValuesOfTheWrongTypeCountAsAbsent) {
    const Json wrong[] = {Json(), Json::array(), Json::object()};
    for (const char* key : kKeys)
        for (const Json& value : wrong) {
            Json settings = Json::object();
            settings.set(key, value);
            EXPECT_EQ(claudeArguments(settings), Words{}) << key;
        }
    EXPECT_EQ(argumentsOf(R"({"safeMode":"true","chrome":1,"forkSession":"yes","agent":true,
                              "effort":1,"allowedTools":["Read"],"systemPrompt":3})"),
              Words{});
}

TEST(AgentArguments, OrderIsFixedWhateverTheSettingsAre) {
    EXPECT_EQ(argumentsOf(R"({"forkSession":true,"disableSlashCommands":true,"chrome":true,
        "safeMode":true,"outputStyle":"o","maxBudgetUsd":2,"autocompact":"ac",
        "strictMcpConfig":true,"mcpConfig":"m","appendSystemPrompt":"no","systemPrompt":"sp",
        "disallowedTools":"D","allowedTools":"A,B","agent":"ag","fallbackModel":"fm",
        "effort":"low","unknown":"x"})"),
              (Words{"--effort",
                     "low",
                     "--fallback-model",
                     "fm",
                     "--agent",
                     "ag",
                     "--allowedTools",
                     "A",
                     "B",
                     "--disallowedTools",
                     "D",
                     "--system-prompt",
                     "sp",
                     "--mcp-config",
                     "m",
                     "--strict-mcp-config",
                     "--autocompact",
                     "ac",
                     "--max-budget-usd",
                     "2.00",
                     "--settings",
                     R"({"outputStyle":"o"})",
                     "--safe-mode",
                     "--chrome",
                     "--disable-slash-commands",
                     "--fork-session"}));
}

TEST(AgentArguments, LargestBudgetIsWrittenOut) {
    Json settings = Json::object();
    settings.set("maxBudgetUsd", std::numeric_limits<double>::max());
    const Words arguments = claudeArguments(settings);
    ASSERT_EQ(arguments.size(), 2U);
    EXPECT_EQ(arguments[1].size(), 312U);
    EXPECT_EQ(arguments[1].substr(309), ".00");
}

TEST(AgentArguments, BudgetHasADecimalPointInEveryLocale) {
    const mbtest::CommaLocale locale;
    ASSERT_TRUE(locale.found) << "localedef and its character maps are in the package locales";
    EXPECT_EQ(argumentsOf(R"({"maxBudgetUsd":1.5})"), (Words{"--max-budget-usd", "1.50"}));
}

TEST(AgentList, CommasAndLineEndsSeparate) {
    struct Row {
        const char* text;
        Words items;
    };
    const Row rows[] = {
        {"", {}},
        {" \t\r\n,,", {}},
        {"Read", {"Read"}},
        {" Read ,\tEdit\t", {"Read", "Edit"}},
        {"Read, Bash(git log, git diff)\nEdit", {"Read", "Bash(git log, git diff)", "Edit"}},
        {"two words, x", {"two words", "x"}},
        {"a\r\nb\rc", {"a", "b", "c"}},
        {"f((a,b),c),d", {"f((a,b),c)", "d"}},
        {"a),b", {"a)", "b"}},
        {"a)),(b,c", {"a))", "(b,c"}},
        {"Bash(a,b\nc,d", {"Bash(a,b", "c,d"}},
        {"Bash(a,b\nc),d", {"Bash(a,b", "c)", "d"}},
        {"a (\n, b", {"a (", ", b"}},
    };
    for (const Row& row : rows) EXPECT_EQ(splitList(row.text), row.items) << row.text;
}

TEST(AgentModes, TheSevenModesAreKnown) {
    const Words modes(mbagent::kModes.begin(), mbagent::kModes.end());
    EXPECT_EQ(modes, (Words{"default", "manual", "acceptEdits", "plan", "auto", "dontAsk",
                            "bypassPermissions"}));
    for (const std::string& mode : modes) EXPECT_TRUE(mbagent::isPermissionMode(mode));
    for (const char* other : {"", "Plan", "plan ", "accept", "acceptedits"})
        EXPECT_FALSE(mbagent::isPermissionMode(other)) << other;
}

mbagent::StartOptions optionsOf(const std::string& settings) {
    return mbagent::baseAgentOptions(Json::parse(settings), "/opt/claude", "/work folder");
}

TEST(AgentOptions, CommandFolderAndArgumentsAreFilled) {
    const mbagent::StartOptions options =
        optionsOf(R"({"model":"opus","permissionMode":"plan","effort":"max"})");
    EXPECT_EQ(options.command, "/opt/claude");
    EXPECT_EQ(options.cwd, "/work folder");
    EXPECT_EQ(options.model, "opus");
    EXPECT_EQ(options.permissionMode, "plan");
    EXPECT_EQ(options.resume, "");
    EXPECT_EQ(options.additionalDirectories, Words{});
    EXPECT_EQ(options.extraArguments, (Words{"--effort", "max"}));
}

TEST(AgentOptions, CommandIsResolved) {
    const mbtest::TempDir folder;
    const mbtest::ScopedEnv scope({{"PATH", folder.path()}});
    const std::string path = folder.write("claude", "");
    ASSERT_EQ(::chmod(path.c_str(), 0755), 0);
    EXPECT_EQ(mbagent::baseAgentOptions(Json::object(), "claude", "").command, path);
}

TEST(AgentOptions, DefaultModelIsNoModel) {
    EXPECT_EQ(optionsOf(R"({"model":"default"})").model, "");
    EXPECT_EQ(optionsOf(R"({"model":7})").model, "");
    EXPECT_EQ(optionsOf("{}").model, "");
    EXPECT_EQ(optionsOf(R"({"model":"Default"})").model, "Default");
}

TEST(AgentOptions, UnknownPermissionModeBecomesAcceptEdits) {
    for (const char* settings : {"{}", "null", R"({"permissionMode":"yolo"})",
                                 R"({"permissionMode":""})", R"({"permissionMode":true})"})
        EXPECT_EQ(optionsOf(settings).permissionMode, "acceptEdits") << settings;
    EXPECT_EQ(optionsOf(R"({"permissionMode":"bypassPermissions"})").permissionMode,
              "bypassPermissions");
}

}  // namespace
