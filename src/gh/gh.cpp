#include "gh/gh.hpp"

#include <unistd.h>

#include <string_view>
#include <utility>

#include "gh/run.hpp"
#include "proc/proc.hpp"
#include "util/util.hpp"

namespace mbgh {

using mbjson::Json;

namespace {

constexpr uint32_t kVersionMs = 8000;
constexpr uint32_t kAuthMs = 12000;
constexpr uint32_t kJsonMs = 25000;
constexpr uint32_t kDiffMs = 45000;

constexpr const char* kNotInstalled = "the GitHub CLI is not installed";
constexpr const char* kInstall = "Install the GitHub CLI to see pull requests, issues and Actions "
                                 "runs here: winget install GitHub.cli";
constexpr const char* kSignedOut = "Signed out of GitHub. Run `gh auth login` in a terminal.";

constexpr const char* kPullFields =
    "number,title,author,state,isDraft,createdAt,updatedAt,url,headRefName,baseRefName,additions,"
    "deletions,reviewDecision,statusCheckRollup,labels";
constexpr const char* kIssueFields =
    "number,title,author,state,createdAt,updatedAt,url,labels,comments";
constexpr const char* kRunFields = "databaseId,name,displayTitle,status,conclusion,event,"
                                   "headBranch,createdAt,updatedAt,url,workflowName";

// A desktop that was started from a menu often lacks these on PATH.
std::string findExecutable() {
    if (std::string found = mbutil::findOnPath("gh"); !found.empty()) return found;
    for (const std::string& path :
         {std::string("/home/linuxbrew/.linuxbrew/bin/gh"), mbutil::homeDir() + "/.local/bin/gh",
          std::string("/usr/local/bin/gh"), std::string("/snap/bin/gh")})
        if (::access(path.c_str(), X_OK) == 0) return path;
    return "";
}

mbproc::Result runGh(const std::string& args, const std::string& cwd, uint32_t timeoutMs) {
    mbproc::Options options;
    options.cwd = cwd;
    options.timeoutMs = timeoutMs;
    return mbproc::run(mbproc::quote(executable()) + " " + args, options);
}

List list(const std::string& what, const char* fields, const std::string& cwd, int limit) {
    List result;
    Json value;
    (void)runJson(what + " --limit " + std::to_string(limit) + " --json " + fields, cwd, value,
                  result.error);
    if (value.isArray()) result.items = std::move(value);
    return result;
}

// The third word of "gh version 2.23.0 (...)".
std::string versionIn(const std::string& text) {
    const std::vector<std::string> words = mbutil::split(mbutil::trim(text), ' ');
    return words.size() > 2 ? words[2] : "";
}

std::string accountIn(const std::string& text) {
    constexpr std::string_view kBefore = "account ";
    const size_t at = text.find(kBefore);
    if (at == std::string::npos) return "";
    const size_t begin = at + kBefore.size();
    return text.substr(begin, text.find_first_of(" \t\r\n", begin) - begin);
}

}  // namespace

const std::string& executable() {
    static const std::string path = findExecutable();
    return path;
}

Availability check() {
    Availability result;
    if (executable().empty()) {
        result.message = kInstall;
        return result;
    }
    result.installed = true;
    const mbproc::Result version = runGh("--version", "", kVersionMs);
    if (version.started && version.code == 0) result.version = versionIn(version.out);
    const mbproc::Result auth = runGh("auth status", "", kAuthMs);
    if (!auth.started || auth.code != 0) {
        result.message = kSignedOut;
        return result;
    }
    result.authenticated = true;
    // Versions of gh differ in which of the two they print the report on.
    result.account = accountIn(auth.out + auth.err);
    return result;
}

bool runText(const std::string& args, const std::string& cwd, std::string& out, std::string& error,
             uint32_t timeoutMs) {
    if (executable().empty()) {
        error = kNotInstalled;
        return false;
    }
    mbproc::Result result = runGh(args, cwd, timeoutMs);
    if (!result.started || result.code != 0) {
        error = mbutil::trim(result.err);
        if (error.empty()) error = "gh failed";
        return false;
    }
    out = std::move(result.out);
    return true;
}

bool runJson(const std::string& args, const std::string& cwd, Json& value, std::string& error) {
    if (executable().empty()) {
        error = kNotInstalled;
        return false;
    }
    const mbproc::Result result = runGh(args, cwd, kJsonMs);
    if (!result.started) {
        error = result.err.empty() ? "could not run gh" : result.err;
        return false;
    }
    if (result.code != 0) {
        error = mbutil::trim(result.err);
        if (error.empty()) error = "gh exited with code " + std::to_string(result.code);
        return false;
    }
    std::string_view text = result.out;
    constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
    if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark)
        text.remove_prefix(kByteOrderMark.size());
    value = Json::parseText(text);
    return true;
}

List pullRequests(const std::string& cwd, int limit) {
    return list("pr list --state open", kPullFields, cwd, limit);
}

List issues(const std::string& cwd, int limit) {
    return list("issue list --state open", kIssueFields, cwd, limit);
}

List runs(const std::string& cwd, int limit) { return list("run list", kRunFields, cwd, limit); }

std::string nameWithOwner(const std::string& cwd) {
    Json value;
    std::string error;
    if (!runJson("repo view --json nameWithOwner", cwd, value, error)) return "";
    return value["nameWithOwner"].asString();
}

bool pullRequestDiff(const std::string& cwd, int32_t number, PullRequest& found,
                     std::string& error) {
    const std::string id = std::to_string(number);
    Json value;
    if (!runJson("pr view " + id + " --json headRefOid,title", cwd, value, error)) return false;
    found.head = value["headRefOid"].asString();
    found.title = value["title"].asString();
    return runText("pr diff " + id + " --color never", cwd, found.diff, error, kDiffMs);
}

}  // namespace mbgh
