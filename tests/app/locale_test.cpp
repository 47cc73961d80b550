// A desktop whose language writes numbers with a comma.

#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>

#include "app/app_test.hpp"

namespace {

using mbtest::Layout;
using mbtest::Program;

// Makes de_DE.UTF-8 below `folder` from the C library's own sources.
bool makeGermanLocale(const std::string& folder) {
    mbtest::Spawn spawn;
    spawn.command = {"localedef", "-i", "de_DE", "-f", "UTF-8", folder + "/de_DE.UTF-8"};
    spawn.environment = mbtest::ownEnvironment();
    spawn.errorPath = "/dev/null";
    mbtest::Process localedef(spawn);
    return localedef.waitForExit() == 0;
}

// Whether a program that takes its locale from these variables writes a comma.
bool writesAComma(const std::map<std::string, std::optional<std::string>>& variables) {
    const mbtest::ScopedEnv environment(variables);
    char text[16] = {};
    if (std::setlocale(LC_NUMERIC, "") == nullptr) return false;
    std::snprintf(text, sizeof text, "%.1f", 1.5);
    std::setlocale(LC_NUMERIC, "C");
    return std::string(text) == "1,5";
}

TEST(AppLocale, NumbersKeepTheirPointOnTheBridgeAndInTheSettings) {
    if (!mbutil::fileExists("/usr/share/i18n/locales/de_DE"))
        GTEST_SKIP() << "the sources of the C library's locales (package locales) are missing";
    const Layout layout;
    const std::string locales = layout.mkdir("locales");
    ASSERT_TRUE(makeGermanLocale(locales));
    ASSERT_TRUE(writesAComma({{"LOCPATH", locales}, {"LC_ALL", "de_DE.UTF-8"}}));
    const mbtest::Start german = {.environment = {{"LOCPATH", locales}, {"LC_ALL", "de_DE.UTF-8"}}};
    int port = 0;
    {
        Program program(layout, german);
        ASSERT_TRUE(program.awaitBridge() && program.awaitWindow()) << program.errors();
        port = program.port();
        const std::string sent = R"({"claude":{"x":1.5,"y":-2.25e-3}})";
        const std::string answer = program.request("/api/config", sent).body;
        const std::string numbers = R"("claude":{"x":1.5,"y":-0.0022499999999999998})";
        EXPECT_NE(answer.find(numbers), std::string::npos) << answer;
        const std::string state = program.request("/api/state").body;
        EXPECT_NE(state.find(numbers), std::string::npos) << state;
        const std::string settings = mbtest::slurp(layout.settingsPath());
        EXPECT_NE(settings.find(numbers), std::string::npos) << settings;
    }
    Program program(layout, german);
    ASSERT_TRUE(program.awaitBridge()) << program.errors();
    EXPECT_EQ(program.port(), port);
    const mbjson::Json claude = program.ask("/api/state")["config"]["claude"];
    EXPECT_EQ(claude["x"].asNumber(), 1.5);
    EXPECT_EQ(claude["y"].asNumber(), -2.25e-3);
}

}  // namespace
