// Posting a comment on a line of a pull request.

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

#include "gh/gh.hpp"
#include "gh/run.hpp"
#include "proc/proc.hpp"
#include "util/util.hpp"

namespace mbgh {

namespace {

constexpr uint32_t kPostMs = 30000;

// A file that is gone again at the end.
struct BodyFile {
    std::string path;

    BodyFile() {
        const char* folder = std::getenv("TMPDIR");
        path = std::string(folder && *folder ? folder : "/tmp") + "/marlin-pr-comment-" +
               mbutil::randomToken(6) + ".md";
    }
    BodyFile(const BodyFile&) = delete;
    BodyFile& operator=(const BodyFile&) = delete;
    ~BodyFile() { ::unlink(path.c_str()); }
};

std::string postArguments(const std::string& repository, const ReviewComment& comment,
                          const std::string& bodyFile) {
    const std::string target =
        "repos/" + repository + "/pulls/" + std::to_string(comment.number) + "/comments";
    return "api " + mbproc::quote(target) + " -F body=@" + mbproc::quote(bodyFile) +
           " -f commit_id=" + comment.head + " -f path=" + mbproc::quote(comment.path) +
           " -F line=" + std::to_string(comment.line) + " -f side=RIGHT";
}

}  // namespace

bool postReviewComment(const std::string& cwd, const ReviewComment& comment, std::string& url,
                       std::string& error) {
    const std::string repository = nameWithOwner(cwd);
    if (repository.empty()) {
        error = "could not tell which GitHub repository this is";
        return false;
    }
    // A comment is free text, which must not pass through a shell.
    const BodyFile file;
    if (!mbutil::writeFileRaw(file.path, comment.body)) {
        error = "could not write the comment to a temporary file";
        return false;
    }
    std::string out;
    if (!runText(postArguments(repository, comment, file.path), cwd, out, error, kPostMs))
        return false;
    url = mbjson::Json::parseText(out)["html_url"].asString();
    return true;
}

}  // namespace mbgh
