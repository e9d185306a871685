#include "NSUserDefaults.h"

namespace platform {
namespace {

VolatileDomain::Object argumentObject(String text) {
    if (!text.empty() && StringView(u"({<").find(text.front()) != StringView::npos)
        return OpaquePropertyList{std::move(text)};
    return text;
}

} // namespace

std::optional<VolatileDomain::Object> VolatileDomain::objectForKey(StringView key) const {
    const auto found = objects_.find(key);
    if (found == objects_.end())
        return std::nullopt;
    return found->second;
}

std::optional<String> VolatileDomain::stringForKey(StringView key) const {
    const auto object = objectForKey(key);
    if (const auto* text = object ? std::get_if<String>(&*object) : nullptr)
        return *text;
    return std::nullopt;
}

NSUserDefaults& NSUserDefaults::standardUserDefaults() {
    static NSUserDefaults defaults;
    return defaults;
}

VolatileDomain NSUserDefaults::volatileDomainForName(StringView name) const {
    return name == NSArgumentDomain ? arguments_ : VolatileDomain();
}

void NSUserDefaults::setArguments(std::span<const char* const> arguments) {
    arguments_ = {};
    for (std::size_t i = 1; i + 1 < arguments.size(); ++i) {
        const std::string_view word = arguments[i];
        const std::string_view next = arguments[i + 1];
        if (!word.starts_with('-') || next.starts_with('-'))
            continue;
        arguments_.objects_.insert_or_assign(stringWithUTF8OrLatin1(word.substr(1)),
                                             argumentObject(stringWithUTF8OrLatin1(next)));
        ++i;
    }
}

} // namespace platform
