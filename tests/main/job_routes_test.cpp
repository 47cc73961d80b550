#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>

#include "bridge.hpp"
#include "proc/proc.hpp"
#include "util/util.hpp"

namespace {

using mbjson::Json;
using mbtest::Answer;
using mbtest::Bridge;
using mbtest::list;
using mbtest::object;

struct JobRoutes : testing::Test {
    Bridge bridge;
    std::string root = bridge.addRoot("proj");
    mbtest::ScopedEnv environment{std::map<std::string, std::optional<std::string>>{
        {"FAKE_CLAUDE_LOG", bridge.dir.mkdir("log")},
        {"FAKE_CLAUDE_SCRIPT", bridge.dir.write("script", "await-end\nraw done\n")},
        {"FAKE_GH", bridge.dir.mkdir("gh")},
        {"GIT_CONFIG_NOSYSTEM", "1"},
        {"GIT_AUTHOR_NAME", "A"},
        {"GIT_AUTHOR_EMAIL", "a@b"},
        {"GIT_COMMITTER_NAME", "C"},
        {"GIT_COMMITTER_EMAIL", "c@d"},
        {"PATH", bridge.dir.mkdir("bin") + ":/usr/bin:/bin"}}};

    void SetUp() override {
        mbws::Config next = *bridge.app.workspace.config();
        next.claudeCommand = FAKE_CLAUDE;
        bridge.app.workspace.setConfig(std::move(next));
        ASSERT_EQ(::symlink(FAKE_GH_PROGRAM, bridge.dir.at("bin/gh").c_str()), 0);
    }
    // What Claude does once it has read the prompt. The text's line ends are the script's "\n".
    void claude(const std::string& commands) {
        bridge.dir.write("script", "await-end\n" + commands + "\n");
    }
    void reply(const std::string& text) { claude("raw " + text); }
    std::string prompt() { return mbtest::slurp(bridge.dir.at("log/stdin")); }
    std::string arguments() {
        std::string text = mbtest::slurp(bridge.dir.at("log/argv"));
        for (char& byte : text)
            if (byte == '\n') byte = ' ';
        return mbutil::trim(text);
    }
    bool asked() { return mbutil::fileExists(bridge.dir.at("log/argv")); }
    Answer post(const std::string& route, const Json& body) {
        std::filesystem::remove(bridge.dir.at("log/stdin"));  // it would be appended to
        return bridge.post("/api/" + route, body);
    }
    // The words of the error that the route answers with, behind its status.
    std::string refusal(const std::string& route, const Json& body) {
        const Answer answer = post(route, body);
        return std::to_string(answer.status) + " " + answer.error();
    }
    std::string sh(const std::string& line) {
        mbproc::Options options;
        options.cwd = root;
        options.timeoutMs = 30000;
        const mbproc::Result result = mbproc::run(line, options);
        EXPECT_EQ(result.code, 0) << line << "\n" << result.err;
        return result.out;
    }
    void makeRepository() {
        bridge.dir.write("proj/a.txt", "one\ntwo\n");
        sh("git init -q -b main && git add -A && git commit -q -m first");
        bridge.app.findRepositories();
    }
};

constexpr const char* kReadOnly =
    "--print --disallowedTools Edit Write NotebookEdit Bash Task WebFetch WebSearch";

TEST_F(JobRoutes, EditRewritesAsItCame) {
    claude("raw new\\n\\n");
    const Answer answer =
        post("agent/edit", object({{"instruction", " do it "}, {"code", " old"}}));
    EXPECT_EQ(answer.body, R"({"ok":true,"result":"new\n\n"})");
    EXPECT_NE(prompt().find("INSTRUCTION: do it\n\nLANGUAGE: lua\n\nCODE:\n old\n\n"),
              std::string::npos);
    EXPECT_EQ(arguments(), kReadOnly);
}

TEST_F(JobRoutes, EditSaysWhatIsMissing) {
    EXPECT_EQ(refusal("agent/edit", object({{"code", "x"}})),
              "400 nothing to do - describe the change");
    EXPECT_EQ(refusal("agent/edit", object({{"instruction", "x"}})),
              "400 nothing selected to rewrite");
    EXPECT_FALSE(asked());
    const Json whole = object({{"instruction", "x"}, {"code", "x"}, {"language", "go"}});
    claude("exit 3");
    EXPECT_EQ(refusal("agent/edit", whole), "500 the edit failed");
    claude("raw words\nexit 3");
    EXPECT_EQ(refusal("agent/edit", whole), "500 words");
    claude("raw words\nerr reason\nexit 3");
    EXPECT_EQ(refusal("agent/edit", whole), "500 reason");
    EXPECT_NE(prompt().find("LANGUAGE: go\n"), std::string::npos);
}

TEST_F(JobRoutes, NotesComeFromAReplyInWords) {
    bridge.dir.write("proj/a.txt", "one\ntwo\n");
    reply(R"(Sure:\n[{"line":1,"kind":"bug","note":" first "},{"line":0,"note":"no"},)"
          R"({"line":2,"note":" "},{"line":2,"kind":3,"note":"second"},{"note":"no"},)"
          R"({"line":3,"note":"c"},{"line":4,"note":"d"},{"line":5,"note":"e"}] Bye.)");
    EXPECT_EQ(post("agent/notes", object({{"path", "proj/a.txt"}})).body,
              R"({"notes":[{"kind":"bug","line":1,"note":"first"},)"
              R"({"kind":"edge","line":2,"note":"second"},{"kind":"edge","line":3,"note":"c"},)"
              R"({"kind":"edge","line":4,"note":"d"}],"ok":true})");
    EXPECT_EQ(arguments(), std::string(kReadOnly) + " --model haiku");
    EXPECT_NE(prompt().find("FILE proj/a.txt:\n1: one\n2: two\n"), std::string::npos);
    reply("nothing");
    EXPECT_EQ(post("agent/notes", object({{"path", "proj/a.txt"}})).body,
              R"({"notes":[],"ok":true})");
}

TEST_F(JobRoutes, NotesLookAtWhatChanged) {
    makeRepository();
    bridge.dir.write("proj/a.txt", "one\nTWO\n");
    reply("[]");
    post("agent/notes", object({{"path", "proj/a.txt"}}));
    EXPECT_NE(prompt().find("Focus on the lines this diff changed:\ndiff --git a/a.txt b/a.txt"),
              std::string::npos);
    EXPECT_NE(prompt().find("-two\n+TWO\n\nReply with only a JSON array"), std::string::npos);
    bridge.dir.write("proj/a.txt", std::string(60000, 'x'));
    post("agent/notes", object({{"path", "proj/a.txt"}}));
    EXPECT_LT(prompt().size(), 60000U + 20000U + 2000U);
    EXPECT_GT(prompt().size(), 60000U + 20000U);
}

TEST_F(JobRoutes, NotesAreBounded) {
    EXPECT_EQ(refusal("agent/notes", object({{"path", "../x"}})),
              "400 that file is not in the workspace");
    EXPECT_EQ(refusal("agent/notes", object({{"path", "proj/none"}})),
              "400 that file is not in the workspace");
    bridge.dir.write("proj/big", std::string(400001, 'x'));
    EXPECT_EQ(refusal("agent/notes", object({{"path", "proj/big"}})),
              "400 the file is too large to read");
    EXPECT_FALSE(asked());
    std::string lines;
    for (int i = 0; i < 2000; ++i) lines += "x\n";
    bridge.dir.write("proj/long", lines);
    reply("[]");
    EXPECT_EQ(post("agent/notes", object({{"path", "proj/long"}})).status, 200);
    EXPECT_NE(prompt().find("\n1500: x\n"), std::string::npos);
    EXPECT_EQ(prompt().find("1501: x"), std::string::npos);
}

TEST_F(JobRoutes, MapNeedsAKnownFolder) {
    EXPECT_EQ(refusal("agent/map", object({{"root", "none"}})), "400 no such workspace folder");
    EXPECT_FALSE(asked());
    reply(R"(```\n{"title":"T","modules":[{"id":"a"}]}\n```)");
    EXPECT_EQ(post("agent/map", object({{"root", "proj"}})).body,
              R"({"map":{"modules":[{"id":"a"}],"title":"T"},"ok":true})");
    EXPECT_EQ(arguments(), std::string(kReadOnly) + " --add-dir " + root);
    for (const char* empty : {"{}", R"({"modules":[]})", "words"}) {
        reply(empty);
        EXPECT_EQ(refusal("agent/map", object({{"root", "proj"}})),
                  "500 Claude did not return a map");
    }
    claude("raw  said \\n\nexit 1");
    EXPECT_EQ(refusal("agent/map", object({{"root", "proj"}})), "500 said");
    claude("exit 1");
    EXPECT_EQ(refusal("agent/map", object({{"root", "proj"}})), "500 Claude could not answer");
}

TEST_F(JobRoutes, FindKeepsPlacesInsideTheWorkspace) {
    const std::string other = bridge.addRoot("my other");
    reply("I looked.\\n" + root +
          "/a.cpp:12 | the place \\n`src/b.cpp:3| left\\n/etc/passwd:1 | no\\n" + other +
          "/c:99999999999 | no\\n" + other + "/c:4x | no\\n" + other + "/c:5\\n");
    EXPECT_EQ(post("agent/find", object({{"question", " where "}, {"path", "proj/x"}})).body,
              R"({"hits":[{"line":12,"path":"proj/a.cpp","reason":"the place"},)"
              R"({"line":3,"path":"proj/src/b.cpp","reason":"left"},)"
              R"({"line":5,"path":"my other/c","reason":""}],"ok":true})");
    EXPECT_EQ(arguments(), std::string(kReadOnly) + " --add-dir " + root + " --add-dir " + other);
    EXPECT_NE(prompt().find("QUESTION: where\nTHE USER IS LOOKING AT: " + root +
                            "/x\nWORKSPACE FOLDERS:\n  " + root + "\n  " + other + "\n\nReply"),
              std::string::npos);
    reply("NONE");
    EXPECT_EQ(post("agent/find", object({{"question", "x"}})).body, R"({"hits":[],"ok":true})");
    EXPECT_EQ(prompt().find("LOOKING"), std::string::npos);
}

TEST_F(JobRoutes, FindGivesAtMostSix) {
    claude("repeat 9 out a:${n}");
    EXPECT_EQ(post("agent/find", object({{"question", "x"}})).json()["hits"].asArray().size(), 6U);
    EXPECT_EQ(refusal("agent/find", Json::object()), "400 nothing to look for");
    bridge.app.workspace.setConfig({});
    EXPECT_EQ(refusal("agent/find", object({{"question", "x"}})), "400 open a folder first");
}

TEST_F(JobRoutes, BlueprintAskTakesTheEndOfItsContext) {
    reply(" answer ");
    const std::string context = "LOST" + std::string(149990, 'x') + "KEPT_END_\\n";
    EXPECT_EQ(post("blueprint/ask", object({{"prompt", " p "},
                                            {"context", context},
                                            {"model", "sonnet-4.5"},
                                            {"root", "proj"}}))
                  .body,
              R"({"ok":true,"text":"answer"})");
    EXPECT_EQ(arguments(), std::string(kReadOnly) + " --model sonnet-4.5 --add-dir " + root);
    EXPECT_EQ(prompt(), "p\n\nCONTEXT:\n" + context.substr(context.size() - 150000));
    post("blueprint/ask", object({{"prompt", "p"}, {"context", " \n"}, {"model", "a; b"}}));
    EXPECT_EQ(prompt(), "p");
    EXPECT_EQ(arguments(), std::string(kReadOnly) + " --add-dir " + root);
    EXPECT_EQ(refusal("blueprint/ask", Json::object()), "400 the prompt is empty");
}

TEST_F(JobRoutes, BlueprintAgentMayEdit) {
    reply(" changed ");
    EXPECT_EQ(post("blueprint/agent", object({{"prompt", "p"}})).body,
              R"({"ok":true,"text":"changed"})");
    EXPECT_EQ(arguments(), "--print --permission-mode acceptEdits --disallowedTools Bash WebFetch "
                           "WebSearch --add-dir " +
                               root);
    claude("exit 2");
    EXPECT_EQ(refusal("blueprint/agent", object({{"prompt", "p"}})), "500 Claude could not finish");
    claude("raw  out \\n\nerr  \\n\nexit 2");
    EXPECT_EQ(refusal("blueprint/agent", object({{"prompt", "p"}})), "500 out");
    EXPECT_EQ(refusal("blueprint/agent", object({{"prompt", " "}})), "400 the command is empty");
    bridge.app.workspace.setConfig({});
    EXPECT_EQ(post("blueprint/agent", object({{"prompt", "p"}})).status, 400);
}

TEST_F(JobRoutes, ExecGivesCodeAndOutput) {
    bridge.dir.mkdir("proj/sub");
    EXPECT_EQ(post("blueprint/exec",
                   object({{"command", "pwd; echo bad >&2; cat; exit 3"}, {"cwd", " proj/sub "}}))
                  .body,
              R"({"err":"bad\n","exitCode":3,"ok":true,"out":")" + root + "/sub\\n\"}");
    EXPECT_EQ(refusal("blueprint/exec", Json::object()), "400 the command is empty");
    EXPECT_EQ(refusal("blueprint/exec", object({{"command", "a\nb"}})),
              "400 a command must be one line");
    for (const char* folder : {"../", "proj/none", "proj/a.txt"})
        EXPECT_EQ(refusal("blueprint/exec", object({{"command", "x"}, {"cwd", folder}})),
                  std::string("400 that folder is not in the workspace: ") + folder);
}

