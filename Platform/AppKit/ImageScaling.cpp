#include "ImageScaling.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

namespace platform {
namespace {

constexpr int weightBits = 14;
constexpr int one = 1 << weightBits;
constexpr int rowBits = 6; // of fraction that rows keep between the two passes
constexpr std::size_t channels = 4;

struct Filter {
    double radius; // in destination pixels when reducing
    double (*weight)(double distance);
};

double linear(double x) {
    return std::max(0.0, 1 - std::abs(x));
}

double lanczos3(double x) {
    if (x == 0)
        return 1;
    if (std::abs(x) >= 3)
        return 0;
    // sinc(x) * sinc(x / 3), with sin(3a) = sin(a) * (3 - 4 * sin(a)^2): the sines are a good part of a small picture.
    const double third = std::numbers::pi * x / 3;
    const double sine = std::sin(third);
    return sine * sine * (3 - 4 * sine * sine) / (3 * third * third);
}

// For each destination pixel of one axis: the first source pixel and the weights from there on. All have one length,
// padded with zeros, so that the loops over them have a fixed count.
struct Taps {
    int count = 0;
    std::vector<int> first;
    std::vector<std::int16_t> weights;
    [[nodiscard]] const std::int16_t* at(int i) const {
        return weights.data() + static_cast<std::ptrdiff_t>(i) * count;
    }
};

// One axis: where source [start, start + length) of `limit` pixels goes, and which destination pixels are asked for.
struct Axis {
    double sourceStart;
    double sourceLength;
    int limit;
    double destinationStart;
    double destinationLength;
    int from;
    int to;

