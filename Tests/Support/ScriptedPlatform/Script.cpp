#include "Script.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace scripted_platform {
namespace {

bool isCallOf(std::string_view entry, std::string_view operation) {
    return entry.starts_with(operation) && (entry.size() == operation.size() || entry[operation.size()] == ' ');
}

} // namespace

Script& script() {
    static Script one;
    return one;
}

std::size_t Script::callsOf(std::string_view operation) const {
    return static_cast<std::size_t>(std::count_if(
        calls.begin(), calls.end(), [operation](const std::string& entry) { return isCallOf(entry, operation); }));
}

bool Script::wasCalled(std::string_view operation) const {
    return callsOf(operation) > 0;
}

void call(const std::string& operation, const std::string& arguments) {
    script().calls.push_back(arguments.empty() ? operation : operation + " " + arguments);
    if (const auto found = script().during.find(operation); found != script().during.end() && found->second)
        std::function<void()>(found->second)(); // a copy: it may change the script
}

std::string nameOf(const void* object) {
    if (!object)
        return "null";
    const auto found = script().names.find(object);
    return found == script().names.end() ? "somebody" : found->second;
}

std::string text(bool flag) {
    return flag ? "YES" : "NO";
}

std::string text(double number) {
    std::array<char, 32> digits{};
    std::snprintf(digits.data(), digits.size(), "%g", number);
    return digits.data();
}

std::string text(const platform::NSPoint& point) {
    return "(" + text(point.x) + ", " + text(point.y) + ")";
}

std::string text(const platform::NSSize& size) {
    return "(" + text(size.width) + ", " + text(size.height) + ")";
}

std::string text(const platform::NSRect& rect) {
    return "(" + text(rect.origin.x) + ", " + text(rect.origin.y) + ", " + text(rect.size.width) + ", " +
           text(rect.size.height) + ")";
}

} // namespace scripted_platform
