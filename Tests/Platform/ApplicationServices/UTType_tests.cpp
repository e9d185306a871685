#include "ApplicationServices/UTType.h"
#include "Foundation/CoreTypesBundle.h"

#include "../../Support/TemporaryFolder.h"

#include <gmock/gmock.h>

namespace platform {
namespace {

using testing::IsEmpty;
using testing_support::TemporaryFolder;

constexpr char list[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
<key>Other</key><string>x</string>
<key>UTExportedTypeDeclarations</key><array>
  <dict>
    <key>UTTypeIdentifier</key><string>com.apple.mac</string>
    <key>UTTypeDescription</key><string>Mac</string>
  </dict>
  <dict>
    <key>UTTypeIdentifier</key><string>com.apple.macbook</string>
    <key>UTTypeConformsTo</key><array><string>com.apple.mac</string><string>public.other</string></array>
    <key>UTTypeIconFile</key><string>macbook.icns</string>
    <key>UTTypeTagSpecification</key><dict>
      <key>com.apple.device-model-code</key><array><string>MacBook</string><integer>5</integer><string>MacBook1,1</string></array>
      <key>public.other</key><string>single</string>
    </dict>
  </dict>
  <string>no declaration</string>
  <dict>
    <key>UTTypeConformsTo</key><string>com.apple.mac</string>
    <key>UTTypeTagSpecification</key><string>no dictionary</string>
  </dict>
  <dict>
    <key>UTTypeIdentifier</key><string>second</string>
    <key>UTTypeTagSpecification</key><dict>
      <key>com.apple.device-model-code</key><array><string>MacBook1,1</string></array>
    </dict>
  </dict>
</array></dict></plist>)";

TEST(UTType, ReadsDeclarations) {
    const TemporaryFolder folder;
    testing_support::write(folder / "Info.plist", list);
    const UniformTypes types = uniformTypes([&] { return (folder / "Info.plist").u16string(); });
    const auto declarations = types.UTExportedTypeDeclarations();
    ASSERT_EQ(declarations.size(), 5u);
    EXPECT_EQ(declarations[0], (TypeDeclaration{u"com.apple.mac", u"Mac", {}, {}, {}}));
    const TypeDeclaration book = {
        u"com.apple.macbook",
        {},
        u"com.apple.mac",
        u"macbook.icns",
        {{u"com.apple.device-model-code", {u"MacBook", u"MacBook1,1"}}, {u"public.other", {u"single"}}}};
    EXPECT_EQ(declarations[1], book);
    EXPECT_EQ(declarations[2], TypeDeclaration());
    EXPECT_EQ(declarations[3], (TypeDeclaration{{}, {}, u"com.apple.mac", {}, {}}));
    EXPECT_EQ(types.UTTypeCopyDeclaration(u"com.apple.macbook"), book);
    EXPECT_EQ(types.UTTypeCopyDeclaration(u"none"), std::nullopt);
    EXPECT_EQ(types.UTTypeCreatePreferredIdentifierForTag(kUTTagClassDeviceModelCode, u"MacBook1,1"),
              u"com.apple.macbook");
    EXPECT_EQ(types.UTTypeCreatePreferredIdentifierForTag(u"public.other", u"single"), u"com.apple.macbook");
    EXPECT_EQ(types.UTTypeCreatePreferredIdentifierForTag(kUTTagClassDeviceModelCode, u"single"), std::nullopt);
}

TEST(UTType, WithoutAListNothingIsDeclared) {
    const TemporaryFolder folder;
    for (const char* contents :
         {"", "no list", "<plist><array/></plist>",
          "<plist><dict><key>UTExportedTypeDeclarations</key><string>x</string></dict></plist>"}) {
        testing_support::write(folder / "Info.plist", contents);
        const UniformTypes types = uniformTypes([&] { return (folder / "Info.plist").u16string(); });
        EXPECT_THAT(types.UTExportedTypeDeclarations(), IsEmpty()) << contents;
        EXPECT_EQ(types.UTTypeCopyDeclaration(u"com.apple.mac"), std::nullopt) << contents;
    }
    EXPECT_THAT(uniformTypes([] { return String(u"/no/such/list"); }).UTExportedTypeDeclarations(), IsEmpty());
    EXPECT_THAT(uniformTypes([] { return String(u"\xD800"); }).UTExportedTypeDeclarations(), IsEmpty());
}

TEST(UTType, TheSystemsBundleIsBelowItsRoot) {
    EXPECT_THAT(uniformTypes().UTExportedTypeDeclarations(), IsEmpty()) << "Linux has none";
    const TemporaryFolder folder;
    testing_support::write(folder / "System/Library/CoreServices/CoreTypes.bundle/Contents/Info.plist", list);
    setCoreTypesRoot(folder.path().u16string());
    EXPECT_EQ(uniformTypes().UTExportedTypeDeclarations().size(), 5u);
    setCoreTypesRoot(u"");
    EXPECT_EQ(coreTypesContentsFolder(), u"/System/Library/CoreServices/CoreTypes.bundle/Contents");
}

} // namespace
} // namespace platform
