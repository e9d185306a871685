// Searching, against the definition: the first part between two boundaries that ICU calls equivalent.
#include "FuzzText.h"

#include "Foundation/NSCharacterSet.h"
#include "Foundation/NSStringSearch.h"

#include <unicode/unorm.h>
#include <unicode/unorm2.h>

namespace {

using namespace platform;

bool isBoundary(StringView text, std::size_t i) {
    if (i == 0 || i == text.size())
        return true;
    if ((text[i] & 0xFC00) == 0xDC00 && (text[i - 1] & 0xFC00) == 0xD800)
        return false;
    UErrorCode error = U_ZERO_ERROR;
    char32_t character = 0;
    static_cast<void>(NSCharacterSet::nextCharacter(text, i, &character));
    return unorm2_hasBoundaryBefore(unorm2_getNFCInstance(&error), static_cast<UChar32>(character)) != 0;
}

std::optional<NSRange> foundByDefinition(StringView text, StringView wanted, std::uint32_t options) {
    UErrorCode error = U_ZERO_ERROR;
    for (std::size_t begin = 0; begin < text.size() && !wanted.empty(); ++begin)
        for (std::size_t end = begin + 1; end <= text.size() && isBoundary(text, begin); ++end)
            if (isBoundary(text, end) &&
                unorm_compare(text.data() + begin, static_cast<int32_t>(end - begin), wanted.data(),
                              static_cast<int32_t>(wanted.size()), options, &error) == 0)
                return NSRange{begin, end - begin};
    return std::nullopt;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t longest = 120; // the definition takes cubic time
    if (size < 2 || size > longest)
        return 0;
    const String all = fuzzing::textOf(data + 1, size - 1);
    const std::size_t cut = all.empty() ? 0 : data[0] % (all.size() + 1);
    const StringView text = StringView(all).substr(cut);
    const StringView wanted = StringView(all).substr(0, cut);
    fuzzing::require(rangeOfString(text, wanted) == foundByDefinition(text, wanted, 0), "finds otherwise");
    fuzzing::require(rangeOfString(text, wanted, NSCaseInsensitiveSearch) ==
                         foundByDefinition(text, wanted, U_COMPARE_IGNORE_CASE),
                     "finds otherwise without case");
    const auto literal = rangeOfString(text, wanted, NSLiteralSearch);
    fuzzing::require((literal ? literal->location : StringView::npos) ==
                         (wanted.empty() ? StringView::npos : text.find(wanted)),
                     "finds other units");
    return 0;
}
