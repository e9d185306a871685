#include "brimle/BRAppleEvents.h"

#include "../Support/ProcessState.h"
#include "../Support/TemporaryFolder.h"

#include <cstring>
#include <gio/gio.h>
#include <gmock/gmock.h>

namespace brimle {
namespace {

using platform::AEDesc;
using platform::AppleEvent;
using platform::appleEventManager;
using platform::OSErr;
using testing_support::EnvironmentVariable;

// A program with its output read line by line; it ends with its standard input.
class Program {
public:
    explicit Program(const std::vector<const char*>& words) {
        std::vector<const char*> argv = words;
        argv.push_back(nullptr);
        process_ = g_subprocess_newv(
            argv.data(), static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDIN_PIPE | G_SUBPROCESS_FLAGS_STDOUT_PIPE),
            nullptr);
        if (!process_)
            throw std::runtime_error(std::string("cannot run ") + words.front());
        lines_ = g_data_input_stream_new(g_subprocess_get_stdout_pipe(process_));
    }
    ~Program() {
        g_output_stream_close(g_subprocess_get_stdin_pipe(process_), nullptr, nullptr);
        if (endsByItself_)
            g_subprocess_wait(process_, nullptr, nullptr);
        else
            g_subprocess_force_exit(process_);
        g_object_unref(lines_);
        g_object_unref(process_);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    // Empty at the end of the output.
    std::string line() {
        char* text = g_data_input_stream_read_line(lines_, nullptr, nullptr, nullptr);
        std::string found = text ? text : "";
        g_free(text);
        return found;
    }
    void waitForItsEnd() { endsByItself_ = true; }

private:
    GSubprocess* process_ = nullptr;
    GDataInputStream* lines_ = nullptr;
    bool endsByItself_ = false;
};

// A session bus of this program's own, for all of its tests: GIO remembers the first one that a process uses.
class SessionBus : public testing::Environment {
public:
    void SetUp() override {
        bus_ = std::make_unique<Program>(std::vector<const char*>{"dbus-run-session", "--", "sh", "-c",
                                                                  "echo \"$DBUS_SESSION_BUS_ADDRESS\"; exec cat"});
        address_ = std::make_unique<EnvironmentVariable>("DBUS_SESSION_BUS_ADDRESS", bus_->line().c_str());
        bus_->waitForItsEnd();
    }
    void TearDown() override {
        address_.reset();
        bus_.reset();
    }

private:
    std::unique_ptr<Program> bus_;
    std::unique_ptr<EnvironmentVariable> address_;
};

const auto* const sessionBus = testing::AddGlobalTestEnvironment(new SessionBus);

class Receiver {
public:
    explicit Receiver(OSType signature)
        : name_(platform::busNameOfSignature(signature)), path_(platform::objectPathOfBusName(name_)),
          program_({RECEIVING_APPLICATION, name_.c_str(), path_.c_str()}) {
        EXPECT_EQ(program_.line(), "ready");
    }
    std::string line() { return program_.line(); }

private:
    std::string name_;
    std::string path_;
    Program program_;
};

AEDesc descriptor(OSType type, const void* bytes, std::size_t length) {
    const auto* first = static_cast<const std::uint8_t*>(bytes);
    return {type, platform::Data(first, first + length)};
}

AEDesc signatureDescriptor(OSType signature) {
    return descriptor(0x7369676E, &signature, sizeof(signature));
}

// Remembers what it was asked, and answers as the test says.
struct Recorder {
    bool makesEvents = true;
    OSErr buildStatus = 0;
    OSStatus sendStatus = 0;
    std::vector<AppleEvent> sent;
    std::vector<std::int32_t> modes;
    std::vector<std::int32_t> timeOuts;
    std::vector<std::int16_t> priorities;

