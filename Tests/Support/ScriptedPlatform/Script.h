// A web view, a window and an application that write down what they are asked, in order, and answer as a test has
// told them: for tests of the helper without engine and display. Linked in place of platform-webkit and
// platform-appkit, behind the same headers.
#pragma once

#include "AppKit/NSBitmapImageRep.h"
#include "Foundation/NSGeometry.h"
#include "Foundation/NSString.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace scripted_platform {

struct Script {
    // Every call as text, the operation and what it was given: "WebView setFrame (0, 0, 955, 730)".
    std::vector<std::string> calls;
    // What happens within an operation, say "WebView setFrame", once it is written down. It may throw.
    std::map<std::string, std::function<void()>, std::less<>> during;
    // How objects that are given to operations (delegates, senders) are called in `calls`.
    std::map<const void*, std::string> names;
    // What the view shows: the pixel at a place of it, counted from its left and its top.
    std::function<platform::NSBitmapImageRep::Pixel(int x, int y)> page;

    [[nodiscard]] bool wasCalled(std::string_view operation) const;
    [[nodiscard]] std::size_t callsOf(std::string_view operation) const;
};

// The process's one script, as a default view and window act on it.
[[nodiscard]] Script& script();

// For the platform's side: writes the call down, then does what the test wants done within it.
void call(const std::string& operation, const std::string& arguments = "");
[[nodiscard]] std::string nameOf(const void* object);
[[nodiscard]] std::string text(bool flag);
[[nodiscard]] std::string text(double number);
[[nodiscard]] std::string text(const platform::NSPoint& point);
[[nodiscard]] std::string text(const platform::NSSize& size);
[[nodiscard]] std::string text(const platform::NSRect& rect);

} // namespace scripted_platform
