// Memory that held secrets is wiped before it is given back. Private to BRCrypto.
#pragma once

#include <cstring>

namespace brimle {

// Overwritten in a way that the compiler does not optimise away.
template <class Buffer>
void wipe(Buffer& buffer) {
    if (!buffer.empty()) // an empty vector may have no address at all
        explicit_bzero(buffer.data(), buffer.size() * sizeof(*buffer.data()));
}

// A buffer (vector, string, array) that is wiped when it ends. An aggregate, so that a result is built in place and
// leaves no copy behind in a temporary.
template <class Buffer>
struct Wiped {
    Buffer bytes{};
    ~Wiped() { wipe(bytes); }
};

} // namespace brimle
