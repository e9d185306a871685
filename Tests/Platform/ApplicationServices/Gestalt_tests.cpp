#include "ApplicationServices/Gestalt.h"

#include "../../Support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

struct VersionCase {
    const char* version;
    std::optional<std::int32_t> packed;
};

TEST(Gestalt, PacksVersions) {
    const VersionCase rows[] = {
        {"10.6.8", 0x1068},
        {"10.10.5", 0x1095},
        {"10.6", 0x1060},
        {"12", 0x1200},
        {"22.04", 0x2240},
        {"9.2.2", 0x0922},
        {"3.18.4", 0x0394},
        {"20240101", 0x9900},
        {"39", 0x3900},
        {"12.5.1-x", 0x1251},
        {"12rc1.3", 0x1200},
        {"10..8", 0x1000},
        {"10.", 0x1000},
        {"99999999999.1", 0x9910},
        {"10.99999999999.7", 0x1097},
        {"0", 0},
        {"", {}},
        {"rolling", {}},
        {".5", {}},
        {"-1", {}},
    };
    for (const VersionCase& row : rows)
        EXPECT_EQ(packedSystemVersion(row.version), row.packed) << row.version;
}

struct ReleaseCase {
    const char* etc; // null: no such file
    const char* usr;
    std::optional<std::int32_t> packed;
};

TEST(Gestalt, ReadsTheReleaseFile) {
    const ReleaseCase rows[] = {
        {"NAME=\"Debian\"\nVERSION_ID=\"12\"\nID=debian\n", nullptr, 0x1200},
        {"VERSION_ID=38\n", "VERSION_ID=\"1\"\n", 0x3800},
        {"VERSION_ID='22.04'", nullptr, 0x2240},
        {nullptr, "VERSION_ID=\"11.2\"\n", 0x1120},
        {"NAME=Rolling\n", "VERSION_ID=\"11.2\"\n", 0x1120},
        {"MY_VERSION_ID=3\n", nullptr, {}},
        {nullptr, nullptr, {}},
    };
    for (const ReleaseCase& row : rows) {
        const testing_support::TemporaryFolder folder;
        if (row.etc)
            testing_support::write(folder / "etc/os-release", row.etc);
        if (row.usr)
            testing_support::write(folder / "usr/lib/os-release", row.usr);
        std::int32_t response = -7;
        const OSErr status = Gestalt(gestaltSystemVersion, &response, folder.path());
        EXPECT_EQ(status, row.packed ? noErr : gestaltUndefSelectorErr) << (row.etc ? row.etc : "(none)");
        EXPECT_EQ(response, row.packed.value_or(-7)) << (row.etc ? row.etc : "(none)");
    }
}

TEST(Gestalt, AnswersOneQuestion) {
    std::int32_t response = -7;
    EXPECT_EQ(Gestalt(0x6D656D20, &response), gestaltUndefSelectorErr);
    EXPECT_EQ(response, -7);
}

} // namespace
} // namespace platform
