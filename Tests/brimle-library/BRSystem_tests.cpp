#include "brimle/BRSystem.h"

#include "brimle/BRCrypto.h"

#include "../Support/LogFile.h"
#include "../Support/ProcessState.h"

#include "Foundation/StandardOutput.h"

#include <cerrno>
#include <cstring>
#include <gmock/gmock.h>
#include <map>

namespace brimle {
namespace {

using platform::Data;
using platform::IOMatching;
using platform::IOPropertyMatch;
using platform::IORegistryEntry;
using platform::kern_return_t;
using platform::lossyUTF8String;
using platform::TypeDeclaration;
using testing_support::LogFile;
using testing_support::TemporaryFolder;

// Facts of the test's own. What a test does not give is not there.
struct Machine {
    SystemFacilities facilities;

    Machine() {
        facilities.control.sysctlbyname = [](const char*, void*, std::size_t*) { return fail(ENOENT); };
        facilities.control.sysctlnametomib = [](const char*, int*, std::size_t*) { return fail(ENOENT); };
        facilities.control.sysctl = [](const int*, unsigned, void*, std::size_t*) { return fail(ENOENT); };
        facilities.types = platform::uniformTypes([] { return String(); });
        facilities.Gestalt = [](platform::OSType, std::int32_t*) { return platform::gestaltUndefSelectorErr; };
        facilities.NSUserName = [] { return String(u"jdoe"); };
        facilities.registry = platform::ioRegistry("/no/such/folder");
    }

    static int fail(int code) {
        errno = code;
        return -1;
    }

