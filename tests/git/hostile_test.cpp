// Names that a clone can bring along: to git they are names, to a shell commands, to a careless
// caller options. Each tries to make a file "owned" somewhere below the home.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "git/actions.hpp"
#include "git/git.hpp"
#include "git/history.hpp"
#include "git/repository.hpp"

namespace {

using mbtest::GitHome;

const std::vector<std::string> kNames = {"$(touch${IFS}owned)",   "`touch${IFS}owned`",
                                         "x;touch${IFS}owned",    "x&touch${IFS}owned&",
                                         "x|touch${IFS}owned",    "x>owned",
                                         "'$(touch${IFS}owned)'", "\"x\";touch${IFS}owned;\"",
                                         "x#;touch${IFS}owned",   "#owned"};

bool owned(const GitHome& home) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home.path()))
        if (entry.path().filename() == "owned") return true;
    return false;
}

TEST(GitHostile, TheTrapsDoSpring) {
    GitHome home;
    home.sh("touch${IFS}owned");
    EXPECT_TRUE(owned(home));
}

TEST(GitHostile, NamesOfFilesAndFoldersAreOnlyNames) {
    GitHome home;
    const std::string root = home.init("x;touch${IFS}owned;$(touch${IFS}owned)");
    mbgit::Paths paths;
    for (const std::string& name : kNames) {
        home.write("x;touch${IFS}owned;$(touch${IFS}owned)/" + name, "1\n");
        paths.push_back(name);
    }
    std::string output, error;
    mbgit::CommitOptions options;
    options.message = "$(touch owned)";
    EXPECT_TRUE(mbgit::stage(root, paths, error)) << error;
    EXPECT_TRUE(mbgit::commit(root, options, output, error)) << error;
    EXPECT_EQ(home.sh("cd x*; git log -1 --format=%s"), "$(touch owned)");
    for (const std::string& name : kNames) {
        home.write("x;touch${IFS}owned;$(touch${IFS}owned)/" + name, "2\n");
        mbgit::FileSides sides;
        EXPECT_TRUE(mbgit::fileSides(root, "", name, sides, error)) << error;
        EXPECT_EQ(sides.original, "1\n") << name;
        EXPECT_EQ(mbgit::log(root, 1, name).size(), 1U) << name;
        (void)mbgit::showFile(root, name, "x", sides.original, error);
    }
    mbgit::Status status = mbgit::status(root);
    EXPECT_EQ(status.files.size(), kNames.size());
    mbgit::addLineCounts(root, status);
    EXPECT_TRUE(mbgit::stage(root, paths, error)) << error;
    EXPECT_TRUE(mbgit::unstage(root, paths, error)) << error;
    EXPECT_TRUE(mbgit::discard(root, paths, error)) << error;
    EXPECT_TRUE(mbgit::status(root).files.empty());
    EXPECT_FALSE(owned(home));
}

TEST(GitHostile, NamesOfBranchesRemotesAndTagsAreOnlyNames) {
    GitHome home;
    home.sh("git init -q --bare remote.git");
    const std::string root =
        home.init("repo", "git commit -qm one --allow-empty; "
                          "git remote add origin ../remote.git; "
                          "git remote add '$(touch${IFS}owned)' ../remote.git");
    std::string output, error;
    for (const std::string& name : kNames) {
        ASSERT_TRUE(mbgit::checkout(root, name, true, output, error)) << error;
        EXPECT_TRUE(mbgit::git(root, "tag " + mbproc::quote("t" + name), 10000).code == 0) << name;
        if (name.front() != '#')  // there the shell's comment begins, and push has no branch
            EXPECT_TRUE(mbgit::push(root, true, output, error)) << name << ": " << error;
        else
            (void)mbgit::push(root, true, output, error);
        EXPECT_TRUE(mbgit::checkout(root, "main", false, output, error)) << error;
        EXPECT_TRUE(mbgit::merge(root, name, output, error)) << name << ": " << error;
        std::string content;
        EXPECT_TRUE(mbgit::showFile(root, name, "none", content, error)) << error;
    }
    EXPECT_TRUE(mbgit::fetch(root, output, error)) << error;
    EXPECT_EQ(mbgit::branches(root, false).size(), kNames.size() + 1);
    EXPECT_GE(mbgit::refs(root).size(), 2 * kNames.size());
    std::vector<std::string> list;
    (void)mbgit::unpushed(root, list);
    EXPECT_FALSE(owned(home));
}

// Tags like these come with a clone. "-f" would throw all changes away.
TEST(GitHostile, NamesThatLookLikeOptionsAreNone) {
    GitHome home;
    const std::string root = home.init("repo", R"sh(echo 1 > a; git add a; git commit -qm one
        git update-ref refs/tags/-f HEAD; git update-ref refs/heads/--exec=owned HEAD
        echo changed > a)sh");
    std::string output, error;
    EXPECT_FALSE(mbgit::checkout(root, "-f", false, output, error));
    EXPECT_EQ(error, "'-f' is not a branch name");
    EXPECT_FALSE(mbgit::merge(root, "-f", output, error));
    EXPECT_EQ(error, "'-f' is not a branch name");
    EXPECT_EQ(mbgit::status(root).files.size(), 1U);
    home.sh("git init -q --bare ../remote.git; git remote add origin ../remote.git; "
            "git symbolic-ref HEAD refs/heads/--exec=owned",
            "repo");
    EXPECT_TRUE(mbgit::push(root, true, output, error)) << error;
    EXPECT_EQ(mbgit::status(root).upstream, "origin/--exec=owned");
}

// A tag can point at a blob or at another tag; git shows their text in place of a commit's fields.
TEST(GitHostile, TextInPlaceOfACommitIsRefused) {
    GitHome home;
    const std::string root = home.init("repo", R"sh(git commit -qm one --allow-empty
        printf 'x\037;touch owned;\037\037\037\037\037\037\037' | git hash-object -w --stdin > hash
        git tag -a blob -m note "$(cat hash)")sh");
    const auto refs = mbgit::refs(root);
    std::string hash;
    for (const mbgit::RefInfo& ref : refs)
        if (ref.name == "blob") hash = ref.hash;
    EXPECT_EQ(hash + "\n", mbtest::slurp(root + "/hash"));
    mbgit::CommitDetail detail;
    std::string error;
    EXPECT_FALSE(mbgit::commitDetail(root, hash, detail, error));
    EXPECT_EQ(error, "unexpected output from git show");
    EXPECT_FALSE(owned(home));
}

}  // namespace
