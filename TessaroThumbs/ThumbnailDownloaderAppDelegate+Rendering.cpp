// The picture of the page, and the record.
#include "Foundation/NSException.h"
#include "Foundation/NSUserDefaults.h"
#include "Foundation/StandardOutput.h"
#include "TessaroThumbs/ThumbnailDownloaderAppDelegate.h"
#include "TessaroThumbs/ThumbnailRecord.h"
#include "TessaroThumbs/isPreferenceSet.h"
#include "brimle/DRLogger.h"

namespace tessaro {
namespace {

using brimle::DRLogger;
using platform::Data;

// Left out of every capture: a band of so many points along the right edge and one along the bottom edge.
constexpr double trimmedBand = 50;

Data imageData(const std::optional<NSImage>& image) {
    return image ? image->TIFFRepresentation().value_or(Data()) : Data();
}

} // namespace

void ThumbnailDownloaderAppDelegate::updateThumbnails() {
    _window->setContentSize(_detailThumbRect.size);
    saveThumb_usingViewRect_margin_thumbSize(u"l", _detailThumbRect, {0, 0}, _detailThumbSize);

    const auto identifier = platform::NSUserDefaults::standardUserDefaults()
                                .volatileDomainForName(platform::NSArgumentDomain)
                                .stringForKey(u"uuid");
    const std::string identifierBytes = platform::UTF8String(identifier.value_or(String())).value_or("");
    const Data large = imageData(_largeIcon);
    const Data medium = imageData(_mediumIcon);
    const Data small = imageData(_smallIcon);
    if (isPreferenceSet(u"VerboseThumbnailLogging"))
        DRLogger::logger()->log("uuid = %@, l = %d, m = %d, s = %d", identifier, static_cast<int>(large.size()),
                                static_cast<int>(medium.size()), static_cast<int>(small.size()));
    // The log may have had to fall back to this stream: the same FILE keeps its lines ahead of the record.
    if (std::FILE* output = platform::standardOutput()) {
        writeThumbnailRecord(output, platform::charactersAsBytes(identifierBytes), large, medium, small);
        (void)platform::closeStream(output); // a reader that has gone away is no concern of this process
    }
    platform::NSApplication::sharedApplication().terminate(this);
}

void ThumbnailDownloaderAppDelegate::saveThumb_usingViewRect_margin_thumbSize(StringView name, NSRect viewRect,
                                                                              NSPoint margin, NSSize thumbSize) {
    const auto isVerbose = [] { return isPreferenceSet(u"VerboseThumbnailLogging"); };
    if (isVerbose())
        DRLogger::logger()->log("saveThumb");
    try {
        _webView->setFrame(viewRect);
        _webView->display();
        const NSRect bounds = _webView->bounds();
        _webView->lockFocus();
        // The view's y grows upwards: starting 50 points up leaves out the bottom, the reduced width leaves out the
        // right.
        const NSRect capture = platform::NSMakeRect(margin.x, trimmedBand - margin.y, bounds.size.width - trimmedBand,
                                                    bounds.size.height - trimmedBand);
        const auto bitmap = platform::NSBitmapImageRep::initWithFocusedViewRect(capture);
        _webView->unlockFocus();
        const auto captured = NSImage::initWithData(bitmap.TIFFRepresentation().value_or(Data()));

        NSImage thumbnail = NSImage::initWithSize(thumbSize);
        thumbnail.lockFocus();
        platform::NSGraphicsContext::currentContext()->setImageInterpolation(platform::NSImageInterpolationHigh);
        constexpr NSRect wholeImage{};
        if (captured)
            captured->drawInRect_fromRect_operation_fraction({{0, 0}, thumbSize}, wholeImage, platform::NSCompositeCopy,
                                                             1.0);
        thumbnail.unlockFocus();

        if (name == u"l")
            _largeIcon = thumbnail;
        if (name == u"m")
            _mediumIcon = thumbnail;
        if (name == u"s")
            _smallIcon = thumbnail;
    } catch (const platform::NSException& exception) {
        // The field keeps what it had, and the record is written all the same.
        if (isVerbose())
            DRLogger::logger()->log("Exception: %@", exception);
    }
}

} // namespace tessaro
