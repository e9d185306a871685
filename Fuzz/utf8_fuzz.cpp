// UTF-8 and UTF-16, against ICU's converters; and text collected from pieces, against the whole.
#include "FuzzText.h"

#include "brimle/CollectedText.h"
#include "brimle/NSString+BrimleData.h"

#include <unicode/ustring.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using fuzzing::require;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    platform::String decoded(size + 1, u'\0');
    int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strFromUTF8(decoded.data(), static_cast<int32_t>(decoded.size()), &length, bytes.data(),
                  static_cast<int32_t>(size), &error);
    const auto ours = platform::stringWithUTF8(bytes);
    require(ours.has_value() == (U_FAILURE(error) == 0), "accepts other bytes");
    if (ours) {
        decoded.resize(static_cast<std::size_t>(length));
        require(*ours == decoded, "decodes otherwise");
        require(platform::UTF8String(*ours) == bytes, "does not come back");
    }
    brimle::CollectedText collected;
    for (std::size_t at = 0, step = 1; at < size; at += step, step = 1 + data[at % size] % 8)
        collected.append({data + at, std::min(step, size - at)});
    require(collected.text() == brimle::br_utf8stringWithData(platform::DataView(data, size)), "collects otherwise");
    const platform::String text = fuzzing::textOf(data, size);
    std::string encoded(text.size() * 3 + 1, '\0');
    error = U_ZERO_ERROR;
    u_strToUTF8(encoded.data(), static_cast<int32_t>(encoded.size()), &length, text.data(),
                static_cast<int32_t>(text.size()), &error);
    const auto oursEncoded = platform::UTF8String(text);
    require(oursEncoded.has_value() == (U_FAILURE(error) == 0), "encodes other texts");
    encoded.resize(U_FAILURE(error) ? 0 : static_cast<std::size_t>(length));
    require(oursEncoded.value_or("") == encoded, "encodes otherwise");
    require(platform::stringWithUTF8(platform::lossyUTF8String(text)).has_value(), "lossy form is no UTF-8");
    return 0;
}
