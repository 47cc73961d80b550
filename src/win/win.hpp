#pragma once
// The desktop window: a web view that shows the page, file drops, window state, navigation policy.
//
// Use: fill the callbacks, create(), run() until the window is gone, destroy.
// Errors: create() gives a reason; everything later is quiet.
// Threads: the main thread, which has started the toolkit, makes and runs it; callbacks come there.
// quit() and windowCommand() may be called on any thread: they post to the main loop and return.

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

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
    std::function<void()> onWindowStateChanged;

    // False with the reason in `error`.
    bool create(const HostOptions& options, std::string& error);
    // Holds the calling thread until the window is closed; always 0.
    int run();

    // Any thread; nothing happens before the window exists or once it is closing.
    void quit();
    // "minimize", "maximize" (a toggle) or "close"; anything else is ignored.
    void windowCommand(const std::string& action);

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

private:
    GtkWidget* window = nullptr;
    GtkWidget* overlay = nullptr;
    GtkWidget* page = nullptr;
    WebKitWebContext* context = nullptr;
    int32_t dragX = -1;
    int32_t dragY = -1;
    bool dragging = false;
    // Read by connection threads.
    std::atomic<bool> maximized{false};
    std::atomic<bool> focused{true};
    std::atomic<bool> closing{false};

    void makeContext(const std::string& dataDirectory);
    void makeWindow(const HostOptions& options);
    void makePage(const HostOptions& options);
};

// Runs `function` on the main thread, later and once. Any thread; nobody waits.
void post(std::function<void()> function);

// The part of an address that navigation may not leave, up to and with the slash behind the host.
std::string originPrefix(const std::string& url);
// Whether the page may go there by itself.
bool staysInPage(const std::string& uri, const std::string& prefix);
bool isWeb(const std::string& uri);

// On standard error and, with a display, in a modal box. Main thread.
void showError(const std::string& message);

}  // namespace mbwin
