// The functions with the gh that the machine has, against a server of our own on this machine: what
// gh takes as arguments and how it tells things is its own matter, and may change with its version.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "gh/gh.hpp"
#include "proc/proc.hpp"
#include "support/process.hpp"
#include "support/support.hpp"
#include "util/util.hpp"

namespace {

using mbjson::Json;
using mbtest::slurp;

constexpr const char* kPython = "/usr/bin/python3";
constexpr const char* kHead = "a1b2c3d4e5f60718293a4b5c6d7e8f9012345678";

std::string output(const std::string& command, const std::string& cwd = "") {
    mbproc::Options options;
    options.cwd = cwd;
    options.timeoutMs = 30000;
    return mbproc::run(command, options).out;
}

struct RealGh : testing::Test {
    mbtest::TempDir dir;
    // gh keeps answers in TMPDIR, and what it knows of servers below HOME.
    mbtest::ScopedEnv environment{
        std::map<std::string, std::optional<std::string>>{{"HOME", dir.mkdir("home")},
                                                          {"TMPDIR", dir.mkdir("tmp")},
                                                          {"XDG_CONFIG_HOME", std::nullopt},
                                                          {"XDG_CACHE_HOME", std::nullopt},
                                                          {"GH_CONFIG_DIR", std::nullopt},
                                                          {"GH_TOKEN", std::nullopt},
                                                          {"GITHUB_TOKEN", std::nullopt},
                                                          {"GH_REPO", std::nullopt},
                                                          {"GH_HOST", "localhost"},
                                                          {"GH_ENTERPRISE_TOKEN", "dummy"},
                                                          {"SSL_CERT_FILE", dir.at("cert.pem")}}};
    std::string repository = dir.mkdir("repository");

    void SetUp() override {
        if (mbgh::executable().empty()) GTEST_SKIP() << "gh is not installed";
        output("git init -q && git remote add origin https://localhost/o/r.git", repository);
    }
};

// With the server, which stands for https://localhost and so needs port 443.
struct RealGhServed : RealGh {
    mbtest::Process server;

