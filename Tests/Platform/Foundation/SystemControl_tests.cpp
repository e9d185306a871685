#include "Foundation/SystemControl.h"

#include "../../Support/TemporaryFolder.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <gmock/gmock.h>
#include <unistd.h>

namespace platform {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;
using testing_support::TemporaryFolder;
using testing_support::write;

class FakeKernel {
public:
    void process(int pid, const std::string& name, unsigned user) const {
        const auto where = folder_ / "proc" / std::to_string(pid);
        write(where / "comm", name + "\n");
        const std::string id = std::to_string(user);
        write(where / "status", "Name:\t" + name + "\nPid:\t1\nUid:\t77\t" + id + "\t78\t79\nGid:\t0\t0\t0\t0\n");
    }
    void file(const std::string& path, std::string_view contents) const { write(folder_.path() / path, contents); }
    void program(int pid, const char* path) const {
        std::filesystem::create_directories(folder_ / "proc" / std::to_string(pid));
        std::filesystem::create_symlink(path, folder_ / "proc" / std::to_string(pid) / "exe");
    }
    [[nodiscard]] SystemControl control() const {
        return systemControl(SystemRoots{folder_ / "proc", folder_ / "sys"});
    }

private:
    TemporaryFolder folder_;
};

std::vector<std::string> names(const SystemControl& control, const std::vector<int>& number, std::size_t room = 100) {
    std::vector<kinfo_proc> records(room);
    std::size_t length = records.size() * sizeof(kinfo_proc);
    if (control.sysctl(number.data(), static_cast<unsigned>(number.size()), records.data(), &length) != 0)
        return {"errno " + std::to_string(errno)};
    std::vector<std::string> found;
    for (std::size_t i = 0; i < length / sizeof(kinfo_proc); ++i)
        found.emplace_back(records[i].p_comm);
    return found;
}

TEST(SystemControl, ListsProcesses) {
    const FakeKernel kernel;
    kernel.process(1, "init", 0);
    kernel.process(42, "line\nfeed", 1000);
    kernel.process(4194304, "fifteen-letters", 1000);
    kernel.file("proc/43/status", "a process that has just ended");
    kernel.file("proc/self/comm", "not a process id\n");
    kernel.file("proc/12ab/comm", "nor this\n");
    kernel.file("proc/uptime", "1 2\n");
    const SystemControl control = kernel.control();
    EXPECT_THAT(names(control, {1, 14, 0}), UnorderedElementsAre("init", "line\nfeed", "fifteen-letters"));
    std::size_t length = 0;
    const int all[] = {1, 14, 0};
    EXPECT_EQ(control.sysctl(all, 3, nullptr, &length), 0);
    EXPECT_GE(length / sizeof(kinfo_proc), 4 + 16u) << "with room for processes that start meanwhile";
    EXPECT_THAT(names(control, {1, 14, 0}, 2), ElementsAre("errno " + std::to_string(ENOMEM)));
    EXPECT_THAT(names(control, {1, 14, 0}, 3), testing::SizeIs(3));
    EXPECT_THAT(names(control, {1, 14}), ElementsAre("errno " + std::to_string(ENOENT)));
    EXPECT_THAT(names(control, {1, 14, 7}), ElementsAre("errno " + std::to_string(ENOENT)));
    EXPECT_THAT(names(control, {1, 15, 0}), ElementsAre("errno " + std::to_string(ENOENT)));
}

TEST(SystemControl, ListsTheProcessesOfAnEffectiveUser) {
    const FakeKernel kernel;
    kernel.process(1, "init", 0);
    kernel.process(2, "ours", 1000);
    kernel.file("proc/3/comm", "unknown\n");
    if (geteuid() == 0) { // the files are root's, as those of a process that changed its user
        EXPECT_THAT(names(kernel.control(), {1, 14, 5, 1000}), ElementsAre("ours"));
        EXPECT_THAT(names(kernel.control(), {1, 14, 5, 0}), ElementsAre("init"));
        EXPECT_THAT(names(kernel.control(), {1, 14, 5, 77}), testing::IsEmpty()) << "the real user does not count";
    } else { // the owner of the files decides
        EXPECT_THAT(names(kernel.control(), {1, 14, 5, int(geteuid())}), testing::SizeIs(3));
        EXPECT_THAT(names(kernel.control(), {1, 14, 5, int(geteuid()) + 1}), testing::IsEmpty());
    }
}

TEST(SystemControl, WithoutAProcessFileSystemThereIsAnError) {
    const SystemControl control = systemControl(SystemRoots{"/no/such/folder", "/no/such/folder"});
    const int all[] = {1, 14, 0};
    std::size_t length = 0;
    EXPECT_EQ(control.sysctl(all, 3, nullptr, &length), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_THAT(names(control, {1, 14, 0}), ElementsAre("errno " + std::to_string(ENOENT)));
}

struct ModelCase {
    const char* dmi; // null: no such file
    const char* deviceTree;
    const char* expected; // null: no model
};

TEST(SystemControl, TellsTheModelByFirmware) {
    const ModelCase rows[] = {
        {"20QV0007US\n", nullptr, "20QV0007US"},
        {nullptr, "Raspberry Pi 4 Model B Rev 1.4", "Raspberry Pi 4 Model B Rev 1.4"},
        {"MacBookPro11,1\n", "Board", "MacBookPro11,1"},
        {"\n", "Board", "Board"},
        {"", nullptr, nullptr},
        {nullptr, nullptr, nullptr},
    };
    for (const ModelCase& row : rows) {
        const FakeKernel kernel;
        if (row.dmi)
            kernel.file("sys/class/dmi/id/product_name", row.dmi);
        if (row.deviceTree)
            kernel.file("sys/firmware/devicetree/base/model", std::string(row.deviceTree) + '\0');
        std::array<char, 64> model{};
        std::size_t length = model.size();
        EXPECT_EQ(kernel.control().sysctlbyname("hw.model", model.data(), &length), row.expected ? 0 : -1);
        if (row.expected) {
            EXPECT_STREQ(model.data(), row.expected);
            EXPECT_EQ(length, std::strlen(row.expected) + 1);
        } else {
            EXPECT_EQ(errno, ENOENT);
        }
    }
}

TEST(SystemControl, AModelThatDoesNotFitIsAnError) {
    const FakeKernel kernel;
    kernel.file("sys/class/dmi/id/product_name", std::string(64, 'x'));
    std::array<char, 64> model{};
    std::size_t length = model.size();
    EXPECT_EQ(kernel.control().sysctlbyname("hw.model", model.data(), &length), -1);
    EXPECT_EQ(errno, ENOMEM);
    kernel.file("sys/class/dmi/id/product_name", std::string(63, 'x'));
    length = model.size();
    EXPECT_EQ(kernel.control().sysctlbyname("hw.model", model.data(), &length), 0);
    EXPECT_EQ(length, 64u);
    EXPECT_EQ(kernel.control().sysctlbyname("hw.other", model.data(), &length), -1);
    EXPECT_EQ(errno, ENOENT);
}

// 1 native, 0 translated, -errno.
int native(const SystemControl& control, int pid) {
    std::array<int, CTL_MAXNAME> number{};
    std::size_t entries = number.size() - 1;
    if (control.sysctlnametomib("sysctl.proc_native", number.data(), &entries) != 0)
        return -1000;
    number[entries++] = pid;
    std::int32_t value = -7;
    std::size_t length = sizeof(value);
    return control.sysctl(number.data(), static_cast<unsigned>(entries), &value, &length) == 0 ? value : -errno;
}

TEST(SystemControl, ProcessesOfARegisteredTranslatorAreNotNative) {
    const FakeKernel kernel;
    kernel.program(10, "/usr/bin/qemu-aarch64-static");
    kernel.program(11, "/usr/bin/bash");
    kernel.program(12, "/usr/bin/python3.11");
    kernel.program(13, "/usr/bin/qemu-ppc64-static");
    kernel.process(2, "kthreadd", 0);
    EXPECT_EQ(native(kernel.control(), 10), 1) << "nothing is registered";
    kernel.file("proc/sys/fs/binfmt_misc/status", "enabled\n");
    kernel.file(
        "proc/sys/fs/binfmt_misc/qemu-aarch64",
        "enabled\ninterpreter /usr/bin/qemu-aarch64-static\nflags: OCF\noffset 0\nmagic 7f454c460201\nmask ff\n");
    kernel.file("proc/sys/fs/binfmt_misc/qemu-ppc64",
                "disabled\ninterpreter /usr/bin/qemu-ppc64-static\nflags: \noffset 0\nmagic 7f454c460202\n");
    kernel.file("proc/sys/fs/binfmt_misc/python",
                "enabled\ninterpreter /usr/bin/python3.11\nflags: \noffset 0\nmagic a70d0d0a\n");
    EXPECT_EQ(native(kernel.control(), 10), 0);
    EXPECT_EQ(native(kernel.control(), 11), 1);
    EXPECT_EQ(native(kernel.control(), 12), 1) << "bytecode is no machine code";
    EXPECT_EQ(native(kernel.control(), 13), 1) << "not enabled";
    EXPECT_EQ(native(kernel.control(), 2), -ENOENT) << "the kernel's own have no program";
    EXPECT_EQ(native(kernel.control(), 99), -ESRCH);
}

TEST(SystemControl, TheNumberOfANameNeedsRoom) {
    std::array<int, CTL_MAXNAME> number{};
    std::size_t entries = 1;
    EXPECT_EQ(systemControl().sysctlnametomib("sysctl.proc_native", number.data(), &entries), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(systemControl().sysctlnametomib("kern.ostype", number.data(), &entries), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST(SystemControl, ThisProcessIsNative) {
    std::int32_t value = -7;
    std::size_t length = sizeof(value);
    EXPECT_EQ(systemControl().sysctlbyname("sysctl.proc_native", &value, &length), 0);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(length, sizeof(value));
    EXPECT_EQ(native(systemControl(), getpid()), 1);
}

} // namespace
} // namespace platform
