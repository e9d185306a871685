// The site's touch icon: the square picture that many sites publish at a well-known path for home screens.
#include "AppKit/UntrustedImage.h"
#include "Foundation/NSURLConnection.h"
#include "TessaroThumbs/ThumbnailDownloaderAppDelegate.h"
#include "TessaroThumbs/isPreferenceSet.h"
#include "brimle/DRLogger.h"

namespace tessaro {
namespace {

using brimle::DRLogger;

constexpr double patience = 10; // seconds a request

} // namespace

// Scheme and host are the page's; port, user and everything behind them are not: the icon belongs to the site, not to
// the page, and is asked for at the scheme's default port. Whether the server calls its answer an error is not looked
// at: an image is an image.
std::optional<NSImage> ThumbnailDownloaderAppDelegate::loadImage_path(const NSURL& url, StringView path) {
    const auto iconURL = NSURL::initWithScheme_host_path(url.scheme().value_or(u""), url.host().value_or(u""), path);
    if (isPreferenceSet(u"VerboseThumbnailLogging"))
        DRLogger::logger()->log("Trying: '%@'", iconURL);
    if (!iconURL)
        return std::nullopt;
    const auto request = NSURLRequest::requestWithURL_cachePolicy_timeoutInterval(
        *iconURL, platform::NSURLRequestReturnCacheDataElseLoad, patience);
    const auto data =
        platform::NSURLConnection::sendSynchronousRequest_returningResponse_error(request, nullptr, nullptr);
    return data ? platform::imageWithUntrustedData(*data) : std::nullopt;
}

void ThumbnailDownloaderAppDelegate::loadiPhoneIcons(const NSURL& url) {
    auto image = loadImage_path(url, u"/apple-touch-icon-precomposed.png");
    if (image && image->isValid()) {
        if (isPreferenceSet(u"VerboseThumbnailLogging"))
            DRLogger::logger()->log("Using apple-touch-icon-precomposed.png");
        _mediumIcon = std::move(image);
        return;
    }
    image = loadImage_path(url, u"/apple-touch-icon.png");
    if (image && image->isValid()) {
        if (isPreferenceSet(u"VerboseThumbnailLogging"))
            DRLogger::logger()->log("Using apple-touch-icon.png");
        _mediumIcon = std::move(image);
    }
}

} // namespace tessaro
