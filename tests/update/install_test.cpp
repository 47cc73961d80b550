#include "update/install.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "support/support.hpp"
#include "util/util.hpp"

namespace {

using mbtest::ScopedEnv;
using mbtest::slurp;
using mbtest::TempDir;
using mbtest::waitUntil;
using mbupdate::InstallKind;
using mbupdate::installScript;
using mbupdate::shellQuote;

constexpr int kLimitMs = 30000;

TEST(UpdateScript, QuotesForTheShell) {
    EXPECT_EQ(shellQuote(""), "''");
    EXPECT_EQ(shellQuote("/usr/bin/x"), "'/usr/bin/x'");
    EXPECT_EQ(shellQuote("it's"), R"('it'\''s')");
    EXPECT_EQ(shellQuote("'"), R"(''\''')");
    EXPECT_EQ(shellQuote("a b$(c) \\"), R"('a b$(c) \')");
}

TEST(UpdateScript, IsAsWrittenForEachKind) {
    const std::string wait = "while kill -0 42 2>/dev/null; do sleep 0.2; done; ";
    EXPECT_EQ(installScript(InstallKind::AppImage, 42, "/d/new", "/a/app"),
              wait + "cp -f '/d/new' '/a/app.new' && chmod 755 '/a/app.new' && "
                     "mv -f '/a/app.new' '/a/app'; exec '/a/app'");
    EXPECT_EQ(installScript(InstallKind::Deb, 42, "/d/a.deb", "/usr/bin/x"),
              wait + R"(if command -v pkexec >/dev/null 2>&1 && pkexec sh -c )"
                     R"('apt-get install -y --allow-downgrades '\''/d/a.deb'\''')"
                     R"(; then exec '/usr/bin/x'; else exec xdg-open '/d/a.deb'; fi)");
    EXPECT_EQ(installScript(InstallKind::Rpm, 42, "/d/a.rpm", "/usr/bin/x"),
              wait + R"(if command -v pkexec >/dev/null 2>&1 && pkexec sh -c )"
                     R"('if command -v dnf >/dev/null 2>&1; then dnf install -y '\''/d/a.rpm'\'')"
                     R"(; else zypper --non-interactive install --allow-unsigned-rpm )"
                     R"('\''/d/a.rpm'\''; fi')"
                     R"(; then exec '/usr/bin/x'; else exec xdg-open '/d/a.rpm'; fi)");
    EXPECT_EQ(installScript(InstallKind::Arch, 42, "/d/a.zst", "/usr/bin/x"),
              wait + R"(if command -v pkexec >/dev/null 2>&1 && pkexec sh -c )"
                     R"('pacman -U --noconfirm '\''/d/a.zst'\''')"
                     R"(; then exec '/usr/bin/x'; else exec xdg-open '/d/a.zst'; fi)");
}

// Stands for the program that is to be replaced.
class RunningProgram {
public:
    RunningProgram() : id(::fork()) {
        if (id != 0) return;
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (;;) ::pause();
    }
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;
    ~RunningProgram() { end(); }

    int32_t pid() const { return id; }
    void end() {
        if (id <= 0) return;
        ::kill(id, SIGKILL);
        ::waitpid(id, nullptr, 0);
        id = -1;
    }

private:
    pid_t id;
};

// Scripts run with a PATH of fakes and the few real tools that they need. Every fake and the
// program itself add a line to `log`: their name and arguments.
struct UpdateInstall : testing::Test {
    TempDir dir;
    RunningProgram program;
    ScopedEnv environment{{{"PATH", dir.mkdir("bin")}, {"LOG", dir.at("log")}}};
    // Names that only a shell's quotes get through.
    std::string file = dir.at("it's a $(file)");
    std::string target = dir.at("the \"program\"; it's");

    UpdateInstall() {
        for (const std::string tool : {"sh", "sleep", "cp", "chmod", "mv"})
            writeScript("bin/" + tool, "exec " + realTool(tool) + " \"$@\"");
        dir.write("it's a $(file)", "#!/bin/sh\necho \"new program $*\" >>\"$LOG\"\n");
        writeScript("the \"program\"; it's", "echo \"old program $*\" >>\"$LOG\"");
    }

