// The status as the page gets it: as a value, and as text where it may hold very many files.

#include <concepts>
#include <future>
#include <string_view>
#include <utility>

#include "git/git.hpp"
#include "git/run.hpp"
#include "git/text.hpp"
#include "util/util.hpp"

namespace mbgit {

using mbjson::Json;

namespace {

struct ObjectSink {
    Json object = Json::object();

    void field(const char* key, Json value) { object.set(key, std::move(value)); }
};

// Writes what ObjectSink's object would dump, as long as the keys come in ascending order. For tens
// of thousands of files the tree of values would cost more than git.
struct TextSink {
    std::string& out;
    char separator = '{';

    void begin(const char* key) {
        out.append(1, separator).append("\"").append(key).append("\":");
        separator = ',';
    }
    void field(const char* key, const Json& value) {
        begin(key);
        value.dumpTo(out);
    }
    void field(const char* key, std::same_as<bool> auto value) {
        begin(key);
        out += value ? "true" : "false";
    }
    void field(const char* key, int32_t value) {
        begin(key);
        out += std::to_string(value);
    }
    void end() { out += '}'; }
};

// In ascending order of the keys.
template <typename Sink>
void describe(const FileChange& change, Sink& sink) {
    const auto count = [&sink](const char* key, int32_t lines) {
        if (lines >= 0) sink.field(key, lines);
    };
    sink.field("conflicted", change.conflicted);
    sink.field("index", Json(change.index));
    sink.field("path", pathJson(change.path));
    sink.field("staged", change.staged);
    count("stagedAdded", change.stagedAdded);
    count("stagedRemoved", change.stagedRemoved);
    sink.field("unstaged", change.unstaged);
    sink.field("untracked", change.untracked);
    sink.field("work", Json(change.work));
    count("workAdded", change.workAdded);
    count("workRemoved", change.workRemoved);
}

constexpr size_t kUsualRowBytes = 192;

std::string repositoryText(const Repository& repository, bool lineCounts) {
    Status found = status(repository.root);
    if (lineCounts) addLineCounts(repository.root, found);
    const std::vector<FileChange> files = std::exchange(found.files, {});
    Json rest = statusJson(found);
    rest.set("name", mbutil::toUtf8Lenient(repository.name));
    const std::string around = rest.dump();
    // Within a string the quotes would stand behind backslashes.
    constexpr std::string_view kFiles = "\"files\":[";
    const size_t here = around.find(kFiles) + kFiles.size();

    std::string text = around.substr(0, here);
    text.reserve(around.size() + files.size() * kUsualRowBytes);
    for (const FileChange& change : files) {
        if (text.size() > here) text += ',';
        TextSink sink{text};
        describe(change, sink);
        sink.end();
    }
    return text.append(around, here);
}

}  // namespace

Json statusJson(const Status& status) {
    Json object = Json::object();
    object.set("isRepo", status.isRepo);
    object.set("root", pathJson(status.root));
    object.set("branch", mbutil::toUtf8Lenient(status.branch));
    object.set("upstream", mbutil::toUtf8Lenient(status.upstream));
    object.set("ahead", status.ahead);
    object.set("behind", status.behind);
    object.set("detached", status.detached);
    if (!status.error.empty()) object.set("error", mbutil::toUtf8Lenient(status.error));
    Json files = Json::array();
    for (const FileChange& change : status.files) {
        ObjectSink sink;
        describe(change, sink);
        files.push(std::move(sink.object));
    }
    object.set("files", std::move(files));
    return object;
}

std::string statusAnswer(const std::vector<Repository>& repositories, bool lineCounts) {
    std::vector<std::future<std::string>> running;
    running.reserve(repositories.size());
    for (const Repository& repository : repositories)
        running.push_back(startBeside(
            [&repository, lineCounts] { return repositoryText(repository, lineCounts); }));
    std::string answer = "{\"gitAvailable\":";
    answer.append(available() ? "true" : "false").append(",\"ok\":true,\"repos\":[");
    for (std::future<std::string>& text : running) {
        if (answer.back() != '[') answer += ',';
        answer += text.get();
    }
    answer += "]}";
    return answer;
}

}  // namespace mbgit
