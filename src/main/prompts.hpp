#pragma once
// The words that one-shot jobs send to Claude. What a job is worth hangs on them, so tests hold
// every byte. Nothing is cut here: callers bound what they put in.

#include <string>
#include <vector>

namespace mbapp {

struct EditRequest {
    std::string instruction;
    std::string code;
    std::string language;
    std::string path;  // may be empty, as may the context
    std::string context;
};
std::string editPrompt(const EditRequest& request);

std::string commitMessagePrompt(const std::vector<std::string>& recentSubjects,
                                const std::string& diff);

// `diff` is the file's own and may be empty; `numberedLines` is its text.
std::string notesPrompt(const std::string& path, const std::string& numberedLines,
                        const std::string& diff);

std::string pullRequestPrompt(const std::string& title, const std::string& diff, bool cut);

std::string mapPrompt();

// `path` is absolute, of the file that the user looks at, or empty.
std::string findPrompt(const std::string& question, const std::string& path,
                       const std::vector<std::string>& folders);

std::string changeReviewPrompt(const std::string& diff, bool cut);

}  // namespace mbapp