TEST_F(JobRoutes, ExecKeepsTheEndOfLongOutput) {
    const Json answer =
        post("blueprint/exec",
             object({{"command", "head -c 100000 /dev/zero | tr '\\0' a; yes é | head -c 299997; "
                                 "echo EN"}}))
            .json();
    const std::string& out = answer["out"].asString();
    // The cut fell inside of a character, whose rest is gone too.
    EXPECT_EQ(out.size(), 199999U);
    EXPECT_EQ(out.substr(0, 3), "\né");
    EXPECT_EQ(out.substr(out.size() - 3), "EN\n");
}

TEST_F(JobRoutes, ExecIsEndedAtItsLimit) {
    const auto begin = std::chrono::steady_clock::now();
    const Json answer =
        post("blueprint/exec", object({{"command", "echo early; exec sleep 60"}, {"timeout", 0.2}}))
            .json();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
    EXPECT_EQ(answer["out"].asString(), "early\n");
    EXPECT_EQ(answer["exitCode"].asInt(), 1);
}

TEST_F(JobRoutes, MessageDescribesWhatIsPending) {
    EXPECT_EQ(refusal("git/message", Json::object()), "400 no repository");
    makeRepository();
    EXPECT_EQ(refusal("git/message", Json::object()), "400 there is nothing to describe");
    bridge.dir.write("proj/a.txt", "one\nTWO\n");
    EXPECT_EQ(refusal("git/message", object({{"repo", "proj"}})),
              "400 there is nothing to describe");
    EXPECT_FALSE(asked());
    reply(R"(```\nSubject\n\nBody\n```)");
    EXPECT_EQ(post("git/message", object({{"everything", true}})).body,
              R"({"message":"Subject\n\nBody","ok":true})");
    EXPECT_EQ(arguments(), kReadOnly);
    EXPECT_NE(prompt().find("RECENT SUBJECTS:\n  first\n\nDIFF:\ndiff --git"), std::string::npos);
    bridge.dir.write("proj/a.txt", std::string(100000, 'x'));
    post("git/message", object({{"everything", true}}));
    EXPECT_EQ(prompt().substr(prompt().find("DIFF:\n") + 6).size(), 60000U);
}

