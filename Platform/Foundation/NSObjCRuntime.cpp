#include "NSObjCRuntime.h"

#include <map>

namespace platform {
namespace {

std::map<String, ClassByName, std::less<>>& classes() {
    static auto* known = new std::map<String, ClassByName, std::less<>>; // exit handlers may still ask
    return *known;
}

} // namespace

void registerClass(StringView name, ClassByName performSelector) {
    if (performSelector)
        classes()[String(name)] = std::move(performSelector);
    else
        classes().erase(String(name));
}

const ClassByName* NSClassFromString(StringView name) {
    const auto found = classes().find(name);
    return found == classes().end() ? nullptr : &found->second;
}

} // namespace platform
