// Real bash and zsh with the prepared files: the marks in their output, the user's own files, the
// prompt's width.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include "term/shell.hpp"
#include "term/term_support.hpp"
#include "util/util.hpp"

namespace {

using mbtest::Pane;
using mbtest::ScopedEnv;
using mbtest::TempDir;

const std::string kMarkA = "\x1b]633;A\a";
const std::string kMarkB = "\x1b]633;B\a";
std::string markD(int code) { return "\x1b]633;D;" + std::to_string(code) + "\a"; }

// A home of its own, so that the real user's files play no part.
struct Home {
    TempDir folder;
    std::string integration = folder.mkdir(".cache/marlin-bench/shell");
    std::string zsh = folder.mkdir(".cache/marlin-bench/shell/zsh");
    ScopedEnv scope{{{"HOME", folder.path()},
                     {"ZDOTDIR", std::nullopt},
                     {"PS1", std::nullopt},
                     {"PROMPT_COMMAND", std::nullopt},
                     {"LC_ALL", "C.UTF-8"}}};

    // What starts the shell with its integration; `text` is a command line.
    mbterm::SpawnOptions integrated(const mbterm::Shell& shell) const {
        mbterm::SpawnOptions options;
        options.cwd = folder.path();
        options.command = mbterm::integrateShell(
            shell, [this] { return integration; }, options.env);
        return options;
    }
};

// Types commands, each once the prompt has come.
class Typist {
public:
    Typist(const mbterm::SpawnOptions& options, std::string endOfPrompt)
        : pane(options), promptEnd(std::move(endOfPrompt)) {
        EXPECT_TRUE(pane.transcript.waitForText(promptEnd)) << pane.transcript.text();
    }

