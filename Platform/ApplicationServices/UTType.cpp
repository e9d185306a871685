#include "UTType.h"

#include "Foundation/CoreTypesBundle.h"
#include "Foundation/NSPropertyList.h"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace platform {
namespace {

std::optional<PropertyList> readPropertyList(StringView path) {
    const std::optional<std::string> name = UTF8String(path);
    std::ifstream stream(name.value_or(""), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    return propertyListWithData(charactersAsBytes(bytes));
}

// A text, or the texts of a list; other values are passed over.
std::vector<String> textsOf(const PropertyList& object) {
    std::vector<String> texts;
    if (const auto* text = std::get_if<String>(&object.value))
        texts.push_back(*text);
    if (const auto* list = std::get_if<PropertyList::Array>(&object.value)) {
        for (const PropertyList& element : *list)
            if (const auto* text = std::get_if<String>(&element.value))
                texts.push_back(*text);
    }
    return texts;
}

std::optional<String> firstText(const PropertyList& dictionary, StringView key) {
    const PropertyList* object = dictionary.objectForKey(key);
    const std::vector<String> texts = object ? textsOf(*object) : std::vector<String>();
    return texts.empty() ? std::nullopt : std::optional<String>(texts.front());
}

TypeDeclaration declarationOf(const PropertyList& object) {
    TypeDeclaration declaration;
    declaration.identifier = firstText(object, u"UTTypeIdentifier");
    declaration.description = firstText(object, u"UTTypeDescription");
    declaration.conformsTo = firstText(object, u"UTTypeConformsTo");
    declaration.iconFile = firstText(object, u"UTTypeIconFile");
    const PropertyList* tags = object.objectForKey(u"UTTypeTagSpecification");
    if (const auto* classes = tags ? std::get_if<PropertyList::Dictionary>(&tags->value) : nullptr) {
        for (const PropertyListEntry& entry : *classes)
            declaration.tags[entry.key] = textsOf(entry.object);
    }
    return declaration;
}

std::vector<TypeDeclaration> declarationsIn(StringView path) {
    std::vector<TypeDeclaration> declarations;
    const std::optional<PropertyList> list = readPropertyList(path);
    const PropertyList* exported = list ? list->objectForKey(u"UTExportedTypeDeclarations") : nullptr;
    if (const auto* objects = exported ? std::get_if<PropertyList::Array>(&exported->value) : nullptr)
        std::transform(objects->begin(), objects->end(), std::back_inserter(declarations), declarationOf);
    return declarations;
}

bool hasTag(const TypeDeclaration& declaration, StringView tagClass, StringView tag) {
    const auto tags = declaration.tags.find(String(tagClass));
    return tags != declaration.tags.end() &&
           std::find(tags->second.begin(), tags->second.end(), tag) != tags->second.end();
}

} // namespace

UniformTypes uniformTypes(std::function<String()> propertyListPath) {
    const auto declarations = [path = std::move(propertyListPath)] { return declarationsIn(path()); };
    UniformTypes types;
    types.UTTypeCreatePreferredIdentifierForTag = [declarations](StringView tagClass,
                                                                 StringView tag) -> std::optional<String> {
        for (const TypeDeclaration& declaration : declarations())
            if (declaration.identifier && hasTag(declaration, tagClass, tag))
                return declaration.identifier;
        return std::nullopt;
    };
    types.UTTypeCopyDeclaration = [declarations](StringView identifier) -> std::optional<TypeDeclaration> {
        for (TypeDeclaration& declaration : declarations())
            if (declaration.identifier == identifier)
                return std::move(declaration);
        return std::nullopt;
    };
    types.UTExportedTypeDeclarations = declarations;
    return types;
}

const UniformTypes& uniformTypes() {
    static const UniformTypes system = uniformTypes([] { return coreTypesContentsFolder() + u"/Info.plist"; });
    return system;
}

} // namespace platform
