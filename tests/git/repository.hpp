#pragma once
// What the tests of git share: repositories made by the real git in a home of their own, and fakes
// of it.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "git/git.hpp"
#include "proc/proc.hpp"
#include "support/support.hpp"

namespace mbtest {

// A temporary folder with a HOME in it: nothing of the user's or the system's settings is seen.
class GitHome {
public:
    GitHome() {
        dir.write("home/.gitconfig", "[user]\n name = Ann Example\n email = ann@example.com\n"
                                     "[init]\n defaultBranch = main\n"
                                     "[protocol \"file\"]\n allow = always\n"
                                     "[advice]\n detachedHead = false\n"
                                     "[gc]\n auto = 0\n[maintenance]\n auto = false\n");
    }

    const std::string& path() const { return dir.path(); }
    std::string at(const std::string& relative) const { return dir.at(relative); }
    std::string write(const std::string& relative, const std::string& bytes) const {
        return dir.write(relative, bytes);
    }

    // Runs a script in this folder or in one below it, to the end; its output, trimmed at its end.
    std::string sh(const std::string& script, const std::string& folder = "") const {
        mbproc::Options options;
        options.cwd = folder.empty() ? path() : at(folder);
        options.timeoutMs = 60000;
        const mbproc::Result result = mbproc::run("set -e\n" + script, options);
        EXPECT_EQ(result.code, 0) << script << "\n" << result.out << result.err;
        return result.out.substr(0, result.out.find_last_not_of('\n') + 1);
    }

    // A new repository; the script goes on inside of it.
    std::string init(const std::string& name, const std::string& script = ":") const {
        sh("git init -q '" + name + "'\ncd '" + name + "'\n" + script);
        return at(name);
    }

    // An executable named "git" that stands before all others on PATH from then on.
    void fakeGit(const std::string& script) {
        const std::string file = dir.write("fakes/git", "#!/bin/sh\n" + script + "\n");
        ::chmod(file.c_str(), 0755);
        const char* path = std::getenv("PATH");
        ::setenv("PATH", (dir.at("fakes") + ":" + (path ? path : "")).c_str(), 1);
    }

private:
    TempDir dir;
    ScopedEnv environment{{{"HOME", dir.at("home")},
                           {"XDG_CONFIG_HOME", dir.at("home/.config")},
                           {"GIT_CONFIG_NOSYSTEM", "1"},
                           {"GIT_CONFIG_GLOBAL", dir.at("home/.gitconfig")},
                           {"GIT_CONFIG_COUNT", std::nullopt},
                           {"GIT_DIR", std::nullopt},
                           {"GIT_WORK_TREE", std::nullopt},
                           {"GIT_INDEX_FILE", std::nullopt},
                           {"GIT_CEILING_DIRECTORIES", dir.path()},
                           {"GIT_TERMINAL_PROMPT", "0"},
                           {"GIT_EDITOR", "false"},
                           {"LC_ALL", "C.UTF-8"},
                           {"PATH", std::getenv("PATH")}}};
};

// "XY flags path" for each file; the flags are s(taged), u(nstaged), n(ew), c(onflicted).
inline std::vector<std::string> summary(const mbgit::Status& status) {
    std::vector<std::string> rows;
    for (const mbgit::FileChange& change : status.files) {
        std::string row = change.index + change.work + " ";
        if (change.staged) row += 's';
        if (change.unstaged) row += 'u';
        if (change.untracked) row += 'n';
        if (change.conflicted) row += 'c';
        rows.push_back(row + " " + change.path);
    }
    return rows;
}

// "+added-removed +added-removed path" for each file, staged before working tree.
inline std::vector<std::string> countSummary(const mbgit::Status& status) {
    std::vector<std::string> rows;
    for (const mbgit::FileChange& change : status.files)
        rows.push_back(std::to_string(change.stagedAdded) + "," +
                       std::to_string(change.stagedRemoved) + " " +
                       std::to_string(change.workAdded) + "," + std::to_string(change.workRemoved) +
                       " " + change.path);
    return rows;
}

}  // namespace mbtest
