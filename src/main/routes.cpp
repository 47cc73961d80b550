#include "main/routes.hpp"

#include <new>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace mbapp {

using mbnet::Request;
using mbnet::Response;

void registerRoutes(App& app) {
    registerSessionRoutes(app);
    registerPresenceRoutes(app);
    registerUpdateRoutes(app);
    registerShellRoutes(app);
    registerWorkspaceRoutes(app);
    registerFileRoutes(app);
    registerSearchRoutes(app);
    registerMemoryRoutes(app);
    registerTerminalRoutes(app);
    registerAgentRoutes(app);
    registerJobRoutes(app);
    registerReviewRoutes(app);
    registerGithubRoutes(app);
    registerGitRoutes(app);
    registerLspRoutes(app);
    registerDispatchRoutes(app);
}

void registerVendor(App& app, const std::string& vendorFolder) {
    constexpr std::string_view kPrefix = "/vendor/";
    app.server.route(
        std::string(kPrefix),
        [&app, vendorFolder, kPrefix](const Request& request, Response& response) {
            response =
                app.server.serveFile(request, vendorFolder, request.path.substr(kPrefix.size()));
            return true;
        },
        false);
}

void addRoute(App& app, const std::string& path, AppHandler handler) {
    app.server.route(
        path,
        [&app, handler = std::move(handler)](const Request& request, Response& response) {
            try {
                response = handler(app, request);
            } catch (const std::bad_alloc&) {
                response = Response::error(500, "out of memory");
            } catch (const std::length_error&) {
                response = Response::error(500, "out of memory");
            }
            return true;
        },
        true);
}

}  // namespace mbapp
