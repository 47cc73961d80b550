#include <gtest/gtest.h>

#include <set>

#include "main/app.hpp"
#include "main/routes.hpp"
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

TEST(BridgeDocs, OnlyVendorIsOpenToAll) {
    mbapp::App app;
    mbapp::registerVendor(app, "/nowhere");
    mbapp::registerRoutes(app);
    for (const mbnet::Route& route : app.server.routeTable())
        EXPECT_EQ(route.requireToken, route.prefix != "/vendor/") << route.prefix;
}

}  // namespace
