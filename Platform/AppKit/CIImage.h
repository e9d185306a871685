// A picture that is a recipe: it has an extent, and pixels only when somebody asks for them.
//
// A value; copies share the recipe, which must give the same pixels every time. Nothing is kept of a rendering.
#pragma once

#include "NSBitmapImageRep.h"

#include <functional>

namespace platform {

class CIImage {
public:
    using Recipe = std::function<std::shared_ptr<const NSBitmapImageRep>()>;

    // The extent in points, its origin anywhere. The recipe gives null when it cannot render.
    CIImage(NSRect extent, Recipe recipe) : extent_(extent), recipe_(std::move(recipe)) {}
    // The bitmap itself, one point a pixel.
    [[nodiscard]] static CIImage initWithBitmapImageRep(NSBitmapImageRep bitmap);

    [[nodiscard]] NSRect extent() const { return extent_; }
    [[nodiscard]] std::shared_ptr<const NSBitmapImageRep> render() const { return recipe_ ? recipe_() : nullptr; }

private:
    NSRect extent_;
    Recipe recipe_;
};

// The form of an NSImage that such a picture gives it: rendered anew whenever it is drawn.
class NSCIImageRep final : public NSImageRep {
public:
    explicit NSCIImageRep(const CIImage& image);
    [[nodiscard]] static std::shared_ptr<const NSCIImageRep> imageRepWithCIImage(const CIImage& image) {
        return std::make_shared<const NSCIImageRep>(image);
    }

    [[nodiscard]] std::shared_ptr<const NSBitmapImageRep> rendered() const override { return image_.render(); }

private:
    CIImage image_;
};

} // namespace platform
