#pragma once
// What the two web views, the page's and the browser pane's, have in common.

#include <webkit2/webkit2.h>

#include <string>

namespace mbwin {

// The address that a navigation or a new window is asked for; empty when there is none.
std::string requestUri(WebKitPolicyDecision* decision);
std::string requestUri(WebKitNavigationAction* action);

// The page's own background, so that nothing flashes before a first paint.
void setPageBackground(WebKitWebView* view);

}  // namespace mbwin