    Machine& model(const std::string& code) {
        facilities.control.sysctlbyname = [code](const char* name, void* value, std::size_t* length) {
            EXPECT_STREQ(name, "hw.model");
            EXPECT_EQ(*length, 64u);
            std::memcpy(value, code.c_str(), code.size() + 1);
            return 0;
        };
        return *this;
    }
    Machine& types(const std::vector<TypeDeclaration>& declarations) {
        // The lookups of the platform, over a list of the test's own.
        facilities.types.UTExportedTypeDeclarations = [declarations] { return declarations; };
        facilities.types.UTTypeCopyDeclaration = [declarations](StringView identifier) {
            std::optional<TypeDeclaration> found;
            for (const TypeDeclaration& declaration : declarations)
                if (!found && declaration.identifier == identifier)
                    found = declaration;
            return found;
        };
        facilities.types.UTTypeCreatePreferredIdentifierForTag = [declarations](StringView tagClass, StringView tag) {
            std::optional<String> found;
            for (const TypeDeclaration& declaration : declarations)
                for (const auto& [name, tags] : declaration.tags)
                    if (!found && name == tagClass && std::find(tags.begin(), tags.end(), tag) != tags.end())
                        found = declaration.identifier;
            return found;
        };
        return *this;
    }
    Machine& version(platform::OSErr status, std::int32_t response) {
        facilities.Gestalt = [status, response](platform::OSType selector, std::int32_t* to) {
            EXPECT_EQ(selector, 0x73797376u);
            *to = response;
            return status;
        };
        return *this;
    }
};

TypeDeclaration device(std::vector<String> codes, std::optional<String> icon) {
    return {{}, {}, {}, std::move(icon), {{u"com.apple.device-model-code", std::move(codes)}}};
}

TEST(BRSystem, ThereIsOneSharedInstance) {
    EXPECT_EQ(&BRSystem::info(), &BRSystem::info());
}

TEST(BRSystem, TheModelIsTheKernelsText) {
    Machine machine;
    EXPECT_EQ(BRSystem::info().hwModel(machine.facilities), u"unknown");
    EXPECT_EQ(BRSystem::info().hwModel(machine.model("MacBookPro11,1").facilities), u"MacBookPro11,1");
    EXPECT_EQ(BRSystem::info().hwModel(machine.model("").facilities), u"");
    EXPECT_EQ(BRSystem::info().hwModel(machine.model("Modell \xC3\xA4").facilities), u"Modell ä");
    EXPECT_EQ(BRSystem::info().hwModel(machine.model("\xFF").facilities), u"unknown");
    EXPECT_EQ(BRSystem::info().hwModel(machine.model(std::string(63, 'x')).facilities), String(63, u'x'));
}

struct NameCase {
    const char* what;
    std::vector<TypeDeclaration> types;
    const char16_t* name;
};

TEST(BRSystem, TheHumanNameIsADeclaredDescription) {
    const std::map<String, std::vector<String>> tagged = {{u"com.apple.device-model-code", {u"Book1,1"}}};
    const NameCase rows[] = {
        {"nothing declared", {}, u"Mac"},
        {"the model's own", {{u"book", u"Book", u"up", {}, tagged}, {u"up", u"Up", {}, {}, {}}}, u"Book"},
        {"what it conforms to", {{u"book", {}, u"up", {}, tagged}, {u"up", u"Up", {}, {}, {}}}, u"Up"},
        {"one level only",
         {{u"book", {}, u"up", {}, tagged}, {u"up", {}, u"top", {}, {}}, {u"top", u"Top", {}, {}, {}}},
         u"Mac"},
        {"conforms to nothing declared", {{u"book", {}, u"up", {}, tagged}}, u"Mac"},
        {"neither", {{u"book", {}, {}, {}, tagged}}, u"Mac"},
        {"an unknown model", {{u"com.apple.mac", u"Any Mac", {}, {}, {}}}, u"Any Mac"},
        {"an unknown model, by conformance",
         {{u"com.apple.mac", {}, u"computer", {}, {}}, {u"computer", u"Computer", {}, {}, {}}},
         u"Computer"},
        {"an empty description", {{u"book", u"", u"up", {}, tagged}, {u"up", u"Up", {}, {}, {}}}, u""},
    };
    for (const NameCase& row : rows) {
        Machine machine;
        machine.model("Book1,1").types(row.types);
        EXPECT_EQ(BRSystem::info().hwHumanModelName(machine.facilities), row.name) << row.what;
    }
}

struct IconCase {
    const char* what;
    std::vector<TypeDeclaration> types;
    const char16_t* file;
};

TEST(BRSystem, TheIconIsTheExactTypesElseTheLastPrefixs) {
    const IconCase rows[] = {
        {"nothing declared", {}, u"com.apple.mac.icns"},
        {"no tag fits", {device({u"Other"}, u"other.icns")}, u"com.apple.mac.icns"},
        {"exact", {device({u"Book1,1"}, u"exact.icns")}, u"exact.icns"},
        {"exact after a prefix", {device({u"Book"}, u"p.icns"), device({u"Book1,1"}, u"exact.icns")}, u"exact.icns"},
        {"exact ends the search",
         {device({u"Book1,1"}, u"exact.icns"), device({u"Book"}, u"p.icns"), device({u"Book1,1"}, u"later.icns")},
         u"exact.icns"},
        {"the later of two prefixes",
         {device({u"Book"}, u"first.icns"), device({u"Book1"}, u"second.icns")},
         u"second.icns"},
        {"the later one even if shorter",
         {device({u"Book1"}, u"first.icns"), device({u"B"}, u"second.icns")},
         u"second.icns"},
        {"a later prefix without icon takes it away",
         {device({u"Book"}, u"first.icns"), device({u"Book1"}, {})},
         u"com.apple.mac.icns"},
        {"exact without icon does not end the search",
         {device({u"Book1,1"}, {}), device({u"Book1,1"}, u"later.icns")},
         u"later.icns"},
        {"exact without icon is no prefix either",
         {device({u"Book"}, u"first.icns"), device({u"Book1,1"}, {})},
         u"first.icns"},
        {"exact without icon skips the declaration's other tags",
         {device({u"Book"}, u"first.icns"), device({u"Book1,1", u"Book1"}, {})},
         u"first.icns"},
        {"tags before an exact one without icon count",
         {device({u"Book"}, u"first.icns"), device({u"Book1", u"Book1,1"}, {})},
         u"com.apple.mac.icns"},
        {"the model begins with the tag, not the reverse",
         {device({u"Book1,11"}, u"longer.icns")},
         u"com.apple.mac.icns"},
        {"in their case", {device({u"book1,1", u"BOOK"}, u"case.icns")}, u"com.apple.mac.icns"},
        {"another class of tags",
         {{{}, {}, {}, u"other.icns", {{u"public.filename-extension", {u"Book1,1"}}}}},
         u"com.apple.mac.icns"},
    };
    for (const IconCase& row : rows) {
        Machine machine;
        machine.model("Book1,1").types(row.types);
        EXPECT_EQ(BRSystem::info().hwModelIconFile(machine.facilities), row.file) << row.what;
    }
}

struct VersionCase {
    std::int32_t low;
    std::int32_t high;
    bool between;
};

TEST(BRSystem, VersionsAreBetweenTheirBounds) {
    Machine machine;
    machine.version(0, 0x1068);
    const VersionCase rows[] = {
        {0x1060, 0x1070, true},  {0x1068, 0x1068, false}, {0x1068, 0x1069, true},
        {0x1060, 0x1068, false}, {0x1069, 0x1070, false}, {0x1070, 0x1060, false},
    };
    for (const VersionCase& row : rows)
        EXPECT_EQ(isSystemVersionBetween(row.low, row.high, machine.facilities), row.between) << row.low << row.high;
    EXPECT_EQ(systemVersion(machine.facilities), u"1068");
    machine.version(-5551, 0x1068);
    EXPECT_TRUE(isSystemVersionBetween(0x1060, 0x1070, machine.facilities)) << "the status does not count";
    EXPECT_EQ(systemVersion(machine.facilities), u"Unknown");
    machine.version(0, 0);
    EXPECT_EQ(systemVersion(machine.facilities), u"0");
    machine.facilities.Gestalt = [](platform::OSType, std::int32_t*) { return platform::OSErr{-1}; };
    EXPECT_TRUE(isSystemVersionBetween(0, 1, machine.facilities)) << "without an answer it counts as 0";
}

struct NativeCase {
    const char* what;
    std::int32_t pid;
    int number; // errno of sysctlnametomib
    int answer; // errno of the question itself
    std::int32_t value;
    std::int32_t result;
    std::vector<const char*> messages;
};

TEST(BRSystem, ProcessesAreNativeTranslatedOrNotKnown) {
    const NativeCase rows[] = {
        {"native", 0, 0, 0, 1, 1, {}},
        {"translated", 0, 0, 0, 0, 0, {}},
        {"another value", 0, 0, 0, 256, 256, {}},
        {"no such entry",
         0,
         0,
         ENOENT,
         0,
         1,
         {"sysctlbyname_with_pid(0): sysctlbyname failed: No such file or directory\n"}},
        {"not allowed",
         0,
         0,
         EPERM,
         0,
         -1,
         {"sysctlbyname_with_pid(0): sysctlbyname failed: Operation not permitted\n",
          "is_pid_native: sysctlbyname_with_pid failed: Operation not permitted\n"}},
        {"another, native", 7, 0, 0, 1, 1, {}},
        {"another, translated", 7, 0, 0, 0, 0, {}},
        {"another, no such entry",
         7,
         ENOENT,
         0,
         0,
         1,
         {"sysctlbyname_with_pid: sysctlnametomib failed: No such file or directory\n"}},
        {"another, no number",
         7,
         ENOMEM,
         0,
         0,
         -1,
         {"sysctlbyname_with_pid: sysctlnametomib failed: Cannot allocate memory\n",
          "is_pid_native: sysctlbyname_with_pid failed: Cannot allocate memory\n"}},
        {"another, gone",
         7,
         0,
         ESRCH,
         0,
         -1,
         {"sysctlbyname_with_pid: sysctl failed: No such process\n",
          "is_pid_native: sysctlbyname_with_pid failed: No such process\n"}},
        {"another, without entry",
         7,
         0,
         ENOENT,
         0,
         1,
         {"sysctlbyname_with_pid: sysctl failed: No such file or directory\n"}},
    };
    for (const NativeCase& row : rows) {
        Machine machine;
        std::vector<int> asked;
        const auto answer = [&row](void* value, const std::size_t* length) {
            EXPECT_EQ(*length, 4u);
            if (row.answer != 0)
                return Machine::fail(row.answer);
            std::memcpy(value, &row.value, sizeof(row.value));
            return 0;
        };
        machine.facilities.control.sysctlbyname = [&](const char* name, void* value, std::size_t* length) {
            EXPECT_STREQ(name, "sysctl.proc_native");
            return answer(value, length);
        };
        machine.facilities.control.sysctlnametomib = [&](const char* name, int* number, std::size_t* entries) {
            EXPECT_STREQ(name, "sysctl.proc_native");
            EXPECT_EQ(*entries, 12u);
            if (row.number != 0)
                return Machine::fail(row.number);
            for (int i = 0; i < 12; ++i) // the longest number there is
                number[i] = 100 + i;
            *entries = 12;
            return 0;
        };
        machine.facilities.control.sysctl = [&](const int* number, unsigned entries, void* value, std::size_t* length) {
            asked.assign(number, number + entries);
            return answer(value, length);
        };
        const LogFile log;
        EXPECT_EQ(is_pid_native(row.pid, machine.facilities), row.result) << row.what;
        EXPECT_EQ(log.messages(), std::vector<std::string>(row.messages.begin(), row.messages.end())) << row.what;
        if (row.pid != 0 && row.number == 0) {
            EXPECT_EQ(asked.size(), 13u) << row.what;
            EXPECT_EQ(asked.back(), row.pid) << row.what;
        }
        if (row.pid == 0) {
            const bool lowByte = (row.result & 0xFF) != 0;
            EXPECT_EQ(isNativeApp(machine.facilities), lowByte) << row.what;
        }
    }
}

// A device registry of the test's own: interfaces by name, each with what its controller says.
struct Registry {
    struct Interface {
        kern_return_t parent = 0;
        std::optional<Data> address;
    };
    std::vector<Interface> interfaces = {};
    bool matches = true;
    bool dictionary = true;
    kern_return_t services = 0;
    std::optional<String> serial = {};
    int serialsRead = 0;
    std::vector<IOMatching> asked = {};
    int askedWithoutMatching = 0;

