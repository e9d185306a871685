#include "AppleEvents.h"

#include "SessionBus.h"

#include <cstring>

namespace platform {
namespace {

std::optional<OSType> currentSignature;

std::optional<AppleEvent> makeEvent(OSType eventClass, OSType eventID, const AEDesc& target, std::int16_t returnID,
                                    std::int32_t transactionID) {
    return AppleEvent{eventClass, eventID, target, returnID, transactionID, std::nullopt};
}

OSErr buildEvent(OSType eventClass, OSType eventID, OSType addressType, DataView address, std::int16_t returnID,
                 std::int32_t transactionID, AppleEvent& result, const char* format, const char* text) {
    if (std::string_view(format) != "'----':TEXT(@)" || !text)
        return paramErr;
    result = {eventClass, eventID, {addressType, Data(address.begin(), address.end())}, returnID, transactionID, text};
    return noErr;
}

// The application that the event is for; absent when none can be meant.
std::optional<BusAddress> addressOf(const AEDesc& target) {
    if (target.descriptorType == typeApplSignature && target.data.size() == sizeof(OSType)) {
        OSType signature = 0;
        std::memcpy(&signature, target.data.data(), sizeof(signature));
        const std::string name = busNameOfSignature(signature);
        return BusAddress{name, objectPathOfBusName(name)};
    }
    constexpr std::uint32_t ourselves[2] = {0, kCurrentProcess};
    if (target.descriptorType != typeProcessSerialNumber || target.data.size() != sizeof(ourselves) ||
        std::memcmp(target.data.data(), ourselves, sizeof(ourselves)) != 0)
        return std::nullopt;
    if (!currentSignature)
        return addressOfDefaultApplication();
    const std::string name = busNameOfSignature(*currentSignature);
    return BusAddress{name, objectPathOfBusName(name)};
}

OSErr sendEvent(const AppleEvent& event, std::int32_t timeOut) {
    const bool quit = event.eventClass == kCoreEventClass && event.eventID == kAEQuitApplication;
    const bool open = event.eventClass == kInternetEventClass && event.eventID == kAEGetURL && event.directObject;
    if (!quit && !open)
        return errAEEventNotHandled;
    const std::optional<BusAddress> address = addressOf(event.target);
    if (!address)
        return procNotFound;
    const ApplicationCall call = quit ? ApplicationCall::quit() : ApplicationCall::open(*event.directObject);
    switch (sendOverSessionBus(*address, call, timeOut)) {
    case BusOutcome::Sent:
        return noErr;
    case BusOutcome::NoReceiver:
        return procNotFound;
    case BusOutcome::NoBus:
        return connectionInvalid;
    case BusOutcome::NoText:
        break;
    }
    return paramErr;
}

} // namespace

std::optional<AEDesc> descriptorWithDescriptorType_bytes_length(OSType type, DataView bytes, std::size_t length) {
    if (length > bytes.size())
        return std::nullopt;
    const DataView taken = bytes.first(length);
    return AEDesc{type, Data(taken.begin(), taken.end())};
}

const AppleEventManager& appleEventManager() {
    static const AppleEventManager manager = {
        makeEvent,
        [](const AppleEvent& event, std::int32_t, std::int32_t timeOut) -> OSStatus {
            return sendEvent(event, timeOut);
        },
        buildEvent,
        [](const AppleEvent& event, std::int32_t, std::int16_t, std::int32_t timeOut) {
            return sendEvent(event, timeOut);
        },
    };
    return manager;
}

std::string busNameOfSignature(OSType signature) {
    // In hexadecimal: a signature may hold any bytes, a bus name letters, digits and a few signs.
    char name[sizeof("com.tessaro.signature.x00000000")];
    std::snprintf(name, sizeof(name), "com.tessaro.signature.x%08x", signature);
    return name;
}

std::string objectPathOfBusName(std::string_view name) {
    std::string path = "/" + std::string(name);
    for (char& character : path)
        character = character == '.' ? '/' : character == '-' ? '_' : character;
    return path;
}

void setSignatureOfCurrentProcess(std::optional<OSType> signature) {
    currentSignature = signature;
}

} // namespace platform
