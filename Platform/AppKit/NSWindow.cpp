#include "AppKit/NSWindow.h"

#include "AppKit/Display.h"
#include "AppKit/NSApplication.h"
#include "AppKit/NSView.h"

#include <cmath>
#include <gtk/gtk.h>

namespace platform {
namespace {

int pixels(double points) {
    return static_cast<int>(std::lround(points));
}

// Screen height in points: where y-up screen coordinates meet the toolkit's y-down ones.
int screenHeight(GtkWidget* window) {
    GdkDisplay* display = gtk_widget_get_display(window);
    GdkMonitor* monitor = gdk_display_get_primary_monitor(display);
    if (!monitor)
        monitor = gdk_display_get_monitor(display, 0);
    GdkRectangle area{};
    if (monitor)
        gdk_monitor_get_geometry(monitor, &area);
    return area.y + area.height;
}

} // namespace

struct NSWindow::Native {
    GtkWidget* window = nullptr;
};

NSWindow::NSWindow(NSRect contentRect, unsigned, NSBackingStoreType, bool)
    : native_(std::make_unique<Native>()), frame_(contentRect) {
    if (!connectToDisplay())
        NSApplication::sharedApplication().terminate(this);
    native_->window = gtk_window_new(displayIsPrivate() ? GTK_WINDOW_POPUP : GTK_WINDOW_TOPLEVEL);
    auto* window = GTK_WINDOW(native_->window);
    gtk_window_set_decorated(window, FALSE);
    gtk_window_set_accept_focus(window, FALSE);
    gtk_window_set_focus_on_map(window, FALSE);
    gtk_window_set_skip_taskbar_hint(window, TRUE);
    gtk_window_set_skip_pager_hint(window, TRUE);
    // Nobody may close the window of a running page.
    g_signal_connect(window, "delete-event", G_CALLBACK(gtk_true), nullptr);
    setContentSize(contentRect.size);
}

NSWindow::~NSWindow() {
    if (native_->window)
        gtk_widget_destroy(native_->window);
}

void NSWindow::setFrameOrigin(NSPoint origin) {
    frame_.origin = origin;
    const double top = screenHeight(native_->window) - origin.y - frame_.size.height;
    gtk_window_move(GTK_WINDOW(native_->window), pixels(origin.x), pixels(top));
}

void NSWindow::setContentSize(NSSize size) {
    frame_.size = size;
    gtk_widget_set_size_request(native_->window, pixels(size.width), pixels(size.height));
    gtk_window_resize(GTK_WINDOW(native_->window), pixels(size.width), pixels(size.height));
}

// The owner destroys the window; it is never closed before that.
void NSWindow::setReleasedWhenClosed(bool) {}

void NSWindow::setAlphaValue(double alpha) {
    gtk_widget_set_opacity(native_->window, alpha);
}

void NSWindow::addSubview(NSView& view) {
    gtk_container_add(GTK_CONTAINER(native_->window), view.widget());
    gtk_widget_show(view.widget());
    if (displayIsPrivate()) {
        setFrameOrigin(frame_.origin);
        gtk_widget_show(native_->window);
    }
}

void NSWindow::orderBack(const void*) {
    auto* window = GTK_WINDOW(native_->window);
    gtk_window_set_keep_below(window, TRUE);
    setFrameOrigin(frame_.origin);
    gtk_widget_show(native_->window);
    setFrameOrigin(frame_.origin); // window managers place a window when it is mapped
    gdk_window_lower(gtk_widget_get_window(native_->window));
}

} // namespace platform