    platform::IORegistry registry() {
        platform::IORegistry made;
        made.IOServiceMatching = [this](const char* name) {
            return matches ? std::optional<IOMatching>(IOMatching{name, {}}) : std::nullopt;
        };
        made.CFDictionaryCreateMutable = [this] {
            return dictionary ? std::optional<IOPropertyMatch>(IOPropertyMatch()) : std::nullopt;
        };
        made.IOServiceGetMatchingServices = [this](const std::optional<IOMatching>& matching,
                                                   std::vector<IORegistryEntry>& found) {
            if (matching)
                asked.push_back(*matching);
            else
                ++askedWithoutMatching;
            for (std::size_t i = 0; i < interfaces.size(); ++i)
                found.push_back({std::to_string(i), {}});
            return services;
        };
        made.IORegistryEntryGetParentEntry = [this](const IORegistryEntry& entry, const char* plane,
                                                    IORegistryEntry& parent) {
            EXPECT_STREQ(plane, "IOService");
            parent = {"controller", entry.path};
            return interfaces.at(std::stoul(entry.path)).parent;
        };
        made.IOServiceGetMatchingService = [this](const std::optional<IOMatching>& matching) {
            EXPECT_EQ(matching ? matching->serviceClass : "", "IOPlatformExpertDevice");
            return serial ? std::optional<IORegistryEntry>(IORegistryEntry{"machine", {}}) : std::nullopt;
        };
        made.IORegistryEntryCreateCFProperty = [this](const IORegistryEntry& entry,
                                                      const char* key) -> std::optional<std::variant<Data, String>> {
            if (entry.path == "machine") {
                EXPECT_STREQ(key, "IOPlatformSerialNumber");
                ++serialsRead;
                return serial;
            }
            EXPECT_STREQ(key, "IOMACAddress");
            EXPECT_EQ(entry.path, "controller");
            return interfaces.at(std::stoul(entry.interface)).address;
        };
        return made;
    }
};

// Standard output in a file, until it ends.
class CapturedOutput {
public:
    CapturedOutput() : before_(platform::standardOutput()), file_(std::fopen((folder_ / "out").c_str(), "we")) {
        platform::replaceStandardOutput(file_);
    }
    ~CapturedOutput() {
        platform::replaceStandardOutput(before_);
        std::fclose(file_);
    }
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    [[nodiscard]] std::string text() const {
        std::fflush(file_);
        return testing_support::contentsOf(folder_ / "out");
    }

private:
    TemporaryFolder folder_;
    std::FILE* before_;
    std::FILE* file_;
};

struct AddressCase {
    const char* what;
    Registry registry;
    const char16_t* address; // null: none
    const char* output;
    std::vector<const char*> messages;
};

TEST(BRSystem, TheAddressIsTheLastInterfacesControllers) {
    const Data one = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
    const Data two = {0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
    const kern_return_t lost = static_cast<kern_return_t>(0xE00002C0);
    constexpr const char* noParent = "IORegistryEntryGetParentEntry returned 0xe00002c0\n";
    const AddressCase rows[] = {
        {"one", {{{0, one}}}, u"00:11:22:33:44:55", "", {}},
        {"the last of two", {{{0, one}, {0, two}}}, u"aa:bb:cc:dd:ee:ff", "", {}},
        {"no address", {{{0, {}}}}, u"00:00:00:00:00:00", "", {}},
        {"the last one without address", {{{0, one}, {0, {}}}}, u"00:11:22:33:44:55", "", {}},
        {"more bytes", {{{0, Data{1, 2, 3, 4, 5, 6, 7}}}}, u"01:02:03:04:05:06", "", {}},
        {"fewer bytes", {{{0, Data{1, 2}}}}, u"01:02:00:00:00:00", "", {}},
        {"none", {}, nullptr, "", {"SystemMACAddress failed, GetMACAddress returned 0x00000005\n"}},
        {"the last one without controller",
         {{{0, one}, {lost, two}}},
         nullptr,
         noParent,
         {"SystemMACAddress failed, GetMACAddress returned 0xe00002c0\n"}},
        {"the first one without controller", {{{lost, one}, {0, two}}}, u"aa:bb:cc:dd:ee:ff", noParent, {}},
        {"not searched",
         {{{0, one}}, true, true, lost},
         nullptr,
         "IOServiceGetMatchingServices returned 0xe00002c0\n",
         {"SystemMACAddress failed, FindEthernetInterfaces returned 0xe00002c0\n"}},
        {"no dictionary",
         {{{0, one}}, true, false},
         u"00:11:22:33:44:55",
         "CFDictionaryCreateMutable returned a NULL dictionary.\n",
         {}},
        {"no matching",
         {{{0, one}}, false, true},
         u"00:11:22:33:44:55",
         "IOServiceMatching returned a NULL dictionary.\n",
         {}},
        {"no matching, not searched",
         {{}, false, true, 1},
         nullptr,
         "IOServiceMatching returned a NULL dictionary.\nIOServiceGetMatchingServices returned 0x00000001\n",
         {"SystemMACAddress failed, FindEthernetInterfaces returned 0x00000001\n"}},
    };
    for (const AddressCase& row : rows) {
        Registry registry = row.registry;
        Machine machine;
        machine.facilities.registry = registry.registry();
        const LogFile log;
        const CapturedOutput output;
        const std::optional<String> expected = row.address ? std::optional<String>(row.address) : std::nullopt;
        EXPECT_EQ(SystemMACAddress(machine.facilities), expected) << row.what;
        EXPECT_EQ(output.text(), row.output) << row.what;
        EXPECT_EQ(log.messages(), std::vector<std::string>(row.messages.begin(), row.messages.end())) << row.what;
        EXPECT_EQ(registry.askedWithoutMatching, row.registry.matches ? 0 : 1) << row.what;
        for (const IOMatching& matching : registry.asked) {
            EXPECT_EQ(matching.serviceClass, "IOEthernetInterface");
            EXPECT_EQ(matching.propertyMatch && matching.propertyMatch->IOPrimaryInterface, row.registry.dictionary);
        }
    }
}

TEST(BRSystem, TheSerialNumberIsTheMachines) {
    Registry registry;
    Machine machine;
    machine.facilities.registry = registry.registry();
    EXPECT_EQ(SystemSerialNumber(machine.facilities), std::nullopt);
    registry.serial = u"C02XXXX";
    EXPECT_EQ(SystemSerialNumber(machine.facilities), u"C02XXXX");
}

struct IdentifierCase {
    const char* what;
    bool address;
    const char16_t* serial; // null: none
    const char16_t* digested;
    int serialsRead;
};

TEST(BRSystem, TheUniqueIdentifierStandsForTheHardwareAndTheUser) {
    const IdentifierCase rows[] = {
        {"address", true, u"SERIAL", u"00:11:22:33:44:55jdoe", 0},
        {"serial", false, u"SERIAL", u"SERIALjdoe", 1},
        {"neither", false, nullptr, u"NAjdoe", 0},
    };
    for (const IdentifierCase& row : rows) {
        // Found once a process, so each in one of its own.
        const int result = testing_support::inProcessOfItsOwn([&row] {
            Registry registry;
            if (row.address)
                registry.interfaces = {{0, Data{0x00, 0x11, 0x22, 0x33, 0x44, 0x55}}};
            if (row.serial)
                registry.serial = row.serial;
            Machine machine;
            machine.facilities.registry = registry.registry();
            const LogFile log;
            const String first = br_uniqueSystemID(machine.facilities);
            if (first != br_MD5hex(StringView(row.digested)) || registry.serialsRead != row.serialsRead)
                return 1;
            registry.interfaces = {{0, Data{9, 9, 9, 9, 9, 9}}};
            machine.facilities.NSUserName = [] { return String(u"another"); };
            return br_uniqueSystemID(machine.facilities) == first ? 0 : 2;
        });
        EXPECT_EQ(result, 0) << row.what << " (1: another text, 2: not kept)";
    }
}

TEST(BRSystem, ThisMachineAnswers) {
    const LogFile log;
    const CapturedOutput output;
    EXPECT_FALSE(BRSystem::info().hwModel().empty());
    EXPECT_EQ(BRSystem::info().hwHumanModelName(), u"Mac") << "nothing is declared on Linux";
    EXPECT_EQ(BRSystem::info().hwModelIconFile(), u"com.apple.mac.icns");
    EXPECT_TRUE(isNativeApp());
    EXPECT_EQ(is_pid_native(getpid()), 1);
    const String version = systemVersion();
    EXPECT_FALSE(version.empty());
    EXPECT_EQ(isSystemVersionBetween(0x0100, 0x10000), version != u"Unknown");
    if (const std::optional<String> address = SystemMACAddress()) {
        EXPECT_THAT(lossyUTF8String(*address), testing::MatchesRegex("([0-9a-f][0-9a-f]:)*[0-9a-f][0-9a-f]"));
        EXPECT_EQ(address->size(), 17u);
    }
    EXPECT_EQ(br_uniqueSystemID().size(), 32u);
    EXPECT_EQ(output.text(), "") << "nothing is wrong with this machine's registry";
}

} // namespace
} // namespace brimle
