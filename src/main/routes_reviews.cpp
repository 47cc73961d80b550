// One-shot jobs over changes: the commit message, a look at what is pending, a pull request.

#include <utility>

#include "gh/gh.hpp"
#include "git/git.hpp"
#include "git/history.hpp"
#include "main/jobs.hpp"
#include "main/prompts.hpp"
#include "main/routes.hpp"
#include "util/util.hpp"

namespace mbapp {

using mbjson::Json;
using mbnet::Request;
using mbnet::Response;

namespace {

constexpr uint32_t kMessageMs = 120000;
constexpr uint32_t kReviewMs = 180000;
constexpr uint32_t kPullRequestMs = 300000;

constexpr size_t kMessageDiffBytes = 60000;
constexpr size_t kReviewDiffBytes = 120000;
constexpr int kSubjects = 8;

constexpr const char* kNoRepository = "no repository";

std::vector<std::string> recentSubjects(const std::string& root) {
    std::vector<std::string> subjects;
    for (const mbgit::Commit& commit : mbgit::log(root, kSubjects, ""))
        subjects.push_back(commit.subject);
    return subjects;
}

Response message(App& app, const Request& request) {
    const Json body = parseBody(request);
    const std::string root = app.repoRootFor(body["repo"].asString());
    if (root.empty()) return Response::error(400, kNoRepository);
    std::string diff;
    std::string error;
    if (!mbgit::pendingDiff(root, body["everything"].asBool(), diff, error))
        return Response::error(400, error.empty() ? kNoRepository : error);
    if (mbutil::trim(diff).empty()) return Response::error(400, "there is nothing to describe");
    keepBeginning(diff, kMessageDiffBytes);
    ClaudeJob job = jobIn(app, root, kMessageMs);
    job.prompt = commitMessagePrompt(recentSubjects(root), diff);
    const ClaudeAnswer reply = askClaude(job);
    if (!reply.ok) return Response::error(500, reply.error);
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("message", withoutFence(reply.text));
    return Response::json(answer.dump());
}

Response review(App& app, const Request& request) {
    const Json body = parseBody(request);
    const bool everything = body["everything"].asBool();
    const std::string root = rootPathFor(app, body["repo"].asString());
    if (root.empty()) return Response::error(400, kNoRepository);
    std::string diff;
    std::string error;
    if (!mbgit::pendingDiff(root, everything, diff, error)) return Response::error(400, error);
    if (mbutil::trim(diff).empty())
        return Response::error(400,
                               everything ? "there are no changes to review" : "nothing is staged");
    const bool cut = keepBeginning(diff, kReviewDiffBytes);
    ClaudeJob job = jobIn(app, root, kReviewMs);
    if (job.command.empty()) return Response::error(500, kNoClaude);
    job.addDirs = {root};
    job.prompt = changeReviewPrompt(diff, cut);
    mbproc::Result result = runClaude(job);
    if (!result.started || result.code != 0) {
        result.err = mbutil::trim(result.err);
        return Response::error(500, failureWords(result, "Claude could not review this"));
    }
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("review", mbutil::toUtf8Lenient(mbutil::trim(result.out)));
    answer.set("truncated", cut);
    return Response::json(answer.dump());
}

// Those that can be placed on a line.
Json commentsIn(const Json& reply) {
    Json comments = Json::array();
    for (const Json& item : reply["comments"].asArray()) {
        const int32_t line = item["line"].asInt();
        if (item["path"].asString().empty() || line < 1 || item["body"].asString().empty())
            continue;
        Json comment = Json::object();
        comment.set("path", item["path"]);
        comment.set("line", line);
        comment.set("body", item["body"]);
        comments.push(std::move(comment));
    }
    return comments;
}

Response pullRequest(App& app, const Request& request) {
    const Json body = parseBody(request);
    const std::string root = app.repoRootFor(body["repo"].asString());
    const int32_t number = body["number"].asInt();
    const char* const unknown = "no such pull request";
    if (root.empty() || number < 1) return Response::error(400, unknown);
    mbgh::PullRequest found;
    std::string error;
    if (!mbgh::pullRequestDiff(root, number, found, error))
        return Response::error(400, error.empty() ? unknown : error);
    const bool cut = keepBeginning(found.diff, kReviewDiffBytes);
    ClaudeJob job = jobIn(app, root, kPullRequestMs);
    job.addDirs = {root};
    job.prompt = pullRequestPrompt(found.title, found.diff, cut);
    const ClaudeAnswer reply = askClaude(job);
    if (!reply.ok) return Response::error(500, reply.error);
    const Json told = extractJson(reply.text, '{');
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("summary", told.isObject() ? told["summary"].asString() : reply.text);
    answer.set("comments", commentsIn(told));
    answer.set("head", found.head);
    answer.set("title", found.title);
    return Response::json(answer.dump());
}

}  // namespace

void registerReviewRoutes(App& app) {
    addRoute(app, "/api/git/message", message);
    addRoute(app, "/api/github/pr-review", pullRequest);
    addRoute(app, "/api/git/review", review);
}

}  // namespace mbapp
