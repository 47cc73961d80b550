#include "dispatch/task.hpp"

#include "util/util.hpp"

namespace mbdispatch {

using mbjson::Json;

namespace {

// Paths, names of branches and the CLI's words may be of any encoding.
Json utf8(const std::string& text) { return mbutil::toUtf8Lenient(text); }

}  // namespace

Json describe(const Task& task) {
    Json object = Json::object();
    object.set("id", task.id);
    object.set("title", utf8(task.work.title));
    object.set("repoRoot", utf8(task.work.repoRoot));
    object.set("directory", utf8(task.work.directory));
    object.set("branch", task.work.branch);
    object.set("baseBranch", utf8(task.baseBranch));
    object.set("model", utf8(task.model));
    object.set("mode", utf8(task.mode));
    object.set("status", task.status);
    object.set("sessionId", utf8(task.sessionId));
    object.set("error", utf8(task.error));
    object.set("cost", task.cost);
    object.set("createdAt", static_cast<double>(task.createdAt));
    object.set("try", task.tryNumber);
    object.set("tries", task.tries);
    object.set("worktree", !task.work.branch.empty());
    object.set("live", task.run != nullptr);
    return object;
}

bool hear(Task& task, const Json& message) {
    const std::string& type = message["type"].asString();
    if (type == "system" && message["subtype"].asString() == "init" &&
        message["session_id"].isString())
        task.sessionId = message["session_id"].asString();
    if (type != "result") return false;
    const bool failed = message["is_error"].asBool();
    task.status = failed ? kFailed : kDone;
    task.cost = message["total_cost_usd"].asNumber(task.cost);
    if (failed) task.error = message["result"].asString();
    return true;
}

}  // namespace mbdispatch
