// Apple events, carried by the session bus: "quit" and "open this address" go to an application as the calls
// ActivateAction and Open of the standard interface org.freedesktop.Application (docs/system.md says how a
// four-character signature names an application on the bus).
//
// A status is 0 or a negative number of the list below. Sending blocks until the bus has taken the event, never for the
// receiver. One thread at a time. Nothing throws.
#pragma once

#include "Foundation/MacTypes.h"
#include "Foundation/NSString.h"

#include <functional>

namespace platform {

inline constexpr OSErr paramErr = -50;               // an event or a build format that nobody can send
inline constexpr OSErr procNotFound = -600;          // no such application is running
inline constexpr OSErr connectionInvalid = -609;     // there is no bus, or it does not answer
inline constexpr OSErr errAEEventNotHandled = -1708; // no call stands for this event

inline constexpr OSType typeApplSignature = 0x7369676E;       // 'sign': 4 bytes
inline constexpr OSType typeProcessSerialNumber = 0x70736E20; // 'psn ': high and low word, 8 bytes
inline constexpr OSType kCoreEventClass = 0x61657674;         // 'aevt'
inline constexpr OSType kAEQuitApplication = 0x71756974;      // 'quit'
inline constexpr OSType kInternetEventClass = 0x4755524C;     // 'GURL'
inline constexpr OSType kAEGetURL = 0x4755524C;               // 'GURL'

inline constexpr std::int16_t kAutoGenerateReturnID = -1;
inline constexpr std::int32_t kAnyTransactionID = 0;
inline constexpr std::int32_t kAENoReply = 1;
inline constexpr std::int16_t kAENormalPriority = 0;
inline constexpr std::int32_t kAEDefaultTimeout = -1;
inline constexpr std::int32_t kNoTimeOut = -2;
inline constexpr std::uint32_t kCurrentProcess = 2; // as the low word of a process serial number

// Data with its type. Numbers in it are in the machine's own byte order.
struct AEDesc {
    OSType descriptorType = 0;
    Data data;
    friend bool operator==(const AEDesc&, const AEDesc&) = default;
};

// The descriptor of exactly these bytes; absent when `length` exceeds them.
[[nodiscard]] std::optional<AEDesc> descriptorWithDescriptorType_bytes_length(OSType type, DataView bytes,
                                                                              std::size_t length);

struct AppleEvent {
    OSType eventClass = 0;
    OSType eventID = 0;
    AEDesc target;
    std::int16_t returnID = kAutoGenerateReturnID;
    std::int32_t transactionID = kAnyTransactionID;
    std::optional<std::string> directObject; // text in UTF-8
    friend bool operator==(const AppleEvent&, const AppleEvent&) = default;
};

struct AppleEventManager {
    // Absent when no event can be made.
    std::function<std::optional<AppleEvent>(OSType eventClass, OSType eventID, const AEDesc& target,
                                            std::int16_t returnID, std::int32_t transactionID)>
        appleEventWithEventClass_eventID_targetDescriptor_returnID_transactionID;
    std::function<OSStatus(const AppleEvent& event, std::int32_t sendMode, std::int32_t timeOut)> AESendMessage;
    // The one build format is "'----':TEXT(@)": a direct object of text.
    std::function<OSErr(OSType eventClass, OSType eventID, OSType addressType, DataView address, std::int16_t returnID,
                        std::int32_t transactionID, AppleEvent& result, const char* format, const char* text)>
        AEBuildAppleEvent;
    std::function<OSErr(const AppleEvent& event, std::int32_t sendMode, std::int16_t priority, std::int32_t timeOut)>
        AESend;
};

// Over the session bus.
[[nodiscard]] const AppleEventManager& appleEventManager();

// The bus name of the application with that signature, such as "com.tessaro.signature.x74746162" for 'ttab', and the
// path of its object, which is the name with slashes.
[[nodiscard]] std::string busNameOfSignature(OSType signature);
[[nodiscard]] std::string objectPathOfBusName(std::string_view name);

// Says under which signature this process answers on the bus, for events that it sends to itself. An application that
// is a GApplication need not say it.
void setSignatureOfCurrentProcess(std::optional<OSType> signature);

} // namespace platform
