#include <gtest/gtest.h>
#include <sys/resource.h>

#include <string>
#include <vector>

#include "git/git.hpp"
#include "git/repository.hpp"
#include "support/support.hpp"

namespace {

using mbgit::Status;
using mbtest::GitHome;
using mbtest::summary;
using Rows = std::vector<std::string>;

mbjson::Json answered(const std::vector<mbgit::Repository>& repositories, bool lineCounts) {
    return mbjson::Json::parse(mbgit::statusAnswer(repositories, lineCounts))["repos"];
}

TEST(GitStatus, EmptyRootIsNoRepositoryAndNoError) {
    const Status status = mbgit::status("");
    EXPECT_FALSE(status.isRepo);
    EXPECT_EQ(status.error, "");
    EXPECT_EQ(status.root, "");
}

TEST(GitStatus, FolderWithoutRepositoryGivesGitsOwnWords) {
    GitHome home;
    const Status status = mbgit::status(home.path());
    EXPECT_FALSE(status.isRepo);
    EXPECT_TRUE(status.files.empty());
    EXPECT_TRUE(status.error.starts_with("fatal: not a git repository")) << status.error;
    EXPECT_FALSE(status.error.ends_with("\n"));
    EXPECT_EQ(mbgit::statusJson(status)["error"].asString(), status.error);
}

TEST(GitStatus, FolderThatIsGoneIsNoRepository) {
    GitHome home;
    const Status status = mbgit::status(home.at("gone"));
    EXPECT_FALSE(status.isRepo);
    EXPECT_EQ(status.error, "");  // the shell never ran
}

TEST(GitStatus, RepositoryWithoutCommitsNamesItsBranch) {
    GitHome home;
    const std::string root = home.init("new", "echo 1 > a; git add a; echo 1 > b");
    const Status status = mbgit::status(root);
    EXPECT_TRUE(status.isRepo);
    EXPECT_EQ(status.root, root);
    EXPECT_EQ(status.branch, "main");
    EXPECT_FALSE(status.detached);
    EXPECT_EQ(status.error, "");
    EXPECT_EQ(summary(status), (Rows{"A. s a", ".? un b"}));
}

TEST(GitStatus, EveryKindOfChangeIsListedOnceInTheOrderOfBytes) {
    GitHome home;
    const std::string root = home.init("all", R"(
        for f in both changed deleted gone moved staged typed untouched; do
            for i in 1 2 3 4 5 6; do echo $f $i; done > $f; done
        echo ignored > .gitignore
        git add .; git commit -qm first
        echo x >> staged; git add staged
        echo x >> changed
        echo x >> both; git add both; echo y >> both
        git rm -q gone
        rm deleted
        git mv moved Zmoved; echo z >> Zmoved
        rm typed; ln -s both typed
        echo n > added; git add added
        echo 1 > ignored; mkdir -p new/deep; echo 1 > new/deep/file; echo 1 > B)");
    EXPECT_EQ(
        summary(mbgit::status(root)),
        (Rows{".? un B", "RM su Zmoved", "A. s added", "MM su both", ".M u changed", ".D u deleted",
              "D. s gone", ".? un new/deep/file", "M. s staged", ".T u typed"}));
}

TEST(GitStatus, NamesKeepBlanksQuotesAndLettersBeyondAscii) {
    GitHome home;
    const std::string root = home.init("names", R"(
        echo 1 > 'a b'; echo 1 > "it's"; echo 1 > ' first'; echo 1 > 'old name'; echo 1 > 'größe'
        git add .; git commit -qm first
        echo 2 >> 'a b'; echo 2 >> "it's"; echo 2 >> ' first'; git mv 'old name' 'new  name'
        echo 2 >> 'größe'; echo 1 > 'neu ü'; mkdir 'a dir'; echo 1 > 'a dir/日本')");
    EXPECT_EQ(summary(mbgit::status(root)),
              (Rows{".M u  first", ".M u a b", ".? un a dir/日本", ".M u größe", ".M u it's",
                    ".? un neu ü", "R. s new  name"}));
}

// git puts such names in quotes and escapes; the backslashes of the escapes become slashes.
TEST(GitStatus, NamesThatGitQuotesStayAsGitPrintsThem) {
    GitHome home;
    const std::string root = home.init("odd", R"sh(
        echo 1 > 'say "hi"'; echo 1 > 'back\slash'; echo 1 > "$(printf 'new\nline')"
        tab=$(printf 'tab\tbed'); echo 1 > "$tab"; git add "$tab"; git commit -qm first
        git mv "$tab" "moved $tab")sh");
    EXPECT_EQ(summary(mbgit::status(root)),
              (Rows{".? un \"back//slash\"", "R. s \"moved tab/tbed\"", ".? un \"new/nline\"",
                    ".? un \"say /\"hi/\"\""}));
}

TEST(GitStatus, NameOfUnknownEncodingIsReadableInTheAnswer) {
    GitHome home;
    const std::string root = home.init("latin", "echo 1 > \"$(printf 'caf\\351')\"");
    const Status status = mbgit::status(root);
    EXPECT_EQ(summary(status), Rows{".? un caf\xe9"});
    EXPECT_EQ(mbgit::statusJson(status)["files"][0]["path"].asString(), "café");
}

TEST(GitStatus, ConflictIsUnstagedAndKeepsTheLastWordOfItsPath) {
    GitHome home;
    const std::string root = home.init("conflict", R"(
        echo base > file; echo base > 'two words'; git add .; git commit -qm base
        git checkout -qb other; echo other > file; echo other > 'two words'; git commit -qam other
        git checkout -q main; echo main > file; echo main > 'two words'; git commit -qam main
        git merge -q other || true)");
    EXPECT_EQ(summary(mbgit::status(root)), (Rows{"UU uc file", "UU uc words"}));
}

TEST(GitStatus, DetachedHeadSaysSo) {
    GitHome home;
    const std::string root =
        home.init("detached", "git commit -qm one --allow-empty; git checkout -q --detach");
    const Status status = mbgit::status(root);
    EXPECT_TRUE(status.detached);
    EXPECT_EQ(status.branch, "(detached)");
    EXPECT_EQ(status.upstream, "");
}

TEST(GitStatus, UpstreamComesWithWhatIsAheadAndBehind) {
    GitHome home;
    home.init("origin", "git commit -qm one --allow-empty");
    home.sh(R"(git clone -q origin clone; cd clone
        for i in 1 2 3; do git commit -qm $i --allow-empty; done
        cd ../origin; git commit -qm theirs --allow-empty; git commit -qm more --allow-empty
        cd ../clone; git fetch -q; git branch -q lone)");
    Status status = mbgit::status(home.at("clone"));
    EXPECT_EQ(status.branch, "main");
    EXPECT_EQ(status.upstream, "origin/main");
    EXPECT_EQ(status.ahead, 3);
    EXPECT_EQ(status.behind, 2);
    home.sh("git checkout -q lone", "clone");
    status = mbgit::status(home.at("clone"));
    EXPECT_EQ(status.upstream, "");
    EXPECT_EQ(status.ahead, 0);
}

TEST(GitStatus, WorktreesAndSubmodulesAreRepositoriesOfTheirOwn) {
    GitHome home;
    home.init("lib", "echo 1 > l; git add l; git commit -qm lib");
    const std::string root = home.init("top", R"(
        echo 1 > a; git add a; git commit -qm one
        git submodule --quiet add ../lib 'sub dir'; git commit -qm sub
        git worktree add -q ../linked -b side
        echo 2 >> 'sub dir/l'; mkdir -p deep/er ../linked/deep; echo 2 > ../linked/a)");
    EXPECT_EQ(summary(mbgit::status(root)), Rows{".M u sub dir"});
    EXPECT_EQ(summary(mbgit::status(home.at("top/sub dir"))), Rows{".M u l"});
    const Status linked = mbgit::status(home.at("linked"));
    EXPECT_EQ(linked.branch, "side");
    EXPECT_EQ(summary(linked), Rows{".M u a"});

    struct Case {
        const char* path;
        const char* root;
    };
    for (const Case& c :
         {Case{"top", "top"}, Case{"top/", "top"}, Case{"top//deep/./er", "top"},
          Case{"top/a", "top"}, Case{"top/not/there", "top"}, Case{"top/sub dir/l", "top/sub dir"},
          Case{"linked/deep", "linked"}, Case{"top/../linked", "linked"}, Case{"lib/.git", "lib"}})
        EXPECT_EQ(mbgit::discoverRoot(home.at(c.path)), home.at(c.root)) << c.path;
    EXPECT_EQ(mbgit::discoverRoot(home.path()), "");
    EXPECT_EQ(mbgit::discoverRoot("/"), "");
    EXPECT_EQ(mbgit::discoverRoot(""), "");
}

TEST(GitStatus, WithoutGitEachRepositorySaysSo) {
    GitHome home;
    const std::string root = home.init("one");
    mbtest::TempDir empty;
    mbtest::ScopedEnv path({{"PATH", empty.path()}});
    EXPECT_FALSE(mbgit::available());
    const Status status = mbgit::status(root);
    EXPECT_FALSE(status.isRepo);
    EXPECT_EQ(status.error, "git was not found on PATH.");
    const mbjson::Json list = answered({{"one", root}, {"none", ""}}, true);
    EXPECT_EQ(list[0]["error"].asString(), "git was not found on PATH.");
    EXPECT_FALSE(list[1].has("error"));
    EXPECT_TRUE(mbgit::statusAnswer({}, false).starts_with(R"({"gitAvailable":false,)"));
}

TEST(GitStatus, AvailabilityIsAskedOnce) {
    GitHome home;
    home.fakeGit("echo asked >> \"$HOME/asked\"");
    EXPECT_TRUE(mbgit::available());
    EXPECT_TRUE(mbgit::available());
    EXPECT_EQ(mbtest::slurp(home.at("home/asked")), "asked\n");
}

TEST(GitStatus, ProcessWithoutDescriptorsCannotRunGit) {
    GitHome home;
    const std::string root = home.init("one");
    ASSERT_TRUE(mbgit::available());
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{3, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const Status status = mbgit::status(root);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_FALSE(status.isRepo);
    EXPECT_EQ(status.error, "could not run git");
    EXPECT_TRUE(mbgit::status(root).isRepo);
}

TEST(GitStatus, AnswerHoldsEveryFieldAndLeavesOutWhatIsUnknown) {
    Status status;
    status.isRepo = true;
    status.root = "/r";
    status.branch = "main";
    status.upstream = "origin/main";
    status.ahead = 1;
    status.behind = 2;
    mbgit::FileChange change;
    change.path = "a";
    change.index = "M";
    change.work = ".";
    change.staged = true;
    change.stagedAdded = 0;
    change.stagedRemoved = 3;
    status.files.push_back(change);
    EXPECT_EQ(mbgit::statusJson(status).dump(),
              R"({"ahead":1,"behind":2,"branch":"main","detached":false,"files":[{)"
              R"("conflicted":false,"index":"M","path":"a","staged":true,"stagedAdded":0,)"
              R"("stagedRemoved":3,"unstaged":false,"untracked":false,"work":"."}],)"
              R"("isRepo":true,"root":"/r","upstream":"origin/main"})");
}

// The answer is written as text; it must be what the values would dump.
TEST(GitStatus, AnswerIsTheTextOfItsValues) {
    GitHome home;
    const std::string root = home.init("text", R"sh(
        for f in both gone moved; do printf '1\n2\n3\n' > $f; done; printf 'a\000b' > binary
        git add .; git commit -qm one; git checkout -qb 'x"files"'
        echo 4 >> both; git add both; echo 5 >> both; git rm -q gone; git mv moved größe
        printf 'c\000d' > binary; echo 1 > 'say "hi"'; echo 1 > "$(printf 'caf\351')")sh");
    for (const bool lineCounts : {false, true}) {
        mbgit::Status status = mbgit::status(root);
        if (lineCounts) mbgit::addLineCounts(root, status);
        ASSERT_EQ(status.files.size(), 6U);
        mbjson::Json repository = mbgit::statusJson(status);
        repository.set("name", "\"files\":[");
        mbjson::Json none = mbgit::statusJson(mbgit::Status());
        none.set("name", "none");
        EXPECT_EQ(mbgit::statusAnswer({{"\"files\":[", root}, {"none", ""}}, lineCounts),
                  R"({"gitAvailable":true,"ok":true,"repos":[)" + repository.dump() + "," +
                      none.dump() + "]}");
    }
    EXPECT_EQ(mbgit::statusAnswer({}, true), R"({"gitAvailable":true,"ok":true,"repos":[]})");
}

TEST(GitStatus, SeveralRepositoriesAnswerInOrderAndOneFailureStaysAlone) {
    GitHome home;
    const std::string first = home.init("first", "echo 1 > a");
    const std::string second = home.init("second");
    const mbjson::Json list = answered({{"b", second}, {"x", home.path()}, {"a", first}}, true);
    ASSERT_EQ(list.asArray().size(), 3U);
    EXPECT_EQ(list[0]["name"].asString(), "b");
    EXPECT_TRUE(list[0]["files"].isArray());
    EXPECT_FALSE(list[0].has("error"));
    EXPECT_EQ(list[1]["name"].asString(), "x");
    EXPECT_TRUE(list[1].has("error"));
    EXPECT_EQ(list[2]["name"].asString(), "a");
    EXPECT_EQ(list[2]["files"][0]["workAdded"].asInt(), 1);
    EXPECT_FALSE(answered({{"a", first}}, false)[0]["files"][0].has("workAdded"));
    EXPECT_TRUE(answered({}, true).asArray().empty());
}

// Each run waits for the two others, so one after the other would end in time-outs.
TEST(GitStatus, SeveralRepositoriesAreAskedAtTheSameTime) {
    GitHome home;
    home.fakeGit(R"sh([ "$1" = --version ] && exit
        touch "$HOME/run.$$"
        until [ "$(ls "$HOME" | grep -c run)" -ge 3 ]; do sleep 0.01; done
        echo '# branch.head met')sh");
    const std::string& root = home.path();
    const mbjson::Json list = answered({{"a", root}, {"b", root}, {"c", root}}, false);
    for (size_t i = 0; i < 3; ++i) EXPECT_EQ(list[i]["branch"].asString(), "met");
}

TEST(GitRun, EveryCommandHasTheSamePrefixAndRunsInTheRoot) {
    GitHome home;
    home.fakeGit("pwd; for word; do echo \"[$word]\"; done");
    const mbproc::Result result = mbgit::git(home.path(), "x 'y z'", 8000);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.out, home.path() + "\n[--no-optional-locks]\n[-c]\n[core.quotepath=false]\n"
                                        "[-c]\n[credential.interactive=never]\n[x]\n[y z]\n");
}

TEST(GitRun, WithoutARootNothingIsStarted) {
    const mbproc::Result result = mbgit::git("", "status", 8000);
    EXPECT_FALSE(result.started);
    EXPECT_EQ(result.err, "no repository");
}

TEST(GitRun, LimitEndsAGitThatHangs) {
    GitHome home;
    home.fakeGit("echo begun; exec sleep 60");
    const mbproc::Result result = mbgit::git(home.path(), "x", 300);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.out, "begun\n");
}

