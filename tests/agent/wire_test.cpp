// The command line and the lines on standard input, to the byte.

#include "agent/wire.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "agent_support.hpp"
#include "json/json.hpp"

namespace {

using mbagent::StartOptions;

constexpr const char* kFixed = " --print --input-format stream-json --output-format stream-json "
                               "--verbose --include-partial-messages "
                               "--permission-prompt-tool stdio";

TEST(AgentWire, CommandLineWithoutOptionsHasTheFixedFlags) {
    EXPECT_EQ(mbagent::commandLine(mbtest::onlyCommand("/opt/claude")),
              std::string("exec /opt/claude") + kFixed);
}

TEST(AgentWire, CommandLineHasAllOptionsInOrder) {
    const StartOptions options{.command = "/my opt/claude",
                               .cwd = "/not/in/it",
                               .model = "opus it's",
                               .permissionMode = "acceptEdits",
                               .resume = "id 1",
                               .additionalDirectories = {"/b b", "/a", ""},
                               .extraArguments = {"--effort", "high", "", "x y", "$HOME"}};
    EXPECT_EQ(mbagent::commandLine(options),
              std::string("exec '/my opt/claude'") + kFixed +
                  " --permission-mode acceptEdits --model 'opus it'\\''s' --resume 'id 1'"
                  " --add-dir '/b b' --add-dir /a --add-dir ''"
                  " --effort high '' 'x y' '$HOME'");
}

TEST(AgentWire, PermissionModeBringsItsFlags) {
    struct Row {
        const char* mode;
        const char* flags;
    };
    constexpr Row kRows[] = {
        {"", ""},
        {"acceptEdits", " --permission-mode acceptEdits"},
        {"plan", " --permission-mode plan"},
        {"bypassPermissions",
         " --permission-mode bypassPermissions --allow-dangerously-skip-permissions"},
        {"BypassPermissions", " --permission-mode BypassPermissions"},
        {"bypassPermissions ", " --permission-mode 'bypassPermissions '"}};
    StartOptions options = mbtest::onlyCommand("c");
    options.model = "m";
    for (const Row& row : kRows) {
        options.permissionMode = row.mode;
        EXPECT_EQ(mbagent::commandLine(options),
                  std::string("exec c") + kFixed + row.flags + " --model m");
    }
}

TEST(AgentWire, LinesAreTheFixedTextsAroundWhatIsGiven) {
    EXPECT_EQ(mbagent::textTurn("say \"hi\"\n"),
              R"({"type":"user","message":{"role":"user","content":)"
              R"([{"type":"text","text":"say \"hi\"\n"}]}})");
    EXPECT_EQ(mbagent::richTurn("[ 1, {} ]"),
              R"({"type":"user","message":{"role":"user","content":[ 1, {} ]}})");
    EXPECT_EQ(mbagent::controlRequest("a\"b", R"({"subtype":"x"})"),
              R"({"type":"control_request","request_id":"a\"b","request":{"subtype":"x"}})");
    EXPECT_EQ(mbagent::interruptRequest("mb-interrupt-7"),
              R"({"type":"control_request","request_id":"mb-interrupt-7",)"
              R"("request":{"subtype":"interrupt"}})");
    EXPECT_EQ(mbagent::controlResponse(R"({"a": 1})"),
              R"({"type":"control_response","response":{"a": 1}})");
}

std::string expectedEscape(unsigned char byte) {
    switch (byte) {
    case '"':
        return "\\\"";
    case '\\':
        return "\\\\";
    case 8:
        return "\\b";
    case 9:
        return "\\t";
    case 10:
        return "\\n";
    case 12:
        return "\\f";
    case 13:
        return "\\r";
    default:
        break;
    }
    constexpr const char* kDigits = "0123456789abcdef";
    if (byte < 32) return std::string("\\u00") + kDigits[byte >> 4] + kDigits[byte & 15];
    return std::string(1, static_cast<char>(byte));
}

TEST(AgentWire, JsonQuoteEscapesControlsAndCopiesAllElse) {
    std::string text, expected = "\"";
    for (int byte = 0; byte < 256; ++byte) {
        text += static_cast<char>(byte);
        expected += expectedEscape(static_cast<unsigned char>(byte));
    }
    EXPECT_EQ(mbagent::jsonQuote(text), expected + "\"");
    EXPECT_EQ(mbagent::jsonQuote(""), "\"\"");
    bool ok = false;
    EXPECT_EQ(mbjson::Json::parse(mbagent::jsonQuote(text.substr(0, 128)), &ok).asString(),
              text.substr(0, 128));
    EXPECT_TRUE(ok);
}

TEST(AgentWire, QuotedArgumentComesBackFromTheShell) {
    EXPECT_EQ(mbagent::quoteArgument("plain-1.2"), "plain-1.2");
    EXPECT_EQ(mbagent::quoteArgument(""), "''");
    for (const char* word : {"a b", "it's", "$HOME `x` \"y\" \\", "line\nline", "*"})
        EXPECT_EQ(mbtest::runFor("printf %s " + mbagent::quoteArgument(word)).out, word);
}

int numberOf(const std::string& id, const std::string& prefix) {
    EXPECT_EQ(id.substr(0, prefix.size()), prefix);
    return std::stoi(id.substr(prefix.size()));
}

TEST(AgentWire, IdsOfBothKindsCountApart) {
    const int control = numberOf(mbagent::nextControlId(), "mb-control-");
    const int interrupt = numberOf(mbagent::nextInterruptId(), "mb-interrupt-");
    EXPECT_EQ(mbagent::nextControlId(), "mb-control-" + std::to_string(control + 1));
    EXPECT_EQ(mbagent::nextControlId(), "mb-control-" + std::to_string(control + 2));
    EXPECT_EQ(mbagent::nextInterruptId(), "mb-interrupt-" + std::to_string(interrupt + 1));
}

// Runs itself once more, as it only holds in a fresh process.
TEST(AgentWire, FirstIdsOfAProcessEndInOne) {
    if (::getenv("MB_FRESH_PROCESS")) {
        EXPECT_EQ(mbagent::nextControlId(), "mb-control-1");
        EXPECT_EQ(mbagent::nextInterruptId(), "mb-interrupt-1");
        return;
    }
    const mbtest::ScopedEnv fresh({{"MB_FRESH_PROCESS", std::string("yes")}});
    const mbproc::Result result =
        mbtest::runFor("exec /proc/" + std::to_string(::getpid()) +
                       "/exe --gtest_filter=AgentWire.FirstIdsOfAProcessEndInOne");
    EXPECT_EQ(result.code, 0) << result.out << result.err;
    EXPECT_NE(result.out.find("[  PASSED  ] 1 test."), std::string::npos) << result.out;
}

TEST(AgentWire, ThreadsNeverGetTheSameId) {
    const int before = numberOf(mbagent::nextControlId(), "mb-control-");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (int n = 0; n < 500; ++n) (void)mbagent::nextControlId();
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(numberOf(mbagent::nextControlId(), "mb-control-"), before + 2001);
}

}  // namespace
