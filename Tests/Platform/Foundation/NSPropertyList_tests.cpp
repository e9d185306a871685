#include "Foundation/NSPropertyList.h"
#include "Tests/Support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

std::optional<PropertyList> parse(std::string_view text) {
    return propertyListWithData(charactersAsBytes(text));
}

std::string xml(const std::string& element) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + element + "</plist>\n";
}

template <class T>
void expectValue(const PropertyList& list, StringView key, const T& expected) {
    const PropertyList* object = list.objectForKey(key);
    ASSERT_NE(object, nullptr) << lossyUTF8String(key);
    const T* value = std::get_if<T>(&object->value);
    ASSERT_NE(value, nullptr) << lossyUTF8String(key);
    EXPECT_EQ(*value, expected) << lossyUTF8String(key);
}

TEST(NSPropertyList, ReadsBothFormsOfEveryType) {
    for (const std::string form : {"xml", "binary"}) {
        SCOPED_TRACE(form);
        const auto list =
            parse(testing_support::contentsOf(TEST_DATA_FOLDER "/PropertyList/preferences." + form + ".plist"));
        ASSERT_TRUE(list);
        expectValue<std::int64_t>(*list, u"VerboseThumbnailLogging", 1);
        expectValue<std::int64_t>(*list, u"DevMode", 0);
        expectValue<std::int64_t>(*list, u"Big", 4294967297);
        expectValue<std::int64_t>(*list, u"Negative", -5);
        expectValue<std::int64_t>(*list, u"Huge", -1);
        expectValue<double>(*list, u"Real", 1.5);
        expectValue<bool>(*list, u"Yes", true);
        expectValue<String>(*list, u"Text", u"1");
        expectValue<String>(*list, u"Umlaut", u"h\u00E9\U0001F600");
        expectValue<Data>(*list, u"Blob", {0, 1, 255});
        expectValue<PropertyListDate>(*list, u"When", {60});
        const auto& array = std::get<PropertyList::Array>(list->objectForKey(u"List")->value);
        ASSERT_EQ(array.size(), 3u);
        EXPECT_EQ(std::get<String>(array[1].value), u"two");
        expectValue<std::int64_t>(*list->objectForKey(u"Nested")->objectForKey(u"a"), u"b", 7);
        EXPECT_EQ(list->objectForKey(u"Absent"), nullptr);
        EXPECT_EQ(list->objectForKey(u"Text")->objectForKey(u"x"), nullptr);
    }
}

TEST(NSPropertyList, TheLastOfEqualKeysCounts) {
    const auto list = parse(xml("<dict><key>a</key><integer>1</integer><key>a</key><integer>2</integer></dict>"));
    ASSERT_TRUE(list);
    expectValue<std::int64_t>(*list, u"a", 2);
}

struct DamageCase {
    const char* name;
    std::string text;
    bool sound;
};

TEST(NSPropertyList, RefusesWhatIsDamaged) {
    const std::string dictionary = "<dict><key>a</key><integer>1</integer></dict>";
    const DamageCase rows[] = {
        {"whole", xml(dictionary), true},
        {"byte order mark", "\xEF\xBB\xBF" + xml(dictionary), true},
        {"without a head", "<plist version='1.0'>" + dictionary + "</plist>", true},
        {"comment", xml("<!-- <dict> --><dict/>"), true},
        {"document type",
         "<?xml version=\"1.0\"?><!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\"><plist>" +
             dictionary + "</plist>",
         true},
        {"nothing", "", false},
        {"white space", " \n", false},
        {"words", "hello", false},
        {"end missing", "<plist>" + dictionary, false},
        {"cut in a tag", "<plist>" + dictionary + "</pl", false},
        {"cut in a value", "<plist><dict><key>a</key><integer>1", false},
        {"two roots", xml(dictionary) + xml(dictionary), false},
        {"words behind", xml(dictionary) + "x", false},
        {"number with a letter", xml("<integer>5x</integer>"), false},
        {"letters for a number", xml("<integer>abc</integer>"), false},
        {"no number", xml("<integer></integer>"), false},
        {"empty number", xml("<integer/>"), false},
        {"hexadecimal", xml("<integer>0x1F</integer>"), true},
        {"hexadecimal without digits", xml("<integer>0x</integer>"), false},
        {"unknown element", xml("<dict><key>a</key><foo/></dict>"), false},
        {"unknown entity", xml("<string>&bad;</string>"), false},
        {"declared entity", "<!DOCTYPE plist [<!ENTITY a \"b\">]><plist><string>&a;</string></plist>", false},
        {"comment without an end", xml("<!-- "), false},
        {"closing first", "</plist><plist>", false},
        {"open quote", "<plist version=\"1.0><dict/></plist>", false},
        {"key without a value", xml("<dict><key>a</key></dict>"), false},
        {"value without a key", xml("<dict><integer>1</integer></dict>"), false},
        {"two keys", xml("<dict><key>a</key><key>b</key><true/></dict>"), false},
        {"value in a text", xml("<string>a<true/></string>"), false},
        {"list in a list", xml("<array><plist><true/></plist></array>"), false},
        {"nothing in the list", xml(""), false},
        {"two values in the list", xml("<true/><true/>"), false},
        {"without the outer element", "<dict/>", true},
        {"marked section", xml("<string><![CDATA[<a>]]></string>"), true},
        {"not UTF-8", xml("<string>\xE9</string>"), false},
        {"date", xml("<date>2011-06-20T13:42:56Z</date>"), true},
        {"half a date", xml("<date>2011-06-20</date>"), false},
        {"data of three letters", xml("<data>AAE</data>"), false},
        {"real", xml("<real> -1e3 </real>"), true},
        {"no real", xml("<real>1,5</real>"), false},
        {"binary head only", "bplist00", false},
        {"binary head and zeros", std::string("bplist00") + std::string(40, '\0'), false},
        {"text form of old", "{ a = 1; }", false},
    };
    for (const DamageCase& row : rows)
        EXPECT_EQ(parse(row.text).has_value(), row.sound) << row.name;
}

