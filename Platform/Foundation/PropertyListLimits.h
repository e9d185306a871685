// What is looked at before bytes of any origin are handed to the property-list library: it builds nested values by
// recursion and copies a shared binary object once a reference, so a small file can ask for any amount of stack and
// memory; and it reads half a number, or a document that ends early, as if nothing were wrong.
#pragma once

#include "NSString.h"

namespace platform {

struct PropertyListLimits {
    std::size_t fileBytes = std::size_t{16} << 20;
    std::size_t depth = 100;
    std::size_t values = 1'000'000;                    // every occurrence of a shared one counted
    std::size_t expandedBytes = std::size_t{64} << 20; // of texts and data, likewise
};

// The XML form: tags balanced and within the limits, one root element, no declarations of entities, integers that are
// integers.
[[nodiscard]] bool isSoundXMLPropertyList(std::string_view text, const PropertyListLimits &limits = {});

// The binary form: every object that can be reached lies inside the file, and all of them are within the limits.
[[nodiscard]] bool isSoundBinaryPropertyList(DataView data, const PropertyListLimits &limits = {});

} // namespace platform
