#include <gtest/gtest.h>

#include <set>

#include "bridge.hpp"
#include "main/app.hpp"
#include "main/routes.hpp"
#include "shell/shell.hpp"
#include "support/support.hpp"
#include "util/util.hpp"

namespace {

// The paths in the first column of the table of routes; rows that are alike share a line.
std::set<std::string> documentedRoutes() {
    std::set<std::string> paths;
    for (const std::string& line :
         mbutil::split(mbtest::slurp(MARLIN_SOURCE_DIR "/docs/bridge-api.md"), '\n')) {
        if (!mbutil::startsWith(line, "| `/")) continue;
        const std::vector<std::string> quoted =
            mbutil::split(line.substr(0, line.find(" | ")), '`');
        for (size_t i = 1; i < quoted.size(); i += 2) paths.insert(quoted[i]);
    }
    return paths;
}

TEST(BridgeDocs, ListEveryRouteAndNoOther) {
    mbapp::App app;
    mbapp::registerVendor(app, "/nowhere");
    mbapp::registerRoutes(app);
    std::set<std::string> live;
    for (const mbnet::Route& route : app.server.routeTable()) live.insert(route.prefix);
    EXPECT_EQ(live, documentedRoutes());
    EXPECT_EQ(live.size(), app.server.routeTable().size());
}

TEST(BridgeDocs, EveryRouteAnswersWithTheTokenAndRefusesWithoutIt) {
    mbtest::Bridge bridge;
    const mbtest::ScopedEnv nothingInstalled{{{"PATH", bridge.dir.path()}}};
    mbshell::endPicking();  // no main loop runs here that could show a dialog
    std::set<std::string> paths = documentedRoutes();
    paths.erase("/vendor/");
    EXPECT_EQ(paths.size(), 93U);
    for (const std::string& path : paths) {
        const mbtest::Answer refused = bridge.sendAs("", "POST", path, "{}");
        EXPECT_EQ(refused.status, 401) << path;
        EXPECT_EQ(refused.error(), "invalid or missing session token") << path;
        const mbtest::Answer answer = bridge.send("POST", path, "{}");
        EXPECT_TRUE(answer.status >= 200 && answer.status != 401) << path << answer.status;
        EXPECT_FALSE(answer.headers.at("content-type").empty()) << path;
    }
    mbapp::g_running = true;  // one of them ends the program
}

TEST(BridgeDocs, OnlyVendorIsOpenToAll) {
    mbapp::App app;
    mbapp::registerVendor(app, "/nowhere");
    mbapp::registerRoutes(app);
    for (const mbnet::Route& route : app.server.routeTable())
        EXPECT_EQ(route.requireToken, route.prefix != "/vendor/") << route.prefix;
}

}  // namespace
