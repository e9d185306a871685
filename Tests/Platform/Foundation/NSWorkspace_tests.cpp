#include "Foundation/NSWorkspace.h"

#include "../../Support/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace platform {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(NSWorkspace, ListsLocalVolumesInTheOrderOfTheTable) {
    const testing_support::TemporaryFolder folder;
    // The form of proc(5): id, parent, device, root, mount point, options, "-", type, source, options.
    testing_support::write(folder / "mountinfo", "22 27 0:21 / /proc rw - proc proc rw\n"
                                                 "23 27 0:22 / /sys rw - sysfs sysfs rw\n"
                                                 "27 1 254:0 / / rw - ext4 /dev/vda rw\n"
                                                 "28 27 0:25 / /run rw - tmpfs tmpfs rw\n"
                                                 "30 27 8:1 / /Volumes/USB\\040Stick rw - vfat /dev/sdb1 rw\n"
                                                 "31 27 0:41 / /Volumes/Server rw - nfs4 server:/export rw\n"
                                                 "32 27 0:42 / /Volumes/Share rw - cifs //server/share rw\n"
                                                 "33 27 8:2 / /Volumes/D\xC3\xA4ten rw shared:1 - ext4 /dev/sdc1 rw\n"
                                                 "34 27 0:43 / /Volumes/Phone rw - fuse.sshfs phone:/ rw\n");
    EXPECT_THAT(NSWorkspace(folder / "mountinfo").mountedLocalVolumePaths(),
                ElementsAre(u"/Volumes/USB Stick", u"/Volumes/Däten"));
}

TEST(NSWorkspace, NoTableIsNoVolume) {
    const testing_support::TemporaryFolder folder;
    EXPECT_THAT(NSWorkspace(folder / "missing").mountedLocalVolumePaths(), IsEmpty());
    testing_support::write(folder / "garbage", std::string("\0\xFF mount\n\n- - -\n", 15));
    EXPECT_THAT(NSWorkspace(folder / "garbage").mountedLocalVolumePaths(), IsEmpty());
}

TEST(NSWorkspace, TheMachinesOwnTableNeverHoldsTheRoot) {
    for (const String& path : NSWorkspace().mountedLocalVolumePaths()) {
        EXPECT_NE(path, u"/");
        EXPECT_TRUE(path.starts_with(u"/")) << lossyUTF8String(path);
    }
}

} // namespace
} // namespace platform
