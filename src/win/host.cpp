#include "win/win.hpp"

#include <X11/Xlib.h>
#include <gdk/gdkx.h>
#include <glib-unix.h>
#include <gtk/gtk.h>
#include <unistd.h>
#include <webkit2/webkit2.h>

#include <algorithm>
#include <csignal>
#include <memory>
#include <utility>

#include "util/util.hpp"
#include "win/drops.hpp"
#include "win/views.hpp"

namespace mbwin {

namespace {

struct PolicyData {
    std::string prefix;
};

struct Posted {
    std::function<void()> function;
    // The hand-over through the main loop's own lock is invisible to race detectors; this is not.
    std::atomic<bool> ready{false};
};

gboolean runPosted(gpointer data) {
    const std::unique_ptr<Posted> posted(static_cast<Posted*>(data));
    (void)posted->ready.load(std::memory_order_acquire);
    posted->function();
    return G_SOURCE_REMOVE;
}

// Keeps the page on the bridge; web addresses go to the user's browser, the rest nowhere.
gboolean onPagePolicy(WebKitWebView*, WebKitPolicyDecision* decision, WebKitPolicyDecisionType type,
                      gpointer data) {
    const bool navigation = type == WEBKIT_POLICY_DECISION_TYPE_NAVIGATION_ACTION;
    if (!navigation && type != WEBKIT_POLICY_DECISION_TYPE_NEW_WINDOW_ACTION) return FALSE;
    const std::string uri = requestUri(decision);
    if (navigation && staysInPage(uri, static_cast<PolicyData*>(data)->prefix)) return FALSE;
    webkit_policy_decision_ignore(decision);
    if (isWeb(uri)) g_app_info_launch_default_for_uri(uri.c_str(), nullptr, nullptr);
    return TRUE;
}

// The page draws its own menus.
gboolean onPageContextMenu() { return TRUE; }

// FALSE lets the toolkit go on and destroy the window.
gboolean onDelete(GtkWidget*, GdkEvent*, gpointer data) {
    static_cast<Host*>(data)->handleClose();
    return FALSE;
}

gboolean onWindowState(GtkWidget*, GdkEventWindowState* event, gpointer data) {
    const GdkWindowState state = event->new_window_state;
    static_cast<Host*>(data)->handleWindowState((state & GDK_WINDOW_STATE_MAXIMIZED) != 0,
                                                (state & GDK_WINDOW_STATE_FOCUSED) != 0);
    return FALSE;
}

// Asked for by the overlay whenever it lays out what is above the page: the browser pane.
// A view's memory grows with its size, so it is never larger than the window, whatever is asked
// for.
gboolean onOverlayPosition(GtkOverlay* overlay, GtkWidget*, GdkRectangle* allocation,
                           gpointer data) {
    constexpr int32_t kFar = 32767;  // where the display's own coordinates end
    Rectangle place;
    static_cast<const Host*>(data)->placeBrowser(place);
    GtkWidget* whole = GTK_WIDGET(overlay);
    *allocation = {std::clamp(place.x, -kFar, kFar), std::clamp(place.y, -kFar, kFar),
                   std::min(place.width, std::max(1, gtk_widget_get_allocated_width(whole))),
                   std::min(place.height, std::max(1, gtk_widget_get_allocated_height(whole)))};
    return TRUE;
}

// The toolkit drops a request to close a window that stands behind a modal dialog.
void onEvent(GdkEvent* event, gpointer data) {
    Host* host = static_cast<Host*>(data);
    GtkWidget* window = host->topLevel();
    const bool asked = event->type == GDK_DELETE && window != nullptr &&
                       event->any.window == gtk_widget_get_window(window);
    if (asked && host->beforeClose) host->beforeClose();
    gtk_main_do_event(event);
}

// A session manager or a terminal that ends us gets the same order of stop as the close button.
gboolean onSignal(gpointer data) {
    static_cast<Host*>(data)->quit();
    return G_SOURCE_CONTINUE;
}

Host* g_displayOwner = nullptr;  // main thread only

// The toolkit would leave at once and leave our children behind.
int onDisplayLost(Display*) {
    if (Host* host = std::exchange(g_displayOwner, nullptr)) host->handleClose();
    ::_exit(1);
}

}  // namespace

std::string requestUri(WebKitPolicyDecision* decision) {
    return requestUri(webkit_navigation_policy_decision_get_navigation_action(
        WEBKIT_NAVIGATION_POLICY_DECISION(decision)));
}

std::string requestUri(WebKitNavigationAction* action) {
    WebKitURIRequest* request = action ? webkit_navigation_action_get_request(action) : nullptr;
    const gchar* uri = request ? webkit_uri_request_get_uri(request) : nullptr;
    return uri ? uri : "";
}

void setPageBackground(WebKitWebView* view) {
    const GdkRGBA background = {15.0 / 255, 23.0 / 255, 34.0 / 255, 1};
    webkit_web_view_set_background_color(view, &background);
}

void post(std::function<void()> function) {
    auto posted = std::make_unique<Posted>();
    posted->function = std::move(function);
    posted->ready.store(true, std::memory_order_release);
    g_idle_add(runPosted, posted.release());
}

std::string originPrefix(const std::string& url) {
    const size_t scheme = url.find("://");
    if (scheme == std::string::npos) return url;
    const size_t slash = url.find('/', scheme + 3);
    return slash == std::string::npos ? url : url.substr(0, slash + 1);
}

bool staysInPage(const std::string& uri, const std::string& prefix) {
    for (const std::string& allowed :
         {prefix, std::string("about:"), std::string("blob:"), std::string("data:")})
        if (mbutil::startsWith(uri, allowed)) return true;
    return false;
}

bool isWeb(const std::string& uri) {
    return mbutil::startsWith(uri, "https://") || mbutil::startsWith(uri, "http://");
}

Host::~Host() {
    closing.exchange(true);
    instances.stop();  // its thread posts, and what it posts looks at the members below
    if (g_displayOwner == this) g_displayOwner = nullptr;
}

void Host::makeContext(const std::string& dataDirectory) {
    const std::string data =
        dataDirectory.empty()
            ? mbutil::xdgDir("XDG_DATA_HOME", ".local/share") + "/marlin-bench/webview"
            : dataDirectory;
    const std::string cache = mbutil::xdgDir("XDG_CACHE_HOME", ".cache") + "/marlin-bench/webview";
    (void)mbutil::ensureDir(data);
    (void)mbutil::ensureDir(cache);
    WebKitWebsiteDataManager* manager = webkit_website_data_manager_new(
        "base-data-directory", data.c_str(), "base-cache-directory", cache.c_str(), nullptr);
    context = webkit_web_context_new_with_website_data_manager(manager);
    g_object_unref(manager);
    webkit_web_context_set_cache_model(context, WEBKIT_CACHE_MODEL_WEB_BROWSER);
}

void Host::makeWindow(const HostOptions& options) {
    GtkWindow* top = GTK_WINDOW(window);
    gtk_window_set_title(top, options.title.c_str());
    gtk_window_set_default_size(top, options.width, options.height);
    gtk_window_set_icon_name(top, "marlin-bench");
    // A picture that cannot be read leaves the named icon.
    if (!options.iconPath.empty() && mbutil::fileExists(options.iconPath))
        gtk_window_set_icon_from_file(top, options.iconPath.c_str(), nullptr);
    overlay = gtk_overlay_new();
    gtk_container_add(GTK_CONTAINER(window), overlay);
}

void Host::makePage(const HostOptions& options) {
    page = webkit_web_view_new_with_context(context);
    WebKitWebView* view = WEBKIT_WEB_VIEW(page);
    WebKitSettings* settings = webkit_web_view_get_settings(view);
    webkit_settings_set_enable_developer_extras(settings, TRUE);
    webkit_settings_set_javascript_can_access_clipboard(settings, TRUE);
    webkit_settings_set_enable_back_forward_navigation_gestures(settings, FALSE);
    webkit_settings_set_enable_smooth_scrolling(settings, TRUE);
    setPageBackground(view);

    auto policy = std::make_unique<PolicyData>(PolicyData{originPrefix(options.url)});
    g_signal_connect_data(
        page, "decide-policy", G_CALLBACK(onPagePolicy), policy.release(),
        [](gpointer data, GClosure*) { delete static_cast<PolicyData*>(data); },
        static_cast<GConnectFlags>(0));
    g_signal_connect(page, "context-menu", G_CALLBACK(onPageContextMenu), this);
    connectDrops(page, this);
    gtk_container_add(GTK_CONTAINER(overlay), page);
}

bool Host::create(const HostOptions& options, std::string& error) {
    makeContext(options.dataDirectory);
    window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    if (window == nullptr) {
        error = "could not create the window";
        return false;
    }
    makeWindow(options);
    makePage(options);
    g_signal_connect(overlay, "get-child-position", G_CALLBACK(onOverlayPosition), this);
    g_signal_connect(window, "window-state-event", G_CALLBACK(onWindowState), this);
    g_signal_connect(window, "delete-event", G_CALLBACK(onDelete), this);
    g_signal_connect(window, "destroy", G_CALLBACK(gtk_widget_destroyed), &window);
    if (GDK_IS_X11_DISPLAY(gdk_display_get_default())) {
        g_displayOwner = this;
        XSetIOErrorHandler(onDisplayLost);
    }
    webkit_web_view_load_uri(WEBKIT_WEB_VIEW(page), options.url.c_str());
    gtk_widget_show_all(window);
    gtk_widget_grab_focus(page);
    listenForInstances();
    return true;
}

int Host::run() {
    guint sources[3] = {};
    const int signals[3] = {SIGTERM, SIGINT, SIGHUP};
    for (int i = 0; i < 3; ++i) sources[i] = g_unix_signal_add(signals[i], onSignal, this);
    gdk_event_handler_set(onEvent, this, nullptr);
    gtk_main();
    gdk_event_handler_set([](GdkEvent* event, gpointer) { gtk_main_do_event(event); }, nullptr,
                          nullptr);
    for (const guint source : sources) g_source_remove(source);
    return 0;
}

void Host::listenForInstances() {
    instances.start(instanceSocketPath(), [this](std::vector<std::string> paths) {
        postToWindow([this, paths = std::move(paths)] { handleOpenPaths(paths); });
    });
}

void Host::postToWindow(std::function<void()> function) {
    post([this, gone = std::weak_ptr<bool>(alive), function = std::move(function)] {
        if (!gone.expired() && window != nullptr && !closing) function();
    });
}

void Host::requestClose() {
    if (beforeClose) beforeClose();
    gtk_window_close(GTK_WINDOW(window));
}

void Host::quit() {
    postToWindow([this] { requestClose(); });
}

void Host::windowCommand(const std::string& action) {
    postToWindow([this, action] {
        GtkWindow* top = GTK_WINDOW(window);
        if (action == "minimize") gtk_window_iconify(top);
        if (action == "close") requestClose();
        if (action != "maximize") return;
        if (gtk_window_is_maximized(top))
            gtk_window_unmaximize(top);
        else
            gtk_window_maximize(top);
    });
}

void Host::handleOpenPaths(const std::vector<std::string>& paths) {
    if (window != nullptr && !closing) gtk_window_present(GTK_WINDOW(window));
    if (!paths.empty() && onOpenPaths) onOpenPaths(paths);
}

void Host::handleClose() {
    if (closing.exchange(true)) return;
    // A second start that comes now must not be told that its paths are taken.
    instances.stop();
    if (onClose) onClose();
    if (gtk_main_level() > 0) gtk_main_quit();
}

void Host::handleWindowState(bool nowMaximized, bool nowFocused) {
    const bool wasMaximized = maximized.exchange(nowMaximized);
    const bool wasFocused = focused.exchange(nowFocused);
    if (wasMaximized == nowMaximized && wasFocused == nowFocused) return;
    if (onWindowStateChanged) onWindowStateChanged();
}

}  // namespace mbwin