    // All that was printed up to the end of the next prompt.
    std::string type(const std::string& line) {
        const size_t from = pane.transcript.text().size();
        pane.terminal.write(line + "\r");
        // The shells draw a line anew at times, prompt and all, while it is typed; behind the line
        // break it is the next one.
        EXPECT_TRUE(pane.transcript.waitForText("\n", from));
        const size_t after = pane.transcript.text().find('\n', from);
        EXPECT_TRUE(pane.transcript.waitForText(promptEnd, after)) << pane.transcript.text();
        return pane.transcript.text().substr(from);
    }
    std::string text() { return pane.transcript.text(); }
    Pane& terminal() { return pane; }

private:
    Pane pane;
    std::string promptEnd;
};

const struct {
    const char* command;
    int code;
} kCommands[] = {{"true", 0},
                 {"false", 1},
                 {"(exit 42)", 42},
                 {"no-such-program-of-ours", 127},
                 {"sh -c 'kill -KILL $$'", 137},
                 {":", 0}};

TEST(TermBash, MarksStandAroundThePromptWithTheLastExitCode) {
    const Home home;
    home.folder.write(".bashrc", "PS1='here> '\n");
    Typist bash(home.integrated({"bash", false}), kMarkB);
    EXPECT_NE(bash.text().find(markD(0) + kMarkA + "here> " + kMarkB), std::string::npos);
    for (const auto& [command, code] : kCommands)
        EXPECT_NE(bash.type(command).find(markD(code) + kMarkA + "here> " + kMarkB),
                  std::string::npos)
            << bash.text();
}

TEST(TermBash, UsersFileIsReadOnceAndItsPromptCommandGoesOn) {
    const Home home;
    home.folder.write(".bashrc", "MB_READ=$((MB_READ + 1))\n"
                                 "PS1='${MB_COUNT}> '\n"
                                 "PROMPT_COMMAND='MB_COUNT=$((MB_COUNT + 1)); false'\n");
    Typist bash(home.integrated({"bash", false}), kMarkB);
    EXPECT_NE(bash.text().find(markD(0) + kMarkA + "1> " + kMarkB), std::string::npos);
    EXPECT_NE(bash.type("echo =$MB_READ=").find("=1="), std::string::npos);
    // The command's status, not that of what the user runs before each prompt.
    EXPECT_NE(bash.type("true").find(markD(0) + kMarkA + "3> "), std::string::npos);
    const std::string again = bash.type(". " + home.integration + "/bashrc; echo =$MB_READ=");
    EXPECT_NE(again.find("=1="), std::string::npos);
    EXPECT_EQ(again.find(kMarkA + kMarkA), std::string::npos);
    EXPECT_NE(bash.type("(exit 3)").find(markD(3) + kMarkA + "5> "), std::string::npos);
}

TEST(TermBash, WorksWithoutAFileOfTheUser) {
    const Home home;
    Typist bash(home.integrated({"/bin/bash", true}), kMarkB);
    EXPECT_NE(bash.type("false").find(markD(1) + kMarkA), std::string::npos);
}

TEST(TermBash, LinkInAFolderWithABlankIsBashToo) {
    const Home home;
    const std::string link = home.folder.mkdir("my shells") + "/bash";
    ASSERT_EQ(::symlink("/bin/bash", link.c_str()), 0);
    Typist bash(home.integrated({link, true}), kMarkB);
    EXPECT_NE(bash.type("echo =$0=").find("=" + link + "="), std::string::npos);
}

TEST(TermBash, ShellBehindALinkOfAnotherNameIsNotIntegrated) {
    const Home home;
    home.folder.write(".bashrc", "PS1='here> '\n");
    const std::string link = home.folder.mkdir("my shells") + "/my bash";
    ASSERT_EQ(::symlink("/bin/bash", link.c_str()), 0);
    Typist bash(home.integrated({link, true}), "here> ");
    EXPECT_EQ(bash.type("false").find("\x1b]633"), std::string::npos);
}

TEST(TermBash, CommandLineWithAnOptionHasNoMarks) {
    const Home home;
    home.folder.write(".bashrc", "PS1='here> '\n");
    Typist bash(home.integrated({"bash -i", false}), "here> ");
    (void)bash.type("false");
    EXPECT_EQ(bash.text().find("\x1b]633"), std::string::npos);
}

TEST(TermShells, OtherShellHasNoMarks) {
    const Home home;
    mbterm::SpawnOptions options = home.integrated({"/bin/sh", true});
    options.env["PS1"] = "here> ";
    Typist shell(options, "here> ");
    (void)shell.type("false");
    EXPECT_EQ(shell.text().find("\x1b]633"), std::string::npos);
}

TEST(TermZsh, MarksStandAroundThePromptWithTheLastExitCode) {
    const Home home;
    home.folder.write(".zshrc", "PS1='here> '\n");
    Typist zsh(home.integrated({"zsh", false}), kMarkB);
    EXPECT_NE(zsh.text().find(markD(0)), std::string::npos);
    EXPECT_NE(zsh.text().find(kMarkA + "here> " + kMarkB), std::string::npos);
    for (const auto& [command, code] : kCommands) {
        const std::string printed = zsh.type(command);
        const size_t status = printed.find(markD(code));
        ASSERT_NE(status, std::string::npos) << code << testing::PrintToString(printed);
        EXPECT_NE(printed.find(kMarkA + "here> " + kMarkB, status), std::string::npos);
    }
}

TEST(TermZsh, UsersHookRunsBehindOurs) {
    const Home home;
    home.folder.write(".zshrc", "user_hook() { MB_HOOK=$((MB_HOOK + 1)); false }\n"
                                "precmd_functions=(user_hook)\nPS1='here> '\n");
    Typist zsh(home.integrated({"zsh", false}), kMarkB);
    EXPECT_NE(zsh.type("(exit 5)").find(markD(5)), std::string::npos);
    EXPECT_NE(zsh.type("echo \"=$MB_HOOK=\"").find("=2="), std::string::npos);
}

// Each of the user's files tells of itself and of where it finds ZDOTDIR.
void writeZshFiles(const TempDir& folder, const std::string& below) {
    for (const std::string name : {"zshenv", "zprofile", "zshrc", "zlogin"})
        folder.write(below + "." + name, "MB_ORDER=\"$MB_ORDER <" + name + " $ZDOTDIR>\"\n");
}

TEST(TermZsh, UsersFilesAreReadFromHomeAndZdotdirIsRestored) {
    const Home home;
    writeZshFiles(home.folder, "");
    Typist zsh(home.integrated({"zsh", false}), kMarkB);
    const std::string user = home.folder.path();
    const std::string read = "=[ <zshenv " + user + "> <zshrc " + user + ">]" + user + "=";
    zsh.terminal().terminal.resize(500, 30);
    EXPECT_NE(zsh.type("echo \"=[$MB_ORDER]$ZDOTDIR=\"").find(read), std::string::npos)
        << zsh.text();
}

TEST(TermZsh, LoginShellReadsAllFourFilesOfTheUsersFolder) {
    const Home home;
    const std::string user = home.folder.mkdir("my zsh");
    writeZshFiles(home.folder, "my zsh/");
    const ScopedEnv scope({{"ZDOTDIR", user}});
    mbterm::SpawnOptions options = home.integrated({"zsh", false});
    options.command += " -l";
    options.cols = 500;
    Typist zsh(options, kMarkB);
    std::string read = "=[";
    for (const char* name : {"zshenv", "zprofile", "zshrc", "zlogin"})
        read += " <" + std::string(name) + " " + user + ">";
    EXPECT_NE(zsh.type("echo \"=[$MB_ORDER]$ZDOTDIR=\"").find(read + "]" + user + "="),
              std::string::npos)
        << zsh.text();
}

TEST(TermZsh, ShellWithinReadsTheUsersFilesAndHasNoMarks) {
    const Home home;
    home.folder.write(".zshrc", "PS1='here> '\n");
    Typist zsh(home.integrated({"zsh", false}), "here> ");
    const std::string printed = zsh.type("zsh");
    EXPECT_EQ(printed.find(kMarkA), std::string::npos) << printed;
}

std::string withoutMarks(std::string text) {
    for (size_t at = 0; (at = text.find("\x1b]633;")) != std::string::npos;)
        text.erase(at, text.find('\a', at) + 1 - at);
    return text;
}

// What is printed while a line that is longer than the terminal is wide is typed and edited. Where
// a shell believed that the prompt was wider, it would break the line at another place.
std::string typedLongLine(const mbterm::SpawnOptions& wide, const std::string& promptEnd) {
    mbterm::SpawnOptions options = wide;
    options.cols = 40;
    Typist shell(options, promptEnd);
    mbtest::Transcript& transcript = shell.terminal().transcript;
    const size_t from = transcript.text().size();
    // One by one, as what is typed ahead is drawn in another way.
    std::string typed = "echo ";
    while (typed.size() < 95) typed += static_cast<char>('a' + typed.size() % 26);
    for (const char letter : typed) {
        const size_t before = transcript.text().size();
        shell.terminal().terminal.write(std::string(1, letter));
        EXPECT_TRUE(transcript.waitForText(std::string(1, letter), before));
    }
    // From the first letter: what comes between the prompt and it may be late.
    const std::string printed = transcript.text().substr(from);
    return withoutMarks(printed.substr(printed.find('e')));
}

TEST(TermBash, MarksDoNotWidenThePrompt) {
    const Home home;
    home.folder.write(".bashrc", "PS1='here> '\n");
    const std::string plain = typedLongLine(home.integrated({"bash -i", false}), "here> ");
    EXPECT_EQ(typedLongLine(home.integrated({"bash", false}), kMarkB), plain);
    // The comparison sees it where they do.
    home.folder.write(".bashrc", "PS1=$'\\e]633;A\\ahere> '\n");
    EXPECT_NE(typedLongLine(home.integrated({"bash -i", false}), "here> "), plain);
}

TEST(TermZsh, MarksDoNotWidenThePrompt) {
    const Home home;
    home.folder.write(".zshrc", "PS1='here> '\n");
    const std::string plain = typedLongLine(home.integrated({"zsh -i", false}), "here> ");
    EXPECT_EQ(typedLongLine(home.integrated({"zsh", false}), kMarkB), plain);
    home.folder.write(".zshrc", "PS1=$'\\e]633;A\\ahere> '\n");
    EXPECT_NE(typedLongLine(home.integrated({"zsh -i", false}), "here> "), plain);
}

}  // namespace
