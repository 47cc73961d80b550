#pragma once
// What the window and the watcher tell, turned into pushed events. The App must outlive both.

#include "main/app.hpp"

namespace mbapp {

void connectHostEvents(App& app, mbwin::Host& host);

// The watcher's handler: brings the index up to date and pushes "fs.changed".
void filesChanged(App& app, const std::vector<std::string>& paths);

// The first half of the shutdown, in order. Safe to call twice.
void stopServices(App& app);

}  // namespace mbapp
