#include "git/parse.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "git/text.hpp"
#include "util/util.hpp"

namespace mbgit {

namespace {

// Takes the prefix off; nothing when the line begins otherwise.
std::optional<std::string_view> after(std::string_view line, std::string_view prefix) {
    if (!line.starts_with(prefix)) return std::nullopt;
    return line.substr(prefix.size());
}

// "+2 -1"
void readAheadBehind(std::string_view text, Status& status) {
    const size_t blank = text.find(' ');
    if (blank == std::string_view::npos || blank == 0) return;
    status.ahead = toCount(text.substr(1, blank - 1), 0);
    status.behind = toCount(text.substr(std::min(blank + 2, text.size())), 0);
}

// The text behind the so many-th blank; nothing when there are fewer.
std::optional<std::string_view> behindBlank(std::string_view line, int count) {
    for (; count > 0; --count) {
        const size_t blank = line.find(' ');
        if (blank == std::string_view::npos) return std::nullopt;
        line.remove_prefix(blank + 1);
    }
    return line;
}

// "1 XY sub mH mI mW hH hI path", and with "2" a score before the path, which is then
// "new<TAB>old".
void readChanged(std::string_view line, Status& status) {
    const bool renamed = line.front() == '2';
    const auto path = behindBlank(line, renamed ? 9 : 8);
    if (!path || line.find(' ', 2) < 4) return;
    FileChange change;
    change.path = mbutil::toPosixPath(renamed ? path->substr(0, path->find('\t')) : *path);
    change.index = line.substr(2, 1);
    change.work = line.substr(3, 1);
    change.staged = change.index != ".";
    change.unstaged = change.work != ".";
    status.files.push_back(std::move(change));
}

// Only the last word of a path with blanks is kept: the page knows conflicts by that name.
void readConflicted(std::string_view line, Status& status) {
    FileChange change;
    change.path = mbutil::toPosixPath(line.substr(line.rfind(' ') + 1));
    change.index = "U";
    change.work = "U";
    change.unstaged = true;  // and not staged, though "U" stands in the index too
    change.conflicted = true;
    status.files.push_back(std::move(change));
}

void readUntracked(std::string_view path, Status& status) {
    FileChange change;
    change.path = mbutil::toPosixPath(path);
    change.index = ".";
    change.work = "?";
    change.unstaged = true;
    change.untracked = true;
    status.files.push_back(std::move(change));
}

void readStatusLine(std::string_view line, Status& status) {
    if (const auto head = after(line, "# branch.head ")) {
        status.branch = *head;
        if (status.branch == "(detached)") status.detached = true;
    } else if (const auto upstream = after(line, "# branch.upstream ")) {
        status.upstream = *upstream;
    } else if (const auto counts = after(line, "# branch.ab ")) {
        readAheadBehind(*counts, status);
    } else if (line.starts_with("1 ") || line.starts_with("2 ")) {
        readChanged(line, status);
    } else if (line.starts_with("u ")) {
        readConflicted(line, status);
    } else if (const auto path = after(line, "? ")) {
        readUntracked(*path, status);
    }
}

// "[ahead 2, behind 1]"
int32_t trackNumber(std::string_view text, std::string_view word) {
    const size_t at = text.find(word);
    if (at == std::string_view::npos) return 0;
    text.remove_prefix(at + word.size());
    return toCount(text.substr(0, text.find_first_not_of("0123456789")), 0);
}

std::string_view refKind(std::string_view fullName) {
    if (fullName.starts_with("refs/heads/")) return "local";
    return fullName.starts_with("refs/remotes/") ? "remote" : "tag";
}

bool isHexadecimal(std::string_view text) {
    return text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

}  // namespace

void parseStatus(std::string_view text, Status& status) {
    const std::vector<std::string_view> lines = splitLines(text);
    status.files.reserve(lines.size());
    for (const std::string_view line : lines) readStatusLine(line, status);
    const auto byPath = [](const FileChange& a, const FileChange& b) { return a.path < b.path; };
    // With one kind of change only, git's order is ours.
    if (!std::is_sorted(status.files.begin(), status.files.end(), byPath))
        std::sort(status.files.begin(), status.files.end(), byPath);
}

std::unordered_map<std::string, LineCount> parseNumstat(std::string_view text) {
    std::unordered_map<std::string, LineCount> counts;
    const std::vector<std::string_view> tokens = splitAt(text, '\0');
    for (size_t at = 0; at < tokens.size(); ++at) {
        const std::string_view token = tokens[at];
        const size_t first = token.find('\t');
        const size_t second = token.find('\t', first == std::string_view::npos ? first : first + 1);
        if (second == std::string_view::npos) continue;
        const LineCount count = {toCount(token.substr(0, first), -1),
                                 toCount(token.substr(first + 1, second - first - 1), -1)};
        std::string_view path = token.substr(second + 1);
        if (path.empty()) {  // a rename: the old and the new name follow
            if (at + 2 >= tokens.size()) break;
            at += 2;
            path = tokens[at];
        }
        counts[mbutil::toPosixPath(path)] = count;
    }
    return counts;
}

std::vector<Commit> parseLog(std::string_view text) {
    std::vector<Commit> commits;
    for (const std::string_view line : splitLines(text)) {
        const std::vector<std::string_view> fields = splitAt(line, kFieldEnd);
        if (fields.size() < 5) continue;
        Commit& commit = commits.emplace_back();
        commit.hash = fields[0];
        commit.shortHash = fields[1];
        commit.author = fields[2];
        commit.date = fields[3];
        commit.subject = fields[4];
        if (fields.size() > 5) commit.refs = fields[5];
    }
    return commits;
}

std::vector<GraphCommit> parseGraph(std::string_view text) {
    std::vector<GraphCommit> commits;
    for (const std::string_view line : splitLines(text)) {
        const std::vector<std::string_view> fields = splitAt(line, kFieldEnd);
        if (fields.size() < 7) continue;
        GraphCommit& commit = commits.emplace_back();
        commit.hash = fields[0];
        commit.shortHash = fields[1];
        commit.parents = words(fields[2]);
        commit.author = fields[3];
        commit.email = fields[4];
        commit.time = toNumber(fields[5]);
        commit.subject = fields[6];
        if (fields.size() > 7) commit.refs = fields[7];
    }
    return commits;
}

std::vector<RefInfo> parseRefs(std::string_view text) {
    std::vector<RefInfo> refs;
    for (const std::string_view line : splitLines(text)) {
        const std::vector<std::string_view> fields = splitAt(line, kFieldEnd);
        if (fields.size() < 8) continue;
        const std::string_view kind = refKind(fields[0]);
        // The remote's own idea of its default branch, which is listed under its name already.
        if (kind == "remote" && fields[0].ends_with("/HEAD")) continue;
        RefInfo& ref = refs.emplace_back();
        ref.name = fields[1];
        ref.kind = kind;
        ref.current = mbutil::trim(fields[2]) == "*";
        ref.upstream = fields[3];
        ref.ahead = trackNumber(fields[4], "ahead ");
        ref.behind = trackNumber(fields[4], "behind ");
        ref.hash = fields[6].empty() ? fields[5] : fields[6];  // an annotated tag's commit
        ref.time = toNumber(fields[7]);
        if (fields.size() > 8) ref.subject = fields[8];
    }
    return refs;
}

std::vector<std::string> parseBranches(std::string_view text) {
    std::vector<std::string> names;
    for (const std::string_view line : splitLines(text)) {
        std::string name = mbutil::trim(line);
        if (name.empty() || name.find("HEAD ->") != std::string::npos) continue;
        names.push_back(std::move(name));
    }
    return names;
}

bool parseCommit(std::string_view text, CommitDetail& detail) {
    std::array<std::string_view, 7> fields;
    for (std::string_view& field : fields) {
        const size_t end = text.find(kFieldEnd);
        if (end == std::string_view::npos) return false;
        field = text.substr(0, end);
        text.remove_prefix(end + 1);
    }
    // For a hash of a tag or a blob git shows text that the repository's author chose, field ends
    // and all. Parents go into command lines.
    std::vector<std::string> parents = words(fields[1]);
    if (!std::all_of(parents.begin(), parents.end(), isHexadecimal)) return false;
    detail.hash = fields[0];
    detail.parents = std::move(parents);
    detail.author = fields[2];
    detail.email = fields[3];
    detail.time = toNumber(fields[4]);
    detail.committer = fields[5];
    detail.refs = fields[6];
    detail.message = mbutil::trim(text);  // whatever it holds, further field ends too
    return true;
}

std::vector<CommitFile> parseNameStatus(std::string_view text) {
    std::vector<CommitFile> files;
    for (const std::string_view line : splitLines(text)) {
        const std::vector<std::string_view> fields = splitAt(line, '\t');
        if (fields.size() < 2 || fields[0].empty()) continue;
        CommitFile& file = files.emplace_back();
        file.status = fields[0].substr(0, 1);
        file.path = fields[1];
        if ((file.status == "R" || file.status == "C") && fields.size() >= 3) {
            file.oldPath = fields[1];
            file.path = fields[2];
        }
    }
    return files;
}

void addNumstat(std::string_view text, std::vector<CommitFile>& files) {
    std::unordered_map<std::string_view, CommitFile*> byPath;
    for (CommitFile& file : files) byPath.emplace(file.path, &file);
    for (const std::string_view line : splitLines(text)) {
        const std::vector<std::string_view> fields = splitAt(line, '\t');
        if (fields.size() < 3) continue;
        const auto found = byPath.find(newPathOf(fields.back()));
        if (found == byPath.end()) continue;
        found->second->additions = toCount(fields[0], -1);
        found->second->deletions = toCount(fields[1], -1);
    }
}

std::string newPathOf(std::string_view text) {
    constexpr std::string_view kArrow = " => ";
    const size_t arrow = text.find(kArrow);
    if (arrow == std::string_view::npos) return std::string(text);
    const size_t behind = arrow + kArrow.size();
    const size_t open = text.substr(0, arrow).rfind('{');
    const size_t close = text.find('}', behind);
    if (open == std::string_view::npos || close == std::string_view::npos)
        return std::string(text.substr(behind));
    std::string path(text.substr(0, open));
    path.append(text.substr(behind, close - behind)).append(text.substr(close + 1));
    // One side of the braces was empty, so the slashes around it have met.
    if (const size_t slashes = path.find("//"); slashes != std::string::npos)
        path.erase(slashes, 1);
    return path;
}

}  // namespace mbgit
