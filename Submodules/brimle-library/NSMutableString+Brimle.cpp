#include "brimle/NSMutableString+Brimle.h"

#include "brimle/DRLogger.h"

#include "Foundation/NSStringSearch.h"

namespace brimle {

std::size_t br_replaceOccurrencesOfString_withString(String& text, std::optional<StringView> target,
                                                     std::optional<StringView> replacement) {
    if (!target) {
        DRLogger::logger()->log2("target is nil in replaceOccurrencesOfString");
        return 0;
    }
    if (!replacement)
        DRLogger::logger()->log2("replacement is nil in replaceOccurrencesOfString");
    return platform::replaceOccurrencesOfString(text, *target, replacement.value_or(u""));
}

std::size_t br_replaceOccurrencesOfString_withPassword_conceal(String& text, std::optional<StringView> target,
                                                               std::optional<StringView> password, bool conceal) {
    if (!conceal)
        return br_replaceOccurrencesOfString_withString(text, target, password);
    constexpr StringView mask = u"&#8226;";
    const std::size_t length = password.value_or(u"").size();
    String concealed;
    concealed.reserve(length * mask.size());
    for (std::size_t i = 0; i < length; ++i)
        concealed += mask;
    return br_replaceOccurrencesOfString_withString(text, target, concealed);
}

} // namespace brimle
