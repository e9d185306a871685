// Base64 text of any units: the same bytes as from a decoder that follows the rules one character after the other, and
// bytes that survive the way through our encoder.
#include "brimle/BRCrypto.h"

#include <cstdlib>
#include <cstring>

using namespace brimle;

namespace {

Data decodedOneByOne(StringView text) {
    constexpr StringView alphabet = u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    Data data;
    std::uint32_t bits = 0;
    int count = 0;
    for (const char16_t unit : text) {
        if (unit == u'\n' || unit == u'\r')
            continue;
        const std::size_t six = alphabet.find(unit);
        if (six == StringView::npos)
            break;
        bits = bits << 6 | static_cast<std::uint32_t>(six);
        count += 6;
        if (count >= 8) {
            count -= 8;
            data.push_back(static_cast<std::uint8_t>(bits >> count));
        }
    }
    return data;
}

void require(bool condition) {
    if (!condition)
        std::abort();
}

} // namespace

// Bytes as characters, so that text is easily found, and as whole units, so that every unit is reached.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const DataView bytes(data, size);
    String units(size / 2, u'\0');
    if (!units.empty())
        std::memcpy(units.data(), data, size / 2 * 2);
    for (const String& text : {String(bytes.begin(), bytes.end()), units}) {
        const Data decoded = br_base64decode(text);
        require(decoded == decodedOneByOne(text));
        require(br_base64decode(br_base64encode(decoded)) == decoded);
    }
    require(br_base64decode(br_base64encode(bytes)) == Data(bytes.begin(), bytes.end()));
    return 0;
}
