// What the confined decoder hands back: its bytes, and how the process that asked for them reads them.
//
// "TDI1" and the number of representations (32 bits), then for each: pixels wide and high (32 bits each), width and
// height in points (doubles), and the pixels row by row as in NSBitmapImageRep. In the processor's byte order: both
// ends are one machine. The reader trusts nothing of it: whoever sent the image may have taken over the decoder.
#pragma once

#include "AppKit/NSBitmapImageRep.h"

namespace platform {

inline constexpr int decoderInput = 3;  // the decoder's descriptor of the image's bytes
inline constexpr int decoderOutput = 4; // and of the file for its answer

// No honest answer is longer.
inline constexpr std::size_t largestDecodedImage = std::size_t{129} << 20;

[[nodiscard]] Data writtenDecodedImage(std::span<const NSBitmapImageRep> representations);
// None when anything of it is wrong. Every colour is held down to its alpha.
[[nodiscard]] std::vector<NSBitmapImageRep> readDecodedImage(DataView bytes);

} // namespace platform
