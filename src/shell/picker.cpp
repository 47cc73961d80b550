#include <gtk/gtk.h>

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "shell/shell.hpp"
#include "win/win.hpp"

namespace mbshell {

namespace {

// One question, shared by the thread that asks and the main loop, which may outlive each other.
struct Question {
    std::string folder;  // with `answered` guarded by g_mutex
    bool answered = false;
};

std::mutex g_mutex;
std::condition_variable g_changed;
bool g_ended = false;  // guarded by g_mutex

// Main thread only.
GtkWidget* g_parent = nullptr;
// A question that comes while another is open opens a dialog before that one's.
std::vector<GtkNativeDialog*> g_dialogs;

bool ended() {
    const std::lock_guard lock(g_mutex);
    return g_ended;
}

std::string runDialog() {
    GtkFileChooserNative* chooser = gtk_file_chooser_native_new(
        "Open a folder in Marlin Bench", g_parent ? GTK_WINDOW(g_parent) : nullptr,
        GTK_FILE_CHOOSER_ACTION_SELECT_FOLDER, "_Open", "_Cancel");
    GtkNativeDialog* dialog = GTK_NATIVE_DIALOG(chooser);
    gtk_native_dialog_set_modal(dialog, TRUE);
    g_dialogs.push_back(dialog);
    const gint response = gtk_native_dialog_run(dialog);
    g_dialogs.erase(std::find(g_dialogs.begin(), g_dialogs.end(), dialog));
    std::string folder;
    if (response == GTK_RESPONSE_ACCEPT) {
        const std::unique_ptr<gchar, decltype(&g_free)> name(
            gtk_file_chooser_get_filename(GTK_FILE_CHOOSER(chooser)), &g_free);
        if (name) folder = name.get();
    }
    gtk_native_dialog_destroy(dialog);
    g_object_unref(chooser);
    return folder;
}

}  // namespace

void setDialogParent(GtkWidget* window) { g_parent = window; }

std::string pickFolder() {
    const auto question = std::make_shared<Question>();
    mbwin::post([question] {
        const std::string folder = ended() ? "" : runDialog();
        const std::lock_guard lock(g_mutex);
        question->folder = folder;
        question->answered = true;
        g_changed.notify_all();
    });
    std::unique_lock lock(g_mutex);
    g_changed.wait(lock, [&] { return question->answered || g_ended; });
    return question->folder;
}

void endPicking() {
    const std::lock_guard lock(g_mutex);
    g_ended = true;
    g_changed.notify_all();
}

void cancelPicking() {
    // First, so that none that was asked for meanwhile opens once we are back in the main loop.
    endPicking();
    // Hiding one ends the loop that waits for its answer, though not before we are back in that.
    const std::vector<GtkNativeDialog*> open = g_dialogs;
    for (GtkNativeDialog* dialog : open) gtk_native_dialog_hide(dialog);
}

}  // namespace mbshell
