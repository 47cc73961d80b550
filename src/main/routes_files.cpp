#include <utility>

#include "main/desktop.hpp"
#include "main/routes.hpp"
#include "util/util.hpp"

namespace mbapp {

using mbjson::Json;
using mbnet::Request;
using mbnet::Response;
using mbws::FileInfo;

namespace {

constexpr size_t kReadLimit = 12582912;  // bytes of text that go to the editor

Json fileInfoJson(const FileInfo& info, const std::string& path) {
    Json object = Json::object();
    object.set("path", utf8Path(path));
    object.set("name", utf8Path(mbutil::baseName(path)));
    object.set("exists", info.exists);
    object.set("directory", info.directory);
    object.set("size", info.size);
    object.set("modified", info.modified);
    object.set("kind", info.kind);
    object.set("mime", info.mime);
    object.set("language", info.language);
    object.set("binary", info.binary);
    return object;
}

Response tree(App& app, const Request& request) {
    const std::string path = request.param("path");
    bool listed = false;
    const std::vector<mbws::DirEntry> entries = app.workspace.listDirectory(path, listed);
    if (!listed) return Response::error(404, "cannot list: " + path);
    Json list = Json::array();
    for (const mbws::DirEntry& entry : entries) {
        Json row = Json::object();
        row.set("name", utf8Path(entry.name));
        row.set("path", utf8Path(entry.path));
        row.set("directory", entry.directory);
        row.set("size", entry.size);
        list.push(std::move(row));
    }
    Json answer = Json::object();
    answer.set("path", utf8Path(path));
    answer.set("entries", std::move(list));
    return Response::json(answer.dump());
}

Response fileInfo(App& app, const Request& request) {
    const FileInfo info = app.workspace.inspect(request.param("path"));
    if (!info.exists) return Response::error(404, "file not found");
    return Response::json(fileInfoJson(info, request.param("path")).dump());
}

// A file's name can hold line ends, which would begin a header of their own.
std::string headerSafe(std::string text) {
    for (char& byte : text)
        if (static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f) byte = '_';
    return text;
}

Response fileRaw(App& app, const Request& request) {
    const std::string path = request.param("path");
    const FileInfo info = app.workspace.inspect(path);
    if (!info.exists || info.directory) return Response::error(404, "file not found");
    Response response;
    std::string error;
    if (!app.workspace.readRawFile(path, response.body, error)) return Response::error(404, error);
    response.contentType = info.mime.empty() ? "application/octet-stream" : info.mime;
    response.headers["Content-Disposition"] =
        "inline; filename=\"" + headerSafe(mbutil::baseName(path)) + "\"";
    response.headers["Cache-Control"] = "no-store";
    return response;
}

Response fileRead(App& app, const Request& request) {
    const std::string path = request.param("path");
    const FileInfo info = app.workspace.inspect(path);
    if (!info.exists) return Response::error(404, "file not found");
    std::string text;
    std::string error;
    if (!info.binary && !app.workspace.readTextFile(path, text, error))
        return Response::error(404, error);
    Json answer = fileInfoJson(info, path);
    answer.set("ok", true);
    if (text.size() > kReadLimit) {
        text.resize(kReadLimit);
        answer.set("truncated", true);
    }
    answer.set("contents", std::move(text));
    return Response::json(answer.dump());
}

Response fileWrite(App& app, const Request& request) {
    const Json body = parseBody(request);
    std::string error;
    if (!app.workspace.writeTextFile(body["path"].asString(), body["contents"].asString(), error))
        return Response::error(400, error);
    app.reindex(body["path"].asString());
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("index", app.index.statsJson());
    return Response::json(answer.dump());
}

Response done(bool succeeded, const std::string& error) {
    return succeeded ? okResponse() : Response::error(400, error);
}

Response fileCreate(App& app, const Request& request) {
    const Json body = parseBody(request);
    const std::string path = body["path"].asString();
    std::string error;
    if (body["directory"].asBool()) return done(app.workspace.createDirectory(path, error), error);
    const bool made = app.workspace.createFile(path, body["contents"].asString(), error);
    if (made) app.reindex(path);
    return done(made, error);
}

Response fileRename(App& app, const Request& request) {
    const Json body = parseBody(request);
    std::string error;
    const bool renamed =
        app.workspace.renamePath(body["from"].asString(), body["to"].asString(), error);
    if (renamed) app.startIndex();
    return done(renamed, error);
}

Response fileImport(App& app, const Request& request) {
    const Json body = parseBody(request);
    std::vector<std::string> sources;
    for (const Json& source : body["sources"].asArray())
        if (source.isString()) sources.push_back(source.asString());
    std::string error;
    return done(app.workspace.copyInto(sources, body["dest"].asString(), error), error);
}

Response fileDuplicate(App& app, const Request& request) {
    std::string error;
    return done(app.workspace.duplicatePath(parseBody(request)["path"].asString(), error), error);
}

Response fileDelete(App& app, const Request& request) {
    const Json body = parseBody(request);
    const std::string& path = body["path"].asString();
    std::string error;
    const bool deleted = app.workspace.deletePath(path, error);
    if (deleted) app.unindex(path);
    return done(deleted, error);
}

Response reveal(App& app, const Request& request) {
    std::string full;
    if (!app.workspace.resolveInside(parseBody(request)["path"].asString(), full))
        return Response::error(400, "path is outside the workspace");
    if (mbutil::dirExists(full))
        openWithDesktop(full);
    else
        revealInFileManager(full);
    return okResponse();
}

}  // namespace

void registerFileRoutes(App& app) {
    addRoute(app, "/api/tree", tree);
    addRoute(app, "/api/file/info", fileInfo);
    addRoute(app, "/api/file/raw", fileRaw);
    addRoute(app, "/api/file/read", fileRead);
    addRoute(app, "/api/file/write", fileWrite);
    addRoute(app, "/api/file/create", fileCreate);
    addRoute(app, "/api/file/rename", fileRename);
    addRoute(app, "/api/file/import", fileImport);
    addRoute(app, "/api/file/duplicate", fileDuplicate);
    addRoute(app, "/api/shell/reveal", reveal);
    addRoute(app, "/api/file/delete", fileDelete);
}

}  // namespace mbapp
