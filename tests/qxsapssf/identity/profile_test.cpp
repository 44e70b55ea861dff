#include "qxsapssf/identity/profile.h"

#include <string>
#include <vector>

#include "tests/qxsapssf/operation.h"

namespace qx::profile_test {
namespace {

using scripted::provider;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr DWORD kUser = CERT_SYSTEM_STORE_CURRENT_USER;
constexpr DWORD kMachine = CERT_SYSTEM_STORE_LOCAL_MACHINE;

struct Profile {
  const char* text;
  DWORD location;
  const char* name;
};

class ProfileForms : public ::testing::TestWithParam<Profile> {};

TEST_P(ProfileForms, NameALocationAndAStore) {
  const SystemStore store = storeOfProfile(GetParam().text);
  EXPECT_EQ(store.location, GetParam().location);
  EXPECT_STREQ(store.name, GetParam().name);
}

TEST_P(ProfileForms, PointIntoTheProfile) {
  const std::string profile = GetParam().text;
  const SystemStore store = storeOfProfile(profile.c_str());
  EXPECT_GE(store.name, profile.data());
  EXPECT_EQ(store.name + std::string_view(store.name).size(), profile.data() + profile.size());
}

INSTANTIATE_TEST_SUITE_P(AsWritten,
                         ProfileForms,
                         ::testing::Values(Profile{"My", kUser, "My"},
                                           Profile{"Addressbook", kUser, "Addressbook"},
                                           Profile{" My", kUser, " My"},
                                           Profile{"<Time>My", kUser, "<Time>My"},
                                           Profile{"<TIME", kUser, "<TIME"},
                                           Profile{"2024", kUser, "2024"}));

INSTANTIATE_TEST_SUITE_P(WithALocation,
                         ProfileForms,
                         ::testing::Values(Profile{"mMy", kMachine, "My"},
                                           Profile{"uMy", kUser, "My"},
                                           Profile{"m", kMachine, ""},
                                           Profile{"u", kUser, ""},
                                           Profile{"my", kMachine, "y"},
                                           Profile{"umMy", kUser, "mMy"},
                                           Profile{"muMy", kMachine, "uMy"},
                                           Profile{"MMy", kUser, "MMy"},
                                           Profile{"UMy", kUser, "UMy"}));

INSTANTIATE_TEST_SUITE_P(
    WithATimeMark,
    ProfileForms,
    ::testing::Values(Profile{"<TIME>My", kUser, "My"},
                      Profile{"<TIME>", kUser, ""},
                      Profile{"<TIME><TIME>My", kUser, "<TIME>My"},
                      Profile{"20240131120000My", kUser, "My"},
                      Profile{"00000000000000x", kUser, "x"},
                      Profile{"202401311200001", kUser, "1"},
                      // Fourteen digits and nothing behind them are a store's name.
                      Profile{"20240131120000", kUser, "20240131120000"},
                      Profile{"2024013112000My", kUser, "2024013112000My"},
                      Profile{" 20240131120000My", kUser, " 20240131120000My"},
                      Profile{"20240131120000<TIME>My", kUser, "<TIME>My"}));

// A letter that names the location leaves what follows as it is.
INSTANTIATE_TEST_SUITE_P(WithBoth,
                         ProfileForms,
                         ::testing::Values(Profile{"m<TIME>My", kMachine, "<TIME>My"},
                                           Profile{"u20240131120000My", kUser, "20240131120000My"},
                                           Profile{"<TIME>mMy", kUser, "mMy"},
                                           Profile{"20240131120000mMy", kUser, "mMy"}));

TEST(ViewOf, IsTheCountedString) {
  const std::string text("a\0b", 3);
  const auto* bytes = reinterpret_cast<const SAP_B8*>(text.data());
  EXPECT_EQ(viewOf(bytes, 3), text);
  EXPECT_EQ(viewOf(bytes, 1), "a");
}

TEST(ViewOf, TakesNoBytesAndNoLengthForTheEmptyString) {
  const SAP_B8 byte = 'x';
  EXPECT_EQ(viewOf(nullptr, 5), "");
  EXPECT_EQ(viewOf(nullptr, 0), "");
  EXPECT_EQ(viewOf(&byte, 0), "");
  EXPECT_EQ(viewOf(&byte, -1), "");
  EXPECT_EQ(viewOf(&byte, INT32_MIN), "");
}

class ProfileStore : public test::OperationTest {
 protected:
  static std::vector<std::string> opened() { return provider().calls("CertOpenStore"); }
};

TEST_F(ProfileStore, OfAnEmptyProfileIsTheDefaultOne) {
  provider().stores.push_back({.name = L"My"});
  provider().stores.push_back({.name = L"Addressbook"});
  EXPECT_TRUE(openProfileStore("", StoreMy));
  EXPECT_TRUE(openProfileStore("", StoreAB));
  // 10 is CERT_STORE_PROV_SYSTEM_W, 0x14000 the current user's and an existing one only.
  EXPECT_THAT(opened(),
              ElementsAre("CertOpenStore(10, 0x0, 0, 0x14000, My)",
                          "CertOpenStore(10, 0x0, 0, 0x14000, Addressbook)"));
}

TEST_F(ProfileStore, OfAProfileIsTheNamedOneWhateverTheDefault) {
  provider().stores.push_back({.name = L"Other", .location = kMachine});
  EXPECT_TRUE(openProfileStore("mOther", StoreAB));
  EXPECT_THAT(opened(), ElementsAre("CertOpenStore(10, 0x0, 0, 0x24000, Other)"));
}

TEST_F(ProfileStore, IsNeverMade) {
  EXPECT_FALSE(openProfileStore("New", StoreMy));
  EXPECT_FALSE(openProfileStore("", StoreMy));
  EXPECT_THAT(provider().calls("CertCloseStore"), IsEmpty());
}

TEST_F(ProfileStore, LeavesTheReasonOfAFailure) {
  provider().failFirst("CertOpenStore", ERROR_ACCESS_DENIED);
  EXPECT_FALSE(openProfileStore("My", StoreMy));
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
}

TEST_F(ProfileStore, ReadsAProfileUpToItsNul) {
  provider().stores.push_back({.name = L"My"});
  EXPECT_TRUE(openProfileStore(std::string_view("My\0Other", 8), StoreAB));
  EXPECT_THAT(opened(), ElementsAre("CertOpenStore(10, 0x0, 0, 0x14000, My)"));
}

TEST_F(ProfileStore, ReadsAProfileThatBeginsWithANulAsAStoreWithoutName) {
  EXPECT_FALSE(openProfileStore(std::string_view("\0My", 3), StoreMy));
  EXPECT_THAT(opened(), ElementsAre("CertOpenStore(10, 0x0, 0, 0x14000, ) -> FAILED 00000002"));
}

}  // namespace
}  // namespace qx::profile_test
