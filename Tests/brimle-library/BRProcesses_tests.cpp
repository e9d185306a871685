#include "brimle/BRProcesses.h"

#include "../Support/LogFile.h"
#include "../Support/ProcessState.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/prctl.h>

namespace brimle {
namespace {

using platform::kinfo_proc;
using platform::lossyUTF8String;
using platform::String;
using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::LogFile;

// A process table of the test's own that remembers what it was asked.
struct Table {
    std::vector<kinfo_proc> records;
    std::vector<std::vector<int>> questions;
    int failSize = 0; // errno values
    int failRead = 0;
    bool noMemory = false;
    std::size_t extraBytes = 0; // behind the last whole record

    SystemControl control() {
        SystemControl made;
        made.sysctl = [this](const int* number, unsigned entries, void* value, std::size_t* length) {
            questions.emplace_back(number, number + entries);
            errno = value ? failRead : failSize;
            if (errno != 0)
                return -1;
            const std::size_t bytes = records.size() * sizeof(kinfo_proc) + extraBytes;
            if (value && !records.empty())
                std::memcpy(value, records.data(), records.size() * sizeof(kinfo_proc));
            *length = value ? bytes : bytes + sizeof(kinfo_proc);
            return 0;
        };
        made.allocate = [this](std::size_t bytes) { return noMemory ? nullptr : std::malloc(bytes); };
        return made;
    }
};

kinfo_proc record(const char* name) {
    kinfo_proc made{1, 0, {}};
    std::string_view(name).copy(made.p_comm, platform::MAXCOMLEN);
    return made;
}

struct NameCase {
    const char16_t* name;
    bool runs;
};

TEST(BRProcesses, NamesAreComparedWholeAndInTheirCase) {
    Table table;
    table.records = {record("init"), record("two words"), record("sixteen-letters-"), record("caf\xC3\xA9"),
                     record("last")};
    const SystemControl control = table.control();
    const NameCase rows[] = {
        {u"init", true},
        {u"Init", false},
        {u"ini", false},
        {u"init ", false},
        {u"two words", true},
        {u"sixteen-letters-", true},
        {u"sixteen-letters-x", false},
        {u"café", true},
        {u"last", true},
        {u"", false},
        {u"\xD800", false},
    };
    for (const NameCase& row : rows) {
        EXPECT_EQ(processIsRunning(row.name, control), row.runs) << lossyUTF8String(row.name);
        EXPECT_EQ(currentUserIsRunning(row.name, control), row.runs) << lossyUTF8String(row.name);
    }
    EXPECT_FALSE(processIsRunning(StringView(u"init\0x", 6), control));
}

TEST(BRProcesses, TheTableIsAskedForItsSizeAndThenForItsRecords) {
    Table table;
    EXPECT_FALSE(processIsRunning(u"x", table.control()));
    EXPECT_THAT(table.questions, ElementsAre(ElementsAre(1, 14, 0), ElementsAre(1, 14, 0)));
    table.questions.clear();
    EXPECT_FALSE(currentUserIsRunning(u"x", table.control()));
    const int user = static_cast<int>(geteuid());
    EXPECT_THAT(table.questions, ElementsAre(ElementsAre(1, 14, 5, user), ElementsAre(1, 14, 5, user)));
}

TEST(BRProcesses, ARecordThatIsCutOffDoesNotCount) {
    Table table;
    table.records = {record("whole")};
    table.extraBytes = sizeof(kinfo_proc) - 1;
    EXPECT_TRUE(processIsRunning(u"whole", table.control()));
    EXPECT_FALSE(processIsRunning(u"", table.control()));
}

struct FailureCase {
    int size;
    int read;
    bool noMemory;
    const char* message; // behind the function's name
};

TEST(BRProcesses, FailuresAreLoggedAndCountAsNo) {
    const std::string bytes = std::to_string(2 * sizeof(kinfo_proc));
    const std::string outOfMemory = " failed, out of memory (" + bytes + ")";
    const FailureCase rows[] = {
        {EPERM, 0, false, " failed, sysctl=1"},
        {ENOENT, ENOMEM, true, " failed, sysctl=2"},
        {0, 0, true, outOfMemory.c_str()},
        {0, ENOMEM, false, " failed 2, sysctl=12"},
    };
    for (const FailureCase& row : rows) {
        Table table;
        table.records = {record("x")};
        table.failSize = row.size;
        table.failRead = row.read;
        table.noMemory = row.noMemory;
        const LogFile log;
        EXPECT_FALSE(currentUserIsRunning(u"x", table.control())) << row.message;
        EXPECT_FALSE(processIsRunning(u"x", table.control())) << row.message;
        EXPECT_THAT(log.messages(), ElementsAre(std::string("currentUserIsRunning") + row.message,
                                                std::string("processIsRunning") + row.message));
    }
}

// A name that nothing else bears.
std::string uniqueName() {
    return "tt" + std::to_string(getpid()) + "x";
}

TEST(BRProcesses, FindsThisProcessByTheNameThatTheKernelKeeps) {
    char before[platform::MAXCOMLEN] = {};
    prctl(PR_GET_NAME, before);
    const LogFile log;
    const std::string name = uniqueName();
    const String wide(name.begin(), name.end());
    EXPECT_FALSE(processIsRunning(wide));
    prctl(PR_SET_NAME, name.c_str());
    EXPECT_TRUE(processIsRunning(wide));
    EXPECT_TRUE(currentUserIsRunning(wide));
    EXPECT_FALSE(processIsRunning(wide.substr(1)));
    const std::string longer = name + "-and-much-longer";
    prctl(PR_SET_NAME, longer.c_str());
    const String wideLonger(longer.begin(), longer.end());
    EXPECT_FALSE(processIsRunning(wideLonger)) << "the kernel keeps 15 characters";
    EXPECT_FALSE(processIsRunning(wideLonger.substr(0, 16)));
    EXPECT_TRUE(processIsRunning(wideLonger.substr(0, 15)));
    prctl(PR_SET_NAME, before);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST(BRProcesses, TheCurrentUserIsTheEffectiveOne) {
    // Two of this very process: as it is, and (where we may) as another user.
    const int result = testing_support::inProcessOfItsOwn([] {
        const std::string name = uniqueName();
        const String wide(name.begin(), name.end());
        int gate[2];
        if (pipe2(gate, O_CLOEXEC) != 0)
            return 1;
        const pid_t other = fork();
        if (other == 0) {
            close(gate[1]);
            prctl(PR_SET_NAME, name.c_str());
            if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0)
                _exit(1);
            char wait = 0;
            static_cast<void>(!read(gate[0], &wait, 1));
            _exit(0);
        }
        const bool isOurs = geteuid() != 0;
        const bool seen = testing_support::eventually([&] { return processIsRunning(wide); });
        const bool right = testing_support::eventually([&] { return currentUserIsRunning(wide) == isOurs; });
        close(gate[1]);
        waitpid(other, nullptr, 0);
        return !seen ? 2 : right ? 0 : 3;
    });
    EXPECT_EQ(result, 0) << "2: never seen; 3: seen for the wrong user";
}

} // namespace
} // namespace brimle
