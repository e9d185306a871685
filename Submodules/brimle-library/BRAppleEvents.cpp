#include "brimle/BRAppleEvents.h"

#include <cstring>

namespace brimle {
namespace {

using platform::AEDesc;
using platform::AppleEvent;
using platform::DataView;

template <class T>
DataView bytesOf(const T& value) {
    return {reinterpret_cast<const std::uint8_t*>(&value), sizeof(value)};
}

} // namespace

OSStatus stopOtherApp(OSType signature, const AppleEventManager& events) {
    const std::optional<AEDesc> target = platform::descriptorWithDescriptorType_bytes_length(
        platform::typeApplSignature, bytesOf(signature), sizeof(signature));
    if (!target)
        return platform::noErr;
    const std::optional<AppleEvent> event =
        events.appleEventWithEventClass_eventID_targetDescriptor_returnID_transactionID(
            platform::kCoreEventClass, platform::kAEQuitApplication, *target, platform::kAutoGenerateReturnID,
            platform::kAnyTransactionID);
    if (!event)
        return platform::noErr;
    return events.AESendMessage(*event, platform::kAENoReply, platform::kAEDefaultTimeout);
}

OSStatus OpenURLInRunningApp(StringView url, const AppleEventManager& events) {
    const std::uint32_t ourselves[2] = {0, platform::kCurrentProcess};
    const std::optional<std::string> text = platform::UTF8String(url);
    AppleEvent event;
    const platform::OSErr built =
        events.AEBuildAppleEvent(platform::kInternetEventClass, platform::kAEGetURL, platform::typeProcessSerialNumber,
                                 bytesOf(ourselves), platform::kAutoGenerateReturnID, platform::kAnyTransactionID,
                                 event, "'----':TEXT(@)", text ? text->c_str() : nullptr);
    if (built != platform::noErr)
        return built;
    return events.AESend(event, platform::kAENoReply, platform::kAENormalPriority, platform::kNoTimeOut);
}

} // namespace brimle
