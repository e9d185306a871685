// Message digests: MD5 (RFC 1321), SHA-1, SHA-256 and SHA-512 (FIPS 180), each as initialise, update any number of
// times, finish, and in one call.
//
// A context lives on its owner's stack and belongs to one thread. It may be started again after finishing, and may be
// left unfinished. Every function returns 1, or 0 when the crypto library refuses the algorithm or the context was
// not initialised. Different contexts may be used on different threads at once.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

using CC_LONG = std::uint32_t;

inline constexpr std::size_t CC_MD5_DIGEST_LENGTH = 16;
inline constexpr std::size_t CC_SHA1_DIGEST_LENGTH = 20;
inline constexpr std::size_t CC_SHA256_DIGEST_LENGTH = 32;
inline constexpr std::size_t CC_SHA512_DIGEST_LENGTH = 64;

enum class DigestAlgorithm : std::uint8_t { MD5, SHA1, SHA256, SHA512 };

// Holds one of the crypto library's contexts between initialise and finish.
class DigestContext {
public:
    explicit DigestContext(DigestAlgorithm algorithm) : algorithm_(algorithm) {}
    ~DigestContext() { release(); }
    DigestContext(const DigestContext&) = delete;
    DigestContext& operator=(const DigestContext&) = delete;

    int initialise();
    int update(const void* data, CC_LONG length);
    int finish(std::uint8_t* digest);

private:
    void release();

    DigestAlgorithm algorithm_;
    void* handle_ = nullptr;
};

// All three steps for data that is there as a whole, without a context where the crypto library can do without.
int digestAtOnce(DigestAlgorithm algorithm, const void* data, CC_LONG length, std::uint8_t* digest);

struct CC_MD5_CTX : DigestContext {
    CC_MD5_CTX() : DigestContext(DigestAlgorithm::MD5) {}
};
struct CC_SHA1_CTX : DigestContext {
    CC_SHA1_CTX() : DigestContext(DigestAlgorithm::SHA1) {}
};
struct CC_SHA256_CTX : DigestContext {
    CC_SHA256_CTX() : DigestContext(DigestAlgorithm::SHA256) {}
};
struct CC_SHA512_CTX : DigestContext {
    CC_SHA512_CTX() : DigestContext(DigestAlgorithm::SHA512) {}
};

// Final writes the digest's length in bytes to `md` and ends the context.
inline int CC_MD5(const void* data, CC_LONG len, std::uint8_t* md) {
    return digestAtOnce(DigestAlgorithm::MD5, data, len, md);
}
inline int CC_MD5_Init(CC_MD5_CTX* c) {
    return c->initialise();
}
inline int CC_MD5_Update(CC_MD5_CTX* c, const void* data, CC_LONG len) {
    return c->update(data, len);
}
inline int CC_MD5_Final(std::uint8_t* md, CC_MD5_CTX* c) {
    return c->finish(md);
}

inline int CC_SHA1(const void* data, CC_LONG len, std::uint8_t* md) {
    return digestAtOnce(DigestAlgorithm::SHA1, data, len, md);
}
inline int CC_SHA1_Init(CC_SHA1_CTX* c) {
    return c->initialise();
}
inline int CC_SHA1_Update(CC_SHA1_CTX* c, const void* data, CC_LONG len) {
    return c->update(data, len);
}
inline int CC_SHA1_Final(std::uint8_t* md, CC_SHA1_CTX* c) {
    return c->finish(md);
}

inline int CC_SHA256(const void* data, CC_LONG len, std::uint8_t* md) {
    return digestAtOnce(DigestAlgorithm::SHA256, data, len, md);
}
inline int CC_SHA256_Init(CC_SHA256_CTX* c) {
    return c->initialise();
}
inline int CC_SHA256_Update(CC_SHA256_CTX* c, const void* data, CC_LONG len) {
    return c->update(data, len);
}
inline int CC_SHA256_Final(std::uint8_t* md, CC_SHA256_CTX* c) {
    return c->finish(md);
}

inline int CC_SHA512(const void* data, CC_LONG len, std::uint8_t* md) {
    return digestAtOnce(DigestAlgorithm::SHA512, data, len, md);
}
inline int CC_SHA512_Init(CC_SHA512_CTX* c) {
    return c->initialise();
}
inline int CC_SHA512_Update(CC_SHA512_CTX* c, const void* data, CC_LONG len) {
    return c->update(data, len);
}
inline int CC_SHA512_Final(std::uint8_t* md, CC_SHA512_CTX* c) {
    return c->finish(md);
}

} // namespace platform
