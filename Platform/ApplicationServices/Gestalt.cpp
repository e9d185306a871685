#include "Gestalt.h"

#include <algorithm>
#include <charconv>
#include <fstream>

namespace platform {
namespace {

// The value of VERSION_ID without its quotes; empty when there is none.
std::string versionID(const std::string& file) {
    constexpr std::string_view name = "VERSION_ID=";
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        if (!line.starts_with(name))
            continue;
        std::string value = line.substr(name.size());
        std::erase_if(value, [](char character) { return character == '"' || character == '\''; });
        return value;
    }
    return {};
}

} // namespace

std::optional<std::int32_t> packedSystemVersion(std::string_view version) {
    std::int32_t numbers[3] = {0, 0, 0}; // major, minor, bug fix
    const char* at = version.data();
    const char* const end = at + version.size();
    for (std::int32_t& number : numbers) {
        std::uint32_t value = 0;
        const auto parsed = std::from_chars(at, end, value);
        if (parsed.ec == std::errc::invalid_argument)
            break;
        const bool isMajor = &number == numbers;
        const std::uint32_t most = isMajor ? 99 : 9;
        number = static_cast<std::int32_t>(parsed.ec == std::errc() ? std::min(value, most) : most);
        at = parsed.ptr;
        if (at == end || *at != '.')
            break;
        ++at;
    }
    if (version.empty() || version.front() < '0' || version.front() > '9')
        return std::nullopt;
    const std::int32_t major = numbers[0] / 10 << 4 | numbers[0] % 10;
    return major << 8 | numbers[1] << 4 | numbers[2];
}

OSErr Gestalt(OSType selector, std::int32_t* response, const std::string& root) {
    if (selector != gestaltSystemVersion)
        return gestaltUndefSelectorErr;
    std::string version = versionID(root + "/etc/os-release");
    if (version.empty())
        version = versionID(root + "/usr/lib/os-release");
    const std::optional<std::int32_t> packed = packedSystemVersion(version);
    if (!packed)
        return gestaltUndefSelectorErr;
    *response = *packed;
    return noErr;
}

} // namespace platform
