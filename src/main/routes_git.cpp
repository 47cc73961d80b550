#include <utility>

#include "git/actions.hpp"
#include "git/git.hpp"
#include "git/history.hpp"
#include "main/routes.hpp"
#include "util/util.hpp"

namespace mbapp {

using mbjson::Json;
using mbnet::Request;
using mbnet::Response;

namespace {

std::string repositoryOf(const App& app, const Request& request) {
    return app.repoRootFor(request.param("repo"));
}

Response answerWith(Json answer) {
    answer.set("ok", true);
    return Response::json(answer.dump());
}

Response status(App& app, const Request& request) {
    const std::string wanted = request.param("repo");
    std::vector<mbgit::Repository> repositories = app.repoRoots;
    if (!wanted.empty())
        std::erase_if(repositories, [&](const auto& one) { return one.name != wanted; });
    return Response::json(mbgit::statusAnswer(repositories, request.param("stats") == "1"));
}

Response diff(App& app, const Request& request) {
    const std::string path = request.param("path");
    mbgit::FileSides sides;
    std::string error;
    if (!mbgit::fileSides(repositoryOf(app, request), request.param("rev"), path, sides, error))
        return Response::error(400, error);
    Json answer = mbgit::sidesJson(std::move(sides));
    answer.set("path", mbutil::toUtf8Lenient(path));
    return answerWith(std::move(answer));
}

Response graph(App& app, const Request& request) {
    return answerWith(
        mbgit::graphJson(repositoryOf(app, request), mbgit::graphLimit(request.param("limit"))));
}

Response log(App& app, const Request& request) {
    return answerWith(mbgit::logJson(repositoryOf(app, request),
                                     mbgit::logLimit(request.param("limit")), request.param("path"),
                                     request.param("unpushed") == "1"));
}

Response commitDetail(App& app, const Request& request) {
    mbgit::CommitDetail detail;
    std::string error;
    if (!mbgit::commitDetail(repositoryOf(app, request), request.param("hash"), detail, error))
        return Response::error(400, error);
    return answerWith(mbgit::commitDetailJson(detail));
}

Response commitDiff(App& app, const Request& request) {
    const mbgit::CommitDiffRequest wanted = {request.param("hash"), request.param("parent"),
                                             request.param("path"), request.param("old")};
    mbgit::FileSides sides;
    std::string error;
    if (!mbgit::commitSides(repositoryOf(app, request), wanted, sides, error))
        return Response::error(400, error);
    return answerWith(mbgit::sidesJson(std::move(sides)));
}

Response branches(App& app, const Request& request) {
    return answerWith(
        mbgit::branchesJson(repositoryOf(app, request), request.param("remote") == "1"));
}

// Every action answers with the repository's fresh status.
Response act(App& app, const Request& request, const mbgit::Action& action) {
    const Json body = parseBody(request);
    const std::string& repo = body["repo"].asString();
    const std::string root = app.repoRootFor(repo);
    std::string output;
    std::string error;
    if (!mbgit::runAction(action, root, mbgit::readActionInput(body), output, error))
        return Response::error(400, error);
    std::string name = repo;
    if (name.empty() && !app.repoRoots.empty()) name = app.repoRoots.front().name;
    Json fresh = mbgit::statusJson(mbgit::status(root));
    fresh.set("name", name);
    Json answer = Json::object();
    answer.set("output", mbutil::toUtf8Lenient(output));
    answer.set("status", std::move(fresh));
    return answerWith(std::move(answer));
}

}  // namespace

void registerGitRoutes(App& app) {
    addRoute(app, "/api/git/status", status);
    addRoute(app, "/api/git/diff", diff);
    addRoute(app, "/api/git/branches", branches);
    addRoute(app, "/api/git/graph", graph);
    addRoute(app, "/api/git/commit-detail", commitDetail);
    addRoute(app, "/api/git/commit-diff", commitDiff);
    addRoute(app, "/api/git/log", log);
    for (const mbgit::Action& action : mbgit::actions())
        addRoute(
            app, "/api/git/" + std::string(action.name),
            [action](App& owner, const Request& request) { return act(owner, request, action); });
}

}  // namespace mbapp
