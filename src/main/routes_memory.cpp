#include <optional>

#include "main/routes.hpp"
#include "memory/memory.hpp"
#include "util/util.hpp"

namespace mbapp {

using mbjson::Json;
using mbnet::Request;
using mbnet::Response;

namespace {

std::string memoryFolder(const App& app) {
    std::vector<std::string> paths;
    const auto config = app.workspace.config();
    for (const mbindex::Root& root : config->roots) paths.push_back(root.path);
    return mbmem::directoryFor(paths);
}

// Strict, since a value may be cut within a character.
Json text(const std::string& given) { return Json(mbutil::toUtf8Strict(given)); }

Json entryJson(const mbmem::Entry& entry) {
    Json links = Json::array();
    for (const std::string& link : entry.links) links.push(text(link));
    Json object = Json::object();
    object.set("file", mbutil::toUtf8Lenient(entry.file));
    object.set("name", text(entry.name));
    object.set("description", text(entry.description));
    object.set("type", text(entry.type));
    object.set("modified", text(entry.modified));
    object.set("bytes", entry.bytes);
    object.set("isIndex", entry.isIndex);
    object.set("links", std::move(links));
    return object;
}

Response memoryList(App& app, const Request&) {
    const std::string directory = memoryFolder(app);
    Json entries = Json::array();
    for (const mbmem::Entry& entry : mbmem::list(directory)) entries.push(entryJson(entry));
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("directory", utf8Path(directory));
    answer.set("entries", std::move(entries));
    return Response::json(answer.dump());
}

Response memoryRead(App& app, const Request& request) {
    const std::string file = request.param("file");
    std::string path;
    std::string contents;
    if (!mbmem::resolve(memoryFolder(app), file, path))
        return Response::error(400, "not a memory file");
    if (!mbmem::readNote(path, contents)) return Response::error(404, "no such memory");
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("file", mbutil::toUtf8Lenient(file));
    answer.set("contents", mbutil::toUtf8Lenient(std::move(contents)));
    return Response::json(answer.dump());
}

Response memoryWrite(App& app, const Request& request) {
    const Json body = parseBody(request);
    std::string path;
    if (!mbmem::resolve(memoryFolder(app), body["file"].asString(), path))
        return Response::error(400, "not a memory file");
    if (!mbmem::writeNote(path, body["contents"].asString()))
        return Response::error(500, "could not write the memory");
    return okResponse();
}

// Unlike elsewhere an unknown name is nobody's: setting up another project would be a surprise.
std::string projectPath(const App& app, const std::string& name) {
    const auto config = app.workspace.config();
    for (const mbindex::Root& root : config->roots)
        if (root.name == name) return root.path;
    return "";
}

Response noSuchFolder() { return Response::error(400, "no such workspace folder"); }

Response projectStatus(App& app, const Request& request) {
    const std::string name = request.param("root");
    const std::string path = projectPath(app, name);
    if (path.empty()) return noSuchFolder();
    return Response::json(mbmem::projectStatus(name, path).dump());
}

std::optional<bool> wish(const Json& body, const char* key) {
    return body.has(key) ? std::optional(body[key].asBool()) : std::nullopt;
}

Json listJson(const std::vector<std::string>& words) {
    Json list = Json::array();
    for (const std::string& word : words) list.push(word);
    return list;
}

Response projectSetup(App& app, const Request& request) {
    const Json body = parseBody(request);
    const std::string name = body["root"].asString();
    const std::string path = projectPath(app, name);
    if (path.empty()) return noSuchFolder();
    const mbmem::SetupResult result = mbmem::setUpProject(
        name, path, {wish(body, "memory"), wish(body, "dream"), body["gitignore"].asBool()});
    Json answer = mbmem::projectStatus(name, path);
    answer.set("done", listJson(result.done));
    answer.set("failed", listJson(result.failed));
    return Response::json(answer.dump());
}

}  // namespace

void registerMemoryRoutes(App& app) {
    addRoute(app, "/api/project/status", projectStatus);
    addRoute(app, "/api/project/setup", projectSetup);
    addRoute(app, "/api/memory/list", memoryList);
    addRoute(app, "/api/memory/read", memoryRead);
    addRoute(app, "/api/memory/write", memoryWrite);
}

}  // namespace mbapp
