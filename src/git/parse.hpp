#pragma once
// Reading what git prints. Values in, values out; nothing here runs git. Private to this module.
//
// Any bytes are taken: a line that is not as expected is skipped, a number that is none or that
// does not fit counts as unknown. All are linear in the length of the text.

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "git/git.hpp"
#include "git/history.hpp"

namespace mbgit {

// Of "status --porcelain=v2 --branch". Sorts the files.
void parseStatus(std::string_view text, Status& status);
// Of "diff --numstat -z".
std::unordered_map<std::string, LineCount> parseNumstat(std::string_view text);

// Between the fields of a record.
inline constexpr char kFieldEnd = '\x1f';

std::vector<Commit> parseLog(std::string_view text);
std::vector<GraphCommit> parseGraph(std::string_view text);
std::vector<RefInfo> parseRefs(std::string_view text);
std::vector<std::string> parseBranches(std::string_view text);

// All but the files. False, with `detail` untouched, when fields are missing or it is no commit.
bool parseCommit(std::string_view text, CommitDetail& detail);
// Of "diff-tree --name-status".
std::vector<CommitFile> parseNameStatus(std::string_view text);
// Of "diff-tree --numstat": fills the counts of the files that it names.
void addNumstat(std::string_view text, std::vector<CommitFile>& files);
// The new path of "src/{a => b}/x" or "a => b"; any other text as it is.
std::string newPathOf(std::string_view text);

}  // namespace mbgit