TEST_F(JobRoutes, ReviewLooksAtTheChange) {
    makeRepository();
    EXPECT_EQ(refusal("git/review", Json::object()), "400 nothing is staged");
    EXPECT_EQ(refusal("git/review", object({{"everything", true}})),
              "400 there are no changes to review");
    bridge.dir.write("proj/a.txt", std::string(200000, 'x'));
    reply(" Looks good. ");
    EXPECT_EQ(post("git/review", object({{"everything", true}})).body,
              R"({"ok":true,"review":"Looks good.","truncated":true})");
    EXPECT_EQ(arguments(), std::string(kReadOnly) + " --add-dir " + root);
    EXPECT_EQ(prompt().substr(prompt().find("DIFF:\n") + 6).size(), 120000U);
    EXPECT_NE(prompt().find("below (cut short"), std::string::npos);
    bridge.dir.write("proj/a.txt", "x\n");
    sh("git add a.txt");
    EXPECT_EQ(post("git/review", Json::object()).body,
              R"({"ok":true,"review":"Looks good.","truncated":false})");
    claude("err  bad \\n\nexit 1");
    EXPECT_EQ(refusal("git/review", Json::object()), "500 bad");
    claude("exit 1");
    EXPECT_EQ(refusal("git/review", Json::object()), "500 Claude could not review this");
    bridge.app.workspace.setConfig({});
    EXPECT_EQ(refusal("git/review", Json::object()), "400 no repository");
}