    static std::string realTool(const std::string& name) {
        return mbutil::fileExists("/usr/bin/" + name) ? "/usr/bin/" + name : "/bin/" + name;
    }
    // Never a link to a real tool: a test may write it anew.
    void writeScript(const std::string& name, const std::string& lines) const {
        ASSERT_EQ(::chmod(dir.write(name, "#!/bin/sh\n" + lines + "\n").c_str(), 0755), 0);
    }
    void fake(const std::string& name, const std::string& more = "") const {
        writeScript("bin/" + name, "echo \"" + name + " $*\" >>\"$LOG\"\n" + more);
    }
    std::string log() const { return slurp(dir.at("log")); }
    // Everything that the script did until its last program has run.
    std::string logOf(InstallKind kind, const std::string& lastWord) {
        const bool started =
            mbupdate::startInstaller(installScript(kind, program.pid(), file, target));
        EXPECT_TRUE(started);
        program.end();
        EXPECT_TRUE(waitUntil([&] { return log().find(lastWord) != std::string::npos; }, kLimitMs))
            << log();
        return log();
    }
};

TEST_F(UpdateInstall, AnAppImageIsReplacedAndStarted) {
    EXPECT_EQ(logOf(InstallKind::AppImage, "new program"), "new program \n");
    EXPECT_EQ(slurp(target), slurp(file));
    struct stat info = {};
    ASSERT_EQ(::stat(target.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0755U);
    EXPECT_FALSE(mbutil::fileExists(target + ".new"));
}

TEST_F(UpdateInstall, NothingIsTouchedWhileTheProgramRuns) {
    fake("sleep", "exec " + realTool("sleep") + " 0.01");
    ASSERT_TRUE(mbupdate::startInstaller(
        installScript(InstallKind::AppImage, program.pid(), file, target)));
    const auto waits = [this] {
        return log().find("sleep 0.2\nsleep 0.2\nsleep 0.2") != std::string::npos;
    };
    ASSERT_TRUE(waitUntil(waits, kLimitMs));
    EXPECT_NE(slurp(target), slurp(file));
    program.end();
    EXPECT_TRUE(
        waitUntil([&] { return log().find("new program") != std::string::npos; }, kLimitMs));
}

TEST_F(UpdateInstall, AnAppImageThatCannotBeReplacedIsStartedAllTheSame) {
    ASSERT_EQ(::unlink(file.c_str()), 0);
    EXPECT_EQ(logOf(InstallKind::AppImage, "old program"), "old program \n");
}

TEST_F(UpdateInstall, ADebGoesToApt) {
    fake("pkexec", "exec \"$@\"");
    fake("apt-get");
    EXPECT_EQ(logOf(InstallKind::Deb, "old program"),
              "pkexec sh -c apt-get install -y --allow-downgrades " + shellQuote(file) + "\n" +
                  "apt-get install -y --allow-downgrades " + file + "\nold program \n");
}

TEST_F(UpdateInstall, AnRpmGoesToDnf) {
    fake("pkexec", "shift 2; exec sh -c \"$@\"");
    fake("dnf");
    fake("zypper");
    const std::string all = logOf(InstallKind::Rpm, "old program");
    EXPECT_NE(all.find("\ndnf install -y " + file + "\nold program \n"), std::string::npos) << all;
    EXPECT_EQ(all.find("\nzypper "), std::string::npos);
}

TEST_F(UpdateInstall, AnRpmGoesToZypperWithoutDnf) {
    fake("pkexec", "exec \"$@\"");
    fake("zypper");
    const std::string all = logOf(InstallKind::Rpm, "old program");
    EXPECT_NE(all.find("\nzypper --non-interactive install --allow-unsigned-rpm " + file +
                       "\nold program \n"),
              std::string::npos)
        << all;
}

TEST_F(UpdateInstall, AnArchPackageGoesToPacman) {
    fake("pkexec", "exec \"$@\"");
    fake("pacman");
    const std::string all = logOf(InstallKind::Arch, "old program");
    EXPECT_NE(all.find("\npacman -U --noconfirm " + file + "\nold program \n"), std::string::npos)
        << all;
}

TEST_F(UpdateInstall, AFailedInstallationShowsThePackage) {
    fake("pkexec", "exec \"$@\"");
    fake("apt-get", "exit 1");
    fake("xdg-open");
    const std::string all = logOf(InstallKind::Deb, "xdg-open");
    EXPECT_NE(all.find("\nxdg-open " + file + "\n"), std::string::npos) << all;
    EXPECT_EQ(all.find("old program"), std::string::npos);
}

TEST_F(UpdateInstall, WithoutPkexecThePackageIsShown) {
    fake("xdg-open");
    EXPECT_EQ(logOf(InstallKind::Arch, "xdg-open"), "xdg-open " + file + "\n");
}

// A terminal's end or an open port of ours must not reach it.
TEST_F(UpdateInstall, RunsInItsOwnSessionWithoutOurDescriptors) {
    const int leaked = ::fcntl(0, F_DUPFD, 300);
    ASSERT_GE(leaked, 300);
    ASSERT_EQ(::unlink(file.c_str()), 0);
    writeScript("the \"program\"; it's",
                "for fd in /proc/$$/fd/*; do echo \"${fd##*/}\"; done >\"$LOG.fds\"\n"
                "read -r stat </proc/$$/stat\necho \"$$ ${stat##*)}\" >\"$LOG.stat\"\necho done "
                ">>\"$LOG\"");
    logOf(InstallKind::AppImage, "done");
    ::close(leaked);
    const std::string listed = "\n" + slurp(dir.at("log.fds"));
    EXPECT_EQ(listed.find("\n" + std::to_string(leaked) + "\n"), std::string::npos) << listed;
    // The process's id, then its state, parent, group and session.
    const std::vector<std::string> words = mbutil::split(slurp(dir.at("log.stat")), ' ');
    ASSERT_GT(words.size(), 4U);
    EXPECT_EQ(words[4], words[0]);
}

}  // namespace
