#include "CommonDigest.h"

#include "Libgcrypt.h"

#include <array>
#include <cstring>
#include <gcrypt.h>
#include <utility>

namespace platform {
namespace {

struct Algorithm {
    int number;
    std::size_t length;
};

// In the order of DigestAlgorithm.
constexpr std::array<Algorithm, 4> algorithms{{{GCRY_MD_MD5, CC_MD5_DIGEST_LENGTH},
                                               {GCRY_MD_SHA1, CC_SHA1_DIGEST_LENGTH},
                                               {GCRY_MD_SHA256, CC_SHA256_DIGEST_LENGTH},
                                               {GCRY_MD_SHA512, CC_SHA512_DIGEST_LENGTH}}};

// Opening a context of the library costs more than hashing a short text, so each thread keeps one of each algorithm at
// hand, reset (which also wipes it). `closed` bars the shelf once the thread's own objects are being destroyed.
struct Shelf {
    std::array<gcry_md_hd_t, algorithms.size()> spare;
    bool closed;
};
constinit thread_local Shelf shelf{};

struct ShelfCloser {
    ~ShelfCloser() {
        shelf.closed = true;
        for (gcry_md_hd_t& handle : shelf.spare)
            gcry_md_close(std::exchange(handle, nullptr));
    }
};

gcry_md_hd_t open(int number) {
    prepareLibgcrypt();
    thread_local const ShelfCloser closer;
    gcry_md_hd_t handle = nullptr;
    return gcry_md_open(&handle, number, 0) == 0 ? handle : nullptr;
}

gcry_md_hd_t handleOf(void* context) {
    return static_cast<gcry_md_hd_t>(context);
}

} // namespace

int DigestContext::initialise() {
    const auto index = static_cast<std::size_t>(algorithm_);
    release();
    handle_ = std::exchange(shelf.spare[index], nullptr);
    if (!handle_)
        handle_ = open(algorithms[index].number);
    return handle_ ? 1 : 0;
}

int DigestContext::update(const void* data, CC_LONG length) {
    if (!handle_)
        return 0;
    gcry_md_write(handleOf(handle_), data, length);
    return 1;
}

int DigestContext::finish(std::uint8_t* digest) {
    if (!handle_)
        return 0;
    std::memcpy(digest, gcry_md_read(handleOf(handle_), 0), algorithms[static_cast<std::size_t>(algorithm_)].length);
    release();
    return 1;
}

void DigestContext::release() {
    if (!handle_)
        return;
    const gcry_md_hd_t handle = handleOf(std::exchange(handle_, nullptr));
    gcry_md_hd_t& spare = shelf.spare[static_cast<std::size_t>(algorithm_)];
    if (spare || shelf.closed) {
        gcry_md_close(handle);
    } else {
        gcry_md_reset(handle);
        spare = handle;
    }
}

int digestAtOnce(DigestAlgorithm algorithm, const void* data, CC_LONG length, std::uint8_t* digest) {
    // The library hashes a buffer on its stack for the SHA family; for MD5 it would open a context each time, and it
    // ends the process where a policy of the machine bars MD5.
    if (algorithm == DigestAlgorithm::MD5) {
        DigestContext context(algorithm);
        return context.initialise() && context.update(data, length) && context.finish(digest) ? 1 : 0;
    }
    prepareLibgcrypt();
    gcry_md_hash_buffer(algorithms[static_cast<std::size_t>(algorithm)].number, digest, data, length);
    return 1;
}

} // namespace platform