    void SetUp() override {
        RealGh::SetUp();
        if (IsSkipped()) return;
        for (const char* program : {"/usr/bin/openssl", kPython})
            if (::access(program, X_OK) != 0) GTEST_SKIP() << program << " is not there";
        output("/usr/bin/openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes "
               "-keyout " +
               dir.at("key.pem") + " -out " + dir.at("cert.pem") +
               " -days 2 -subj /CN=localhost -addext subjectAltName=DNS:localhost 2>&1");
        mbtest::Spawn spawn;
        spawn.command = {kPython, GITHUB_SERVER, dir.at("cert.pem"), dir.at("key.pem"),
                         dir.at("log")};
        spawn.environment = mbtest::ownEnvironment();
        spawn.outputPath = dir.at("state");
        server = mbtest::Process(spawn);
        const auto told = [this] { return slurp(dir.at("state")).find('\n') != std::string::npos; };
        ASSERT_TRUE(mbtest::waitUntil([&] { return told() || !server.running(); }, 60000));
        const std::string state = mbutil::trim(slurp(dir.at("state")));
        if (state == "forbidden" || state == "taken") GTEST_SKIP() << "port 443 is " << state;
        ASSERT_EQ(state, "ready");
    }
};

TEST_F(RealGhServed, IsSignedInByTheToken) {
    const mbgh::Availability found = mbgh::check();
    EXPECT_TRUE(found.installed);
    EXPECT_TRUE(found.authenticated);
    EXPECT_EQ(found.message, "");
    const std::string told = output(mbgh::executable() + " --version");
    EXPECT_NE(told.find("version " + found.version + " "), std::string::npos) << told;
    EXPECT_NE(found.version, "");
}

TEST_F(RealGhServed, TellsPullRequestsIssuesAndRuns) {
    EXPECT_EQ(mbgh::nameWithOwner(repository), "o/r");
    const mbgh::List pulls = mbgh::pullRequests(repository, 30);
    ASSERT_EQ(pulls.error, "");
    ASSERT_EQ(pulls.items.asArray().size(), 1u);
    const Json& pull = pulls.items[0];
    EXPECT_EQ(pull["number"].asInt(), 7);
    EXPECT_EQ(pull["author"]["login"].asString(), "bob");
    EXPECT_EQ(pull["reviewDecision"].asString(), "REVIEW_REQUIRED");
    const Json& check = pull["statusCheckRollup"][0];
    EXPECT_EQ(check["conclusion"].asString(), "SUCCESS");
    EXPECT_EQ(check["detailsUrl"].asString(), "https://localhost/o/r/actions/runs/1");
    EXPECT_EQ(pull["labels"][0]["name"].asString(), "fish");
    const mbgh::List issues = mbgh::issues(repository, 30);
    EXPECT_EQ(issues.error, "");
    EXPECT_EQ(issues.items[0]["title"].asString(), "They bite");
    const mbgh::List runs = mbgh::runs(repository, 20);
    EXPECT_EQ(runs.error, "");
    EXPECT_EQ(runs.items[0]["databaseId"].asInt(), 11);
    EXPECT_EQ(runs.items[0]["conclusion"].asString(), "failure");
}

TEST_F(RealGhServed, ReadsTheDiffOfAPullRequest) {
    mbgh::PullRequest found;
    std::string error;
    ASSERT_TRUE(mbgh::pullRequestDiff(repository, 7, found, error)) << error;
    EXPECT_EQ(found.head, kHead);
    EXPECT_EQ(found.title, "Count the fish");
    EXPECT_TRUE(mbutil::startsWith(found.diff, "diff --git a/fish.c b/fish.c\n"));
    EXPECT_TRUE(mbutil::endsWith(found.diff, "+int count;\n"));
}

TEST_F(RealGhServed, PostsACommentAsItWasWritten) {
    mbgh::ReviewComment comment;
    comment.number = 7;
    comment.head = kHead;
    comment.path = "it's a fish.c";
    comment.line = 2;
    comment.body = "\"Why\" `count` $HOME?\n\n- 'one'\n@two\n";
    std::string url;
    std::string error;
    ASSERT_TRUE(mbgh::postReviewComment(repository, comment, url, error)) << error;
    EXPECT_EQ(url, "https://localhost/o/r/pull/7#discussion_r1");
    const auto lines = mbutil::split(mbutil::trim(slurp(dir.at("log"))), '\n');
    const Json posted = Json::parse(Json::parse(lines.back())[2].asString());
    EXPECT_EQ(posted["body"].asString(), comment.body);
    EXPECT_EQ(posted["path"].asString(), comment.path);
    EXPECT_EQ(posted["commit_id"].asString(), kHead);
    EXPECT_EQ(posted["line"].asInt(), 2);
    EXPECT_EQ(posted["side"].asString(), "RIGHT");
}

TEST_F(RealGhServed, ARefusedCommentFailsWithItsWordsAndLeavesNoFile) {
    mbgh::ReviewComment comment;
    comment.number = 7;
    comment.head = kHead;
    comment.path = "fish.c";
    comment.line = 99;
    comment.body = "nowhere";
    std::string url = "untouched";
    std::string error;
    EXPECT_FALSE(mbgh::postReviewComment(repository, comment, url, error));
    EXPECT_NE(error.find("Validation Failed (HTTP 422)"), std::string::npos) << error;
    EXPECT_EQ(url, "untouched");
    for (const auto& entry : std::filesystem::directory_iterator(dir.at("tmp")))
        EXPECT_EQ(entry.path().filename().string().find("marlin-pr-comment"), std::string::npos);
}

TEST_F(RealGh, WithoutATokenNobodyIsSignedIn) {
    const mbtest::ScopedEnv signedOut{
        std::map<std::string, std::optional<std::string>>{{"GH_ENTERPRISE_TOKEN", std::nullopt}}};
    const mbgh::Availability found = mbgh::check();
    EXPECT_TRUE(found.installed);
    EXPECT_FALSE(found.authenticated);
    EXPECT_EQ(found.message, "Signed out of GitHub. Run `gh auth login` in a terminal.");
    EXPECT_NE(found.version, "");
}

TEST_F(RealGh, AFolderThatGitHubDoesNotKnowGivesItsWords) {
    const std::string plain = dir.mkdir("plain");
    output("git init -q", plain);
    EXPECT_EQ(mbgh::nameWithOwner(plain), "");
    const mbgh::List pulls = mbgh::pullRequests(plain, 30);
    EXPECT_EQ(pulls.items.asArray().size(), 0u);
    EXPECT_NE(pulls.error, "");
}

}  // namespace
