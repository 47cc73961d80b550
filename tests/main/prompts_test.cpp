#include "main/prompts.hpp"

#include <gtest/gtest.h>

namespace {

using namespace mbapp;

TEST(Prompts, Edit) {
    EXPECT_EQ(editPrompt({"@i", "@c", "@l", "@p", "@x"}),
              "Rewrite the code below according to the instruction.\n"
              "\n"
              "INSTRUCTION: @i\n"
              "\n"
              "LANGUAGE: @l\n"
              "FILE: @p\n"
              "\n"
              "SURROUNDING CODE, for context only - do not repeat it:\n"
              "@x\n"
              "\n"
              "CODE:\n"
              "@c\n"
              "\n"
              "Reply with the rewritten code ONLY. Keep the original indentation style and the "
              "surrounding conventions. No explanation, no commentary, no markdown fences. If the "
              "instruction cannot be applied, reply with the code exactly as given.\n");
}

TEST(Prompts, CommitMessage) {
    EXPECT_EQ(commitMessagePrompt({"@s1", "@s2"}, "@d"),
              "Write the git commit message for the change below.\n"
              "First line: a summary under 70 characters, in the style of this project's recent "
              "subjects. Then, only if the change needs it, a blank line and a few short lines or "
              "bullets on what changed and why. Plain text only - no quotes, no markdown fences, "
              "no preamble.\n"
              "\n"
              "RECENT SUBJECTS:\n"
              "  @s1\n"
              "  @s2\n"
              "\n"
              "DIFF:\n"
              "@d");
}

TEST(Prompts, Notes) {
    EXPECT_EQ(notesPrompt("@p", "@n", "@d"),
              "You are pair-programming. Read this file and point out at most 4 things genuinely "
              "worth a second look: a likely bug, a missed edge case, a leftover debug line, an "
              "error that is swallowed. Not style, not naming, not praise. If nothing is worth "
              "saying, return an empty array.\n"
              "Focus on the lines this diff changed:\n"
              "@d\n"
              "Reply with only a JSON array, each item {\"line\": <line number>, \"kind\": "
              "\"bug\"|\"edge\"|\"cleanup\", \"note\": \"<one sentence>\"}.\n"
              "\n"
              "FILE @p:\n"
              "@n");
}

TEST(Prompts, PullRequest) {
    EXPECT_EQ(pullRequestPrompt("@t", "@d", true),
              "Review this pull request like a careful senior engineer. You may Read, Grep and "
              "Glob the repository for context. Comment only on real problems - bugs, missed "
              "cases, risky changes, missing updates elsewhere - never on style. At most 8 "
              "comments, each pinned to a line that exists on the new side of the diff.\n"
              "Reply with only JSON: {\"summary\": \"<two or three sentences>\", \"comments\": "
              "[{\"path\": \"<file path as in the diff>\", \"line\": <new-side line number>, "
              "\"body\": \"<the comment, plain text>\"}]}\n"
              "\n"
              "TITLE: @t\n"
              "(The diff was cut short.)\n"
              "DIFF:\n"
              "@d");
}

TEST(Prompts, Map) {
    EXPECT_EQ(mapPrompt(),
              "Map the architecture of the codebase in the current folder for a newcomer. Explore "
              "it with Glob, Grep and Read - look at the real code, do not guess. Find its main "
              "parts (6 to 12 modules or layers) and how they depend on or talk to each other.\n"
              "Reply with only JSON: {\"title\": \"<project name>\", \"modules\": [{\"id\": "
              "\"<short id>\", \"name\": \"<name>\", \"summary\": \"<one or two sentences>\", "
              "\"files\": [\"<paths relative to the folder, the 1-4 most important>\"]}], "
              "\"links\": [{\"from\": \"<id>\", \"to\": \"<id>\", \"label\": \"<a few words: "
              "calls, serves, reads...>\"}]}");
}

TEST(Prompts, Find) {
    EXPECT_EQ(findPrompt("@q", "@p", {"@f1", "@f2"}),
              "Find where something is in this codebase. Use Grep, Glob and Read to look; do not "
              "guess.\n"
              "\n"
              "QUESTION: @q\n"
              "THE USER IS LOOKING AT: @p\n"
              "WORKSPACE FOLDERS:\n"
              "  @f1\n"
              "  @f2\n"
              "\n"
              "Reply with between 1 and 6 lines and nothing else, most relevant first, each "
              "exactly in this form:\n"
              "ABSOLUTE_PATH:LINE_NUMBER | what is there, in under ten words\n"
              "Use forward slashes. No introduction, no markdown, no other text. If nothing fits, "
              "reply with the single word NONE.\n");
}

TEST(Prompts, ChangeReviewCut) {
    EXPECT_EQ(changeReviewPrompt("@d", true),
              "You are reviewing a change just before it is committed. The diff is below (cut "
              "short - it was too long to include whole).\n"
              "Look for real problems: bugs, a mistake in logic, leftover debugging code, secrets "
              "or credentials, a comment or doc the change makes wrong, files that look committed "
              "by accident. You may Read, Grep and Glob the repository for context. Ignore style "
              "and taste.\n"
              "\n"
              "Reply in plain text, no markdown, at most three short sentences. If nothing "
              "important is wrong, start with \"Looks good.\" and say in a few words what the "
              "change does. Otherwise start with the most important problem, naming the file.\n"
              "\n"
              "DIFF:\n"
              "@d");
}

TEST(Prompts, WhatIsNotGivenIsLeftOut) {
    const std::string edit = editPrompt({"i", "c", "l", "", ""});
    EXPECT_NE(edit.find("LANGUAGE: l\n\nCODE:\nc\n\n"), std::string::npos);
    EXPECT_EQ(edit.find("FILE: "), std::string::npos);
    EXPECT_EQ(edit.find("SURROUNDING"), std::string::npos);
    EXPECT_NE(commitMessagePrompt({}, "d").find("preamble.\n\nDIFF:\nd"), std::string::npos);
    EXPECT_NE(notesPrompt("p", "n", "").find("empty array.\nReply with"), std::string::npos);
    EXPECT_NE(pullRequestPrompt("t", "d", false).find("TITLE: t\nDIFF:\nd"), std::string::npos);
    EXPECT_NE(findPrompt("q", "", {}).find("QUESTION: q\nWORKSPACE FOLDERS:\n\nReply"),
              std::string::npos);
    EXPECT_NE(changeReviewPrompt("d", false).find("The diff is below.\nLook for"),
              std::string::npos);
}

}  // namespace
