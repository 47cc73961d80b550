// Which shell is taken, and what is prepared for it.

#include "term/shell.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "term/term_support.hpp"
#include "util/util.hpp"

namespace {

using mbterm::chooseShell;
using mbterm::Shell;
using mbtest::ScopedEnv;
using mbtest::TempDir;
using Env = std::map<std::string, std::string>;

std::string writeExecutable(const TempDir& folder, const std::string& relative) {
    const std::string path = folder.write(relative, "#!/bin/sh\n");
    EXPECT_EQ(::chmod(path.c_str(), 0755), 0);
    return path;
}

TEST(TermShell, FirstThatHoldsIsChosen) {
    const TempDir folder;
    const std::string one = writeExecutable(folder, "a b/one"),
                      two = writeExecutable(folder, "two");
    const std::string plain = folder.write("plain", "");
    const struct {
        std::string setting, variable, login, text;
        bool isPath;
    } cases[] = {
        {"fish -l", one, two, "fish -l", false},
        {"  ", one, two, "  ", false},
        {"", one, two, one, true},
        {"", plain, two, two, true},
        {"", folder.at("gone"), two, two, true},
        {"", "", two, two, true},
        {"", "", "", "/bin/bash", true},
        {"", plain, plain, "/bin/bash", true},
    };
    for (const auto& [setting, variable, login, text, isPath] : cases) {
        const Shell shell = chooseShell(setting, variable, login);
        EXPECT_EQ(shell.text, text);
        EXPECT_EQ(shell.isPath, isPath) << text;
    }
}

TEST(TermShell, LoginShellIsThatOfThePasswordFile) {
    std::string listed =
        mbtest::runFor("getent passwd " + std::to_string(::getuid()) + " | cut -d: -f7").out;
    EXPECT_EQ(mbterm::loginShell() + "\n", listed);
}

// An integration folder, as it is handed out on demand.
struct Folder {
    TempDir home;
    std::string path = home.mkdir("cache/marlin-bench/shell");
    std::string zsh = home.mkdir("cache/marlin-bench/shell/zsh");
    int asked = 0;

