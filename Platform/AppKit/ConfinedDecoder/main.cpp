// tessaro-decode-image: decodes one image of unknown origin and can do nothing else.
//
// Run by imageWithUntrustedData with the image's bytes as one descriptor and a file for the answer as another. It ends
// with status 0 when it has answered; an image that is none has no representations.
#include "AppKit/ConfinedDecoder/Confinement.h"
#include "AppKit/ConfinedDecoder/DecodedImage.h"
#include "AppKit/ImageDecoding.h"

#include <cstdlib>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace platform;

bool writeAnswer(DataView bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(decoderOutput, bytes.data(), bytes.size());
        if (count <= 0)
            return false;
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace

int main() {
    struct stat status {};
    if (fstat(decoderInput, &status) != 0 || status.st_size <= 0)
        return EXIT_FAILURE;
    const auto size = static_cast<std::size_t>(status.st_size);
    const void* bytes = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, decoderInput, 0);
    if (bytes == MAP_FAILED)
        return EXIT_FAILURE;
    const DataView data(static_cast<const std::uint8_t*>(bytes), size);
    // The last files are opened here; nothing but the image's signature has been looked at.
    prepareImageDecoding(data);
    if (!limitResources() || !giveUpSystemCalls())
        return EXIT_FAILURE;
    const auto representations = decodeImage(data);
    // No exit handlers: they would ask for calls that are given up.
    _exit(writeAnswer(writtenDecodedImage(representations)) ? EXIT_SUCCESS : EXIT_FAILURE);
}
