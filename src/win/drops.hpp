#pragma once
// File drops from other programs onto the page.

typedef struct _GtkWidget GtkWidget;

namespace mbwin {

class Host;

// Takes external drags of files; drags of anything else stay with the web view.
void connectDrops(GtkWidget* page, Host* host);

}  // namespace mbwin
