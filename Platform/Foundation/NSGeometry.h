// Points, sizes and rectangles in points: double precision, y upwards, never rounded.
#pragma once

namespace platform {

struct NSPoint {
    double x = 0;
    double y = 0;
    friend bool operator==(const NSPoint&, const NSPoint&) = default;
};

struct NSSize {
    double width = 0;
    double height = 0;
    friend bool operator==(const NSSize&, const NSSize&) = default;
};

struct NSRect {
    NSPoint origin;
    NSSize size;
    friend bool operator==(const NSRect&, const NSRect&) = default;
};

[[nodiscard]] constexpr NSRect NSMakeRect(double x, double y, double width, double height) {
    return {{x, y}, {width, height}};
}

// Where an image's source rectangle is asked for, this one means the whole image.
inline constexpr NSRect NSZeroRect{};

[[nodiscard]] constexpr double NSMaxX(const NSRect& rect) {
    return rect.origin.x + rect.size.width;
}
[[nodiscard]] constexpr double NSMaxY(const NSRect& rect) {
    return rect.origin.y + rect.size.height;
}

// Without an area: a width or height that is zero, negative or not a number.
[[nodiscard]] constexpr bool NSIsEmptyRect(const NSRect& rect) {
    return !(rect.size.width > 0 && rect.size.height > 0);
}

[[nodiscard]] constexpr bool NSEqualSizes(const NSSize& a, const NSSize& b) {
    return a == b;
}

// Moves every edge inwards by dx or dy; negative amounts move them outwards. The width or height may become negative.
[[nodiscard]] constexpr NSRect NSInsetRect(const NSRect& rect, double dx, double dy) {
    return NSMakeRect(rect.origin.x + dx, rect.origin.y + dy, rect.size.width - 2 * dx, rect.size.height - 2 * dy);
}

enum NSRectEdge : unsigned { NSMinXEdge = 0, NSMinYEdge = 1, NSMaxXEdge = 2, NSMaxYEdge = 3 };

// Cuts a slice off the rectangle at an edge; slice and remainder may be the rectangle itself. An amount larger than the
// rectangle takes all of it and leaves a remainder without extent at the opposite edge. A negative amount is not
// clamped: the slice has that negative extent and the remainder is larger than the rectangle by as much.
constexpr void NSDivideRect(NSRect rect, NSRect* slice, NSRect* remainder, double amount, NSRectEdge edge) {
    const bool horizontal = edge == NSMinXEdge || edge == NSMaxXEdge;
    const double extent = horizontal ? rect.size.width : rect.size.height;
    const double cut = amount > extent ? extent : amount;
    const double rest = extent - cut;
    *slice = *remainder = rect;
    (horizontal ? slice->size.width : slice->size.height) = cut;
    (horizontal ? remainder->size.width : remainder->size.height) = rest;
    if (edge == NSMinXEdge)
        remainder->origin.x += cut;
    else if (edge == NSMinYEdge)
        remainder->origin.y += cut;
    else if (edge == NSMaxXEdge)
        slice->origin.x += rest;
    else
        slice->origin.y += rest;
}

} // namespace platform