TEST(GitRun, HashesHaveSevenToFortyHexadecimalDigits) {
    const std::string forty(40, 'a');
    for (const std::string& text : {std::string("0123456"), std::string("aBcDeF0"), forty})
        EXPECT_TRUE(mbgit::isHash(text)) << text;
    for (const std::string& text :
         {std::string(), std::string("012345"), forty + "a", std::string("012345g"),
          std::string("012345 "), std::string("0123456\n"), std::string("0123456\0", 8)})
        EXPECT_FALSE(mbgit::isHash(text)) << text;
}

TEST(GitPendingDiff, AgainstHeadNamesNewFilesAndStagedLeavesThemOut) {
    GitHome home;
    const std::string root = home.init("diff", R"(
        echo 1 > a; echo 1 > b; git add .; git commit -qm one
        echo staged > a; git add a; echo loose > b; echo new > 'new file'; echo new > ' n')");
    std::string all, staged, error = "untouched";
    ASSERT_TRUE(mbgit::pendingDiff(root, true, all, error));
    ASSERT_TRUE(mbgit::pendingDiff(root, false, staged, error));
    EXPECT_EQ(error, "untouched");
    EXPECT_NE(all.find("+staged"), std::string::npos);
    EXPECT_NE(all.find("+loose"), std::string::npos);
    EXPECT_TRUE(all.ends_with("\n\n# New files, not shown above:\n#    n\n#   new file\n")) << all;
    EXPECT_NE(staged.find("+staged"), std::string::npos);
    EXPECT_EQ(staged.find("loose"), std::string::npos);
    EXPECT_EQ(staged.find("# New files"), std::string::npos);
    home.sh("rm 'new file' ' n'", "diff");
    ASSERT_TRUE(mbgit::pendingDiff(root, true, all, error));
    EXPECT_EQ(all.find("# New files"), std::string::npos);
}