TEST_F(JobRoutes, APullRequestIsReviewed) {
    makeRepository();
    for (const Json& number : {Json(0), Json("7"), Json()})
        EXPECT_EQ(refusal("github/pr-review", object({{"number", number}})),
                  "400 no such pull request");
    bridge.dir.write("gh/pr-view.out", R"({"headRefOid":"abc","title":"T"})");
    bridge.dir.write("gh/pr-diff.out", std::string(130000, 'd'));
    reply(R"({"summary":"S","comments":[{"path":"a","line":2,"body":"b","x":1},)"
          R"({"path":"a","line":0,"body":"b"},{"line":1,"body":"b"},{"path":"a","line":1}]})");
    EXPECT_EQ(post("github/pr-review", object({{"number", 7}})).body,
              R"({"comments":[{"body":"b","line":2,"path":"a"}],"head":"abc","ok":true,)"
              R"("summary":"S","title":"T"})");
    EXPECT_NE(prompt().find("TITLE: T\n(The diff was cut short.)\nDIFF:\nddd"), std::string::npos);
    EXPECT_EQ(arguments(), std::string(kReadOnly) + " --add-dir " + root);
    reply("just words");
    const Json plain = post("github/pr-review", object({{"number", 7}})).json();
    EXPECT_EQ(plain["summary"].asString(), "just words");
    EXPECT_TRUE(plain["comments"].asArray().empty());
    bridge.dir.write("gh/pr-view.code", "1");
    bridge.dir.write("gh/pr-view.err", "no such thing");
    EXPECT_EQ(refusal("github/pr-review", object({{"number", 7}})), "400 no such thing");
}

