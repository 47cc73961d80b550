#pragma once
// The desktop window: a web view that shows the page, the browser pane laid over it, file drops,
// window state, navigation policy, and the channel on which second starts hand over their paths.
//
// Use: forwardToExistingInstance(); if it is false, fill a Host's callbacks, create(), run() until
// the window is gone, destroy.
// Errors: create() gives a reason; everything later is quiet.
// Threads: the main thread, which has started the toolkit, makes and runs it; callbacks come there.
// quit(), windowCommand() and browserCommand() may be called on any thread: they post to the main
// loop and return.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "win/instance.hpp"
#include "json/json.hpp"

typedef struct _GtkWidget GtkWidget;
typedef struct _WebKitWebContext WebKitWebContext;

namespace mbwin {

struct HostOptions {
    std::string title;
    std::string url;  // the page to load; navigation stays on its origin
    int32_t width = 0;
    int32_t height = 0;
    std::string dataDirectory;  // empty: the user's data folder
    std::string iconPath;       // PNG; empty for none
};

struct Rectangle {
    int32_t x = 0;
    int32_t y = 0;
    int32_t width = 0;
    int32_t height = 0;
};

class Host {
public:
    Host() = default;
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    // Does not touch the widgets: the toolkit has destroyed them with the window.
    ~Host();

    std::function<void()> onClose;  // at most once
    std::function<void(const std::vector<std::string>&)> onOpenPaths;
    std::function<void(bool active)> onDragActive;
    std::function<void(int32_t x, int32_t y)> onDragOver;
    std::function<void(const std::vector<std::string>&, int32_t x, int32_t y)> onDropPaths;
    std::function<void(const std::string& json)> onBrowserEvent;
    std::function<void()> onWindowStateChanged;
    // The window is about to be closed: ends the modal dialogs, behind which the toolkit does not
    // let a window close.
    std::function<void()> beforeClose;

    // False with the reason in `error`.
    bool create(const HostOptions& options, std::string& error);
    // Holds the calling thread until the window is closed; always 0.
    int run();

    // Any thread; nothing happens before the window exists or once it is closing.
    void quit();
    // "minimize", "maximize" (a toggle) or "close"; anything else is ignored.
    void windowCommand(const std::string& action);
    // The browser pane: an object with "cmd" and what that takes; anything else is ignored.
    void browserCommand(const std::string& json);

    // The parent for dialogs; null before create() and once the toolkit has destroyed it.
    GtkWidget* topLevel() const { return window; }
    // Raises the window; with paths, also hands them on.
    void handleOpenPaths(const std::vector<std::string>& paths);

    bool isMaximized() const { return maximized; }
    bool isFocused() const { return focused; }

    // The toolkit's handlers arrive here; plain values, so that tests need no window.
    void handleClose();
    void handleWindowState(bool nowMaximized, bool nowFocused);
    void handleDragMotion(int32_t x, int32_t y);
    void handleDragLeave();
    void handleDrop(const std::vector<std::string>& paths);
    void runBrowserCommand(const std::string& json);
    // Where the overlay lays the pane: never less than a pixel.
    void placeBrowser(Rectangle& allocation) const;
    bool isBrowserVisible() const { return browserVisible; }
    // Tells the page how the pane is.
    void reportBrowser(const char* kind, const std::string& error);

private:
    GtkWidget* window = nullptr;
    GtkWidget* overlay = nullptr;
    GtkWidget* page = nullptr;
    GtkWidget* browser = nullptr;  // until the first address is asked for
    WebKitWebContext* context = nullptr;
    int32_t dragX = -1;
    int32_t dragY = -1;
    bool dragging = false;
    bool browserVisible = false;
    Rectangle browserPlace;
    std::string pendingBrowserUrl;  // to load once the pane is made
    InstanceListener instances;
    // Posted closures look whether this is gone, and with it their Host. Main thread only.
    std::shared_ptr<bool> alive = std::make_shared<bool>(true);
    // Read by connection threads.
    std::atomic<bool> maximized{false};
    std::atomic<bool> focused{true};
    std::atomic<bool> closing{false};

    void makeContext(const std::string& dataDirectory);
    void makeWindow(const HostOptions& options);
    void makePage(const HostOptions& options);
    void listenForInstances();
    void requestClose();
    // Runs it on the main thread unless the window is gone by then.
    void postToWindow(std::function<void()> function);
    void createBrowser();
    void setBrowserBounds(const mbjson::Json& command);
    void navigateBrowser(const std::string& url);
};

// Before any service exists. True: a running instance took the paths, and the caller must exit.
// Blocks for up to a minute and a half where that instance hangs.
bool forwardToExistingInstance(const std::vector<std::string>& paths);

// Runs `function` on the main thread, later and once. Any thread; nobody waits.
void post(std::function<void()> function);

// The part of an address that navigation may not leave, up to and with the slash behind the host.
std::string originPrefix(const std::string& url);
// Whether the page may go there by itself.
bool staysInPage(const std::string& uri, const std::string& prefix);
bool isWeb(const std::string& uri);

// A modal box with one button, until that is pressed. Main thread, with a display.
enum class Message { Information, Error };
void showMessage(Message kind, const std::string& text);

// On standard error and, with a display, in a modal box. Main thread.
void showError(const std::string& message);

}  // namespace mbwin
