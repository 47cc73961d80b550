#pragma once
// The routes of the bridge, one registering function a subsystem. Called once, before the server
// starts; the App outlives the server.

#include "main/app.hpp"

namespace mbapp {

void registerRoutes(App& app);

void registerSessionRoutes(App& app);
void registerWorkspaceRoutes(App& app);
void registerFileRoutes(App& app);

// Files of third parties, served without a token as nothing in them is private.
void registerVendor(App& app, const std::string& vendorFolder);

// A handler of this program: always completes its response.
using AppHandler = std::function<mbnet::Response(App&, const mbnet::Request&)>;

// Registers behind the token. A request that needs more memory than there is gets an error instead
// of ending the process and everybody's unsaved work with it.
void addRoute(App& app, const std::string& path, AppHandler handler);

}  // namespace mbapp
