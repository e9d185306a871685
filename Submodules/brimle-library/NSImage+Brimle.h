// Extensions of NSImage: conversions between the kinds of images, encoding, drawing that keeps proportions, and drawing
// of artwork with end caps.
//
// Geometry is in points with y upwards and is never rounded. An object that comes back by value or in an optional is
// the caller's like any value; br_toCGImage hands over ownership. Everything that draws needs the drawing focus
// (NSException without it) and belongs on the thread that has it.
#pragma once

#include "AppKit/CGImage.h"
#include "AppKit/CIImage.h"
#include "AppKit/NSImage.h"

namespace brimle {

using platform::NSRect;
using platform::NSSize;
using platform::String;
using platform::StringView;

// An image with a drawn copy of the picture, one point a pixel.
[[nodiscard]] platform::NSImage br_imageWithCGImage(const platform::CGImage& image);
// An image backed by the picture: nothing is rendered before it is drawn. It is as large as the picture's extent, whose
// origin does not matter.
[[nodiscard]] platform::NSImage br_imageFromCIImage(const platform::CIImage& image);

// The other way, each through the TIFF form of the whole image and from its first page. Null or absent when the image
// has no TIFF form.
[[nodiscard]] platform::OwnedCGImage br_toCGImage(const platform::NSImage& image);
[[nodiscard]] std::optional<platform::CIImage> br_toCIImage(const platform::NSImage& image);
[[nodiscard]] std::optional<platform::Data> br_dataRepresentationOfType(const platform::NSImage& image,
                                                                        platform::NSBitmapImageFileType type);

// Draws the whole image in its proportions, centred in the rectangle: as wide as the rectangle when the image is
// landscape or square, as high when it is portrait. The rectangle's own shape decides nothing, so a landscape image in
// a rectangle that is wider still sticks out above and below.
void br_drawProportionallyInRect_operation_fraction(const platform::NSImage& image, NSRect rect,
                                                    platform::NSCompositingOperation operation, double fraction);

// A new image of exactly the target size with this one as large as fits in its middle, enlarged if need be, transparent
// beside it. Absent when the image is not valid. The image itself keeps the size at which it was drawn.
[[nodiscard]] std::optional<platform::NSImage> br_imageByScalingProportionallyToSize(platform::NSImage& image,
                                                                                     NSSize target);

// A rectangle of the given size with the same centre as `outer`; it may be the larger one.
[[nodiscard]] NSRect BRCenterRectInRect(NSSize size, NSRect outer);

// Draws the image in three pieces of its full height: a left and a right cap as wide as they are in the image, and the
// middle over the width between them. Stretched: the middle is scaled to that width; the caps are cut whether they fit
// or not.
void br_drawStretchedInRect_leftCapWidth_rightCapWidth_operation_fraction(const platform::NSImage& image, NSRect rect,
                                                                          double leftCapWidth, double rightCapWidth,
                                                                          platform::NSCompositingOperation operation,
                                                                          double fraction);
// Tiled: the middle is laid side by side at its own width, the last tile cut off. In a rectangle lower than the image,
// tiles show the image's lower part unscaled, while caps are squeezed. Draws nothing when the caps leave no middle.
void br_drawTiledInRect_leftCapWidth_rightCapWidth_operation_fraction(const platform::NSImage& image, NSRect rect,
                                                                      double leftCapWidth, double rightCapWidth,
                                                                      platform::NSCompositingOperation operation,
                                                                      double fraction);

// The system's icon for a kind of file: the icon of that name without its extension from the desktop's theme, else the
// file of that name in the folder of type icons. That file is read when it is drawn; a missing one gives an image that
// is not valid.
[[nodiscard]] platform::NSImage coreTypesImage(StringView name);

// Where that folder's path begins; empty unless set. The folder below it is always the same.
void setCoreTypesRoot(StringView root);
[[nodiscard]] String coreTypesResourcesFolder();

} // namespace brimle
