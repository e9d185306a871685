// An image: a size in points and the forms (representations) in which it exists.
//
// A value: copies share the representations, which do not change once made. Drawing into an image with the focus locked
// gives it one new representation when the focus is unlocked. Main thread, as all drawing.
#pragma once

#include "IconTheme.h"
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
    // The image in a file, which is read when the image is first asked for anything. A file that is missing or no image
    // still gives an image, one that is not valid and draws nothing.
    [[nodiscard]] static NSImage initByReferencingFile(StringView path);
    // The icon of that name in the desktop's icon theme, with a representation for each size. Absent when there is
    // none.
    [[nodiscard]] static std::optional<NSImage> imageNamed(StringView name);
    // Takes the place of the desktop's own choice of a theme, in this process, from the next imageNamed on.
    static void setIconTheme(IconTheme theme);

    [[nodiscard]] NSSize size() const;
    // The representations keep their own sizes: they are stretched to the image's when it is drawn.
    void setSize(NSSize size);

    [[nodiscard]] bool isValid() const { return !representations().empty(); }
    [[nodiscard]] const std::vector<std::shared_ptr<const NSImageRep>>& representations() const;
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
    // Reads the file that the image refers to, once.
    void load() const;
    void adopt(std::vector<NSBitmapImageRep> found) const;

    mutable NSSize size_;
    mutable std::vector<std::shared_ptr<const NSImageRep>> representations_;
    mutable std::optional<String> file_; // not read yet
    std::shared_ptr<NSGraphicsContext> focus_;
};

} // namespace platform
