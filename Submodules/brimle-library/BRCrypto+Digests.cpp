#include "brimle/BRCrypto.h"

#include "BRCryptoMemory.h"
#include "CommonCrypto/CommonDigest.h"
#include "Foundation/NSAssertionHandler.h"
#include "Foundation/NSException.h"

namespace brimle {
namespace {

using namespace platform;

// The length is handed on as the 32-bit count that the platform's digests take.
template <std::size_t length, int (*digestOf)(const void*, CC_LONG, std::uint8_t*)>
Data digest(DataView input) {
    Data result(length);
    if (!digestOf(input.data(), static_cast<CC_LONG>(input.size()), result.data()))
        // Only in an application that has put the crypto library into a mode that bars the algorithm. Wrong bytes could
        // become a key, so there is no result.
        throw NSException(NSInternalInconsistencyException, u"The crypto library refuses a digest");
    return result;
}

constexpr auto MD5 = digest<CC_MD5_DIGEST_LENGTH, CC_MD5>;
constexpr auto SHA1 = digest<CC_SHA1_DIGEST_LENGTH, CC_SHA1>;
constexpr auto SHA256 = digest<CC_SHA256_DIGEST_LENGTH, CC_SHA256>;
constexpr auto SHA512 = digest<CC_SHA512_DIGEST_LENGTH, CC_SHA512>;

// The text may be a password or a key.
Data digestOfText(Data (*digestOf)(DataView), StringView text) {
    const Wiped<std::string> utf8{lossyUTF8String(text)};
    return digestOf(charactersAsBytes(utf8.bytes));
}

// MD5, SHA-1 and SHA-256 read a string as C does, up to its first zero byte; stored digests depend on that.
StringView untilZero(StringView text) {
    return text.substr(0, text.find(u'\0'));
}

} // namespace

Data br_MD5(DataView data) {
    return MD5(data);
}
Data br_MD5(StringView text) {
    return digestOfText(MD5, untilZero(text));
}
String br_MD5hex(DataView data) {
    return br_hex(br_MD5(data));
}
String br_MD5hex(StringView text) {
    return br_hex(br_MD5(text));
}

Data br_SHA1(DataView data) {
    return SHA1(data);
}
Data br_SHA1(StringView text) {
    return digestOfText(SHA1, untilZero(text));
}

Data br_SHA256(DataView data) {
    return SHA256(data);
}
Data br_SHA256(StringView text) {
    return digestOfText(SHA256, untilZero(text));
}
String br_SHA256hex(DataView data) {
    return br_hex(br_SHA256(data));
}
String br_SHA256hex(StringView text) {
    return br_hex(br_SHA256(text));
}

Data br_SHA512(DataView data) {
    return SHA512(data);
}
// The whole string, zero bytes included, unlike the other three; kept, for the same reason.
Data br_SHA512(StringView text) {
    return digestOfText(SHA512, text);
}
String br_SHA512hex(DataView data) {
    return br_hex(br_SHA512(data));
}
String br_SHA512hex(StringView text) {
    return br_hex(br_SHA512(text));
}

} // namespace brimle
