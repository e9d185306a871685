#include "NSPropertyList.h"

#include "PropertyListLimits.h"

#include <cstdlib>
#include <memory>
#include <plist/plist.h>

namespace platform {
namespace {

struct Free {
    void operator()(void *memory) const { std::free(memory); }
};
using CText = std::unique_ptr<char, Free>;
using Node = std::unique_ptr<void, decltype(&plist_free)>;

std::optional<PropertyList> converted(plist_t node);

std::optional<PropertyList> convertedArray(plist_t node) {
    PropertyList::Array array;
    plist_array_iter rawIterator = nullptr;
    plist_array_new_iter(node, &rawIterator);
    const std::unique_ptr<void, Free> iterator(rawIterator);
    plist_t item = nullptr;
    for (plist_array_next_item(node, rawIterator, &item); item; plist_array_next_item(node, rawIterator, &item)) {
        auto value = converted(item);
        if (!value)
            return std::nullopt;
        array.push_back(*std::move(value));
    }
    return PropertyList{std::move(array)};
}

std::optional<PropertyList> convertedDictionary(plist_t node) {
    PropertyList::Dictionary dictionary;
    plist_dict_iter rawIterator = nullptr;
    plist_dict_new_iter(node, &rawIterator);
    const std::unique_ptr<void, Free> iterator(rawIterator);
    while (true) {
        char *rawKey = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(node, rawIterator, &rawKey, &item);
        const CText key(rawKey);
        if (!key || !item)
            break;
        auto value = converted(item);
        if (!value)
            return std::nullopt;
        dictionary.push_back({stringWithUTF8OrLatin1(key.get()), *std::move(value)});
    }
    return PropertyList{std::move(dictionary)};
}

std::optional<PropertyList> convertedDate(plist_t node) {
    std::int32_t seconds = 0;
    std::int32_t microseconds = 0;
    plist_get_date_val(node, &seconds, &microseconds);
    return PropertyList{PropertyListDate{seconds + microseconds / 1e6}};
}

std::optional<PropertyList> converted(plist_t node) {
    std::uint64_t length = 0;
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        std::uint8_t flag = 0;
        plist_get_bool_val(node, &flag);
        return PropertyList{flag != 0};
    }
    case PLIST_UINT: {
        std::uint64_t number = 0;
        plist_get_uint_val(node, &number);
        return PropertyList{static_cast<std::int64_t>(number)};
    }
    case PLIST_REAL: {
        double number = 0;
        plist_get_real_val(node, &number);
        return PropertyList{number};
    }
    case PLIST_STRING: {
        const char *text = plist_get_string_ptr(node, &length);
        return PropertyList{stringWithUTF8OrLatin1({text, text ? length : 0})};
    }
    case PLIST_DATA: {
        const char *bytes = plist_get_data_ptr(node, &length);
        const DataView view = charactersAsBytes({bytes, bytes ? length : 0});
        return PropertyList{Data(view.begin(), view.end())};
    }
    case PLIST_DATE:
        return convertedDate(node);
    case PLIST_ARRAY:
        return convertedArray(node);
    case PLIST_DICT:
        return convertedDictionary(node);
    default: // the archiver's identifiers stand in no property list of values
        return std::nullopt;
    }
}

} // namespace

const PropertyList *PropertyList::objectForKey(StringView key) const {
    const auto *dictionary = std::get_if<Dictionary>(&value);
    if (!dictionary)
        return nullptr;
    for (auto entry = dictionary->rbegin(); entry != dictionary->rend(); ++entry)
        if (entry->key == key)
            return &entry->object;
    return nullptr;
}

std::optional<PropertyList> propertyListWithData(DataView data) {
    std::string_view text = bytesAsCharacters(data);
    plist_t parsed = nullptr;
    if (text.starts_with("bplist0")) {
        if (!isSoundBinaryPropertyList(data))
            return std::nullopt;
        plist_from_bin(text.data(), static_cast<std::uint32_t>(text.size()), &parsed);
    } else {
        if (text.starts_with("\xEF\xBB\xBF"))
            text.remove_prefix(3);
        if (!isSoundXMLPropertyList(text))
            return std::nullopt;
        plist_from_xml(text.data(), static_cast<std::uint32_t>(text.size()), &parsed);
    }
    const Node root(parsed, plist_free);
    return root ? converted(root.get()) : std::nullopt;
}

} // namespace platform
