#include "win/drops.hpp"

#include <gtk/gtk.h>

#include <memory>
#include <string>
#include <vector>

#include "win/win.hpp"

namespace mbwin {

namespace {

GdkAtom uriList() { return gdk_atom_intern_static_string("text/uri-list"); }

// A drag that began inside the page has a source widget; the web view handles that one itself.
bool isExternalUriDrag(GdkDragContext* context) {
    if (gtk_drag_get_source_widget(context) != nullptr) return false;
    for (GList* target = gdk_drag_context_list_targets(context); target; target = target->next)
        if (GDK_POINTER_TO_ATOM(target->data) == uriList()) return true;
    return false;
}

// What is no local file, such as a web address, is left out.
std::vector<std::string> localPaths(GtkSelectionData* data) {
    const std::unique_ptr<gchar*, decltype(&g_strfreev)> uris(gtk_selection_data_get_uris(data),
                                                              &g_strfreev);
    std::vector<std::string> paths;
    for (gchar** uri = uris.get(); uri && *uri; ++uri) {
        const std::unique_ptr<gchar, decltype(&g_free)> path(
            g_filename_from_uri(*uri, nullptr, nullptr), &g_free);
        if (path) paths.emplace_back(path.get());
    }
    return paths;
}

gboolean onDragMotion(GtkWidget*, GdkDragContext* context, gint x, gint y, guint time,
                      gpointer data) {
    if (!isExternalUriDrag(context)) return FALSE;
    gdk_drag_status(context, GDK_ACTION_COPY, time);
    static_cast<Host*>(data)->handleDragMotion(x, y);
    return TRUE;
}

void onDragLeave(GtkWidget* widget, GdkDragContext* context, guint, gpointer data) {
    if (!isExternalUriDrag(context)) return;
    g_signal_stop_emission_by_name(widget, "drag-leave");
    static_cast<Host*>(data)->handleDragLeave();
}

// The toolkit sends "drag-leave" right before "drag-drop", so the motion is reported again here.
gboolean onDragDrop(GtkWidget* widget, GdkDragContext* context, gint x, gint y, guint time,
                    gpointer data) {
    if (!isExternalUriDrag(context)) return FALSE;
    static_cast<Host*>(data)->handleDragMotion(x, y);
    gtk_drag_get_data(widget, context, uriList(), time);
    return TRUE;
}

void onDragDataReceived(GtkWidget* widget, GdkDragContext* context, gint, gint,
                        GtkSelectionData* selection, guint, guint time, gpointer data) {
    if (!isExternalUriDrag(context)) return;
    g_signal_stop_emission_by_name(widget, "drag-data-received");
    const std::vector<std::string> paths = localPaths(selection);
    gtk_drag_finish(context, !paths.empty(), FALSE, time);
    Host* host = static_cast<Host*>(data);
    if (paths.empty())
        host->handleDragLeave();
    else
        host->handleDrop(paths);
}

}  // namespace

void connectDrops(GtkWidget* page, Host* host) {
    g_signal_connect(page, "drag-motion", G_CALLBACK(onDragMotion), host);
    g_signal_connect(page, "drag-leave", G_CALLBACK(onDragLeave), host);
    g_signal_connect(page, "drag-drop", G_CALLBACK(onDragDrop), host);
    g_signal_connect(page, "drag-data-received", G_CALLBACK(onDragDataReceived), host);
}

void Host::handleDragMotion(int32_t x, int32_t y) {
    if (!dragging) {
        dragging = true;
        if (onDragActive) onDragActive(true);
    }
    if (x == dragX && y == dragY) return;
    dragX = x;
    dragY = y;
    if (onDragOver) onDragOver(x, y);
}

void Host::handleDragLeave() {
    if (!dragging) return;
    dragging = false;
    if (onDragActive) onDragActive(false);
}

void Host::handleDrop(const std::vector<std::string>& paths) {
    const int32_t x = dragX;
    const int32_t y = dragY;
    handleDragLeave();
    dragX = -1;
    dragY = -1;
    if (onDropPaths)
        onDropPaths(paths, x, y);
    else
        handleOpenPaths(paths);
}

}  // namespace mbwin
