// The history as the page gets it. Names and messages may be of any encoding; JSON has one.

#include <string_view>
#include <unordered_set>
#include <utility>

#include "git/actions.hpp"
#include "git/history.hpp"
#include "git/run.hpp"
#include "git/text.hpp"
#include "util/util.hpp"

namespace mbgit {

using mbjson::Json;

namespace {

Json textJson(const std::string& text) { return mbutil::toUtf8Lenient(text); }

Json hashesJson(const std::vector<std::string>& hashes) {
    Json list = Json::array();
    for (const std::string& hash : hashes) list.push(hash);
    return list;
}

Json commitJson(const Commit& commit) {
    Json object = Json::object();
    object.set("hash", commit.hash);
    object.set("short", commit.shortHash);
    object.set("author", textJson(commit.author));
    object.set("date", textJson(commit.date));
    object.set("subject", textJson(commit.subject));
    object.set("refs", textJson(commit.refs));
    return object;
}

Json graphCommitJson(const GraphCommit& commit) {
    Json object = Json::object();
    object.set("hash", commit.hash);
    object.set("short", commit.shortHash);
    object.set("parents", hashesJson(commit.parents));
    object.set("author", textJson(commit.author));
    object.set("email", textJson(commit.email));
    object.set("time", commit.time);
    object.set("subject", textJson(commit.subject));
    object.set("refs", textJson(commit.refs));
    return object;
}

Json refJson(const RefInfo& ref) {
    Json object = Json::object();
    object.set("name", textJson(ref.name));
    object.set("kind", ref.kind);
    object.set("hash", ref.hash);
    object.set("current", ref.current);
    object.set("upstream", textJson(ref.upstream));
    object.set("ahead", ref.ahead);
    object.set("behind", ref.behind);
    object.set("time", ref.time);
    object.set("subject", textJson(ref.subject));
    return object;
}

Json fileJson(const CommitFile& file) {
    Json object = Json::object();
    object.set("path", pathJson(file.path));
    object.set("oldPath", pathJson(file.oldPath));
    object.set("status", textJson(file.status));
    object.set("additions", file.additions);
    object.set("deletions", file.deletions);
    return object;
}

}  // namespace

Json logJson(const std::string& root, int64_t limit, const std::string& path, bool withPushed) {
    std::vector<std::string> waiting;
    const bool hasUpstream = withPushed && unpushed(root, waiting);
    const std::unordered_set<std::string_view> notPushed(waiting.begin(), waiting.end());
    Json commits = Json::array();
    for (const Commit& commit : log(root, limit, path)) {
        Json object = commitJson(commit);
        if (withPushed) object.set("pushed", hasUpstream && !notPushed.contains(commit.hash));
        commits.push(std::move(object));
    }
    Json answer = Json::object();
    answer.set("commits", std::move(commits));
    if (withPushed) answer.set("hasUpstream", hasUpstream);
    return answer;
}

Json graphJson(const std::string& root, int64_t limit) {
    auto named = startBeside([&root] { return refs(root); });
    Json commits = Json::array();
    for (const GraphCommit& commit : graph(root, limit)) commits.push(graphCommitJson(commit));
    Json list = Json::array();
    for (const RefInfo& ref : named.get()) list.push(refJson(ref));
    Json answer = Json::object();
    answer.set("commits", std::move(commits));
    answer.set("refs", std::move(list));
    return answer;
}

Json commitDetailJson(const CommitDetail& detail) {
    Json object = Json::object();
    object.set("hash", textJson(detail.hash));
    object.set("parents", hashesJson(detail.parents));
    object.set("author", textJson(detail.author));
    object.set("email", textJson(detail.email));
    object.set("time", detail.time);
    object.set("committer", textJson(detail.committer));
    object.set("message", textJson(detail.message));
    object.set("refs", textJson(detail.refs));
    Json files = Json::array();
    for (const CommitFile& file : detail.files) files.push(fileJson(file));
    object.set("files", std::move(files));
    return object;
}

Json branchesJson(const std::string& root, bool includeRemote) {
    Json names = Json::array();
    for (const std::string& name : branches(root, includeRemote)) names.push(textJson(name));
    Json answer = Json::object();
    answer.set("branches", std::move(names));
    return answer;
}

Json sidesJson(FileSides sides) {
    Json object = Json::object();
    object.set("original", mbutil::toUtf8Lenient(std::move(sides.original)));
    object.set("modified", mbutil::toUtf8Lenient(std::move(sides.modified)));
    return object;
}

}  // namespace mbgit
