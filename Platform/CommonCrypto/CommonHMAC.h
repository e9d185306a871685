// HMAC-SHA1 (RFC 2104): in one call, as a stream, and again and again under one key.
//
// A context lives on its owner's stack, belongs to one thread and is wiped when it ends. Nothing here fails.
#pragma once

#include "Sha1.h"

namespace platform {

enum CCHmacAlgorithm : std::uint32_t { kCCHmacAlgSHA1 = 0 };

// Room for a block, filled from the front.
struct CCHmacContext {
    CCHmacContext() = default;
    ~CCHmacContext();
    CCHmacContext(const CCHmacContext&) = delete;
    CCHmacContext& operator=(const CCHmacContext&) = delete;

    Sha1Compression compress = nullptr;
    Sha1State inner; // has absorbed the key
    Sha1State outer; // has absorbed the key
    Sha1State running;
    std::uint64_t length = 0; // of the data so far
    std::array<std::uint8_t, sha1BlockSize> block{};
};

void CCHmacInit(CCHmacContext* ctx, CCHmacAlgorithm algorithm, const void* key, std::size_t keyLength);
void CCHmacUpdate(CCHmacContext* ctx, const void* data, std::size_t dataLength);
// Writes 20 bytes. The context is ready for other data under the same key.
void CCHmacFinal(CCHmacContext* ctx, void* macOut);

// Update and Final of a context that has absorbed its key: the one-shot of loops under one key. `macOut` may be `data`.
void CCHmacWithContext(CCHmacContext* ctx, const void* data, std::size_t dataLength, void* macOut);

void CCHmac(CCHmacAlgorithm algorithm, const void* key, std::size_t keyLength, const void* data, std::size_t dataLength,
            void* macOut);

} // namespace platform
