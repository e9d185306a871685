// The floor: a minimal program on the same engine, all settings at their defaults, that loads one page in an off-screen
// window of a display that already runs, takes a snapshot and ends.
#include <cstdlib>
#include <webkit2/webkit2.h>

namespace {

void snapshotIsReady(GObject* view, GAsyncResult* result, gpointer) {
    cairo_surface_t* surface = webkit_web_view_get_snapshot_finish(WEBKIT_WEB_VIEW(view), result, nullptr);
    std::exit(surface ? EXIT_SUCCESS : EXIT_FAILURE);
}

void loadChanged(WebKitWebView* view, WebKitLoadEvent event, gpointer) {
    if (event == WEBKIT_LOAD_FINISHED)
        webkit_web_view_get_snapshot(view, WEBKIT_SNAPSHOT_REGION_VISIBLE, WEBKIT_SNAPSHOT_OPTIONS_NONE, nullptr,
                                     snapshotIsReady, nullptr);
}

} // namespace

int main(int argc, char* argv[]) {
    gtk_init(&argc, &argv);
    GtkWidget* window = gtk_offscreen_window_new();
    gtk_window_set_default_size(GTK_WINDOW(window), 955, 730);
    GtkWidget* view = webkit_web_view_new();
    gtk_container_add(GTK_CONTAINER(window), view);
    g_signal_connect(view, "load-changed", G_CALLBACK(loadChanged), nullptr);
    gtk_widget_show_all(window);
    webkit_web_view_load_uri(WEBKIT_WEB_VIEW(view), argc > 1 ? argv[1] : "about:blank");
    gtk_main();
}
