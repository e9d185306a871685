#include "CoreTypesBundle.h"

namespace platform {
namespace {

String& coreTypesRoot() {
    static String root;
    return root;
}

} // namespace

void setCoreTypesRoot(StringView root) {
    coreTypesRoot() = root;
}

String coreTypesContentsFolder() {
    return coreTypesRoot() + u"/System/Library/CoreServices/CoreTypes.bundle/Contents";
}

} // namespace platform
