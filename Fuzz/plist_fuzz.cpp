// Property lists of any bytes: read or refused, within the bounds of stack and memory.
#include "Foundation/NSPropertyList.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto list = platform::propertyListWithData({data, size});
    if (list)
        (void)list->objectForKey(u"VerboseThumbnailLogging");
    return 0;
}