    AppleEventManager manager() {
        AppleEventManager made = appleEventManager();
        made.appleEventWithEventClass_eventID_targetDescriptor_returnID_transactionID =
            [this](OSType eventClass, OSType eventID, const AEDesc& target, std::int16_t returnID,
                   std::int32_t transactionID) -> std::optional<AppleEvent> {
            if (!makesEvents)
                return std::nullopt;
            return AppleEvent{eventClass, eventID, target, returnID, transactionID, std::nullopt};
        };
        made.AESendMessage = [this](const AppleEvent& event, std::int32_t mode, std::int32_t timeOut) {
            sent.push_back(event);
            modes.push_back(mode);
            timeOuts.push_back(timeOut);
            return sendStatus;
        };
        made.AESend = [this](const AppleEvent& event, std::int32_t mode, std::int16_t priority, std::int32_t timeOut) {
            sent.push_back(event);
            modes.push_back(mode);
            priorities.push_back(priority);
            timeOuts.push_back(timeOut);
            return static_cast<OSErr>(sendStatus);
        };
        made.AEBuildAppleEvent = [this](OSType eventClass, OSType eventID, OSType addressType,
                                        platform::DataView address, std::int16_t returnID, std::int32_t transactionID,
                                        AppleEvent& result, const char* format, const char* text) {
            if (buildStatus != 0)
                return buildStatus;
            return appleEventManager().AEBuildAppleEvent(eventClass, eventID, addressType, address, returnID,
                                                         transactionID, result, format, text);
        };
        return made;
    }
};

TEST(BRAppleEvents, StopSendsTheQuitEventToTheSignature) {
    Recorder recorder;
    recorder.sendStatus = -123456;
    EXPECT_EQ(stopOtherApp(0x41424344, recorder.manager()), -123456) << "the status of sending";
    const AppleEvent expected = {0x61657674, 0x71756974, signatureDescriptor(0x41424344), -1, 0, std::nullopt};
    EXPECT_THAT(recorder.sent, testing::ElementsAre(expected));
    EXPECT_THAT(recorder.modes, testing::ElementsAre(1));
    EXPECT_THAT(recorder.timeOuts, testing::ElementsAre(-1));
}

TEST(BRAppleEvents, WithoutAnEventNothingIsSent) {
    Recorder recorder;
    recorder.makesEvents = false;
    recorder.sendStatus = -1;
    EXPECT_EQ(stopOtherApp(0x41424344, recorder.manager()), 0);
    EXPECT_TRUE(recorder.sent.empty());
}

TEST(BRAppleEvents, OpenSendsTheAddressToThisProcess) {
    Recorder recorder;
    recorder.sendStatus = -600;
    EXPECT_EQ(OpenURLInRunningApp(u"https://example.org/\u00E9", recorder.manager()), -600);
    const std::uint32_t ourselves[2] = {0, 2};
    const AppleEvent expected = {0x4755524C, 0x4755524C, descriptor(0x70736E20, ourselves, 8),
                                 -1,         0,          "https://example.org/\xC3\xA9"};
    EXPECT_THAT(recorder.sent, testing::ElementsAre(expected));
    EXPECT_THAT(recorder.modes, testing::ElementsAre(1));
    EXPECT_THAT(recorder.priorities, testing::ElementsAre(0));
    EXPECT_THAT(recorder.timeOuts, testing::ElementsAre(-2));
}

TEST(BRAppleEvents, AnEventThatCannotBeBuiltIsNotSent) {
    Recorder recorder;
    recorder.buildStatus = -1701;
    EXPECT_EQ(OpenURLInRunningApp(u"x:", recorder.manager()), -1701);
    recorder.buildStatus = 0;
    EXPECT_EQ(OpenURLInRunningApp(u"x:\xD800", recorder.manager()), platform::paramErr) << "no UTF-8 form";
    EXPECT_TRUE(recorder.sent.empty());
}

TEST(BRAppleEvents, SixteenBitsOfAStatusAreWidened) {
    Recorder recorder;
    recorder.sendStatus = 0x1FFFE;
    EXPECT_EQ(OpenURLInRunningApp(u"x:", recorder.manager()), -2);
}

TEST(BRAppleEvents, AnotherApplicationQuits) {
    constexpr OSType signature = 0x74746162; // 'ttab'
    Receiver receiver(signature);
    EXPECT_EQ(stopOtherApp(signature), 0);
    EXPECT_EQ(receiver.line(), "quit");
    EXPECT_EQ(receiver.line(), "") << "it has ended";
    EXPECT_TRUE(testing_support::eventually([] { return stopOtherApp(signature) == platform::procNotFound; }));
}

TEST(BRAppleEvents, NobodyOfThatSignatureIsAStatus) {
    for (const OSType signature : {0x00000000u, 0xFFFFFFFFu, 0x6E6F6E65u})
        EXPECT_EQ(stopOtherApp(signature), platform::procNotFound) << signature;
}

TEST(BRAppleEvents, WithoutABusThereIsAStatus) {
    for (const char* address : {"disabled:", "", "unix:path=/no/such/bus", "nonsense", "tcp:host=127.0.0.1,port=1"}) {
        const EnvironmentVariable bus("DBUS_SESSION_BUS_ADDRESS", address);
        const EnvironmentVariable runtime("XDG_RUNTIME_DIR", "/no/such/folder");
        const EnvironmentVariable display("DISPLAY", nullptr);
        EXPECT_EQ(stopOtherApp(0x74746162), platform::connectionInvalid) << address;
        platform::setSignatureOfCurrentProcess(0x74746162);
        EXPECT_EQ(OpenURLInRunningApp(u"x:"), platform::connectionInvalid) << address;
        platform::setSignatureOfCurrentProcess(std::nullopt);
    }
}

TEST(BRAppleEvents, AddressesReachTheApplicationOfTheSignature) {
    constexpr OSType signature = 0x746F7065;
    Receiver receiver(signature);
    platform::setSignatureOfCurrentProcess(signature);
    for (const char16_t* address : {u"https://example.org/?a=b#c", u"x:\u00E9 \U0001F600", u""}) {
        EXPECT_EQ(OpenURLInRunningApp(address), 0);
        EXPECT_EQ(receiver.line(), "open " + platform::lossyUTF8String(address));
    }
    EXPECT_EQ(OpenURLInRunningApp(StringView(u"x:\0y", 4)), 0);
    EXPECT_EQ(receiver.line(), "open x:");
    platform::setSignatureOfCurrentProcess(std::nullopt);
    EXPECT_EQ(stopOtherApp(signature), 0);
    EXPECT_EQ(receiver.line(), "quit");
}

TEST(BRAppleEvents, AnApplicationWithoutSignatureAndObjectIsNotThere) {
    EXPECT_EQ(OpenURLInRunningApp(u"x:"), platform::procNotFound);
}

// A GApplication needs nothing of ours: it answers the same calls.
TEST(BRAppleEvents, AddressesReachThisProcesssOwnApplication) {
    GApplication* application = g_application_new("com.tessaro.test", G_APPLICATION_HANDLES_OPEN);
    std::vector<std::string> opened;
    const auto onOpen = +[](GApplication*, GFile** files, int count, const char*, gpointer list) {
        for (int i = 0; i < count; ++i) {
            char* uri = g_file_get_uri(files[i]);
            static_cast<std::vector<std::string>*>(list)->emplace_back(uri);
            g_free(uri);
        }
    };
    g_signal_connect(application, "open", G_CALLBACK(onOpen), &opened);
    ASSERT_TRUE(g_application_register(application, nullptr, nullptr));
    g_application_set_default(application);
    EXPECT_EQ(OpenURLInRunningApp(u"https://example.org/"), 0);
    EXPECT_TRUE(opened.empty()) << "nothing is awaited: the application opens it when its loop runs";
    EXPECT_TRUE(testing_support::eventually([&] {
        g_main_context_iteration(nullptr, FALSE);
        return !opened.empty();
    }));
    EXPECT_THAT(opened, testing::ElementsAre("https://example.org/"));
    g_application_set_default(nullptr);
    g_object_unref(application);
}

TEST(BRAppleEvents, SignaturesNameApplications) {
    EXPECT_EQ(platform::busNameOfSignature(0x74746162), "com.tessaro.signature.x74746162");
    EXPECT_EQ(platform::busNameOfSignature(0x0000FFFF), "com.tessaro.signature.x0000ffff");
    EXPECT_TRUE(g_dbus_is_name(platform::busNameOfSignature(0).c_str()));
    EXPECT_EQ(platform::objectPathOfBusName("com.tessaro.signature.x74746162"), "/com/tessaro/signature/x74746162");
    EXPECT_EQ(platform::objectPathOfBusName("org.a-b.c"), "/org/a_b/c");
}

struct UnsendableCase {
    const char* what;
    AppleEvent event;
    OSStatus status;
};

TEST(BRAppleEvents, WhatNoCallStandsForIsRefused) {
    const std::uint32_t another[2] = {0, 77};
    const UnsendableCase rows[] = {
        {"another event", {0x61657674, 0x6F617070, signatureDescriptor(1), -1, 0, {}}, platform::errAEEventNotHandled},
        {"no address", {0x4755524C, 0x4755524C, signatureDescriptor(1), -1, 0, {}}, platform::errAEEventNotHandled},
        {"another process",
         {0x61657674, 0x71756974, descriptor(0x70736E20, another, 8), -1, 0, {}},
         platform::procNotFound},
        {"a cut number",
         {0x61657674, 0x71756974, descriptor(0x70736E20, another, 4), -1, 0, {}},
         platform::procNotFound},
        {"a cut signature",
         {0x61657674, 0x71756974, descriptor(0x7369676E, another, 3), -1, 0, {}},
         platform::procNotFound},
        {"another target",
         {0x61657674, 0x71756974, descriptor(0x6E756C6C, another, 4), -1, 0, {}},
         platform::procNotFound},
        {"not UTF-8", {0x4755524C, 0x4755524C, signatureDescriptor(1), -1, 0, "\xFF"}, platform::paramErr},
    };
    for (const UnsendableCase& row : rows) {
        EXPECT_EQ(appleEventManager().AESendMessage(row.event, 1, -1), row.status) << row.what;
        EXPECT_EQ(appleEventManager().AESend(row.event, 1, 0, -2), row.status) << row.what;
    }
    AppleEvent built;
    EXPECT_EQ(appleEventManager().AEBuildAppleEvent(1, 2, 3, {}, -1, 0, built, "'----':TEXT(@),'x':long(1)", "x"),
              platform::paramErr);
    EXPECT_EQ(platform::descriptorWithDescriptorType_bytes_length(1, {}, 4), std::nullopt);
}

} // namespace
} // namespace brimle
