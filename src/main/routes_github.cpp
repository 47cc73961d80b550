#include <future>
#include <utility>

#include "gh/gh.hpp"
#include "git/git.hpp"
#include "main/desktop.hpp"
#include "main/routes.hpp"
#include "util/util.hpp"

namespace mbapp {

using mbjson::Json;
using mbnet::Request;
using mbnet::Response;

namespace {

constexpr int kPulls = 30;
constexpr int kIssues = 30;
constexpr int kRuns = 20;

Json text(const std::string& given) { return Json(mbutil::toUtf8Lenient(given)); }

Json availabilityJson(const mbgh::Availability& found) {
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("installed", found.installed);
    answer.set("authenticated", found.authenticated);
    answer.set("account", text(found.account));
    answer.set("message", text(found.message));
    return answer;
}

Response status(App&, const Request&) {
    const mbgh::Availability found = mbgh::check();
    Json answer = availabilityJson(found);
    answer.set("version", text(found.version));
    return Response::json(answer.dump());
}

// Asks for everything at once; where the system has no thread left, one after the other.
Json overviewOf(const mbindex::Root& root) {
    const auto ask = [&](auto function, auto... arguments) {
        return std::async(std::launch::async | std::launch::deferred, function, root.path,
                          arguments...);
    };
    auto name = ask(mbgh::nameWithOwner);
    auto pulls = ask(mbgh::pullRequests, kPulls);
    auto issues = ask(mbgh::issues, kIssues);
    auto runs = ask(mbgh::runs, kRuns);
    Json row = Json::object();
    row.set("name", utf8Path(root.name));
    row.set("nameWithOwner", text(name.get()));
    std::string error;
    const auto add = [&](const char* key, mbgh::List list) {
        row.set(key, std::move(list.items));
        if (error.empty()) error = std::move(list.error);
    };
    add("pulls", pulls.get());
    add("issues", issues.get());
    add("runs", runs.get());
    row.set("error", text(error));
    return row;
}

Response overview(App& app, const Request& request) {
    const std::string wanted = request.param("repo");
    const mbgh::Availability found = mbgh::check();
    Json rows = Json::array();
    if (found.authenticated)
        for (const mbindex::Root& root : app.workspace.config()->roots)
            if (wanted.empty() || root.name == wanted) rows.push(overviewOf(root));
    Json answer = availabilityJson(found);
    answer.set("repos", std::move(rows));
    return Response::json(answer.dump());
}

Response open(App&, const Request& request) {
    const std::string url = parseBody(request)["url"].asString();
    if (!mbutil::startsWith(url, "https://"))
        return Response::error(400, "only https URLs can be opened");
    openWithDesktop(url);
    return okResponse();
}

Response comment(App& app, const Request& request) {
    const Json body = parseBody(request);
    mbgh::ReviewComment given;
    given.head = body["head"].asString();
    given.number = body["number"].asInt();
    given.path = body["path"].asString();
    given.line = body["line"].asInt();
    given.body = body["body"].asString();
    if (!mbgit::isHash(given.head) || given.number < 1)
        return Response::error(400, "a pull request and its head commit are needed");
    std::string url;
    std::string error;
    if (!mbgh::postReviewComment(rootPathFor(app, body["repo"].asString()), given, url, error))
        return Response::error(400, error);
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("url", text(url));
    return Response::json(answer.dump());
}

}  // namespace

void registerGithubRoutes(App& app) {
    addRoute(app, "/api/github/status", status);
    addRoute(app, "/api/github/overview", overview);
    addRoute(app, "/api/github/open", open);
    addRoute(app, "/api/github/pr-comment", comment);
}

}  // namespace mbapp
