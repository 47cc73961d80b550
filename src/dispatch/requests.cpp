#include "dispatch/requests.hpp"

#include "agent/launch.hpp"
#include "util/util.hpp"

namespace mbdispatch {

using mbjson::Json;

CreateRequest readCreateRequest(const Json& body, const std::string& directory) {
    CreateRequest request;
    request.prompt = body["task"].asString();
    request.title = body["title"].asString();
    request.directory = directory;
    request.worktree = body["worktree"].asBool(request.worktree);
    request.tries = body["tries"].asInt(request.tries);
    request.plan = body["plan"].asBool(request.plan);
    request.model = body["model"].asString();
    if (mbagent::isPermissionMode(body["mode"].asString())) request.mode = body["mode"].asString();
    return request;
}

int readLimit(const Json& value) { return value.asInt(2); }

bool hasGit(const std::string& folder) {
    const std::string path = folder + "/.git";
    return mbutil::dirExists(path) || mbutil::fileExists(path);
}

}  // namespace mbdispatch
