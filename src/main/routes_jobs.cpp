// One-shot jobs over the user's files: rewriting, remarks on a file, a map, finding, blueprints.

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

#include "git/git.hpp"
#include "main/jobs.hpp"
#include "main/prompts.hpp"
#include "main/routes.hpp"
#include "util/util.hpp"

namespace mbapp {

using mbjson::Json;
using mbnet::Request;
using mbnet::Response;

namespace {

constexpr uint32_t kEditMs = 180000;
constexpr uint32_t kNotesMs = 90000;
constexpr uint32_t kMapMs = 420000;
constexpr uint32_t kFindMs = 180000;
constexpr uint32_t kAskMs = 300000;
constexpr uint32_t kAgentMs = 900000;
constexpr uint32_t kFileDiffMs = 15000;

constexpr size_t kNotesFileBytes = 400000;
constexpr size_t kNotesLines = 1500;
constexpr size_t kNotesDiffBytes = 20000;
constexpr size_t kNotes = 4;
constexpr size_t kHits = 6;
constexpr size_t kContextBytes = 150000;
constexpr size_t kExecBytes = 200000;

Response answerWith(const char* key, Json value) {
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set(key, std::move(value));
    return Response::json(answer.dump());
}

std::string firstRoot(const App& app) { return rootPathFor(app, ""); }

Response edit(App& app, const Request& request) {
    const Json body = parseBody(request);
    EditRequest given = {mbutil::trim(body["instruction"].asString()), body["code"].asString(),
                         body["language"].asString(), body["path"].asString(),
                         body["context"].asString()};
    if (given.instruction.empty())
        return Response::error(400, "nothing to do - describe the change");
    if (given.code.empty()) return Response::error(400, "nothing selected to rewrite");
    if (given.language.empty()) given.language = "lua";
    ClaudeJob job = jobIn(app, firstRoot(app), kEditMs);
    if (job.command.empty()) return Response::error(500, kNoClaude);
    job.prompt = editPrompt(given);
    const mbproc::Result result = runClaude(job);
    if (!result.started || result.code != 0)
        return Response::error(500, failureWords(result, "the edit failed"));
    return answerWith("result", mbutil::toUtf8Lenient(result.out));
}

std::string numberedLines(const std::string& text) {
    std::string numbered;
    size_t begin = 0;
    for (size_t line = 1; line <= kNotesLines && begin < text.size(); ++line) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        numbered += std::to_string(line) + ": " + text.substr(begin, end - begin) + "\n";
        begin = end + 1;
    }
    return numbered;
}

// What changed in the file since the last commit; empty outside of a repository.
std::string changesOf(const std::string& file) {
    mbproc::Options options;
    options.cwd = mbgit::discoverRoot(mbutil::dirName(file));
    options.timeoutMs = kFileDiffMs;
    if (options.cwd.empty()) return "";
    mbproc::Result result = mbproc::run(
        "git --no-optional-locks diff --no-color -U2 HEAD -- " + mbproc::quote(file), options);
    if (!result.started || result.code != 0) return "";
    keepBeginning(result.out, kNotesDiffBytes);
    return std::move(result.out);
}

Json notesIn(const std::string& reply) {
    Json notes = Json::array();
    const Json list = extractJson(reply, '[');
    for (const Json& item : list.asArray()) {
        const int32_t line = item["line"].asInt();
        const std::string text = mbutil::trim(item["note"].asString());
        if (line < 1 || text.empty()) continue;
        Json note = Json::object();
        note.set("line", line);
        note.set("kind", item["kind"].isString() ? item["kind"] : Json("edge"));
        note.set("note", text);
        notes.push(std::move(note));
        if (notes.asArray().size() == kNotes) break;
    }
    return notes;
}

Response notes(App& app, const Request& request) {
    const Json body = parseBody(request);
    const std::string& path = body["path"].asString();
    std::string file;
    if (!app.workspace.resolveInside(path, file) || !mbutil::fileExists(file))
        return Response::error(400, "that file is not in the workspace");
    std::string text;
    std::string error;
    if (app.workspace.inspect(path).size > kNotesFileBytes ||
        !app.workspace.readRawFile(path, text, error) || text.size() > kNotesFileBytes)
        return Response::error(400, "the file is too large to read");
    ClaudeJob job = jobIn(app, mbutil::dirName(file), kNotesMs);
    job.model = "haiku";
    job.prompt = notesPrompt(path, numberedLines(text), changesOf(file));
    const ClaudeAnswer answer = askClaude(job);
    return answer.ok ? answerWith("notes", notesIn(answer.text))
                     : Response::error(500, answer.error);
}

Response map(App& app, const Request& request) {
    const std::string name = parseBody(request)["root"].asString();
    const auto config = app.workspace.config();
    const auto root = std::find_if(config->roots.begin(), config->roots.end(),
                                   [&](const mbindex::Root& one) { return one.name == name; });
    if (root == config->roots.end()) return Response::error(400, "no such workspace folder");
    ClaudeJob job = jobIn(app, root->path, kMapMs);
    job.addDirs = {root->path};
    job.prompt = mapPrompt();
    const ClaudeAnswer answer = askClaude(job);
    if (!answer.ok) return Response::error(500, answer.error);
    Json found = extractJson(answer.text, '{');
    if (found["modules"].asArray().empty())
        return Response::error(500, "Claude did not return a map");
    return answerWith("map", std::move(found));
}

// "PATH:LINE | reason". Nothing for other words and for places outside of the workspace.
std::optional<Json> hitIn(const App& app, const std::string& line) {
    const size_t bar = line.find('|');
    const std::string place = mbutil::trim(line.substr(0, bar));
    const size_t colon = place.rfind(':');
    if (colon == std::string::npos) return {};
    int32_t number = 0;
    const char* end = place.data() + place.size();
    const auto parsed = std::from_chars(place.data() + colon + 1, end, number);
    const bool digits = place.find_first_not_of("0123456789", colon + 1) == std::string::npos;
    if (parsed.ec != std::errc() || !digits) return {};
    std::string path = place.substr(0, colon);
    if (path.size() > 1 && (path[0] == '`' || path[0] == '"')) path.erase(0, 1);
    if (!mbutil::startsWith(path, "/")) path = mbutil::pathJoin(firstRoot(app), path);
    std::string relative;
    if (!app.workspace.toRelative(path, relative)) return {};
    Json hit = Json::object();
    hit.set("path", utf8Path(relative));
    hit.set("line", number);
    hit.set("reason", bar == std::string::npos ? "" : mbutil::trim(line.substr(bar + 1)));
    return hit;
}

Response find(App& app, const Request& request) {
    const Json body = parseBody(request);
    const std::string question = mbutil::trim(body["question"].asString());
    if (question.empty()) return Response::error(400, "nothing to look for");
    ClaudeJob job = jobIn(app, firstRoot(app), kFindMs);
    if (job.command.empty()) return Response::error(500, kNoClaude);
    for (const mbindex::Root& root : app.workspace.config()->roots)
        job.addDirs.push_back(root.path);
    if (job.addDirs.empty()) return Response::error(400, "open a folder first");
    std::string seen;
    const std::string& path = body["path"].asString();
    if (path.empty() || !app.workspace.resolveInside(path, seen)) seen.clear();
    job.prompt = findPrompt(question, seen, job.addDirs);
    const mbproc::Result result = runClaude(job);
    if (!result.started || result.code != 0)
        return Response::error(500, failureWords(result, "Claude could not answer"));
    Json hits = Json::array();
    for (const std::string& line : mbutil::split(mbutil::toUtf8Lenient(result.out), '\n')) {
        if (hits.asArray().size() == kHits) break;
        if (auto hit = hitIn(app, mbutil::trim(line))) hits.push(std::move(*hit));
    }
    return answerWith("hits", std::move(hits));
}

// A blueprint's step: prompt, what earlier steps gave, model and folder.
ClaudeJob blueprintJob(const App& app, const Json& body, uint32_t timeoutMs) {
    ClaudeJob job = jobIn(app, rootPathFor(app, body["root"].asString()), timeoutMs);
    job.prompt = mbutil::trim(body["prompt"].asString());
    std::string context = body["context"].asString();
    keepEnd(context, kContextBytes);  // the newest is nearest to the question
    context = mbutil::trim(context);
    if (!context.empty()) job.prompt += "\n\nCONTEXT:\n" + context;
    job.model = modelName(body["model"].asString());
    if (!job.cwd.empty()) job.addDirs = {job.cwd};
    return job;
}

Response blueprintAsk(App& app, const Request& request) {
    const Json body = parseBody(request);
    if (mbutil::trim(body["prompt"].asString()).empty())
        return Response::error(400, "the prompt is empty");
    const ClaudeAnswer answer = askClaude(blueprintJob(app, body, kAskMs));
    return answer.ok ? answerWith("text", answer.text) : Response::error(500, answer.error);
}

Response blueprintAgent(App& app, const Request& request) {
    const Json body = parseBody(request);
    if (mbutil::trim(body["prompt"].asString()).empty())
        return Response::error(400, "the command is empty");
    ClaudeJob job = blueprintJob(app, body, kAgentMs);
    if (job.command.empty()) return Response::error(500, kNoClaude);
    // Without a root it would change files where this program was started.
    if (job.cwd.empty()) return Response::error(400, "open a folder first");
    job.mayEdit = true;
    mbproc::Result result = runClaude(job);
    if (result.started && result.code == 0)
        return answerWith("text", mbutil::toUtf8Lenient(mbutil::trim(result.out)));
    result.err = mbutil::trim(result.err);
    result.out = mbutil::trim(result.out);
    return Response::error(500, failureWords(result, "Claude could not finish"));
}

Json outputEnd(std::string text) {
    text = mbutil::toUtf8Lenient(std::move(text));
    keepEnd(text, kExecBytes);
    return text;
}

Response blueprintExec(App& app, const Request& request) {
    const Json body = parseBody(request);
    const std::string command = mbutil::trim(body["command"].asString());
    if (command.empty()) return Response::error(400, "the command is empty");
    if (command.find_first_of("\r\n") != std::string::npos)
        return Response::error(400, "a command must be one line");
    mbproc::Options options;
    options.cwd = rootPathFor(app, body["root"].asString());
    const std::string& given = body["cwd"].asString();
    if (const std::string folder = mbutil::trim(given); !folder.empty()) {
        if (!app.workspace.resolveInside(folder, options.cwd) || !mbutil::dirExists(options.cwd))
            return Response::error(400, "that folder is not in the workspace: " + given);
    }
    const double seconds = std::clamp(body["timeout"].asNumber(300), 1.0, 1800.0);
    options.timeoutMs = static_cast<uint32_t>(seconds * 1000);
    mbproc::Result result = mbproc::run(command + " </dev/null", options);
    if (!result.started) return Response::error(500, result.err);
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("exitCode", result.code);
    answer.set("out", outputEnd(std::move(result.out)));
    answer.set("err", outputEnd(std::move(result.err)));
    return Response::json(answer.dump());
}

}  // namespace

void registerJobRoutes(App& app) {
    addRoute(app, "/api/agent/edit", edit);
    addRoute(app, "/api/agent/notes", notes);
    addRoute(app, "/api/agent/map", map);
    addRoute(app, "/api/blueprint/ask", blueprintAsk);
    addRoute(app, "/api/blueprint/agent", blueprintAgent);
    addRoute(app, "/api/blueprint/exec", blueprintExec);
    addRoute(app, "/api/agent/find", find);
}

}  // namespace mbapp
