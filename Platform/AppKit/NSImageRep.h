// One form of an image: so many pixels that stand for a size in points. An image may hold several.
#pragma once

#include "Foundation/NSGeometry.h"

#include <memory>

namespace platform {

class NSBitmapImageRep;

class NSImageRep {
public:
    virtual ~NSImageRep() = default;

    [[nodiscard]] int pixelsWide() const { return pixelsWide_; }
    [[nodiscard]] int pixelsHigh() const { return pixelsHigh_; }
    // In points; the same number as the pixels unless the data declare a resolution other than 72 pixels an inch.
    [[nodiscard]] NSSize size() const { return size_; }
    void setSize(NSSize size) { size_ = size; }

    // The pixels of a form that is not a bitmap itself, made anew at each call; null when it cannot be drawn.
    [[nodiscard]] virtual std::shared_ptr<const NSBitmapImageRep> rendered() const = 0;

protected:
    NSImageRep(int pixelsWide, int pixelsHigh)
        : pixelsWide_(pixelsWide),
          pixelsHigh_(pixelsHigh), size_{static_cast<double>(pixelsWide), static_cast<double>(pixelsHigh)} {}
    NSImageRep(const NSImageRep&) = default;
    NSImageRep(NSImageRep&&) = default;
    NSImageRep& operator=(const NSImageRep&) = default;
    NSImageRep& operator=(NSImageRep&&) = default;

private:
    int pixelsWide_;
    int pixelsHigh_;
    NSSize size_;
};

} // namespace platform
