#include <gtk/gtk.h>

#include <cstdio>

#include "win/win.hpp"

namespace mbwin {

void showError(const std::string& message) {
    std::fprintf(stderr, "Marlin Bench: %s\n", message.c_str());
    if (gdk_display_get_default() == nullptr) return;
    GtkWidget* dialog = gtk_message_dialog_new(nullptr, GTK_DIALOG_MODAL, GTK_MESSAGE_ERROR,
                                               GTK_BUTTONS_OK, "%s", message.c_str());
    gtk_window_set_title(GTK_WINDOW(dialog), "Marlin Bench");
    gtk_dialog_run(GTK_DIALOG(dialog));
    gtk_widget_destroy(dialog);
}

}  // namespace mbwin
