#include <utility>

#include "index/skip.hpp"
#include "main/routes.hpp"
#include "match/match.hpp"
#include "util/util.hpp"

namespace mbapp {

using mbjson::Json;
using mbnet::Request;
using mbnet::Response;

namespace {

constexpr int kQuickOpenResults = 200;
constexpr int32_t kTextResults = 500;

Response reindex(App& app, const Request&) {
    app.startIndex();
    return okResponse();
}

Response searchFiles(App& app, const Request& request) {
    Json results = Json::array();
    for (const mbindex::FileEntry& entry :
         app.index.searchFiles(request.param("q"), kQuickOpenResults)) {
        Json row = Json::object();
        row.set("path", utf8Path(entry.relative));
        row.set("name", utf8Path(entry.name));
        results.push(std::move(row));
    }
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("results", std::move(results));
    return Response::json(answer.dump());
}

std::vector<std::string> extensionsOf(const std::string& list) {
    std::vector<std::string> extensions;
    for (const std::string& item : mbutil::split(list, ','))
        if (std::string one = mbutil::trim(item); !one.empty())
            extensions.push_back(std::move(one));
    return extensions;
}

std::vector<mbws::SearchHit> searchIndexed(App& app, const std::string& query,
                                           const mbmatch::Options& options,
                                           const mbws::SearchScope& scope, std::string& error) {
    const auto extensions = mbws::Workspace::normaliseExtensions(scope.extensions);
    const auto wanted = [&](const mbindex::FileEntry& entry) {
        return !mbindex::inSkippedDir(entry.relative) &&
               entry.relative.find("/backups/") == std::string::npos &&
               mbws::Workspace::searchable(entry.name, entry.size, extensions);
    };
    return app.workspace.searchFileList(app.index.filesWhere(wanted), query, options, scope, error);
}

Json hitsJson(const std::vector<mbws::SearchHit>& hits) {
    Json results = Json::array();
    for (const mbws::SearchHit& hit : hits) {
        Json row = Json::object();
        row.set("path", utf8Path(hit.path));
        row.set("line", hit.line);
        row.set("column", hit.column);
        row.set("matchColumn", hit.matchColumn);
        row.set("length", hit.length);
        // The cut at its limit can fall inside a character, which a page reads as U+FFFD.
        row.set("text", hit.text);
        results.push(std::move(row));
    }
    return results;
}

Response searchText(App& app, const Request& request) {
    const std::string query = request.param("q");
    mbmatch::Options options;
    options.caseSensitive = request.param("case") == "1";
    options.wholeWord = request.param("word") == "1";
    options.regex = request.param("regex") == "1";
    const mbws::SearchScope scope = {extensionsOf(request.param("ext")), kTextResults};
    std::string error;
    // While a scan runs its list is of before: a file just made is found on disk only.
    const bool indexed = !app.index.isScanning() && app.index.stats().fileCount > 0;
    const auto hits = indexed ? searchIndexed(app, query, options, scope, error)
                              : app.workspace.searchInFiles(query, options, scope, error);
    Json answer = Json::object();
    answer.set("ok", error.empty());
    answer.set("error", mbutil::toUtf8Lenient(error));
    answer.set("results", hitsJson(hits));
    return Response::json(answer.dump());
}

// How many matches were replaced in the file; false when it could not be read or written.
bool replaceInFile(App& app, const std::string& path, mbmatch::Matcher& matcher,
                   const std::string& replacement, uint64_t& count) {
    std::string text;
    std::string error;
    if (!app.workspace.readTextFile(path, text, error)) return false;
    const std::string replaced = mbmatch::replaceAll(matcher, text, replacement, count);
    if (count == 0) return true;
    if (!app.workspace.writeTextFile(path, replaced, error)) return false;
    app.reindex(path);
    return true;
}

Response replace(App& app, const Request& request) {
    const Json body = parseBody(request);
    mbmatch::Options options;
    options.caseSensitive = body["case"].asBool();
    options.wholeWord = body["word"].asBool();
    options.regex = body["regex"].asBool();
    mbmatch::Matcher matcher;
    std::string error;
    if (!matcher.compile(body["query"].asString(), options, error))
        return Response::error(400, error);
    int files = 0;
    uint64_t replacements = 0;
    Json failed = Json::array();
    for (const Json& path : body["paths"].asArray()) {
        uint64_t count = 0;
        if (!replaceInFile(app, path.asString(), matcher, body["replacement"].asString(), count)) {
            failed.push(utf8Path(path.asString()));
        } else if (count > 0) {
            ++files;
            replacements += count;
        }
    }
    Json answer = Json::object();
    answer.set("ok", true);
    answer.set("files", files);
    answer.set("replacements", replacements);
    answer.set("failed", std::move(failed));
    return Response::json(answer.dump());
}

}  // namespace

void registerSearchRoutes(App& app) {
    addRoute(app, "/api/search/files", searchFiles);
    addRoute(app, "/api/search/text", searchText);
    addRoute(app, "/api/search/replace", replace);
    addRoute(app, "/api/reindex", reindex);
}

}  // namespace mbapp
