// An image: a size in points and the forms (representations) in which it exists.
//
// A value: copies share the representations, which do not change once made. Drawing into an image with the focus locked
// gives it one new representation when the focus is unlocked. Main thread, as all drawing.
#pragma once

#include "NSBitmapImageRep.h"
#include "NSGraphicsContext.h"

namespace platform {

class NSImage {
public:
    // An image of that size without a representation: not valid until something is drawn into it.
    [[nodiscard]] static NSImage initWithSize(NSSize size);
    // The image that a file's bytes hold, with all its representations, the largest first, and the size in points that
    // the data declare for that one. Absent when not one of them is usable.
    [[nodiscard]] static std::optional<NSImage> initWithData(DataView data);

    [[nodiscard]] NSSize size() const { return size_; }
    // The representations keep their own sizes: they are stretched to the image's when it is drawn.
    void setSize(NSSize size) { size_ = size; }

    [[nodiscard]] bool isValid() const { return !representations().empty(); }
    [[nodiscard]] const std::vector<std::shared_ptr<const NSImageRep>>& representations() const {
        return representations_;
    }
    void addRepresentation(std::shared_ptr<const NSImageRep> representation);

    // Gives this image the drawing focus: a context of its size, one pixel a point (rounded up), that holds what the
    // image shows now. NSException ("NSImageCacheException") when the size is not between 0 and 32767, 0 excluded.
    void lockFocus();
    // Takes what was drawn as the image's only representation and gives the focus back to what had it before. Without a
    // lockFocus before it, nothing happens.
    void unlockFocus();

    // Draws the part of the image in `source` (in points of the image's size, y upwards; NSZeroRect means all of it)
    // into `destination` of the current context, scaled as needed, at an opacity of `fraction` (0 to 1). What of
    // `source` lies outside the image draws nothing. NSException when nothing has the drawing focus.
    void drawInRect_fromRect_operation_fraction(NSRect destination, NSRect source, NSCompositingOperation operation,
                                                double fraction) const;

    // All representations, one TIFF page each in their order; absent when there is none.
    [[nodiscard]] std::optional<Data> TIFFRepresentation() const;

private:
    NSSize size_;
    std::vector<std::shared_ptr<const NSImageRep>> representations_;
    std::shared_ptr<NSGraphicsContext> focus_;
};

} // namespace platform
