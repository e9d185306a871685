#include "CFPreferences.h"

#include "NSPropertyList.h"

#include <array>
#include <fcntl.h>
#include <map>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

constexpr std::size_t largestFile = std::size_t{16} << 20;

std::optional<Data> contentsOfOrdinaryFile(const std::string& path) {
    // Non-blocking: a named pipe in this place must not hold the caller.
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file < 0)
        return std::nullopt;
    std::optional<Data> contents;
    struct stat status {};
    if (fstat(file, &status) == 0 && S_ISREG(status.st_mode)) {
        contents.emplace();
        std::array<std::uint8_t, 16384> piece;
        ssize_t count = 0;
        while ((count = read(file, piece.data(), piece.size())) > 0 && contents->size() <= largestFile)
            contents->insert(contents->end(), piece.begin(), piece.begin() + count);
        if (count != 0)
            contents.reset();
    }
    close(file);
    return contents;
}

std::optional<PropertyList> readDomain(StringView applicationID) {
    const String path = stringByExpandingTildeInPath(u"~/Library/Preferences/" + String(applicationID) + u".plist");
    const auto bytes = UTF8String(path);
    const auto contents = bytes ? contentsOfOrdinaryFile(*bytes) : std::nullopt;
    auto list = contents ? propertyListWithData(*contents) : std::nullopt;
    if (list && !std::holds_alternative<PropertyList::Dictionary>(list->value))
        list.reset();
    return list;
}

std::map<String, std::optional<PropertyList>, std::less<>>& domains() {
    static std::map<String, std::optional<PropertyList>, std::less<>> read;
    return read;
}

} // namespace

bool CFPreferencesAppSynchronize(StringView applicationID) {
    return domains().insert_or_assign(String(applicationID), readDomain(applicationID)).first->second.has_value();
}

long CFPreferencesGetAppIntegerValue(StringView key, StringView applicationID, bool* keyExistsAndHasValidFormat) {
    if (!domains().contains(applicationID))
        CFPreferencesAppSynchronize(applicationID);
    const auto& domain = domains().find(applicationID)->second;
    const PropertyList* object = domain ? domain->objectForKey(key) : nullptr;
    const auto* integer = object ? std::get_if<std::int64_t>(&object->value) : nullptr;
    if (keyExistsAndHasValidFormat)
        *keyExistsAndHasValidFormat = integer != nullptr;
    return integer ? *integer : 0;
}

} // namespace platform
