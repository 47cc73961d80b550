#include <gtk/gtk.h>
#include <webkit2/webkit2.h>

#include <algorithm>
#include <utility>

#include "win/views.hpp"
#include "win/win.hpp"

namespace mbwin {

using mbjson::Json;

namespace {

constexpr int32_t kSmallestPane = 5;  // pixels; a smaller one is hidden

// A pop-up becomes a navigation of the pane: one that is a link's comes to onBrowserPolicy(), one
// that a script opens after a click to onBrowserCreate().
gboolean onBrowserPolicy(WebKitWebView* view, WebKitPolicyDecision* decision,
                         WebKitPolicyDecisionType type, gpointer) {
    if (type != WEBKIT_POLICY_DECISION_TYPE_NEW_WINDOW_ACTION) return FALSE;
    const std::string uri = requestUri(decision);
    webkit_policy_decision_ignore(decision);
    if (isWeb(uri)) webkit_web_view_load_uri(view, uri.c_str());
    return TRUE;
}

GtkWidget* onBrowserCreate(WebKitWebView* view, WebKitNavigationAction* action, gpointer) {
    const std::string uri = requestUri(action);
    if (isWeb(uri)) webkit_web_view_load_uri(view, uri.c_str());
    return nullptr;
}

void onBrowserLoadChanged(WebKitWebView*, WebKitLoadEvent, gpointer data) {
    static_cast<Host*>(data)->reportBrowser("state", "");
}

// Of a property or of the list of visited pages; what changed does not matter.
void onBrowserNotify(gpointer data) { static_cast<Host*>(data)->reportBrowser("state", ""); }

// The user's own stop, a second address during the load of the first, and a download are no
// failures.
bool isInterruption(const GError* error) {
    return g_error_matches(error, WEBKIT_NETWORK_ERROR, WEBKIT_NETWORK_ERROR_CANCELLED) ||
           g_error_matches(error, WEBKIT_POLICY_ERROR,
                           WEBKIT_POLICY_ERROR_FRAME_LOAD_INTERRUPTED_BY_POLICY_CHANGE);
}

gboolean onBrowserLoadFailed(WebKitWebView*, WebKitLoadEvent, const gchar*, GError* error,
                             gpointer data) {
    if (!isInterruption(error))
        static_cast<Host*>(data)->reportBrowser(
            "state", "The page could not be reached. Check the address or your connection.");
    return FALSE;
}

struct Command {
    const char* name;
    void (*run)(WebKitWebView* view);
};
constexpr Command kCommands[] = {
    {"back", webkit_web_view_go_back},
    {"forward", webkit_web_view_go_forward},
    {"reload", webkit_web_view_reload},
    {"stop", webkit_web_view_stop_loading},
    {"devtools",
     [](WebKitWebView* view) { webkit_web_inspector_show(webkit_web_view_get_inspector(view)); }},
};

void setText(Json& object, const char* key, const gchar* text) {
    if (text != nullptr) object.set(key, text);
}

}  // namespace

void Host::browserCommand(const std::string& json) {
    postToWindow([this, json] { runBrowserCommand(json); });
}

void Host::runBrowserCommand(const std::string& json) {
    const Json command = Json::parseText(json);
    const std::string& name = command["cmd"].asString();
    if (name == "bounds") setBrowserBounds(command);
    if (name == "navigate") navigateBrowser(command["url"].asString());
    if (browser == nullptr) return;
    for (const Command& known : kCommands)
        if (name == known.name) known.run(WEBKIT_WEB_VIEW(browser));
}

void Host::setBrowserBounds(const Json& command) {
    browserPlace = {command["x"].asInt(), command["y"].asInt(), command["w"].asInt(),
                    command["h"].asInt()};
    browserVisible = command["visible"].asBool() && browserPlace.width >= kSmallestPane &&
                     browserPlace.height >= kSmallestPane;
    if (browser == nullptr) return;
    gtk_widget_set_visible(browser, browserVisible);
    gtk_widget_queue_resize(overlay);
}

void Host::placeBrowser(Rectangle& allocation) const {
    allocation = browserPlace;
    allocation.width = std::max(allocation.width, 1);
    allocation.height = std::max(allocation.height, 1);
}

void Host::navigateBrowser(const std::string& url) {
    if (!isWeb(url)) return;
    if (browser != nullptr) {
        webkit_web_view_load_uri(WEBKIT_WEB_VIEW(browser), url.c_str());
        return;
    }
    pendingBrowserUrl = url;
    createBrowser();
}

void Host::createBrowser() {
    if (browser != nullptr || context == nullptr) return;
    browser = webkit_web_view_new_with_context(context);
    WebKitWebView* view = WEBKIT_WEB_VIEW(browser);
    WebKitSettings* settings = webkit_web_view_get_settings(view);
    webkit_settings_set_enable_developer_extras(settings, TRUE);
    webkit_settings_set_enable_smooth_scrolling(settings, TRUE);
    setPageBackground(view);
    g_signal_connect(view, "decide-policy", G_CALLBACK(onBrowserPolicy), this);
    g_signal_connect(view, "create", G_CALLBACK(onBrowserCreate), this);
    g_signal_connect(view, "load-changed", G_CALLBACK(onBrowserLoadChanged), this);
    g_signal_connect(view, "load-failed", G_CALLBACK(onBrowserLoadFailed), this);
    for (const char* signal : {"notify::uri", "notify::title"})
        g_signal_connect_swapped(view, signal, G_CALLBACK(onBrowserNotify), this);
    g_signal_connect_swapped(webkit_web_view_get_back_forward_list(view), "changed",
                             G_CALLBACK(onBrowserNotify), this);
    gtk_overlay_add_overlay(GTK_OVERLAY(overlay), browser);
    gtk_widget_set_visible(browser, browserVisible);
    gtk_widget_queue_resize(overlay);
    const std::string url = std::exchange(pendingBrowserUrl, "");
    if (!url.empty()) webkit_web_view_load_uri(view, url.c_str());
}

void Host::reportBrowser(const char* kind, const std::string& error) {
    if (!onBrowserEvent || closing) return;
    Json report = Json::object();
    report.set("kind", kind);
    if (!error.empty()) report.set("error", error);
    report.set("loading", false);
    if (browser != nullptr) {
        WebKitWebView* view = WEBKIT_WEB_VIEW(browser);
        setText(report, "url", webkit_web_view_get_uri(view));
        setText(report, "title", webkit_web_view_get_title(view));
        report.set("canBack", webkit_web_view_can_go_back(view) != FALSE);
        report.set("canForward", webkit_web_view_can_go_forward(view) != FALSE);
        report.set("loading", webkit_web_view_is_loading(view) != FALSE);
    }
    onBrowserEvent(report.dump());
}

}  // namespace mbwin
