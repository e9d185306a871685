#include "AppKit/NSImage.h"
#include "brimle/BRSystem.h"
#include "brimle/NSImage+Brimle.h"

#include "../Support/ProcessState.h"
#include "../Support/TemporaryFolder.h"

#include <cstring>
#include <gtest/gtest.h>

namespace brimle {
namespace {

using testing_support::TemporaryFolder;

constexpr char list[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>UTExportedTypeDeclarations</key><array>
  <dict>
    <key>UTTypeIconFile</key><string>%s</string>
    <key>UTTypeTagSpecification</key><dict>
      <key>com.apple.device-model-code</key><array><string>Test</string></array>
    </dict>
  </dict>
</array></dict></plist>)";

// A bundle whose types give every model that begins with "Test" the icon file of that name.
class Bundle {
public:
    explicit Bundle(const std::string& iconFile) {
        std::string text = list;
        text.replace(text.find("%s"), 2, iconFile);
        testing_support::write(contents_ / "Info.plist", text);
        setCoreTypesRoot(folder_.path().u16string());
    }
    void addIcon(const std::string& name) const {
        std::filesystem::create_directories(contents_ / "Resources");
        std::filesystem::copy_file(TEST_DATA_FOLDER "/images/files.icns", contents_ / "Resources" / name);
    }

private:
    TemporaryFolder folder_;
    std::filesystem::path contents_ = folder_ / "System/Library/CoreServices/CoreTypes.bundle/Contents";
};

SystemFacilities machineOfModel(const char* model) {
    SystemFacilities machine = systemFacilities();
    machine.control.sysctlbyname = [model](const char*, void* value, std::size_t*) {
        std::strcpy(static_cast<char*>(value), model);
        return 0;
    };
    return machine;
}

// The icon is found once a process, so each test has one of its own.

TEST(BRSystemIcon, IsTheFileOfTheDeclaredTypeAndKept) {
    EXPECT_EQ(testing_support::inProcessOfItsOwn([] {
                  const Bundle bundle("tessaro-test-model.icns");
                  bundle.addIcon("tessaro-test-model.icns");
                  const platform::NSImage& icon = BRSystem::info().hwModelIcon(machineOfModel("Test1,1"));
                  if (!icon.isValid())
                      return 1;
                  const Bundle another("tessaro-test-other.icns");
                  const platform::NSImage& again = BRSystem::info().hwModelIcon(machineOfModel("Test2,1"));
                  return &again == &icon && again.isValid() ? 0 : 2;
              }),
              0)
        << "1: not found, 2: not kept";
}

TEST(BRSystemIcon, OfAnUnknownModelIsTheGeneralOne) {
    EXPECT_EQ(testing_support::inProcessOfItsOwn([] {
                  const Bundle bundle("tessaro-test-model.icns");
                  bundle.addIcon("com.apple.mac.icns");
                  return BRSystem::info().hwModelIcon(machineOfModel("Other1,1")).isValid() ? 0 : 1;
              }),
              0);
}

TEST(BRSystemIcon, IsNotValidWhereThereIsNone) {
    EXPECT_EQ(testing_support::inProcessOfItsOwn([] {
                  const Bundle bundle("tessaro-test-missing.icns");
                  return BRSystem::info().hwModelIcon(machineOfModel("Test1,1")).isValid() ? 1 : 0;
              }),
              0);
}

} // namespace
} // namespace brimle
