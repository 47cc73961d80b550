#pragma once
// Wires the window's callbacks to pushed events. The App must outlive the window.

#include "main/app.hpp"

namespace mbapp {

void connectHostEvents(App& app, mbwin::Host& host);

// The first half of the shutdown, in order. Safe to call twice.
void stopServices(App& app);

}  // namespace mbapp
