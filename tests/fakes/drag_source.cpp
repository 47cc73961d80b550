// A window that something can be dragged out of: drag_source X Y LOG KIND [VALUE...]
//
// KIND is "uris", whose values are offered as text/uri-list, or "text" with one value. The window
// of 80 x 60 stands at X, Y. The log gets "ready", "begin" and "end" lines, and in between
// "accepted" or "refused" whenever what is below the pointer has changed its mind.

#include <gtk/gtk.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

struct Source {
    std::string log;
    bool isText = false;
    std::vector<std::string> values;
};

void note(const Source* source, const char* line) {
    if (std::FILE* file = std::fopen(source->log.c_str(), "ae")) {
        std::fprintf(file, "%s\n", line);
        std::fclose(file);
    }
}

void onData(GtkWidget*, GdkDragContext*, GtkSelectionData* selection, guint, guint, gpointer data) {
    const auto* source = static_cast<const Source*>(data);
    if (source->isText) {
        gtk_selection_data_set_text(selection, source->values[0].c_str(), -1);
        return;
    }
    std::vector<gchar*> uris;
    for (const std::string& value : source->values)
        uris.push_back(const_cast<gchar*>(value.c_str()));  // the toolkit's signature only
    uris.push_back(nullptr);
    gtk_selection_data_set_uris(selection, uris.data());
}

void onAction(GdkDragContext*, GdkDragAction action, gpointer data) {
    note(static_cast<const Source*>(data), action == 0 ? "refused" : "accepted");
}

void onBegin(GtkWidget*, GdkDragContext* context, gpointer data) {
    g_signal_connect(context, "action-changed", G_CALLBACK(onAction), data);
    note(static_cast<const Source*>(data), "begin");
}

void onEnd(GtkWidget*, GdkDragContext*, gpointer data) {
    note(static_cast<const Source*>(data), "end");
}

// Drawn for the first time: from now on the pointer finds it.
gboolean onDrawn(GtkWidget* widget, cairo_t*, gpointer data) {
    note(static_cast<const Source*>(data), "ready");
    g_signal_handlers_disconnect_by_func(widget, reinterpret_cast<gpointer>(onDrawn), data);
    return FALSE;
}

GtkWidget* makeHandle(Source* source) {
    GtkWidget* handle = gtk_event_box_new();
    gchar uriList[] = "text/uri-list";
    gchar plain[] = "text/plain";
    const GtkTargetEntry target = {source->isText ? plain : uriList, 0, 0};
    gtk_drag_source_set(handle, GDK_BUTTON1_MASK, &target, 1,
                        static_cast<GdkDragAction>(GDK_ACTION_COPY | GDK_ACTION_MOVE));
    g_signal_connect(handle, "drag-data-get", G_CALLBACK(onData), source);
    g_signal_connect(handle, "drag-begin", G_CALLBACK(onBegin), source);
    g_signal_connect(handle, "drag-end", G_CALLBACK(onEnd), source);
    g_signal_connect_after(handle, "draw", G_CALLBACK(onDrawn), source);
    return handle;
}

}  // namespace

int main(int argc, char** argv) {
    if (!gtk_init_check(&argc, &argv) || argc < 5) return 2;
    Source source;
    source.log = argv[3];
    source.isText = std::string(argv[4]) == "text";
    source.values.assign(argv + 5, argv + argc);
    GtkWidget* window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_window_set_decorated(GTK_WINDOW(window), FALSE);
    gtk_window_set_default_size(GTK_WINDOW(window), 80, 60);
    gtk_container_add(GTK_CONTAINER(window), makeHandle(&source));
    gtk_window_move(GTK_WINDOW(window), std::atoi(argv[1]), std::atoi(argv[2]));
    g_signal_connect(window, "destroy", G_CALLBACK(gtk_main_quit), nullptr);
    gtk_widget_show_all(window);
    gtk_main();
    return 0;
}