TEST(GitPendingDiff, FailureGivesGitsWordsAndLeavesTheTextAlone) {
    GitHome home;
    std::string out = "untouched", error;
    EXPECT_FALSE(mbgit::pendingDiff(home.init("empty"), true, out, error));
    EXPECT_EQ(out, "untouched");
    EXPECT_TRUE(error.starts_with("fatal: ")) << error;
    EXPECT_FALSE(mbgit::pendingDiff("", true, out, error));
    EXPECT_EQ(error, "no repository");
}

TEST(GitPendingDiff, FailureWithoutAWordHasOneOfOurs) {
    GitHome home;
    home.fakeGit("exit 3");
    std::string out, error;
    EXPECT_FALSE(mbgit::pendingDiff(home.path(), false, out, error));
    EXPECT_EQ(error, "git diff failed");
    home.fakeGit("echo ' from output '; exit 3");
    EXPECT_FALSE(mbgit::pendingDiff(home.path(), false, out, error));
    EXPECT_EQ(error, "from output");
}

TEST(GitPendingDiff, ListOfNewFilesMayFail) {
    GitHome home;
    home.fakeGit("case \"$*\" in *ls-files*) echo name; exit 1 ;; esac; echo text");
    std::string out, error;
    EXPECT_TRUE(mbgit::pendingDiff(home.path(), true, out, error));
    EXPECT_EQ(out, "text\n");
}

}  // namespace
