#include <gtk/gtk.h>

#include <cstdio>

#include "win/win.hpp"

namespace mbwin {

void showMessage(Message kind, const std::string& text) {
    const GtkMessageType type = kind == Message::Error ? GTK_MESSAGE_ERROR : GTK_MESSAGE_INFO;
    GtkWidget* dialog =
        gtk_message_dialog_new(nullptr, GTK_DIALOG_MODAL, type, GTK_BUTTONS_OK, "%s", text.c_str());
    gtk_window_set_title(GTK_WINDOW(dialog), "Marlin Bench");
    gtk_dialog_run(GTK_DIALOG(dialog));
    gtk_widget_destroy(dialog);
}

void showError(const std::string& message) {
    std::fprintf(stderr, "Marlin Bench: %s\n", message.c_str());
    if (gdk_display_get_default() != nullptr) showMessage(Message::Error, message);
}

}  // namespace mbwin
