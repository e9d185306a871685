// Uniform types: what is declared about kinds of files and of machines.
//
// The declarations are those of the system's type bundle, <root>/System/Library/CoreServices/CoreTypes.bundle. Linux
// has none: an application that brings the bundle along says where (CoreTypesBundle.h), and without one nothing is
// declared. They are read anew by every question. One thread at a time. Nothing throws.
#pragma once

#include "Foundation/NSString.h"

#include <functional>
#include <map>

namespace platform {

inline constexpr StringView kUTTagClassDeviceModelCode = u"com.apple.device-model-code";

struct TypeDeclaration {
    std::optional<String> identifier;           // UTTypeIdentifier
    std::optional<String> description;          // UTTypeDescription
    std::optional<String> conformsTo;           // UTTypeConformsTo; the first of several
    std::optional<String> iconFile;             // UTTypeIconFile
    std::map<String, std::vector<String>> tags; // UTTypeTagSpecification: by tag class, in their order
    friend bool operator==(const TypeDeclaration&, const TypeDeclaration&) = default;
};

struct UniformTypes {
    // The identifier of the first declaration that has the tag.
    std::function<std::optional<String>(StringView tagClass, StringView tag)> UTTypeCreatePreferredIdentifierForTag;
    std::function<std::optional<TypeDeclaration>(StringView identifier)> UTTypeCopyDeclaration;
    // The bundle's list UTExportedTypeDeclarations, in its order.
    std::function<std::vector<TypeDeclaration>()> UTExportedTypeDeclarations;
};

// From the property list of that path.
[[nodiscard]] UniformTypes uniformTypes(std::function<String()> propertyListPath);
// From the system's bundle.
[[nodiscard]] const UniformTypes& uniformTypes();

} // namespace platform
