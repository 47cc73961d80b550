#include "main/prompts.hpp"

namespace mbapp {

std::string editPrompt(const EditRequest& request) {
    std::string prompt = "Rewrite the code below according to the instruction.\n\n"
                         "INSTRUCTION: " +
                         request.instruction + "\n\nLANGUAGE: " + request.language + "\n";
    if (!request.path.empty()) prompt += "FILE: " + request.path + "\n";
    if (!request.context.empty())
        prompt +=
            "\nSURROUNDING CODE, for context only - do not repeat it:\n" + request.context + "\n";
    prompt += "\nCODE:\n" + request.code + "\n\n";
    return prompt +
           "Reply with the rewritten code ONLY. Keep the original indentation style and the "
           "surrounding conventions. No explanation, no commentary, no markdown fences. If the "
           "instruction cannot be applied, reply with the code exactly as given.\n";
}

std::string commitMessagePrompt(const std::vector<std::string>& recentSubjects,
                                const std::string& diff) {
    std::string prompt =
        "Write the git commit message for the change below.\n"
        "First line: a summary under 70 characters, in the style of this project's recent "
        "subjects. Then, only if the change needs it, a blank line and a few short lines or "
        "bullets on what changed and why. Plain text only - no quotes, no markdown fences, no "
        "preamble.\n\n";
    if (!recentSubjects.empty()) {
        prompt += "RECENT SUBJECTS:\n";
        for (const std::string& subject : recentSubjects) prompt += "  " + subject + "\n";
        prompt += "\n";
    }
    return prompt + "DIFF:\n" + diff;
}

std::string notesPrompt(const std::string& path, const std::string& numberedLines,
                        const std::string& diff) {
    std::string prompt =
        "You are pair-programming. Read this file and point out at most 4 things genuinely worth "
        "a second look: a likely bug, a missed edge case, a leftover debug line, an error that is "
        "swallowed. Not style, not naming, not praise. If nothing is worth saying, return an "
        "empty array.\n";
    if (!diff.empty()) prompt += "Focus on the lines this diff changed:\n" + diff + "\n";
    return prompt +
           "Reply with only a JSON array, each item {\"line\": <line number>, \"kind\": "
           "\"bug\"|\"edge\"|\"cleanup\", \"note\": \"<one sentence>\"}.\n\nFILE " +
           path + ":\n" + numberedLines;
}

std::string pullRequestPrompt(const std::string& title, const std::string& diff, bool cut) {
    return "Review this pull request like a careful senior engineer. You may Read, Grep and Glob "
           "the repository for context. Comment only on real problems - bugs, missed cases, risky "
           "changes, missing updates elsewhere - never on style. At most 8 comments, each pinned "
           "to a line that exists on the new side of the diff.\n"
           "Reply with only JSON: {\"summary\": \"<two or three sentences>\", \"comments\": "
           "[{\"path\": \"<file path as in the diff>\", \"line\": <new-side line number>, "
           "\"body\": \"<the comment, plain text>\"}]}\n\nTITLE: " +
           title + "\n" + (cut ? "(The diff was cut short.)\n" : "") + "DIFF:\n" + diff;
}

std::string mapPrompt() {
    return "Map the architecture of the codebase in the current folder for a newcomer. Explore it "
           "with Glob, Grep and Read - look at the real code, do not guess. Find its main parts "
           "(6 to 12 modules or layers) and how they depend on or talk to each other.\n"
           "Reply with only JSON: {\"title\": \"<project name>\", \"modules\": [{\"id\": \"<short "
           "id>\", \"name\": \"<name>\", \"summary\": \"<one or two sentences>\", \"files\": "
           "[\"<paths relative to the folder, the 1-4 most important>\"]}], \"links\": "
           "[{\"from\": \"<id>\", \"to\": \"<id>\", \"label\": \"<a few words: calls, serves, "
           "reads...>\"}]}";
}

std::string findPrompt(const std::string& question, const std::string& path,
                       const std::vector<std::string>& folders) {
    std::string prompt = "Find where something is in this codebase. Use Grep, Glob and Read to "
                         "look; do not guess.\n\nQUESTION: " +
                         question + "\n";
    if (!path.empty()) prompt += "THE USER IS LOOKING AT: " + path + "\n";
    prompt += "WORKSPACE FOLDERS:\n";
    for (const std::string& folder : folders) prompt += "  " + folder + "\n";
    return prompt +
           "\nReply with between 1 and 6 lines and nothing else, most relevant first, each "
           "exactly in this form:\nABSOLUTE_PATH:LINE_NUMBER | what is there, in under ten words\n"
           "Use forward slashes. No introduction, no markdown, no other text. If nothing fits, "
           "reply with the single word NONE.\n";
}

std::string changeReviewPrompt(const std::string& diff, bool cut) {
    return std::string("You are reviewing a change just before it is committed. The diff is "
                       "below") +
           (cut ? " (cut short - it was too long to include whole).\n" : ".\n") +
           "Look for real problems: bugs, a mistake in logic, leftover debugging code, secrets or "
           "credentials, a comment or doc the change makes wrong, files that look committed by "
           "accident. You may Read, Grep and Glob the repository for context. Ignore style and "
           "taste.\n\n"
           "Reply in plain text, no markdown, at most three short sentences. If nothing important "
           "is wrong, start with \"Looks good.\" and say in a few words what the change does. "
           "Otherwise start with the most important problem, naming the file.\n\nDIFF:\n" +
           diff;
}

}  // namespace mbapp
