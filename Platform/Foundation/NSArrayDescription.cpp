#include "NSArrayDescription.h"

#include "NSFormat.h"

#include <algorithm>

namespace platform {
namespace {

bool isPlain(StringView text) {
    const auto plain = [](char16_t unit) {
        return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') || (unit >= u'0' && unit <= u'9');
    };
    return !text.empty() && std::all_of(text.begin(), text.end(), plain);
}

String quoted(StringView text) {
    struct Escape {
        char16_t unit;
        StringView text;
    };
    static constexpr Escape escapes[] = {
        {u'"', u"\\\""}, {u'\\', u"\\\\"}, {u'\a', u"\\a"}, {u'\b', u"\\b"}, {u'\f', u"\\f"},
        {u'\n', u"\\n"}, {u'\r', u"\\r"},  {u'\t', u"\\t"}, {u'\v', u"\\v"},
    };
    String out = u"\"";
    for (const char16_t unit : text) {
        const auto* escape =
            std::find_if(std::begin(escapes), std::end(escapes), [&](const Escape& e) { return e.unit == unit; });
        if (escape != std::end(escapes))
            out += escape->text;
        else if (unit >= 0x80)
            out += stringWithFormat("\\U%04x", unsigned{unit});
        else if (unit < 0x20 || unit == 0x7F)
            out += stringWithFormat("\\%03o", unsigned{unit});
        else
            out += unit;
    }
    return out + u'"';
}

} // namespace

String descriptionOfArray(std::span<const String> texts) {
    String out = u"(\n";
    for (std::size_t i = 0; i < texts.size(); ++i) {
        out += u"    " + (isPlain(texts[i]) ? texts[i] : quoted(texts[i]));
        out += i + 1 < texts.size() ? u",\n" : u"\n";
    }
    return out + u")";
}

} // namespace platform