TEST(NSPropertyList, RefusesEveryCutOfAFile) {
    for (const std::string form : {"xml", "binary"}) {
        std::string whole =
            testing_support::contentsOf(TEST_DATA_FOLDER "/PropertyList/preferences." + form + ".plist");
        ASSERT_FALSE(whole.empty());
        while (whole.ends_with('\n'))
            whole.pop_back();
        for (std::size_t length = 0; length < whole.size(); ++length)
            EXPECT_FALSE(parse(std::string_view(whole).substr(0, length))) << form << " " << length;
    }
}

// A chain of arrays, each holding the next one `width` times; the innermost holds a text of `textBytes`.
std::string binaryChain(std::size_t depth, std::size_t width, std::size_t textBytes) {
    std::string out = "bplist00";
    std::vector<std::size_t> offsets;
    const auto put = [&out](std::size_t value, int bytes) {
        for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
            out.push_back(static_cast<char>(value >> shift));
    };
    for (std::size_t i = 0; i < depth; ++i) {
        offsets.push_back(out.size());
        out.push_back(static_cast<char>(0xA0 | width));
        for (std::size_t k = 0; k < width; ++k)
            put(i + 1, 3);
    }
    offsets.push_back(out.size());
    out += "\x5F\x13";
    put(textBytes, 8);
    out.append(textBytes, 'x');
    const std::size_t table = out.size();
    for (const std::size_t offset : offsets)
        put(offset, 4);
    put(0, 6);
    put(4, 1);
    put(3, 1);
    put(offsets.size(), 8);
    put(0, 8);
    put(table, 8);
    return out;
}

TEST(NSPropertyList, BoundsDepthCountAndSize) {
    const auto nested = [](std::size_t depth) {
        std::string text;
        for (std::size_t i = 0; i < depth; ++i)
            text += "<array>";
        for (std::size_t i = 0; i < depth; ++i)
            text += "</array>";
        return xml(text);
    };
    EXPECT_TRUE(parse(nested(90)));
    EXPECT_FALSE(parse(nested(101)));
    EXPECT_FALSE(parse(nested(500'000)));
    EXPECT_TRUE(parse(binaryChain(90, 1, 1)));
    EXPECT_FALSE(parse(binaryChain(101, 1, 1)));
    EXPECT_FALSE(parse(binaryChain(1'000'000, 1, 1)));
    EXPECT_TRUE(parse(binaryChain(10, 2, 1)));
    EXPECT_FALSE(parse(binaryChain(90, 2, 1)));         // 2^90 values
    EXPECT_FALSE(parse(binaryChain(10, 2, 1'000'000))); // 1 GB of text
    EXPECT_FALSE(parse(xml("<array>" + std::string(17 << 20, ' ') + "</array>")));
}

TEST(NSPropertyList, RefusesObjectsOutsideTheFile) {
    const std::string whole = binaryChain(2, 1, 4);
    ASSERT_TRUE(parse(whole));
    for (std::size_t i = 8; i < whole.size(); ++i)
        for (const int value : {0x00, 0x0F, 0x1F, 0x3F, 0x4F, 0x5F, 0x6F, 0x7F, 0x80, 0xA9, 0xCF, 0xDF, 0xFF}) {
            std::string changed = whole;
            changed[i] = static_cast<char>(value);
            (void)parse(changed); // under the sanitizers: no access outside
        }
    std::string changed = whole;
    changed[changed.size() - 9] = 100; // the top object's number
    EXPECT_FALSE(parse(changed));
}

} // namespace
} // namespace platform