    std::string integrate(const Shell& shell, Env& env) {
        return mbterm::integrateShell(
            shell,
            [this] {
                ++asked;
                return path;
            },
            env);
    }
};

TEST(TermShell, OnlyBashAndZshWithoutArgumentsAreIntegrated) {
    const struct {
        Shell shell;
        std::string command;
    } cases[] = {
        {{"bash -i", false}, "bash -i"},
        {{"/bin/bash --norc", false}, "/bin/bash --norc"},
        {{"/my shells/bash", false}, "/my shells/bash"},  // a command with an argument
        {{"zsh -f", false}, "zsh -f"},
        {{"", false}, ""},
        {{" ", false}, " "},
        {{"BASH", false}, "BASH"},
        {{"Zsh", false}, "Zsh"},
        {{"bash5", false}, "bash5"},
        {{"/bin/sh", true}, "/bin/sh"},
        {{"/opt/my shells/fish", true}, "'/opt/my shells/fish'"},
        {{"/bin/bash/", true}, "/bin/bash/"},
    };
    Folder folder;
    for (const auto& [shell, command] : cases) {
        Env env;
        EXPECT_EQ(folder.integrate(shell, env), command);
        EXPECT_TRUE(env.empty()) << command;
    }
    EXPECT_EQ(folder.asked, 0);
}

TEST(TermShell, BashGetsAnInitFile) {
    Folder folder;
    const std::string rest = " --init-file " + folder.path + "/bashrc -i";
    const struct {
        Shell shell;
        std::string program;
    } cases[] = {
        {{"bash", false}, "bash"},
        {{"\t /usr/bin/bash \n", false}, "/usr/bin/bash"},
        {{"/bin/bash", true}, "/bin/bash"},
        {{"/my shells/it's/bash", true}, "'/my shells/it'\\''s/bash'"},
    };
    for (const auto& [shell, program] : cases) {
        Env env = {{"KEPT", "1"}};
        EXPECT_EQ(folder.integrate(shell, env), program + rest);
        EXPECT_EQ(env, (Env{{"KEPT", "1"}}));
    }
    EXPECT_EQ(folder.asked, 4);
}

TEST(TermShell, FolderWithABlankIsQuoted) {
    Folder folder;
    folder.path = folder.home.mkdir("a b");
    Env env;
    EXPECT_EQ(folder.integrate({"bash", false}, env),
              "bash --init-file '" + folder.path + "/bashrc' -i");
}

TEST(TermShell, ZshFindsItsFilesByAVariable) {
    Folder folder;
    const ScopedEnv scope({{"HOME", folder.home.path()}, {"ZDOTDIR", std::nullopt}});
    Env env = {{"KEPT", "1"}};
    EXPECT_EQ(folder.integrate({"/bin/zsh", true}, env), "/bin/zsh");
    EXPECT_EQ(
        env,
        (Env{{"KEPT", "1"}, {"ZDOTDIR", folder.zsh}, {"__mb_user_zdotdir", folder.home.path()}}));
    EXPECT_EQ(folder.integrate({" zsh ", false}, env), " zsh ");
    EXPECT_EQ(folder.integrate({"/my shells/zsh", true}, env), "'/my shells/zsh'");
}

TEST(TermShell, ZshUsersFolderIsZdotdirElseHomeElseTmp) {
    const struct {
        std::optional<std::string> zdotdir, home;
        std::string user;
    } cases[] = {
        {"/my/zsh", "/home/me", "/my/zsh"},   {"relative", "/home/me", "relative"},
        {"", "/home/me", "/home/me"},         {std::nullopt, "/home/me", "/home/me"},
        {std::nullopt, std::nullopt, "/tmp"},
    };
    Folder folder;
    for (const auto& [zdotdir, home, user] : cases) {
        const ScopedEnv scope({{"HOME", home}, {"ZDOTDIR", zdotdir}});
        Env env;
        (void)folder.integrate({"zsh", false}, env);
        EXPECT_EQ(env["__mb_user_zdotdir"], user);
    }
}

const char* const kBashrc =
    "# Written by Marlin Bench for its terminals; rewritten on every start.\n"
    "if [ -z \"$__mb_loaded\" ]; then\n"
    "  __mb_loaded=1\n"
    "  [ -r /etc/bash.bashrc ] && . /etc/bash.bashrc\n"
    "  [ -r ~/.bashrc ] && . ~/.bashrc\n"
    "  __mb_status() { __mb_code=$?; }\n"
    "  PROMPT_COMMAND=\"__mb_status${PROMPT_COMMAND:+; $PROMPT_COMMAND}\"\n"
    "  PS1='\\[\\e]633;D;${__mb_code}\\a\\e]633;A\\a\\]'\"$PS1\"'\\[\\e]633;B\\a\\]'\n"
    "fi\n";

const char* const kZshrc = "__mb_z=$ZDOTDIR; ZDOTDIR=$__mb_user_zdotdir; "
                           "[ -r \"$ZDOTDIR/.zshrc\" ] && . \"$ZDOTDIR/.zshrc\"\n"
                           "ZDOTDIR=$__mb_user_zdotdir\n"
                           "__mb_precmd() { local c=$?; print -Pn \"\\e]633;D;$c\\a\"; }\n"
                           "precmd_functions=(__mb_precmd $precmd_functions)\n"
                           "PS1=$'%{\\e]633;A\\a%}'\"$PS1\"$'%{\\e]633;B\\a%}'\n";

TEST(TermShell, FilesAreWrittenToTheByte) {
    Folder folder;
    Env env;
    (void)folder.integrate({"bash", false}, env);
    EXPECT_EQ(mbtest::slurp(folder.path + "/bashrc"), kBashrc);
    EXPECT_FALSE(mbutil::fileExists(folder.zsh + "/.zshrc"));
    (void)folder.integrate({"zsh", false}, env);
    EXPECT_EQ(mbtest::slurp(folder.zsh + "/.zshrc"), kZshrc);
    EXPECT_EQ(mbtest::slurp(folder.zsh + "/.zshenv"),
              "__mb_z=$ZDOTDIR; ZDOTDIR=$__mb_user_zdotdir; "
              "[ -r \"$ZDOTDIR/.zshenv\" ] && . \"$ZDOTDIR/.zshenv\"; ZDOTDIR=$__mb_z\n");
    EXPECT_EQ(mbtest::slurp(folder.zsh + "/.zprofile"),
              "__mb_z=$ZDOTDIR; ZDOTDIR=$__mb_user_zdotdir; "
              "[ -r \"$ZDOTDIR/.zprofile\" ] && . \"$ZDOTDIR/.zprofile\"; ZDOTDIR=$__mb_z\n");
    EXPECT_EQ(mbtest::slurp(folder.zsh + "/.zlogin"),
              "__mb_z=$ZDOTDIR; ZDOTDIR=$__mb_user_zdotdir; "
              "[ -r \"$ZDOTDIR/.zlogin\" ] && . \"$ZDOTDIR/.zlogin\"; ZDOTDIR=$__mb_z\n");
}

TEST(TermShell, FilesThatWereChangedAreMadeAnew) {
    Folder folder;
    Env env;
    const std::string file = folder.path + "/bashrc";
    for (const std::string& changed :
         {std::string(), std::string(5000, 'x'), kBashrc + std::string("x")}) {
        ASSERT_TRUE(mbutil::writeFileRaw(file, changed));
        (void)folder.integrate({"bash", false}, env);
        EXPECT_EQ(mbtest::slurp(file), kBashrc);
    }
}

// A shell that was started a moment ago may be reading it.
TEST(TermShell, FileThatIsRightIsNotTouched) {
    Folder folder;
    Env env;
    (void)folder.integrate({"bash", false}, env);
    const std::string file = folder.path + "/bashrc";
    const timespec old[2] = {{1000, 0}, {1000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), old, 0), 0);
    (void)folder.integrate({"bash", false}, env);
    struct stat info = {};
    ASSERT_EQ(::stat(file.c_str(), &info), 0);
    EXPECT_EQ(info.st_mtim.tv_sec, 1000);
}

TEST(TermShell, FilesThatCannotBeWrittenAreNoFailure) {
    Folder folder;
    folder.path = "/proc/none";
    Env env;
    EXPECT_EQ(folder.integrate({"bash", false}, env), "bash --init-file /proc/none/bashrc -i");
    EXPECT_EQ(folder.integrate({"zsh", false}, env), "zsh");
    EXPECT_EQ(env["ZDOTDIR"], "/proc/none/zsh");
}

}  // namespace
