// Registering with the user's desktop, in folders of the test's own and with its own desktop tools.

#include "shell/shell.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "shell/entry.hpp"
#include "support/support.hpp"
#include "util/util.hpp"

namespace {

namespace fs = std::filesystem;
using mbtest::ScopedEnv;
using mbtest::slurp;
using mbtest::TempDir;
using Variables = std::map<std::string, std::optional<std::string>>;

std::string thisProgram() { return fs::read_symlink("/proc/self/exe"); }

unsigned modeOf(const std::string& path) {
    struct stat info = {};
    return ::stat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : 0;
}

class Shell : public testing::Test {
protected:
    const TempDir dir;
    const std::string data = dir.at("da ta");
    const std::string entry = data + "/applications/marlin-bench.desktop";
    const std::string icon = data + "/icons/hicolor/256x256/apps/marlin-bench.png";
    const ScopedEnv environment{{{"HOME", dir.at("home")},
                                 {"XDG_DATA_HOME", data},
                                 {"APPIMAGE", std::nullopt},
                                 {"PATH", dir.mkdir("bin") + ":/usr/bin:/bin"}}};

    Shell() {
        for (const char* tool : {"update-desktop-database", "gtk-update-icon-cache"})
            fakeTool(tool, "printf '%s|' \"$0\" \"$@\" | sed 's,[^|]*/bin/,,' >> '" +
                               dir.at("calls") + "'; echo >> '" + dir.at("calls") + "'; exit 1");
    }
    void fakeTool(const std::string& name, const std::string& script) const {
        ::chmod(dir.write("bin/" + name, "#!/bin/sh\n" + script + "\n").c_str(), 0755);
    }
    std::string calls() const { return slurp(dir.at("calls")); }
    std::string bothTools() const {
        return "update-desktop-database|-q|" + data + "/applications|\n" +
               "gtk-update-icon-cache|-q|-t|-f|" + data + "/icons/hicolor|\n";
    }
    // The error's words, empty for a success.
    static std::string registering() {
        std::string error;
        const bool done = mbshell::registerShell(error);
        EXPECT_EQ(done, error.empty());
        return error;
    }
    static std::string unregistering() {
        std::string error;
        const bool done = mbshell::unregisterShell(error);
        EXPECT_EQ(done, error.empty());
        return error;
    }
    void writeEntry(const std::string& text) const {
        fs::create_directories(data + "/applications");
        ASSERT_TRUE(mbutil::writeFileRaw(entry, text));
    }
};

TEST_F(Shell, WithoutAnEntryItIsNotRegistered) {
    const mbshell::ShellStatus status = mbshell::status();
    EXPECT_FALSE(status.registered);
    EXPECT_EQ(status.registeredExecutable, "");
    EXPECT_EQ(status.currentExecutable, thisProgram());
    EXPECT_FALSE(status.stale);
}

TEST_F(Shell, RegisteringWritesTheEntryForThisProgram) {
    EXPECT_EQ(registering(), "");
    EXPECT_EQ(mbshell::entryPath(), entry);
    EXPECT_EQ(slurp(entry), mbshell::composeEntry(thisProgram()));
    EXPECT_EQ(modeOf(entry), 0755U);
    EXPECT_EQ(calls(), bothTools());
    const mbshell::ShellStatus status = mbshell::status();
    EXPECT_TRUE(status.registered);
    EXPECT_EQ(status.registeredExecutable, thisProgram());
    EXPECT_FALSE(status.stale);
}

TEST_F(Shell, RegisteringReplacesALongerEntry) {
    writeEntry(std::string(9000, 'x'));
    EXPECT_EQ(registering(), "");
    EXPECT_EQ(slurp(entry), mbshell::composeEntry(thisProgram()));
}

TEST_F(Shell, WithoutADataFolderItGoesBelowTheHome) {
    for (const std::optional<std::string>& value :
         {std::optional<std::string>(), std::optional<std::string>(""),
          std::optional<std::string>("relative")}) {
        const ScopedEnv unset(Variables{{"XDG_DATA_HOME", value}});
        EXPECT_EQ(registering(), "");
        EXPECT_TRUE(fs::remove(dir.at("home/.local/share/applications/marlin-bench.desktop")));
    }
}

TEST_F(Shell, MovedAppImageIsStaleUntilItRegistersAgain) {
    const ScopedEnv before(Variables{{"APPIMAGE", "/old place/Marlin Bench.AppImage"}});
    EXPECT_EQ(registering(), "");
    EXPECT_FALSE(mbshell::status().stale);
    const ScopedEnv moved(Variables{{"APPIMAGE", "/new/$place/Marlin \"Bench\".AppImage"}});
    mbshell::ShellStatus status = mbshell::status();
    EXPECT_TRUE(status.stale);
    EXPECT_EQ(status.registeredExecutable, "/old place/Marlin Bench.AppImage");
    EXPECT_EQ(status.currentExecutable, "/new/$place/Marlin \"Bench\".AppImage");
    EXPECT_EQ(registering(), "");
    status = mbshell::status();
    EXPECT_FALSE(status.stale);
    EXPECT_EQ(status.registeredExecutable, "/new/$place/Marlin \"Bench\".AppImage");
}

TEST_F(Shell, EmptyAppImageVariableCountsAsNone) {
    const ScopedEnv empty(Variables{{"APPIMAGE", ""}});
    EXPECT_EQ(mbshell::status().currentExecutable, thisProgram());
}

TEST_F(Shell, EntryOfAnotherHandIsRead) {
    fakeTool("somewhere", "");
    struct Row {
        std::string entry;
        std::string program;
    };
    const Row rows[] = {
        {"Exec=somewhere %F\n", dir.at("bin/somewhere")},
        {"Exec=nowhere-at-all %F\n", ""},
        {"Exec=/no/such/thing\n", "/no/such/thing"},
        {"Name=none\n", ""},
        {"", ""},
    };
    for (const Row& row : rows) {
        writeEntry(row.entry);
        const mbshell::ShellStatus status = mbshell::status();
        EXPECT_TRUE(status.registered);
        EXPECT_TRUE(status.stale) << row.entry;
        EXPECT_EQ(status.registeredExecutable, row.program) << row.entry;
    }
}

TEST_F(Shell, FolderInTheEntrysPlaceIsNoEntry) {
    fs::create_directories(entry);
    EXPECT_FALSE(mbshell::status().registered);
    EXPECT_FALSE(mbshell::status().stale);
    EXPECT_EQ(unregistering(), "");
    EXPECT_EQ(registering(), "could not write " + entry);
}

TEST_F(Shell, FolderThatCannotBeMadeIsNamed) {
    dir.write("da ta", "a file");
    EXPECT_EQ(registering(), "could not create " + data + "/applications");
    EXPECT_EQ(calls(), "");
}

TEST_F(Shell, UnregisteringTakesTheEntryAndTheIconAway) {
    EXPECT_EQ(registering(), "");
    fs::create_directories(fs::path(icon).parent_path());
    ASSERT_TRUE(mbutil::writeFileRaw(icon, "png"));
    fs::remove(dir.at("calls"));
    EXPECT_EQ(unregistering(), "");
    EXPECT_FALSE(fs::exists(entry));
    EXPECT_FALSE(fs::exists(icon));
    EXPECT_EQ(calls(), bothTools());
}

TEST_F(Shell, UnregisteringNothingIsASuccess) {
    EXPECT_EQ(unregistering(), "");
    EXPECT_EQ(unregistering(), "");
}

TEST_F(Shell, WithoutTheDesktopsToolsItWorksTheSame) {
    const ScopedEnv bare(Variables{{"PATH", dir.mkdir("nothing")}});
    EXPECT_EQ(registering(), "");
    EXPECT_EQ(unregistering(), "");
    EXPECT_FALSE(fs::exists(entry));
}

}  // namespace
