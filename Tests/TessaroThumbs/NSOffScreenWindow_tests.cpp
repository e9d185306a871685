#include "HelperTest.h"

#include "TessaroThumbs/NSOffScreenWindow.h"

namespace tessaro {
namespace {

class OffScreenWindow : public HelperTest {};

struct PlaceRow {
    NSPoint asked;
    const char* flag;
    const char* given;
};

TEST_F(OffScreenWindow, IsParkedUnlessADeveloperWatches) {
    NSOffScreenWindow window(platform::NSMakeRect(0, 0, 955, 730), platform::NSBorderlessWindowMask,
                             platform::NSBackingStoreBuffered, false);
    // The flag is read at every call: the rows follow one another on one window.
    const PlaceRow rows[] = {
        {{0, 0}, "", "(-8000, 8000)"},
        {{-8000, 8000}, "", "(-8000, 8000)"},
        {{1e9, -1e9}, "", "(-8000, 8000)"},
        {{12.5, -3.25}, "<integer>1</integer>", "(12.5, -3.25)"},
        {{0, 0}, "<integer>1</integer>", "(0, 0)"},
        {{7, 7}, "<integer>0</integer>", "(-8000, 8000)"},
        {{7, 7}, "<string>1</string>", "(-8000, 8000)"},
        {{7, 7}, "<integer>2</integer>", "(7, 7)"},
        {{7, 7}, "", "(-8000, 8000)"},
    };
    for (const PlaceRow& row : rows) {
        setFlag(devMode, row.flag);
        platform::NSWindow& base = window; // as the platform sees it
        script().calls.clear();
        base.setFrameOrigin(row.asked);
        EXPECT_THAT(script().calls, testing::ElementsAre(std::string("NSWindow setFrameOrigin ") + row.given))
            << row.asked.x << ", " << row.asked.y << " with " << row.flag;
    }
}

TEST_F(OffScreenWindow, TheLogsFlagDoesNotShowIt) {
    setFlag(verbose);
    NSOffScreenWindow window({}, platform::NSBorderlessWindowMask, platform::NSBackingStoreBuffered, false);
    window.setFrameOrigin({1, 2});
    EXPECT_EQ(script().calls.back(), "NSWindow setFrameOrigin (-8000, 8000)");
}

} // namespace
} // namespace tessaro
