// HMAC-SHA1 (RFC 2104): in one call, as a stream, and over and over under one key.
//
// A context lives on its owner's stack, belongs to one thread and is wiped when it ends. Nothing here fails.
#pragma once

#include "Sha1.h"

namespace platform {

enum CCHmacAlgorithm : std::uint32_t { kCCHmacAlgSHA1 = 0 };

struct CCHmacContext {
    CCHmacContext() = default;
    ~CCHmacContext();
    CCHmacContext(const CCHmacContext&) = delete;
    CCHmacContext& operator=(const CCHmacContext&) = delete;

    const Sha1Functions* sha1 = nullptr;
    Sha1Words inner{}; // has absorbed the key
    Sha1Words outer{}; // has absorbed the key
    Sha1Words running{};
    std::uint64_t length = 0;                        // of the data so far
    std::array<std::uint8_t, sha1BlockSize> block{}; // the data that does not fill a block yet
};

void CCHmacInit(CCHmacContext* ctx, CCHmacAlgorithm algorithm, const void* key, std::size_t keyLength);
void CCHmacUpdate(CCHmacContext* ctx, const void* data, std::size_t dataLength);
// Writes 20 bytes. The context is ready for other data under the same key.
void CCHmacFinal(CCHmacContext* ctx, void* macOut);

// The one-shot of loops under one key: replaces each of `count` MACs, at most sha1Lanes, by its own MAC under the key
// that the context has absorbed.
void CCHmacOfMacs(const CCHmacContext* ctx, Sha1Words* macs, std::size_t count);

void CCHmac(CCHmacAlgorithm algorithm, const void* key, std::size_t keyLength, const void* data, std::size_t dataLength,
            void* macOut);

} // namespace platform
