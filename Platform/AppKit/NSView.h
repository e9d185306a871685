// What a window shows. Main thread only.
#pragma once

#include "Foundation/NSGeometry.h"

struct _GtkWidget;

namespace platform {

class NSView {
public:
    NSView() = default;
    virtual ~NSView() = default;
    NSView(const NSView&) = delete;
    NSView& operator=(const NSView&) = delete;

    virtual void setFrame(NSRect frame) = 0;
    // Origin (0, 0), the size of the frame.
    [[nodiscard]] virtual NSRect bounds() const = 0;
    // Brings the pixels up to date at once.
    virtual void display() = 0;
    // Directs drawing and read-back (NSBitmapImageRep's initWithFocusedViewRect) at this view until unlockFocus.
    // Throws NSException when the view has no pixels to give.
    virtual void lockFocus() = 0;
    virtual void unlockFocus() = 0;

    // The toolkit's object, owned by the view.
    [[nodiscard]] virtual _GtkWidget* widget() = 0;
};

} // namespace platform
