#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "git/parse.hpp"
#include "git/repository.hpp"
#include "git/text.hpp"

namespace {

using mbgit::Status;
using mbtest::countSummary;
using mbtest::summary;
using Rows = std::vector<std::string>;
using namespace std::string_literals;

Status parsed(std::string_view text) {
    Status status;
    mbgit::parseStatus(text, status);
    return status;
}

TEST(GitText, LinesLoseOneCarriageReturnAndNothingFollowsTheLast) {
    using Views = std::vector<std::string_view>;
    EXPECT_EQ(mbgit::splitLines(""), Views());
    EXPECT_EQ(mbgit::splitLines("a"), Views{"a"});
    EXPECT_EQ(mbgit::splitLines("a\n"), Views{"a"});
    EXPECT_EQ(mbgit::splitLines("a\r\r\n\r\n\nb\r"), (Views{"a\r", "", "", "b"}));
}

TEST(GitText, NumbersAreDecimalAndWhole) {
    struct Case {
        const char* text;
        int64_t number;
    };
    for (const Case& c : {Case{"0", 0}, Case{"17", 17}, Case{"-5", -5}, Case{"007", 7},
                          Case{"9223372036854775807", std::numeric_limits<int64_t>::max()},
                          Case{"9223372036854775808", 0}, Case{"-9223372036854775809", 0},
                          Case{"99999999999999999999999999", 0}, Case{"", 0}, Case{"x", 0},
                          Case{"12x", 0}, Case{"1.5", 0}, Case{"0x10", 0}, Case{"-", 0}})
        EXPECT_EQ(mbgit::toNumber(c.text), c.number) << c.text;
    EXPECT_EQ(mbgit::toCount("2147483647", -1), 2147483647);
    EXPECT_EQ(mbgit::toCount("2147483648", -1), -1);
    EXPECT_EQ(mbgit::toCount("-2147483649", -1), -1);
    EXPECT_EQ(mbgit::toCount("-", -1), -1);
}

TEST(GitParseStatus, HeadersAreReadAndOthersPassedOver) {
    const Status status = parsed("# branch.oid 1234\n# branch.head a b\n# branch.upstream o/m\n"
                                 "# branch.ab +12 -34\n# stash 3\n! ignored\nnonsense\n\n");
    EXPECT_EQ(status.branch, "a b");
    EXPECT_FALSE(status.detached);
    EXPECT_EQ(status.upstream, "o/m");
    EXPECT_EQ(status.ahead, 12);
    EXPECT_EQ(status.behind, 34);
    EXPECT_TRUE(status.files.empty());
    EXPECT_TRUE(parsed("# branch.head (detached)\n").detached);
    EXPECT_EQ(parsed("# branch.head (detached)\n").branch, "(detached)");
}

TEST(GitParseStatus, AheadAndBehindThatAreNoNumbersCountAsNone) {
    struct Case {
        const char* text;
        int32_t ahead, behind;
    };
    for (const Case& c : {Case{"+1", 0, 0}, Case{"", 0, 0}, Case{" ", 0, 0}, Case{"+ -", 0, 0},
                          Case{"+1 ", 1, 0}, Case{"+x -2", 0, 2}, Case{"+99999999999 -1", 0, 1},
                          Case{"+1 -99999999999999999999999", 1, 0},
                          Case{"+2147483647 -2147483648", 2147483647, 0}}) {
        const Status status = parsed("# branch.ab "s + c.text);
        EXPECT_EQ(status.ahead, c.ahead) << c.text;
        EXPECT_EQ(status.behind, c.behind) << c.text;
    }
}

TEST(GitParseStatus, ChangedEntriesNeedAllTheirFields) {
    EXPECT_EQ(summary(parsed("1 M. N... 1 2 3 a b name\n")), Rows{"M. s name"});
    EXPECT_EQ(summary(parsed("1 .M N... 1 2 3 a b  two  blanks \r\n")), Rows{".M u  two  blanks "});
    EXPECT_EQ(summary(parsed("2 R. N... 1 2 3 a b R100 new name\told\tname\n")),
              Rows{"R. s new name"});
    EXPECT_EQ(summary(parsed("2 RM N... 1 2 3 a b R100 new\n")), Rows{"RM su new"});
    EXPECT_EQ(summary(parsed("1 M. N... 1 2 3 a b back\\slash\n")), Rows{"M. s back/slash"});
    for (const char* line : {"1 M. N... 1 2 3 a b", "1 M.", "1 ", "1", "2 R. N... 1 2 3 a b R100",
                             "1  N... 1 2 3 a b c d", "1 M N... 1 2 3 a b name"})
        EXPECT_TRUE(parsed(line).files.empty()) << line;
}

TEST(GitParseStatus, ConflictsAndNewFiles) {
    EXPECT_EQ(summary(parsed("? z\nu UU N... 1 2 3 4 a b c two words\n? a b\\c\n")),
              (Rows{".? un a b/c", "UU uc words", ".? un z"}));
}

TEST(GitParseStatus, FilesAreSortedByUnsignedBytes) {
    EXPECT_EQ(summary(parsed("? \xc3\xa4\n? a/b\n? a-b\n? Z\n? ~\n")),
              (Rows{".? un Z", ".? un a-b", ".? un a/b", ".? un ~", ".? un \xc3\xa4"}));
}

TEST(GitParseNumstat, RecordsAndRenames) {
    const auto counts = mbgit::parseNumstat("1\t2\ta b\0-\t-\tbinary\0"
                                            "3\t4\t\0old\0new\0"
                                            "9\t9\twice\0"
                                            "5\t6\twice\0"
                                            "x\t99999999999\todd\0"
                                            "no tabs\0one\ttab\0"
                                            "7\t8\tback\\slash\ttab\0"s);
    ASSERT_EQ(counts.size(), 6U);
    struct Case {
        const char* path;
        int32_t added, removed;
    };
    for (const Case& c : {Case{"a b", 1, 2}, Case{"binary", -1, -1}, Case{"new", 3, 4},
                          Case{"wice", 5, 6}, Case{"odd", -1, -1}, Case{"back/slash\ttab", 7, 8}}) {
        ASSERT_TRUE(counts.contains(c.path)) << c.path;
        EXPECT_EQ(counts.at(c.path).added, c.added) << c.path;
        EXPECT_EQ(counts.at(c.path).removed, c.removed) << c.path;
    }
}

TEST(GitParseNumstat, RenameThatIsCutOffIsNone) {
    EXPECT_TRUE(mbgit::parseNumstat("1\t2\t").empty());
    EXPECT_TRUE(mbgit::parseNumstat("1\t2\t\0old"s).empty());
    EXPECT_TRUE(mbgit::parseNumstat("").empty());
}

TEST(GitParseHistory, LogLinesNeedFiveFields) {
    const auto commits = mbgit::parseLog("h\x1fs\x1f"
                                         "a\x1f"
                                         "d\x1f"
                                         "subject\x1frefs\n"
                                         "h\x1fs\x1f"
                                         "a\x1f"
                                         "d\n\n"
                                         "H\x1fS\x1f"
                                         "A\x1f"
                                         "D\x1f\r\n");
    ASSERT_EQ(commits.size(), 2U);
    EXPECT_EQ(commits[0].hash + commits[0].shortHash + commits[0].author + commits[0].date, "hsad");
    EXPECT_EQ(commits[0].subject, "subject");
    EXPECT_EQ(commits[0].refs, "refs");
    EXPECT_EQ(commits[1].hash, "H");
    EXPECT_EQ(commits[1].refs, "");
}

TEST(GitParseHistory, GraphLinesNeedSevenFields) {
    const auto commits = mbgit::parseGraph("h\x1fs\x1fp1  p2 \x1f"
                                           "a\x1f"
                                           "e\x1f"
                                           "12345678901\x1f"
                                           "subject\n"
                                           "h\x1fs\x1fp\x1f"
                                           "a\x1f"
                                           "e\x1f"
                                           "1\n"
                                           "h\x1fs\x1f\x1f"
                                           "a\x1f"
                                           "e\x1f"
                                           "99999999999999999999\x1f\x1frefs\n");
    ASSERT_EQ(commits.size(), 2U);
    EXPECT_EQ(commits[0].parents, (Rows{"p1", "p2"}));
    EXPECT_EQ(commits[0].time, 12345678901);
    EXPECT_EQ(commits[0].refs, "");
    EXPECT_TRUE(commits[1].parents.empty());
    EXPECT_EQ(commits[1].time, 0);
    EXPECT_EQ(commits[1].refs, "refs");
}

TEST(GitParseHistory, RefsKnowTheirKindTheirCommitAndTheirDistance) {
    const std::string text =
        "refs/heads/main\x1fmain\x1f*\x1forigin/main\x1f[ahead 2, behind 1]\x1f"
        "111\x1f\x1f"
        "50\x1f"
        "subject\x1fmore\n"
        "refs/heads/x\x1fx\x1f \x1f\x1f[behind 99999999999]\x1f"
        "222\x1f\x1f"
        "x\n"
        "refs/heads/gone\x1fgone\x1f \x1forigin/gone\x1f[gone]\x1f"
        "333\x1f\x1f"
        "1\x1fs\n"
        "refs/remotes/origin/HEAD\x1forigin\x1f \x1f\x1f\x1f"
        "444\x1f\x1f"
        "1\x1fs\n"
        "refs/remotes/origin/HEADER\x1forigin/HEADER\x1f \x1f\x1f\x1f"
        "444\x1f\x1f"
        "1\x1fs\n"
        "refs/tags/v1\x1fv1\x1f \x1f\x1f\x1f"
        "555\x1f"
        "666\x1f\x1fnote\n"
        "refs/tags/HEAD/HEAD\x1fHEAD/HEAD\x1f \x1f\x1f\x1f"
        "777\x1f\x1f"
        "1\n"
        "refs/tags/short\x1fshort\x1f \x1f\x1f\x1f"
        "777\x1f\n";
    const auto refs = mbgit::parseRefs(text);
    Rows rows;
    for (const mbgit::RefInfo& ref : refs)
        rows.push_back(ref.name + " " + ref.kind + " " + ref.hash + (ref.current ? " * " : " ") +
                       ref.upstream + " " + std::to_string(ref.ahead) + " " +
                       std::to_string(ref.behind) + " " + std::to_string(ref.time) + " " +
                       ref.subject);
    EXPECT_EQ(rows, (Rows{"main local 111 * origin/main 2 1 50 subject", "x local 222  0 0 0 ",
                          "gone local 333 origin/gone 0 0 1 s", "origin/HEADER remote 444  0 0 1 s",
                          "v1 tag 666  0 0 0 note", "HEAD/HEAD tag 777  0 0 1 "}));
}

TEST(GitParseHistory, BranchesAreTrimmedAndArrowsDropped) {
    EXPECT_EQ(mbgit::parseBranches(" main \n\n\t\norigin/HEAD -> origin/main\nb\r\n"),
              (Rows{"main", "b"}));
}

TEST(GitParseCommit, FieldsInOrderAndTheMessageWhole) {
    mbgit::CommitDetail detail;
    ASSERT_TRUE(mbgit::parseCommit("abc\x1f"
                                   "1a  2b\x1f"
                                   "Ann\x1f"
                                   "a@e\x1f"
                                   "77\x1f"
                                   "Bob\x1f"
                                   "tag: v1\x1f\n one\x1ftwo\x1f\n\n",
                                   detail));
    EXPECT_EQ(detail.hash, "abc");
    EXPECT_EQ(detail.parents, (Rows{"1a", "2b"}));
    EXPECT_EQ(detail.author + detail.email + detail.committer, "Anna@eBob");
    EXPECT_EQ(detail.time, 77);
    EXPECT_EQ(detail.refs, "tag: v1");
    EXPECT_EQ(detail.message, "one\x1ftwo\x1f");
}

TEST(GitParseCommit, FieldsThatAreMissingAndParentsThatAreNoHashesAreRefused) {
    mbgit::CommitDetail detail;
    detail.hash = "untouched";
    EXPECT_FALSE(mbgit::parseCommit("", detail));
    EXPECT_FALSE(mbgit::parseCommit("abc\x1f\x1f"
                                    "A\x1f"
                                    "e\x1f"
                                    "1\x1f"
                                    "B\x1frefs",
                                    detail));
    for (const char* parent : {";x", "$(x)", "--output=x", "abcg"})
        EXPECT_FALSE(mbgit::parseCommit("abc\x1f"
                                        "abc "s +
                                            parent +
                                            "\x1f"
                                            "A\x1f"
                                            "e\x1f"
                                            "1\x1f"
                                            "B\x1f\x1fm",
                                        detail))
            << parent;
    EXPECT_EQ(detail.hash, "untouched");
}

TEST(GitParseCommit, NamesWithTheirStatus) {
    Rows rows;
    for (const mbgit::CommitFile& file :
         mbgit::parseNameStatus("M\ta b\nR086\told\tnew\nC100\tfrom\tto\nA\tadded\textra\n"
                                "\tno letter\nD\nR100\tonly\nT\ttype\n"))
        rows.push_back(file.status + " " + file.oldPath + ">" + file.path);
    EXPECT_EQ(rows, (Rows{"M >a b", "R old>new", "C from>to", "A >added", "R >only", "T >type"}));
}

TEST(GitParseCommit, CountsFindTheirFiles) {
    std::vector<mbgit::CommitFile> files = mbgit::parseNameStatus(
        "M\ta\nR100\tsrc/a/x\tsrc/b/x\nM\tbinary\nM\thuge\nM\tnone\nR100\told\tnew\n");
    mbgit::addNumstat("1\t2\ta\n3\t4\tsrc/{a => b}/x\n-\t-\tbinary\n99999999999\t5\thuge\n"
                      "6\t7\tstranger\n8\tnone\n9\t10\told => new\n",
                      files);
    Rows rows;
    for (const mbgit::CommitFile& file : files)
        rows.push_back(file.path + " " + std::to_string(file.additions) + " " +
                       std::to_string(file.deletions));
    EXPECT_EQ(rows, (Rows{"a 1 2", "src/b/x 3 4", "binary -1 -1", "huge -1 5", "none -1 -1",
                          "new 9 10"}));
}

TEST(GitParseCommit, NewPathOfARename) {
    struct Case {
        const char* text;
        const char* path;
    };
    for (const Case& c :
         {Case{"src/{a => b}/x", "src/b/x"}, Case{"src/{a => }/x", "src/x"},
          Case{"src/{ => b}/x", "src/b/x"}, Case{"{a => b}/x", "b/x"}, Case{"a => b", "b"},
          Case{"src/{a => b}", "src/b"}, Case{"plain", "plain"}, Case{"{plain}", "{plain}"},
          Case{"{a => b", "b"}, Case{"a => b}", "b}"}, Case{"a} => {b", "{b"},
          Case{"o{d/{a => b}/x}", "o{d/b/x}"}, Case{" => ", ""}, Case{"{ => }", ""}})
        EXPECT_EQ(mbgit::newPathOf(c.text), c.path) << c.text;
}

// Cut off anywhere, and with any byte in any place, each parser comes back.
TEST(GitParse, AnyTextIsSurvived) {
    const std::string text =
        "# branch.ab +1 -2\n1 M. N... 1 2 3 a b n\n2 R. N... 1 2 3 a b R1 n\to\n"
        "u UU n\n? n\n1\t2\t\0o\0n\0"
        "R1\to\tn\n1\t2\ts/{a => b}/x\nh\x1fs\x1fp\x1f"
        "a\x1f"
        "e\x1f"
        "1\x1fs\x1fr\n"s;
    for (size_t length = 0; length <= text.size(); ++length)
        for (const char byte : {'\0', '\t', '\n', ' ', '\x1f', '{', '}', '9'}) {
            std::string odd = text.substr(0, length);
            odd += byte;
            mbgit::CommitDetail detail;
            (void)parsed(odd);
            (void)mbgit::parseNumstat(odd);
            (void)mbgit::parseLog(odd);
            (void)mbgit::parseGraph(odd);
            (void)mbgit::parseRefs(odd);
            (void)mbgit::parseCommit(odd, detail);
            std::vector<mbgit::CommitFile> files = mbgit::parseNameStatus(odd);
            mbgit::addNumstat(odd, files);
            EXPECT_LE(files.size(), 20U);
        }
}

}  // namespace
