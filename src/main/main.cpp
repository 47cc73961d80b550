// Puts the program together: command line, settings, bridge, window; then the main loop until the
// window is gone.

#include <gtk/gtk.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "main/app.hpp"
#include "main/arguments.hpp"
#include "main/events.hpp"
#include "main/folders.hpp"
#include "main/installation.hpp"
#include "main/routes.hpp"
#include "shell/shell.hpp"
#include "util/util.hpp"
#include "win/win.hpp"

namespace mbapp {

namespace {

constexpr uint32_t kHandlerGraceMs = 3000;

// False without a display.
bool startToolkit(int& argc, char**& argv) {
    g_set_prgname("marlin-bench");
    g_set_application_name("Marlin Bench");
    // With this driver the web view's usual renderer shows an empty window. It has to be told
    // before the toolkit starts.
    if (mbutil::dirExists("/proc/driver/nvidia"))
        ::setenv("WEBKIT_DISABLE_DMABUF_RENDERER", "1", 0);
    const bool display = gtk_init_check(&argc, &argv) != FALSE;
    // The toolkit took the user's locale; numbers keep their point in files and on the bridge.
    std::setlocale(LC_NUMERIC, "C");
    return display;
}

// Makes the program known to the desktop or unknown again; the process's exit code.
int runShellAction(const Arguments& arguments, bool display) {
    std::string error;
    const bool done =
        arguments.registerShell ? mbshell::registerShell(error) : mbshell::unregisterShell(error);
    if (display && !arguments.quiet) {
        const char* success = arguments.registerShell
                                  ? "Marlin Bench is now in your applications and in \"Open With\"."
                                  : "The desktop entry has been removed.";
        mbwin::showMessage(done ? mbwin::Message::Information : mbwin::Message::Error,
                           done ? success : error);
    } else if (!done) {
        std::fprintf(stderr, "Marlin Bench: %s\n", error.c_str());
    }
    return done ? 0 : 1;
}

void loadSettings(App& app, const Folders& folders) {
    // A folder that cannot be made shows when the settings cannot be saved.
    (void)mbutil::ensureDir(folders.configuration);
    app.configPath = mbutil::pathJoin(folders.configuration, "marlin-bench.json");
    if (app.workspace.loadConfig(app.configPath)) return;
    app.workspace.setConfig(mbws::Workspace::detectDefaults(folders.executable));
    (void)app.workspace.saveConfig(app.configPath);
}

void prepareBridge(App& app, const Folders& folders) {
    app.server.staticRoot = mbutil::pathJoin(folders.webBase, "web");
    app.server.token = mbutil::randomToken(24);
    registerVendor(app, mbutil::pathJoin(folders.webBase, "vendor"));
    registerRoutes(app);
}

// The port of the last run, else any, which is then remembered: the page's own storage hangs on it.
bool startBridge(App& app) {
    const int32_t wanted = app.workspace.config()->bridgePort;
    int bound = wanted >= 1024 && wanted <= 65535 ? app.server.start(wanted) : 0;
    if (bound == 0) bound = app.server.start(0);
    if (bound == 0) {
        mbwin::showError("Could not bind the local bridge on 127.0.0.1.");
        return false;
    }
    if (bound == wanted) return true;
    mbws::Config next = *app.workspace.config();
    next.bridgePort = bound;
    app.workspace.setConfig(std::move(next));
    (void)app.workspace.saveConfig(app.configPath);
    return true;
}

std::string startUrl(const App& app) {
    char url[256];
    std::snprintf(url, sizeof url, "http://127.0.0.1:%d/?token=%s", app.server.boundPort(),
                  app.server.token.c_str());
    return url;
}

// Runs the window until it is gone; the process's exit code.
int runWindow(App& app, const Folders& folders, const std::string& url) {
    mbwin::Host host;
    connectHostEvents(app, host);
    mbwin::HostOptions options;
    options.title = "Marlin Bench";
    options.url = url;
    options.width = 1500;
    options.height = 940;
    options.iconPath = iconPathFor(folders);
    g_host = &host;
    int code = 0;
    std::string error;
    // A shutdown that was asked for before there was a window ends the process here.
    if (!g_running) {
        stopServices(app);
    } else if (host.create(options, error)) {
        mbshell::setDialogParent(host.topLevel());
        code = host.run();
        mbshell::setDialogParent(nullptr);
    } else {
        mbwin::showError(error);
        code = 1;
    }
    // A quit can arrive without the window's close.
    stopServices(app);
    g_host = nullptr;
    // Handlers may hold the window's pointer and the App: what they use stays until they are done.
    if (!app.server.waitForHandlers(kHandlerGraceMs)) ::_exit(code);
    // The last of them may have started a child after the others were stopped. It ends while there
    // is still a server to tell of it.
    stopServices(app);
    return code;
}

int start(int argc, char** argv) {
    const Arguments arguments = readArguments(argc, argv);
    if (arguments.version) {
        std::printf("Marlin Bench %s\n", kVersion);
        return 0;
    }
    if (!arguments.verify.empty())
        return verifyManifestFiles(arguments.verify[0], arguments.verify[1]);
    const std::vector<std::string> paths = absolutePaths(arguments.paths);
    std::signal(SIGPIPE, SIG_IGN);
    const bool display = startToolkit(argc, argv);
    if (arguments.registerShell || arguments.unregisterShell)
        return runShellAction(arguments, display);
    if (!display) {
        std::fputs("Marlin Bench needs a graphical session (no display was found).\n", stderr);
        return 1;
    }
    if (mbwin::forwardToExistingInstance(paths)) return 0;
    App app;
    const Folders folders = foldersFor(executableFolder());
    loadSettings(app, folders);
    prepareBridge(app, folders);
    if (!startBridge(app)) return 1;
    app.findRepositories();
    app.fsChangedHandler = [&app](const std::vector<std::string>& changed) {
        filesChanged(app, changed);
    };
    app.watchRoots();
    startPresence(app);
    startUpdater(app, folders);
    if (!paths.empty()) app.requestOpen(paths, true);
    app.startIndex();
    const std::string url = startUrl(app);
    writeSessionUrl(folders, url);
    return runWindow(app, folders, url);
}

}  // namespace

}  // namespace mbapp

int main(int argc, char** argv) { return mbapp::start(argc, argv); }
