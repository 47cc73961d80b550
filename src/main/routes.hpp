#pragma once
// The routes of the bridge, one registering function a subsystem. Called once, before the server
// starts; the App outlives the server.

#include "main/app.hpp"

namespace mbapp {

void registerRoutes(App& app);

void registerSessionRoutes(App& app);
void registerPresenceRoutes(App& app);
void registerUpdateRoutes(App& app);
void registerShellRoutes(App& app);
void registerWorkspaceRoutes(App& app);
void registerFileRoutes(App& app);
void registerSearchRoutes(App& app);
void registerGitRoutes(App& app);
void registerTerminalRoutes(App& app);
// Also sets the session's callbacks, which push what it tells.
void registerAgentRoutes(App& app);
void registerJobRoutes(App& app);
void registerReviewRoutes(App& app);
void registerMemoryRoutes(App& app);
void registerGithubRoutes(App& app);
// Also gives the tasks their events, their launch options and the limit of the settings.
void registerDispatchRoutes(App& app);
// Also sets what the servers' messages and ends do.
void registerLspRoutes(App& app);

// Files of third parties, served without a token as nothing in them is private.
void registerVendor(App& app, const std::string& vendorFolder);

// The answer that the CLI gets to one of its questions, from the body of a permission route.
mbjson::Json permissionAnswer(const mbjson::Json& body);

// A handler of this program: always completes its response.
using AppHandler = std::function<mbnet::Response(App&, const mbnet::Request&)>;

// Registers behind the token. A request that needs more memory than there is gets an error instead
// of ending the process and everybody's unsaved work with it.
void addRoute(App& app, const std::string& path, AppHandler handler);

}  // namespace mbapp