using GithubRoutes = JobRoutes;

TEST_F(GithubRoutes, StatusAndOverview) {
    bridge.addRoot("second");
    bridge.dir.write("gh/--version.out", "gh version 2.23.0 x");
    bridge.dir.write("gh/auth-status.err", "account me ");
    EXPECT_EQ(bridge.get("/api/github/status").body,
              R"({"account":"me","authenticated":true,"installed":true,"message":"","ok":true,)"
              R"("version":"2.23.0"})");
    bridge.dir.write("gh/repo-view.out", R"({"nameWithOwner":"o/r"})");
    bridge.dir.write("gh/pr-list.out", R"([{"number":1}])");
    bridge.dir.write("gh/issue-list.code", "1");
    bridge.dir.write("gh/issue-list.err", "no issues");
    bridge.dir.write("gh/run-list.code", "1");
    bridge.dir.write("gh/run-list.err", "no runs");
    EXPECT_EQ(bridge.get("/api/github/overview?repo=second").body,
              R"({"account":"me","authenticated":true,"installed":true,"message":"","ok":true,)"
              R"("repos":[{"error":"no issues","issues":[],"name":"second","nameWithOwner":"o/r",)"
              R"("pulls":[{"number":1}],"runs":[]}]})");
    EXPECT_EQ(bridge.get("/api/github/overview").json()["repos"].asArray().size(), 2U);
    EXPECT_EQ(bridge.get("/api/github/overview?repo=none").json()["repos"].dump(), "[]");
    bridge.dir.write("gh/auth-status.code", "1");
    const Json signedOut = bridge.get("/api/github/overview").json();
    EXPECT_EQ(signedOut["repos"].dump(), "[]");
    EXPECT_TRUE(signedOut["installed"].asBool());
    EXPECT_EQ(signedOut["message"].asString(),
              "Signed out of GitHub. Run `gh auth login` in a terminal.");
}

TEST_F(GithubRoutes, CommentsNeedAHash) {
    for (const Json& body :
         {object({{"number", 1}, {"head", "main"}}), object({{"number", 1}}),
          object({{"head", "0123abc"}}), object({{"head", "0123abc"}, {"number", -1}})})
        EXPECT_EQ(refusal("github/pr-comment", body),
                  "400 a pull request and its head commit are needed");
    bridge.dir.write("gh/repo-view.out", R"({"nameWithOwner":"o/r"})");
    bridge.dir.write("gh/api.out", R"({"html_url":"https://x/1"})");
    const Json whole = object({{"repo", "proj"},
                               {"number", 7},
                               {"head", "0123abc"},
                               {"path", "a b"},
                               {"line", 2},
                               {"body", "it's\n`fine`"}});
    EXPECT_EQ(post("github/pr-comment", whole).body, R"({"ok":true,"url":"https://x/1"})");
    EXPECT_EQ(mbtest::slurp(bridge.dir.at("gh/body")), "it's\n`fine`");
    bridge.dir.write("gh/api.code", "1");
    EXPECT_EQ(refusal("github/pr-comment", whole), "400 gh failed");
}

TEST_F(GithubRoutes, OnlyHttpsIsOpened) {
    for (const char* url : {"http://x", "", "file:///etc/passwd", " https://x"})
        EXPECT_EQ(refusal("github/open", object({{"url", url}})),
                  "400 only https URLs can be opened");
}

}  // namespace
