// The desktop entry's text, and the program that is read back from one.

#include "shell/entry.hpp"

#include <gtest/gtest.h>

#include <algorithm>

#include "proc/proc.hpp"
#include "support/support.hpp"
#include "util/util.hpp"

namespace {

using mbshell::composeEntry;
using mbshell::entryProgram;
using mbshell::execQuote;

TEST(ShellEntry, QuotesWithABackslashBeforeWhatAShellWouldRead) {
    EXPECT_EQ(execQuote("/opt/marlin bench"), R"("/opt/marlin bench")");
    EXPECT_EQ(execQuote(R"(a"b$c\d`e'f)"), R"("a\"b\$c\\d\`e'f")");
    EXPECT_EQ(execQuote(""), R"("")");
}

TEST(ShellEntry, HasItsLinesInOrder) {
    const std::string entry = composeEntry("/opt/a b/marlin-bench");
    const std::string types =
        entry.substr(entry.find("MimeType="), entry.find("Actions=") - entry.find("MimeType="));
    EXPECT_EQ(entry, "[Desktop Entry]\n"
                     "Type=Application\n"
                     "Name=Marlin Bench\n"
                     "GenericName=Code Editor\n"
                     "Comment=A code editor with Claude built in\n"
                     "Exec=\"/opt/a b/marlin-bench\" %F\n"
                     "Icon=marlin-bench\n"
                     "Terminal=false\n"
                     "StartupNotify=true\n"
                     "StartupWMClass=marlin-bench\n"
                     "Categories=Development;IDE;TextEditor;\n"
                     "Keywords=code;editor;ide;claude;\n" +
                         types +
                         "Actions=new-window;\n"
                         "\n"
                         "[Desktop Action new-window]\n"
                         "Name=Open Marlin Bench\n"
                         "Exec=\"/opt/a b/marlin-bench\"\n");
}

TEST(ShellEntry, NamesTheTypesOfFilesOnce) {
    const std::string entry = composeEntry("/x");
    const size_t at = entry.find("\nMimeType=") + 10;
    std::vector<std::string> types =
        mbutil::split(entry.substr(at, entry.find('\n', at) - at), ';');
    ASSERT_EQ(types.back(), "");  // the list ends with a separator
    types.pop_back();
    EXPECT_EQ(types.size(), 44U);
    EXPECT_EQ(types.front(), "inode/directory");
    EXPECT_EQ(types.back(), "text/x-cmake");
    std::sort(types.begin(), types.end());
    EXPECT_EQ(std::adjacent_find(types.begin(), types.end()), types.end());
    for (const std::string& type : types) EXPECT_EQ(mbutil::split(type, '/').size(), 2U) << type;
}

TEST(ShellEntry, DesktopsTakeIt) {
    for (const char* program : {"/usr/bin/marlin-bench", "/home/a user/Marlin Bench.AppImage"}) {
        const mbtest::TempDir dir;
        const std::string path = dir.write("marlin-bench.desktop", composeEntry(program));
        mbproc::Options options;
        options.timeoutMs = 30000;
        const mbproc::Result result =
            mbproc::run("desktop-file-validate " + mbproc::quote(path), options);
        EXPECT_EQ(result.code, 0);
        for (const char* complaint : {"error:", "warning:"})
            EXPECT_EQ((result.out + result.err).find(complaint), std::string::npos) << result.out;
    }
}

TEST(ShellEntry, ProgramIsReadBackWhole) {
    for (const char* program : {"/usr/bin/marlin-bench", "/a b/c", R"(/a"b$c\d`e'f)", "/%F", "x"})
        EXPECT_EQ(entryProgram(composeEntry(program)), program);
}

TEST(ShellEntry, ProgramOfTheFirstExecLine) {
    struct Row {
        const char* entry;
        const char* program;
    };
    constexpr Row kRows[] = {
        {"Exec=/usr/bin/a %F\nExec=/usr/bin/b", "/usr/bin/a"},
        {"[Desktop Entry]\r\n \tExec=/usr/bin/a\t\r\n", "/usr/bin/a"},
        {"TryExec=/no\nExec=a", "a"},
        {"Exec=\"/a b\" %F", "/a b"},
        {"Exec=\"/a b", "/a b"},
        {"Exec=\"/a\\", "/a\\"},
        {"Exec=\"\" x", ""},
        {"Exec=", ""},
        {"Exec = /a", ""},
        {"exec=/a", ""},
        {"#Exec=/a", ""},
        {"", ""},
    };
    for (const Row& row : kRows) EXPECT_EQ(entryProgram(row.entry), row.program) << row.entry;
}

}  // namespace