    [[nodiscard]] double sourceEnd() const { return sourceStart + sourceLength; }
    [[nodiscard]] double step() const { return sourceLength / destinationLength; }
    // The place in the source of a destination pixel's centre. The centre of a pixel that the destination's edge
    // crosses may lie outside.
    [[nodiscard]] double centre(int i) const {
        return std::clamp(sourceStart + (i + 0.5 - destinationStart) * step(), sourceStart, sourceEnd());
    }
    [[nodiscard]] int firstPixel() const { return std::clamp(static_cast<int>(std::floor(sourceStart)), 0, limit - 1); }
    [[nodiscard]] int lastPixel() const {
        return std::clamp(static_cast<int>(std::ceil(sourceEnd())) - 1, firstPixel(), limit - 1);
    }
    // How much of a source pixel lies inside the source rectangle.
    [[nodiscard]] double share(int pixel) const {
        return std::clamp(std::min(pixel + 1.0, sourceEnd()) - std::max<double>(pixel, sourceStart), 0.0, 1.0);
    }
};

// Integer weights that sum to one exactly, so that a flat colour stays what it is: the largest takes the remainder.
void quantise(const std::vector<double>& weights, double sum, std::int16_t* out) {
    int rest = one;
    std::size_t largest = 0;
    for (std::size_t k = 0; k < weights.size(); ++k) {
        out[k] = static_cast<std::int16_t>(std::lround(weights[k] / sum * one));
        rest -= out[k];
        if (weights[k] > weights[largest])
            largest = k;
    }
    out[largest] = static_cast<std::int16_t>(out[largest] + rest);
}

Taps makeTaps(const Axis& axis, const Filter& filter) {
    const double stretch = std::max(1.0, axis.step());
    const int low = axis.firstPixel();
    const int high = axis.lastPixel();
    Taps taps;
    // Even, so that rows can be taken in pairs.
    taps.count = (static_cast<int>(std::ceil(2 * filter.radius * stretch)) + 2) & ~1;
    taps.first.resize(static_cast<std::size_t>(axis.to - axis.from));
    taps.weights.resize(taps.first.size() * static_cast<std::size_t>(taps.count));
    std::vector<double> weights;
    for (int i = axis.from; i < axis.to; ++i) {
        const double centre = axis.centre(i);
        const int begin = std::clamp(static_cast<int>(std::ceil(centre - filter.radius * stretch - 0.5)), low, high);
        const int end = std::clamp(static_cast<int>(std::floor(centre + filter.radius * stretch - 0.5)), begin, high);
        weights.clear();
        double sum = 0;
        for (int pixel = begin; pixel <= end; ++pixel) {
            weights.push_back(axis.share(pixel) * filter.weight((pixel + 0.5 - centre) / stretch));
            sum += weights.back();
        }
        if (!(sum > 1e-9)) // only lobes of both signs or an edge of no width: the nearest pixel stands for all
            weights.assign(1, sum = 1);
        const auto row = static_cast<std::size_t>(i - axis.from);
        taps.first[row] = begin;
        quantise(weights, sum, taps.weights.data() + row * static_cast<std::size_t>(taps.count));
    }
    return taps;
}

Taps nearestTaps(const Axis& axis) {
    Taps taps;
    taps.count = 2;
    for (int i = axis.from; i < axis.to; ++i) {
        taps.first.push_back(
            std::clamp(static_cast<int>(std::floor(axis.centre(i))), axis.firstPixel(), axis.lastPixel()));
        taps.weights.insert(taps.weights.end(), {one, 0});
    }
    return taps;
}

Taps tapsFor(const Axis& axis, NSImageInterpolation interpolation) {
    if (interpolation == NSImageInterpolationNone)
        return nearestTaps(axis);
    if (interpolation == NSImageInterpolationHigh)
        return makeTaps(axis, {3, lanczos3});
    return makeTaps(axis, {1, linear});
}

// Sums two weighted source rows into 32-bit sums. Kept apart and simple: this loop is where the time goes.
void addRows(std::int32_t* __restrict sums, const std::uint8_t* __restrict a, const std::uint8_t* __restrict b,
             std::int16_t weightA, std::int16_t weightB, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        sums[i] += weightA * static_cast<std::int16_t>(a[i]) + weightB * static_cast<std::int16_t>(b[i]);
}

// One destination row of the vertical pass, over source columns [left, left + count / 4).
void blendRows(const NSBitmapImageRep& bitmap, const Taps& taps, int row, int left, std::span<std::int16_t> out) {
    constexpr std::size_t chunk = 1024; // sums stay in the first-level cache
    std::int32_t sums[chunk];
    const std::int16_t* weights = taps.at(row);
    const int first = taps.first[static_cast<std::size_t>(row)];
    const auto bytesAt = [&](int y) {
        const auto line = bitmap.row(std::min(y, bitmap.pixelsHigh() - 1)); // padding weighs nothing
        return reinterpret_cast<const std::uint8_t*>(line.data() + left);
    };
    for (std::size_t start = 0; start < out.size(); start += chunk) {
        const std::size_t count = std::min(chunk, out.size() - start);
        std::fill_n(sums, count, 1 << (weightBits - rowBits - 1));
        for (int k = 0; k < taps.count; k += 2)
            if (weights[k] != 0 || weights[k + 1] != 0)
                addRows(sums, bytesAt(first + k) + start, bytesAt(first + k + 1) + start, weights[k], weights[k + 1],
                        count);
        for (std::size_t i = 0; i < count; ++i)
            out[start + i] = static_cast<std::int16_t>(sums[i] >> (weightBits - rowBits));
    }
}

constexpr int alphaChannel() {
    return std::endian::native == std::endian::little ? 3 : 0;
}

// Negative lobes overshoot: back to a valid premultiplied pixel.
NSBitmapImageRep::Pixel packed(const std::int32_t (&sums)[channels]) {
    constexpr int shift = weightBits + rowBits;
    const std::int32_t alpha = std::clamp(sums[alphaChannel()] >> shift, 0, 255);
    std::uint8_t bytes[channels];
    for (std::size_t c = 0; c < channels; ++c)
        bytes[c] = static_cast<std::uint8_t>(std::clamp(sums[c] >> shift, 0, alpha));
    bytes[alphaChannel()] = static_cast<std::uint8_t>(alpha);
    return std::bit_cast<NSBitmapImageRep::Pixel>(bytes);
}

void blendColumns(const std::vector<std::int16_t>& line, const Taps& taps, int left,
                  std::span<NSBitmapImageRep::Pixel> out) {
    for (std::size_t x = 0; x < out.size(); ++x) {
        const std::int16_t* weights = taps.at(static_cast<int>(x));
        const std::int16_t* pixel = line.data() + static_cast<std::size_t>(taps.first[x] - left) * channels;
        std::int32_t sums[channels];
        std::fill_n(sums, channels, 1 << (weightBits + rowBits - 1));
        for (int k = 0; k < taps.count; ++k, pixel += channels)
            for (std::size_t c = 0; c < channels; ++c)
                sums[c] += weights[k] * pixel[c];
        out[x] = packed(sums);
    }
}

bool isWhole(double value) {
    return value == std::floor(value);
}

// Same scale and whole offsets: the pixels themselves.
bool isPlainCopy(const NSRect& source, const NSRect& destination) {
    return source.size == destination.size && isWhole(source.origin.x - destination.origin.x) &&
           isWhole(source.origin.y - destination.origin.y) && isWhole(source.origin.x) && isWhole(source.origin.y) &&
           isWhole(source.size.width) && isWhole(source.size.height);
}

} // namespace

NSBitmapImageRep resampledBitmap(const NSBitmapImageRep& bitmap, NSRect source, NSRect destination, PixelBox box,
                                 NSImageInterpolation interpolation) {
    NSBitmapImageRep result(box.width(), box.height());
    if (isPlainCopy(source, destination)) {
        const int dx = static_cast<int>(source.origin.x - destination.origin.x);
        const int dy = static_cast<int>(source.origin.y - destination.origin.y);
        for (int y = box.top; y < box.bottom; ++y)
            std::copy_n(bitmap.row(y + dy).data() + box.left + dx, box.width(), result.row(y - box.top).data());
        return result;
    }
    const Axis across{
        source.origin.x, source.size.width, bitmap.pixelsWide(), destination.origin.x, destination.size.width,
        box.left,        box.right};
    const Axis down{
        source.origin.y, source.size.height, bitmap.pixelsHigh(), destination.origin.y, destination.size.height,
        box.top,         box.bottom};
    const Taps columns = tapsFor(across, interpolation);
    const Taps rows = tapsFor(down, interpolation);
    const int left = *std::min_element(columns.first.begin(), columns.first.end());
    const int right = *std::max_element(columns.first.begin(), columns.first.end()) + columns.count;
    const int readable = std::min(right, bitmap.pixelsWide());
    // Padding behind the last source pixel: read with weight 0.
    std::vector<std::int16_t> line(static_cast<std::size_t>(right - left) * channels);
    for (int y = 0; y < result.pixelsHigh(); ++y) {
        blendRows(bitmap, rows, y, left, std::span(line).first(static_cast<std::size_t>(readable - left) * channels));
        blendColumns(line, columns, left, result.row(y));
    }
    return result;
}

} // namespace platform
