#include "CommonHMAC.h"

#include <cstring>

namespace platform {
namespace {

constexpr std::size_t blockSize = sha1BlockSize;
constexpr std::size_t digestSize = sha1DigestSize;
constexpr std::size_t lengthSize = 8;

// The padding behind `used` bytes of a block, and the length of everything in bits; `total` is in bytes. A block that
// has no room for the length goes into the state, and another one follows.
void compressLast(CCHmacContext& ctx, Sha1Words& state, std::size_t used, std::uint64_t total) {
    std::uint8_t* block = ctx.block.data();
    block[used++] = 0x80;
    if (used > blockSize - lengthSize) {
        std::memset(block + used, 0, blockSize - used);
        ctx.sha1->compress(state, block, 1);
        used = 0;
    }
    std::memset(block + used, 0, blockSize - lengthSize - used);
    for (std::size_t i = 0; i < lengthSize; ++i)
        block[blockSize - 1 - i] = static_cast<std::uint8_t>(total * 8 >> 8 * i);
    ctx.sha1->compress(state, block, 1);
}

Sha1Words stateAfterKey(CCHmacContext& ctx, std::uint8_t mask) {
    for (std::uint8_t& byte : ctx.block)
        byte ^= mask;
    Sha1Words state = sha1Start;
    ctx.sha1->compress(state, ctx.block.data(), 1);
    for (std::uint8_t& byte : ctx.block)
        byte ^= mask;
    return state;
}

// A key longer than a block counts by its digest.
void putShortKey(CCHmacContext& ctx, const std::uint8_t* key, std::size_t length) {
    ctx.block.fill(0);
    if (length <= blockSize) {
        if (length > 0)
            std::memcpy(ctx.block.data(), key, length);
        return;
    }
    Sha1Words state = sha1Start;
    const std::size_t whole = length / blockSize;
    ctx.sha1->compress(state, key, whole);
    const std::size_t rest = length - whole * blockSize;
    std::memcpy(ctx.block.data(), key + whole * blockSize, rest);
    compressLast(ctx, state, rest, length);
    ctx.block.fill(0);
    writeSha1Digest(state, ctx.block.data());
}

void restart(CCHmacContext& ctx) {
    ctx.running = ctx.inner;
    ctx.length = 0;
}

} // namespace

CCHmacContext::~CCHmacContext() {
    explicit_bzero(this, sizeof(*this));
}

void CCHmacInit(CCHmacContext* ctx, CCHmacAlgorithm, const void* key, std::size_t keyLength) {
    constexpr std::uint8_t innerMask = 0x36;
    constexpr std::uint8_t outerMask = 0x5C;
    ctx->sha1 = &sha1();
    putShortKey(*ctx, static_cast<const std::uint8_t*>(key), keyLength);
    ctx->inner = stateAfterKey(*ctx, innerMask);
    ctx->outer = stateAfterKey(*ctx, outerMask);
    explicit_bzero(ctx->block.data(), ctx->block.size());
    restart(*ctx);
}

void CCHmacUpdate(CCHmacContext* ctx, const void* data, std::size_t dataLength) {
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    std::size_t used = ctx->length % blockSize;
    ctx->length += dataLength;
    if (used > 0 && used + dataLength >= blockSize) {
        std::memcpy(ctx->block.data() + used, bytes, blockSize - used);
        ctx->sha1->compress(ctx->running, ctx->block.data(), 1);
        bytes += blockSize - used;
        dataLength -= blockSize - used;
        used = 0;
    }
    if (const std::size_t whole = dataLength / blockSize; whole > 0) {
        ctx->sha1->compress(ctx->running, bytes, whole);
        bytes += whole * blockSize;
        dataLength -= whole * blockSize;
    }
    if (dataLength > 0)
        std::memcpy(ctx->block.data() + used, bytes, dataLength);
}

void CCHmacFinal(CCHmacContext* ctx, void* macOut) {
    compressLast(*ctx, ctx->running, ctx->length % blockSize, blockSize + ctx->length);
    writeSha1Digest(ctx->running, ctx->block.data());
    ctx->running = ctx->outer;
    compressLast(*ctx, ctx->running, digestSize, blockSize + digestSize);
    writeSha1Digest(ctx->running, static_cast<std::uint8_t*>(macOut));
    restart(*ctx);
}

void CCHmacOfMacs(const CCHmacContext* ctx, Sha1Words* macs, std::size_t count) {
    ctx->sha1->macOfDigests(ctx->inner, ctx->outer, macs, count);
}

void CCHmac(CCHmacAlgorithm algorithm, const void* key, std::size_t keyLength, const void* data, std::size_t dataLength,
            void* macOut) {
    CCHmacContext ctx;
    CCHmacInit(&ctx, algorithm, key, keyLength);
    CCHmacUpdate(&ctx, data, dataLength);
    CCHmacFinal(&ctx, macOut);
}

} // namespace platform
