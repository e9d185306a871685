#include "RecordReport.h"

#include "AppKit/ImageDecoding.h"
#include "AppKit/ImageHeaders.h"
#include "Foundation/NSFormat.h"
#include "TerminalText.h"

#include <algorithm>

namespace tessaro_record {

using platform::DataView;

namespace {

constexpr std::size_t identifierLimit = 60;

ImageReport reportOfImage(const char* name, DataView bytes) {
    ImageReport image{name, bytes, {}, {}};
    if (platform::sniffImageType(bytes) == platform::ImageType::TIFF)
        image.pages = platform::decodeImage(bytes);
    return image;
}

std::string pixels(const ImageReport& image) {
    if (image.isMissing())
        return "-";
    if (image.isDamaged())
        return "cannot be read";
    const auto& first = image.pages.front();
    std::string text = std::to_string(first.pixelsWide()) + " x " + std::to_string(first.pixelsHigh());
    if (image.pages.size() > 1)
        text += ", the largest of " + std::to_string(image.pages.size());
    return text;
}

std::string line(const std::string& part, std::size_t bytes, const std::string& rest) {
    std::string count = std::to_string(bytes);
    count.insert(0, count.size() < 9 ? 9 - count.size() : 0, ' ');
    return part + std::string(12 - part.size(), ' ') + count + "  " + rest + "\n";
}

std::string hexadecimal(DataView bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

std::string JSONOfImage(const ImageReport& image) {
    if (image.isMissing())
        return "null";
    std::string text = "{\"bytes\": " + std::to_string(image.bytes.size());
    if (!image.isDamaged())
        text += ", \"width\": " + std::to_string(image.pages.front().pixelsWide()) +
                ", \"height\": " + std::to_string(image.pages.front().pixelsHigh());
    text += ", \"pages\": " + std::to_string(image.pages.size());
    if (const auto file = JSONString(platform::charactersAsBytes(image.file)); file && !image.file.empty())
        text += ", \"file\": " + *file;
    return text + "}";
}

} // namespace

RecordReport reportOf(const tessaro::ThumbnailRecord& record, std::size_t skipped) {
    RecordReport report{record.identifier, {}, skipped};
    report.images.push_back(reportOfImage("large", record.large));
    report.images.push_back(reportOfImage("medium", record.medium));
    report.images.push_back(reportOfImage("small", record.small));
    return report;
}

std::string tableOf(const RecordReport& report) {
    const std::string identifier = report.identifier.empty() ? "-" : terminalText(report.identifier, identifierLimit);
    std::string table = "part            bytes  content\n" + line("identifier", report.identifier.size(), identifier);
    for (const ImageReport& image : report.images) {
        std::string rest = pixels(image);
        if (!image.file.empty())
            rest += std::string(rest.size() < 12 ? 12 - rest.size() : 2, ' ') + image.file;
        table += line(image.name, image.bytes.size(), rest);
    }
    return table;
}

std::string JSONOf(const RecordReport& report) {
    std::string text = "{\"identifier\": ";
    const auto identifier = JSONString(report.identifier);
    text += identifier ? *identifier : "null, \"identifierHex\": \"" + hexadecimal(report.identifier) + "\"";
    text += ", \"identifierBytes\": " + std::to_string(report.identifier.size());
    for (const ImageReport& image : report.images)
        text += std::string(", \"") + image.name + "\": " + JSONOfImage(image);
    return text + ", \"skippedBytes\": " + std::to_string(report.skipped) + "}\n";
}

} // namespace tessaro_record
