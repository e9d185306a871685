#include "NSImage.h"

#include "Foundation/NSException.h"
#include "ImageDecoding.h"
#include "TIFFEncoding.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <utility>

namespace platform {
namespace {

constexpr double maximumFocusSide = 32767;

// The pixels of a representation; a bitmap's own, without a copy.
std::shared_ptr<const NSBitmapImageRep> bitmapOf(const std::shared_ptr<const NSImageRep>& representation) {
    if (auto bitmap = std::dynamic_pointer_cast<const NSBitmapImageRep>(representation))
        return bitmap;
    return representation->rendered();
}

// The smallest representation that has at least as many pixels as are asked for, else the largest.
const std::shared_ptr<const NSImageRep>*
bestRepresentation(const std::vector<std::shared_ptr<const NSImageRep>>& representations, double wide, double high) {
    const std::shared_ptr<const NSImageRep>* best = nullptr;
    const auto isEnough = [&](const NSImageRep& rep) { return rep.pixelsWide() >= wide && rep.pixelsHigh() >= high; };
    const auto area = [](const NSImageRep& rep) { return static_cast<double>(rep.pixelsWide()) * rep.pixelsHigh(); };
    for (const auto& candidate : representations) {
        const bool better =
            !best || (isEnough(*candidate) && !isEnough(**best)) ||
            (isEnough(*candidate) == isEnough(**best) && isEnough(*candidate) == (area(*candidate) < area(**best)) &&
             area(*candidate) != area(**best));
        if (better)
            best = &candidate;
    }
    return best;
}

NSRect intersection(const NSRect& a, const NSRect& b) {
    const double x = std::max(a.origin.x, b.origin.x);
    const double y = std::max(a.origin.y, b.origin.y);
    return NSMakeRect(x, y, std::min(NSMaxX(a), NSMaxX(b)) - x, std::min(NSMaxY(a), NSMaxY(b)) - y);
}

// Larger than any file of an image that would be decoded.
constexpr std::size_t largestFile = std::size_t{256} << 20;

// Empty when the file cannot be read.
Data contentsOfFile(StringView path) {
    const auto bytes = UTF8String(path);
    std::ifstream file;
    if (bytes && bytes->find('\0') == std::string::npos)
        file.open(*bytes, std::ios::binary | std::ios::ate);
    const auto size = file.is_open() ? static_cast<std::streamoff>(file.tellg()) : 0;
    if (size <= 0 || static_cast<std::size_t>(size) > largestFile)
        return {};
    Data data(static_cast<std::size_t>(size));
    file.seekg(0);
    file.read(reinterpret_cast<char*>(data.data()), size);
    return file ? data : Data();
}

IconTheme& iconTheme() {
    static IconTheme theme = IconTheme::ofDesktop();
    return theme;
}

} // namespace

NSImage NSImage::initWithSize(NSSize size) {
    NSImage image;
    image.size_ = size;
    return image;
}

std::optional<NSImage> NSImage::initWithData(DataView data) {
    NSImage image;
    image.adopt(decodeImage(data));
    return image.isValid() ? std::optional(std::move(image)) : std::nullopt;
}

NSImage NSImage::initByReferencingFile(StringView path) {
    NSImage image;
    image.file_ = path;
    return image;
}

std::optional<NSImage> NSImage::imageNamed(StringView name) {
    NSImage image;
    std::vector<NSBitmapImageRep> found;
    for (const String& path : pathsOfIcon(iconTheme(), name))
        for (auto& representation : decodeImage(contentsOfFile(path)))
            found.push_back(std::move(representation));
    image.adopt(std::move(found));
    return image.isValid() ? std::optional(std::move(image)) : std::nullopt;
}

void NSImage::setIconTheme(IconTheme theme) {
    iconTheme() = std::move(theme);
}

void NSImage::load() const {
    if (const auto path = std::exchange(file_, std::nullopt))
        adopt(decodeImage(contentsOfFile(*path)));
}

// The size becomes that of the form with the most pixels.
void NSImage::adopt(std::vector<NSBitmapImageRep> found) const {
    std::stable_sort(found.begin(), found.end(), [](const NSBitmapImageRep& a, const NSBitmapImageRep& b) {
        return a.pixels().size() > b.pixels().size();
    });
    if (!found.empty())
        size_ = found.front().size();
    for (auto& representation : found)
        representations_.push_back(std::make_shared<const NSBitmapImageRep>(std::move(representation)));
}

NSSize NSImage::size() const {
    load();
    return size_;
}

void NSImage::setSize(NSSize size) {
    load();
    size_ = size;
}

const std::vector<std::shared_ptr<const NSImageRep>>& NSImage::representations() const {
    load();
    return representations_;
}

void NSImage::addRepresentation(std::shared_ptr<const NSImageRep> representation) {
    load();
    representations_.push_back(std::move(representation));
}

void NSImage::lockFocus() {
    load();
    if (!(size_.width > 0 && size_.width <= maximumFocusSide && size_.height > 0 && size_.height <= maximumFocusSide))
        throw NSException(u"NSImageCacheException", u"an image of that size cannot have the drawing focus");
    auto context = NSGraphicsContext::graphicsContextWithPixelSize(static_cast<int>(std::ceil(size_.width)),
                                                                   static_cast<int>(std::ceil(size_.height)), size_);
    NSGraphicsContext::saveGraphicsState();
    NSGraphicsContext::setCurrentContext(context);
    if (isValid())
        drawInRect_fromRect_operation_fraction({{}, size_}, NSZeroRect, NSCompositeCopy, 1.0);
    focus_ = std::move(context);
}

void NSImage::unlockFocus() {
    if (!focus_)
        return;
    representations_.assign(1, std::make_shared<const NSBitmapImageRep>(focus_->bitmap()));
    focus_.reset();
    NSGraphicsContext::restoreGraphicsState();
}

void NSImage::drawInRect_fromRect_operation_fraction(NSRect destination, NSRect source,
                                                     NSCompositingOperation operation, double fraction) const {
    const auto context = NSGraphicsContext::currentContext();
    if (!context)
        throw NSException(u"NSInternalInconsistencyException", u"nothing has the drawing focus to draw into");
    load();
    const NSRect whole{{}, size_};
    const NSRect asked = source == NSZeroRect ? whole : source;
    const NSRect visible = intersection(asked, whole);
    if (NSIsEmptyRect(destination) || NSIsEmptyRect(visible) || representations().empty())
        return;
    const double across = destination.size.width / asked.size.width;
    const double up = destination.size.height / asked.size.height;
    const NSRect target = NSMakeRect(destination.origin.x + (visible.origin.x - asked.origin.x) * across,
                                     destination.origin.y + (visible.origin.y - asked.origin.y) * up,
                                     visible.size.width * across, visible.size.height * up);
    // As many pixels as the whole image would cover at this scale.
    const auto* representation =
        bestRepresentation(representations(), size_.width * across * context->pixelsWide() / context->size().width,
                           size_.height * up * context->pixelsHigh() / context->size().height);
    const auto bitmap = bitmapOf(*representation);
    if (!bitmap)
        return;
    const double pixelsAcross = bitmap->pixelsWide() / size_.width;
    const double pixelsUp = bitmap->pixelsHigh() / size_.height;
    const NSRect pixels = NSMakeRect(visible.origin.x * pixelsAcross, (size_.height - NSMaxY(visible)) * pixelsUp,
                                     visible.size.width * pixelsAcross, visible.size.height * pixelsUp);
    context->drawBitmap_fromPixels_inRect_operation_fraction(*bitmap, pixels, target, operation, fraction);
}

std::optional<Data> NSImage::TIFFRepresentation() const {
    std::vector<std::shared_ptr<const NSBitmapImageRep>> pages;
    for (const auto& representation : representations())
        if (auto bitmap = bitmapOf(representation))
            pages.push_back(std::move(bitmap));
    return encodeTIFF(pages);
}

} // namespace platform
