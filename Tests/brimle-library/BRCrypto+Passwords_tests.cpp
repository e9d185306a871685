#include "brimle/BRCrypto.h"

#include "Foundation/NSAssertionHandler.h"
#include "Foundation/NSException.h"
#include "Tests/Support/LogCapture.h"

#include <gmock/gmock.h>

namespace brimle {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::LogCapture;

Data bytesOf(std::string_view text) {
    return {text.begin(), text.end()};
}
const Data magic = bytesOf("Salted__");
const Data salt = bytesOf("saltsalt");
const Data password = bytesOf("password");

Data joined(Data a, const Data& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

bool isContainer(const Data& data) {
    return data.size() >= 16 && std::equal(magic.begin(), magic.end(), data.begin());
}

// --- The two families of passwords ---

struct Family {
    const char* name;
    std::optional<Data> (*encryptSalted)(const Data& plain, std::int32_t keySize);
    std::optional<Data> (*encryptBare)(const Data& plain, std::int32_t keySize);
    std::optional<Data> (*decrypt)(const Data& data, std::int32_t keySize);
};

const Family families[] = {
    {"binary password",
     [](const Data& plain, std::int32_t k) {
         return br_AESEncryptWithBinaryPassword_keySize_useSalt(plain, password, k, true);
     },
     [](const Data& plain, std::int32_t k) {
         return br_AESEncryptWithBinaryPassword_keySize_useSalt(plain, password, k, false);
     },
     [](const Data& data, std::int32_t k) { return br_AESDecryptWithBinaryPassword_keySize(data, password, k); }},
    {"password",
     [](const Data& plain, std::int32_t k) {
         return br_AESEncryptWithPassword_keySize_PBKDF2Iterations(plain, u"password", k, 3);
     },
     [](const Data& plain, std::int32_t k) {
         return br_AESEncryptWithPassword_keySize_PBKDF2Iterations_salt(plain, u"password", k, 3, std::nullopt);
     },
     [](const Data& data, std::int32_t k) {
         return br_AESDecryptWithPassword_keySize_PBKDF2Iterations(data, u"password", k, 3);
     }},
};

TEST(PasswordFamilies, RoundTripEveryLength) {
    for (const Family& family : families)
        for (const std::int32_t keySize : {16, 32})
            for (std::size_t length = 0; length <= 256; ++length) {
                const Data plain(length, static_cast<std::uint8_t>(length + 1));
                const auto bare = family.encryptBare(plain, keySize);
                ASSERT_EQ(bare->size(), length == 0 ? 0 : length / 16 * 16 + 16) << family.name;
                ASSERT_EQ(family.decrypt(*bare, keySize), plain) << family.name << length;
                const auto salted = family.encryptSalted(plain, keySize);
                ASSERT_TRUE(isContainer(*salted)) << family.name;
                ASSERT_EQ(salted->size(), 16 + bare->size()) << family.name;
                if (length > 0) {
                    ASSERT_EQ(family.decrypt(*salted, keySize), plain) << family.name << length;
                }
            }
}

TEST(PasswordFamilies, DrawAFreshSaltEachTime) {
    for (const Family& family : families) {
        const Data first = *family.encryptSalted(bytesOf("text"), 16);
        const Data second = *family.encryptSalted(bytesOf("text"), 16);
        EXPECT_NE(Data(first.begin() + 8, first.begin() + 16), Data(second.begin() + 8, second.begin() + 16));
        EXPECT_NE(Data(first.begin() + 16, first.end()), Data(second.begin() + 16, second.end()));
    }
}

TEST(PasswordFamilies, TheSaltIsWhatTheRandomDeviceDelivers) {
    const RandomDevice short5{systemRandomDevice().open, [](int, void* buffer, std::size_t) -> ssize_t {
                                  std::copy_n("12345", 5, static_cast<char*>(buffer));
                                  return 5;
                              }};
    const Data drawn = joined(bytesOf("12345"), Data(3));
    const Data plain = bytesOf("text");
    for (const auto& container :
         {br_AESEncryptWithBinaryPassword_keySize_useSalt(plain, password, 16, true, short5),
          br_AESEncryptWithPassword_keySize_PBKDF2Iterations(plain, u"password", 16, 3, short5)})
        EXPECT_EQ(Data(container->begin() + 8, container->begin() + 16), drawn);
    EXPECT_EQ(br_AESEncryptWithPassword_keySize_PBKDF2Iterations(plain, u"password", 32, 3, short5),
              br_AESEncryptWithPassword_keySize_PBKDF2Iterations_salt(plain, u"password", 32, 3, drawn));
}

TEST(PasswordFamilies, AnEmptyContainerReadsAsBareCiphertext) {
    for (const Family& family : families) {
        const Data container = *family.encryptSalted(Data{}, 32);
        EXPECT_EQ(container.size(), 16u);
        EXPECT_TRUE(isContainer(container));
        EXPECT_EQ(family.decrypt(Data{}, 32), Data{});
        const LogCapture log;
        // One whole block under the unsalted key: garbage, which by luck may even have valid padding.
        const auto decrypted = family.decrypt(container, 32);
        EXPECT_NE(decrypted, Data{}) << family.name;
        EXPECT_EQ(log.messages().size(), decrypted ? 0u : 1u);
        // Exactly what the block holds under the key without salt: the same bytes behind a made-up container differ.
        Data key;
        Data ivec;
        computeKeyAndIvec(password, std::nullopt, 32, key, ivec);
        if (&family == &families[0]) {
            EXPECT_EQ(decrypted, br_AESDecryptWithKey_ivec(container, key, ivec));
        }
    }
    // A 16-byte input that begins with the magic and is a good bare ciphertext decrypts as one.
    Data key;
    Data ivec;
    computeKeyAndIvec(password, std::nullopt, 16, key, ivec);
    const Data block = joined(magic, salt);
    const LogCapture log;
    auto text = br_AESDecryptWithBinaryPassword_keySize(block, password, 16);
    EXPECT_EQ(text, br_AESDecryptWithKey_ivec(block, key, ivec));
}

TEST(PasswordFamilies, SeventeenBytesAreAContainer) {
    for (const Family& family : families) {
        const LogCapture log;
        EXPECT_EQ(family.decrypt(joined(joined(magic, salt), Data(1, 7)), 16), std::nullopt) << family.name;
        EXPECT_THAT(log.messages(), ElementsAre("Crypto operation failed: -4303")) << family.name;
    }
    // Fewer, or another beginning, is bare ciphertext.
    for (const Family& family : families) {
        const Data plain = bytesOf("sixteen bytes...and more");
        Data notMagic = *family.encryptSalted(plain, 16);
        notMagic[7] = 'x';
        const LogCapture log;
        EXPECT_NE(family.decrypt(notMagic, 16), plain) << family.name;
    }
}

TEST(PasswordFamilies, TheSaltIsAlwaysEightBytesOnDecryption) {
    const Data plain = bytesOf("text");
    Data key;
    Data ivec;
    computeKeyAndIvec(password, salt, 16, key, ivec);
    const Data withEight = *br_AESEncryptWithKey_ivec_salt(plain, key, ivec, salt);
    EXPECT_EQ(br_AESDecryptWithBinaryPassword_keySize(withEight, password, 16), plain);
    // Written with 16 bytes of salt, of which 8 are read as salt and 8 as the first bytes of a body.
    const Data longSalt(16, 5);
    computeKeyAndIvec(password, longSalt, 16, key, ivec);
    const Data withSixteen = *br_AESEncryptWithKey_ivec_salt(plain, key, ivec, longSalt);
    const LogCapture log;
    EXPECT_EQ(br_AESDecryptWithBinaryPassword_keySize(withSixteen, password, 16), std::nullopt);
    EXPECT_THAT(log.messages(), ElementsAre("Crypto operation failed: -4303")); // 24 bytes of body
}

TEST(BinaryPassword, WithoutSaltUsesTheChainOfThePasswordAlone) {
    const Data plain = bytesOf("text");
    const Data d1 = br_MD5(password);
    const Data d2 = br_MD5(joined(d1, password));
    const Data d3 = br_MD5(joined(d2, password));
    EXPECT_EQ(br_AESEncryptWithBinaryPassword_keySize_useSalt(plain, password, 32, false),
              br_AESEncryptWithKey_ivec_salt(plain, joined(d1, d2), d3, std::nullopt));
    EXPECT_EQ(br_AESEncryptWithBinaryPassword_keySize_useSalt(plain, password, 16, false),
              br_AESEncryptWithKey_ivec_salt(plain, d1, d2, std::nullopt));
    // 24 and anything else mean the same as 32; nothing is asserted here.
    for (const std::int32_t keySize : {24, 0, -1})
        EXPECT_EQ(br_AESEncryptWithBinaryPassword_keySize_useSalt(plain, password, keySize, false),
                  br_AESEncryptWithBinaryPassword_keySize_useSalt(plain, password, 32, false))
            << keySize;
}

TEST(BinaryPassword, IsNotCutAndMayBeAbsent) {
    const Data plain = bytesOf("text");
    EXPECT_NE(br_AESEncryptWithBinaryPassword_keySize_useSalt(plain, bytesOf(std::string_view("a\0b", 3)), 16, false),
              br_AESEncryptWithBinaryPassword_keySize_useSalt(plain, bytesOf("a"), 16, false));
    EXPECT_EQ(br_AESEncryptWithBinaryPassword_keySize_useSalt(plain, std::nullopt, 16, false),
              br_AESEncryptWithBinaryPassword_keySize_useSalt(plain, Data{}, 16, false));
    const Data salted = *br_AESEncryptWithBinaryPassword_keySize_useSalt(plain, std::nullopt, 16, true);
    EXPECT_EQ(br_AESDecryptWithBinaryPassword_keySize(salted, Data{}, 16), plain);
}

// The key and IV that PBKDF2 gives, used through the explicit form.
std::optional<Data> encryptByHand(const Data& plain, const char* utf8, std::int32_t keySize, std::int32_t iterations,
                                  const std::optional<Data>& anySalt) {
    Data material(static_cast<std::size_t>(keySize) + 16);
    const Data bytes = anySalt.value_or(Data{});
    PKCS5_PBKDF2_HMAC(utf8, -1, bytes.data(), static_cast<std::int32_t>(bytes.size()), iterations, keySize + 16,
                      material.data());
    return br_AESEncryptWithKey_ivec_salt(plain, DataView(material).first(static_cast<std::size_t>(keySize)),
                                          DataView(material).last(16), anySalt);
}

TEST(Password, DerivesKeyThenIVWithPBKDF2) {
    const Data plain = bytesOf("text");
    for (const std::int32_t keySize : {16, 32})
        for (const std::optional<Data>& anySalt :
             {std::optional<Data>(), std::optional(Data{}), std::optional(salt), std::optional(Data(100, 9))})
            for (const std::int32_t iterations : {1, 2, 1000})
                EXPECT_EQ(br_AESEncryptWithPassword_keySize_PBKDF2Iterations_salt(plain, u"p\u00E4ss", keySize,
                                                                                  iterations, anySalt),
                          encryptByHand(plain, "p\xC3\xA4ss", keySize, iterations, anySalt));
    // An absent and an empty salt give the same key, but only the empty one a container.
    EXPECT_EQ(
        br_AESEncryptWithPassword_keySize_PBKDF2Iterations_salt(plain, u"p", 16, 1, Data{}),
        joined(magic, *br_AESEncryptWithPassword_keySize_PBKDF2Iterations_salt(plain, u"p", 16, 1, std::nullopt)));
}

TEST(Password, IsCutAtItsFirstZero) {
    const Data plain = bytesOf("text");
    const StringView withZero(u"pass\0word", 9);
    const auto cut = br_AESEncryptWithPassword_keySize_PBKDF2Iterations_salt(plain, u"pass", 16, 2, salt);
    EXPECT_EQ(br_AESEncryptWithPassword_keySize_PBKDF2Iterations_salt(plain, withZero, 16, 2, salt), cut);
    EXPECT_EQ(br_AESDecryptWithPassword_keySize_PBKDF2Iterations(*cut, withZero, 16, 2), plain);
    EXPECT_EQ(br_AESEncryptWithPassword_keySize_PBKDF2Iterations_salt(plain, StringView(u"\0x", 2), 16, 2, salt),
              br_AESEncryptWithPassword_keySize_PBKDF2Iterations_salt(plain, u"", 16, 2, salt));
}

TEST(Password, CountsIterationsAsSigned32) {
    const Data plain = bytesOf("text");
    struct Case {
        std::int64_t given;
        std::int32_t acts;
    };
    const Case rows[] = {{4294967298, 2},
                         {2147483650, 1},
                         {0, 1},
                         {-1, 1},
                         {4294967296, 1},
                         {-4294967290, 6},
                         {(std::int64_t{1} << 62) + 3, 3}};
    for (const Case& row : rows) {
        const auto expected = encryptByHand(plain, "password", 16, row.acts, salt);
        EXPECT_EQ(br_AESEncryptWithPassword_keySize_PBKDF2Iterations_salt(plain, u"password", 16, row.given, salt),
                  expected)
            << row.given;
        EXPECT_EQ(br_AESDecryptWithPassword_keySize_PBKDF2Iterations(*expected, u"password", 16, row.given), plain)
            << row.given;
    }
}

TEST(Password, AbsentOnDecryptionGivesNothingWithoutALogLine) {
    const LogCapture log;
    EXPECT_EQ(br_AESDecryptWithPassword_keySize_PBKDF2Iterations(bytesOf("x"), std::nullopt, 16, 1), std::nullopt);
    EXPECT_EQ(br_AESDecryptWithPassword_keySize_PBKDF2Iterations(Data{}, std::nullopt, 32, 1), std::nullopt);
    EXPECT_THAT(log.messages(), IsEmpty());
}

// --- The assertion ---

template <class Operation>
String reasonOf(Operation operation) {
    try {
        (void)operation();
        return u"no exception";
    } catch (const platform::NSException& exception) {
        return exception.reason();
    }
}

TEST(KeySizeAssertion, RaisesByDefault) {
    const Data plain = bytesOf("text");
    const LogCapture log;
    for (const std::int32_t keySize : {24, 0, 15, 17, 31, 33, 128, 256, -16, -32}) {
        EXPECT_EQ(reasonOf([&] { return br_AESEncryptWithPassword_keySize_PBKDF2Iterations(plain, u"p", keySize, 1); }),
                  u"Invalid key size for br_AESEncryptWithPassword")
            << keySize;
        EXPECT_EQ(reasonOf([&] {
                      return br_AESEncryptWithPassword_keySize_PBKDF2Iterations_salt(plain, u"p", keySize, 1, salt);
                  }),
                  u"Invalid key size for br_AESEncryptWithPassword")
            << keySize;
        EXPECT_EQ(reasonOf([&] { return br_AESDecryptWithPassword_keySize_PBKDF2Iterations(plain, u"p", keySize, 1); }),
                  u"Invalid key size for br_AESDecryptWithPassword")
            << keySize;
        // Checked before the password is looked at.
        EXPECT_EQ(reasonOf([&] {
                      return br_AESDecryptWithPassword_keySize_PBKDF2Iterations(plain, std::nullopt, keySize, 1);
                  }),
                  u"Invalid key size for br_AESDecryptWithPassword")
            << keySize;
    }
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST(KeySizeAssertion, ComesWhenTheSaltHasBeenDrawn) {
    int draws = 0;
    RandomDevice device = systemRandomDevice();
    device.open = [&draws] {
        ++draws;
        return -1;
    };
    EXPECT_EQ(
        reasonOf([&] { return br_AESEncryptWithPassword_keySize_PBKDF2Iterations(bytesOf("x"), u"p", 24, 1, device); }),
        u"Invalid key size for br_AESEncryptWithPassword");
    EXPECT_EQ(draws, 1);
    // Without a salt to draw nothing is drawn.
    static_cast<void>(br_AESEncryptWithBinaryPassword_keySize_useSalt(bytesOf("x"), password, 24, false, device));
    EXPECT_EQ(draws, 1);
}

struct ForgivingHandler : platform::NSAssertionHandler {
    struct Failure {
        String method;
        const std::uint8_t* object;
        String file;
        int line;
        String description;
    };
    std::vector<Failure> failures;

    void handleFailureInMethod_object_file_lineNumber_description(StringView method, DataView object, StringView file,
                                                                  int line, StringView description) override {
        failures.push_back({String(method), object.data(), String(file), line, String(description)});
    }
};

class KeySizeAssertionForgiven : public testing::Test {
protected:
    KeySizeAssertionForgiven() { platform::NSAssertionHandler::setCurrentHandler(handler); }
    ~KeySizeAssertionForgiven() override { platform::NSAssertionHandler::setCurrentHandler(nullptr); }
    KeySizeAssertionForgiven(const KeySizeAssertionForgiven&) = delete;
    KeySizeAssertionForgiven& operator=(const KeySizeAssertionForgiven&) = delete;

    std::shared_ptr<ForgivingHandler> handler = std::make_shared<ForgivingHandler>();
};

TEST_F(KeySizeAssertionForgiven, TellsTheHandlerWhereItFailed) {
    const Data data = bytesOf("text");
    (void)br_AESEncryptWithPassword_keySize_PBKDF2Iterations(data, u"p", 24, 1);
    (void)br_AESDecryptWithPassword_keySize_PBKDF2Iterations(data, std::nullopt, 24, 1);
    ASSERT_EQ(handler->failures.size(), 2u);
    const auto& [first, second] = std::tie(handler->failures[0], handler->failures[1]);
    EXPECT_EQ(first.method, u"br_AESEncryptWithPassword_keySize_PBKDF2Iterations_salt");
    EXPECT_EQ(second.method, u"br_AESDecryptWithPassword_keySize_PBKDF2Iterations");
    EXPECT_EQ(first.description, u"Invalid key size for br_AESEncryptWithPassword");
    EXPECT_EQ(second.description, u"Invalid key size for br_AESDecryptWithPassword");
    for (const auto& failure : handler->failures) {
        EXPECT_EQ(failure.file, u"Submodules/brimle-library/BRCrypto");
        EXPECT_EQ(failure.object, data.data());
        EXPECT_GT(failure.line, 0);
    }
    EXPECT_NE(first.line, second.line);
}

TEST_F(KeySizeAssertionForgiven, GoesOnWithTheGivenSize) {
    const LogCapture log;
    const Data plain = bytesOf("text");
    // 24 is a size that the cipher knows: AES-192 with the IV behind its key.
    const auto container = br_AESEncryptWithPassword_keySize_PBKDF2Iterations_salt(plain, u"p", 24, 2, salt);
    EXPECT_EQ(container, encryptByHand(plain, "p", 24, 2, salt));
    EXPECT_EQ(br_AESDecryptWithPassword_keySize_PBKDF2Iterations(*container, u"p", 24, 2), plain);
    EXPECT_THAT(log.messages(), IsEmpty());
    EXPECT_EQ(handler->failures.size(), 2u);
    // Others it refuses.
    for (const std::int32_t keySize : {0, 15, 33, 64, -1, -16, -17, 2147483647, -2147483647 - 1}) {
        EXPECT_EQ(br_AESEncryptWithPassword_keySize_PBKDF2Iterations_salt(plain, u"p", keySize, 2, salt),
                  joined(magic, salt))
            << keySize;
        EXPECT_EQ(br_AESEncryptWithPassword_keySize_PBKDF2Iterations_salt(plain, u"p", keySize, 2, std::nullopt),
                  std::nullopt)
            << keySize;
        EXPECT_EQ(br_AESEncryptWithPassword_keySize_PBKDF2Iterations(Data{}, u"p", keySize, 2)->size(), 16u) << keySize;
        EXPECT_EQ(br_AESDecryptWithPassword_keySize_PBKDF2Iterations(plain, u"p", keySize, 2), std::nullopt) << keySize;
        EXPECT_EQ(br_AESDecryptWithPassword_keySize_PBKDF2Iterations(plain, std::nullopt, keySize, 2), std::nullopt);
        EXPECT_EQ(br_AESDecryptWithPassword_keySize_PBKDF2Iterations(Data{}, u"p", keySize, 2), Data{}) << keySize;
    }
    for (const std::string& message : log.messages())
        EXPECT_EQ(message, "Crypto operation failed: -4300");
    EXPECT_EQ(log.messages().size(), 27u);
}

// --- Damage ---

TEST(DamagedContainers, NeverGiveMoreThanTheyShould) {
    const LogCapture log;
    const Data plain = bytesOf("a small text of more than one block");
    for (const Family& family : families) {
        const Data container = *family.encryptSalted(plain, 32);
        int refused = 0;
        for (std::size_t length = 0; length < container.size(); ++length) {
            const auto result =
                family.decrypt(Data(container.begin(), container.begin() + static_cast<long>(length)), 32);
            if (length == 0) {
                EXPECT_EQ(result, Data{});
                continue;
            }
            refused += result ? 0 : 1;
            if (result) {
                EXPECT_LT(result->size(), length) << family.name;
                EXPECT_EQ(length % 16, 0u) << family.name;
                EXPECT_NE(*result, plain) << family.name;
            }
        }
        EXPECT_GE(refused, static_cast<int>(container.size()) - 4) << family.name;
        for (std::size_t at = 0; at < container.size(); ++at)
            for (int flip = 1; flip < 256; flip += at % 16 == 15 ? 1 : 37) {
                Data damaged = container;
                damaged[at] = static_cast<std::uint8_t>(damaged[at] ^ flip);
                const auto result = family.decrypt(damaged, 32);
                if (result) {
                    EXPECT_LT(result->size(), container.size()) << family.name << at;
                    EXPECT_NE(*result, plain) << family.name << at;
                }
            }
    }
    for (const std::string& message : log.messages())
        EXPECT_THAT(message, testing::AnyOf("Crypto operation failed: -4303", "Crypto operation failed: -4304"));
}

TEST(WrongPasswords, AreMostlyToldByThePadding) {
    const LogCapture log;
    const Data plain = bytesOf("a small text of more than one block");
    const Data container = *br_AESEncryptWithBinaryPassword_keySize_useSalt(plain, password, 32, true);
    std::size_t refused = 0;
    for (std::uint8_t i = 0; i < 200; ++i) {
        const auto result = br_AESDecryptWithBinaryPassword_keySize(container, Data(4, i), 32);
        EXPECT_NE(result, plain);
        refused += result ? 0u : 1u;
    }
    EXPECT_GE(refused, 190u); // about 1 in 256 has valid padding by luck
    EXPECT_EQ(log.messages().size(), refused);
}

} // namespace
} // namespace brimle
