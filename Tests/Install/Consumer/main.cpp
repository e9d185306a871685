// An application of somebody else's: uses every subsystem of the installed library, and fails when an answer is wrong.
#include <Foundation/NSFileManager.h>
#include <TessaroThumbs/ThumbnailRecord.h>
#include <brimle/BRCrypto.h>
#include <brimle/BRFiles.h>
#include <brimle/BRScripts.h>
#include <brimle/DRLogger.h>
#include <brimle/NSImage+Brimle.h>
#include <brimle/NSString+BrimleDomain.h>
#include <brimle/NSString+BrimleHTML.h>
#include <brimle/NSURL+Brimle.h>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace {

int failures = 0;

void expect(bool holds, const char* what) {
    std::printf("%-6s %s\n", holds ? "ok" : "WRONG", what);
    failures += holds ? 0 : 1;
}

} // namespace

int main() {
    using namespace brimle;
    const String logFile = (std::filesystem::current_path() / "consumer.log").u16string();
    DRLogger::setFileName(std::make_shared<const String>(logFile));
    DRLogger::logger()->log("%@ started", String(u"consumer"));
    DRLogger::shutdown();
    expect(platform::NSFileManager().fileExistsAtPath(logFile), "diagnostics: the log file");

    expect(br_MD5hex(platform::StringView(u"abc")) == u"900150983cd24fb0d6963f7d28e17f72", "crypto: a digest");
    expect(br_URLWithString(u"example.org")->absoluteString() == u"http://example.org", "text: an address");
    expect(br_stringByExtracting2ndTLD(u"https://www.shop.co.uk/") == u"shop.co.uk", "text: a domain");
    expect(br_htmlString(u"a<b") == u"a&lt;b", "text: HTML");

    platform::NSImage image = platform::NSImage::initWithSize({40, 20});
    image.lockFocus();
    image.unlockFocus();
    const auto scaled = br_imageByScalingProportionallyToSize(image, {10, 10});
    expect(scaled && scaled->size() == platform::NSSize{10, 10}, "images: scaling");

    expect(createUUID().size() == 36, "system: an identifier");
    const auto result = runScriptWaitForExit(u"echo", u"hello", std::nullopt, true);
    expect(result.stringForKey(u"out") == u"hello\n", "system: a script");

    const std::string bytes = "CCAAFFEE" + std::string("\3\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 16) + "abc";
    const auto record = tessaro::readThumbnailRecord(platform::charactersAsBytes(bytes), nullptr);
    expect(record && platform::bytesAsCharacters(record->identifier) == "abc", "records: an identifier");
    return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
