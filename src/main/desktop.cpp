#include "main/desktop.hpp"

#include <gio/gio.h>

#include <memory>
#include <system_error>
#include <thread>

#include "proc/proc.hpp"
#include "util/fd.hpp"
#include "util/util.hpp"

namespace mbapp {

namespace {

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};

// Empty when the path has no URI.
std::string uriFor(const std::string& path) {
    const std::unique_ptr<GFile, Unref> file(g_file_new_for_path(path.c_str()));
    const std::unique_ptr<gchar, decltype(&g_free)> uri(g_file_get_uri(file.get()), &g_free);
    return uri ? uri.get() : "";
}

// Without handlers known to GIO there may still be a script that knows one.
void openWithScript(const std::string& uri) {
    mbproc::Child child;
    std::string error;
    const std::string command = "xdg-open " + mbproc::quote(uri) + " >/dev/null 2>&1";
    if (!mbproc::spawnPiped(command, "", {}, false, child, error)) return;
    const mbutil::Fd output(child.stdoutFd);
    const mbutil::Fd errors(child.stderrFd);
    // Detached, as the script may run as long as the program it opens. It holds nothing of ours and
    // only collects the child, so that no zombie stays.
    try {
        std::thread([pid = child.pid] {
            bool reaped = false;
            (void)mbproc::waitFor(pid, 0, reaped);
        }).detach();
    } catch (const std::system_error&) {
        // No thread to be had: the child is collected when the program ends.
    }
}

bool showItems(const std::string& uri) {
    const std::unique_ptr<GDBusConnection, Unref> bus(
        g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    if (!bus) return false;
    const gchar* uris[] = {uri.c_str(), nullptr};
    GVariant* reply = g_dbus_connection_call_sync(
        bus.get(), "org.freedesktop.FileManager1", "/org/freedesktop/FileManager1",
        "org.freedesktop.FileManager1", "ShowItems", g_variant_new("(^ass)", uris, ""), nullptr,
        G_DBUS_CALL_FLAGS_NONE, 3000, nullptr, nullptr);
    if (reply == nullptr) return false;
    g_variant_unref(reply);
    return true;
}

}  // namespace

void openWithDesktop(const std::string& target) {
    std::string uri = target;
    if (target.find("://") == std::string::npos) {
        const std::string made = uriFor(target);
        if (!made.empty()) uri = made;
    }
    if (!g_app_info_launch_default_for_uri(uri.c_str(), nullptr, nullptr)) openWithScript(uri);
}

void revealInFileManager(const std::string& absoluteFile) {
    if (!showItems(uriFor(absoluteFile))) openWithDesktop(mbutil::dirName(absoluteFile));
}

}  // namespace mbapp
