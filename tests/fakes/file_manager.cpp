// A file manager on the session bus: file_manager LOG MODE, where MODE is "ok", "error" or "hang".
//
// Owns org.freedesktop.FileManager1, writes "ready" to the log once it has the name, then the
// arguments of each ShowItems call. Ends with the bus.

#include <gio/gio.h>

#include <cstdio>
#include <string>

namespace {

struct Manager {
    std::string log;
    std::string mode;
    GMainLoop* loop = nullptr;

    void note(const std::string& line) const {
        if (std::FILE* file = std::fopen(log.c_str(), "ae")) {
            std::fprintf(file, "%s\n", line.c_str());
            std::fclose(file);
        }
    }
};

constexpr const char* kInterface =
    "<node><interface name='org.freedesktop.FileManager1'>"
    "<method name='ShowItems'><arg type='as' direction='in'/><arg type='s' direction='in'/>"
    "</method></interface></node>";

void onCall(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar* method,
            GVariant* arguments, GDBusMethodInvocation* invocation, gpointer data) {
    const auto* manager = static_cast<const Manager*>(data);
    gchar* text = g_variant_print(arguments, FALSE);
    manager->note(std::string(method) + " " + text);
    g_free(text);
    if (manager->mode == "ok") g_dbus_method_invocation_return_value(invocation, nullptr);
    if (manager->mode == "error")
        g_dbus_method_invocation_return_dbus_error(invocation, "org.freedesktop.DBus.Error.Failed",
                                                   "no window to show it in");
    // "hang": the caller has to give up by itself.
}

constexpr GDBusInterfaceVTable kCalls = {onCall, nullptr, nullptr, {}};

void onBus(GDBusConnection* bus, const gchar*, gpointer data) {
    GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(kInterface, nullptr);
    g_dbus_connection_register_object(bus, "/org/freedesktop/FileManager1", node->interfaces[0],
                                      &kCalls, data, nullptr, nullptr);
    g_dbus_node_info_unref(node);
}

void onName(GDBusConnection*, const gchar*, gpointer data) {
    static_cast<const Manager*>(data)->note("ready");
}

void onLost(GDBusConnection*, const gchar*, gpointer data) {
    g_main_loop_quit(static_cast<const Manager*>(data)->loop);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    Manager manager{argv[1], argv[2], g_main_loop_new(nullptr, FALSE)};
    g_bus_own_name(G_BUS_TYPE_SESSION, "org.freedesktop.FileManager1", G_BUS_NAME_OWNER_FLAGS_NONE,
                   onBus, onName, onLost, &manager, nullptr);
    g_main_loop_run(manager.loop);
    g_main_loop_unref(manager.loop);
    return 0;
}
