#include "main/jobs.hpp"

#include <gtest/gtest.h>

namespace {

using mbapp::extractJson;
using mbapp::modelName;
using mbapp::withoutFence;

TEST(ExtractJson, FindsTheValueAmongWords) {
    EXPECT_EQ(extractJson("Here:\n```json\n[1, 2]\n```\nDone.", '[').dump(), "[1,2]");
    EXPECT_EQ(extractJson("a {\"b\":{}} c", '{').dump(), R"({"b":{}})");
    for (const char* text : {"", "none", "[1", "1]", "] [", "[1] and [2]", "[1e999]"})
        EXPECT_TRUE(extractJson(text, '[').isNull()) << text;
}

TEST(WithoutFence, RemovesTheFenceAReplyBeginsWith) {
    EXPECT_EQ(withoutFence("```text\nsubject\n\nbody\n```\nbye"), "subject\n\nbody");
    EXPECT_EQ(withoutFence("```\nsubject\n"), "subject");
    EXPECT_EQ(withoutFence("```all of it"), "");
    EXPECT_EQ(withoutFence(" plain ``` text"), "plain ``` text");
}

TEST(ModelName, HoldsNothingForAShell) {
    EXPECT_EQ(modelName("claude-sonnet_4.5"), "claude-sonnet_4.5");
    for (const char* bad : {"a b", "a;b", "a$b", "a\nb", "\xc3\xa9", "a/b", "a'"})
        EXPECT_EQ(modelName(bad), "") << bad;
    EXPECT_EQ(modelName(std::string("a\0b", 3)), "");
}

TEST(Bounds, KeepTheEndsThatCount) {
    std::string text = "abcdef";
    EXPECT_FALSE(mbapp::keepBeginning(text, 6));
    EXPECT_TRUE(mbapp::keepBeginning(text, 4));
    EXPECT_EQ(text, "abcd");
    mbapp::keepEnd(text, 4);
    EXPECT_EQ(text, "abcd");
    mbapp::keepEnd(text, 2);
    EXPECT_EQ(text, "cd");
    text = "x\xc3\xa9y";
    mbapp::keepEnd(text, 2);
    EXPECT_EQ(text, "y");
}

}  // namespace
