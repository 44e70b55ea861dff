#include "provider/store/store_name.h"

#include <filesystem>
#include <string>

#include "tests/provider/store/store_support.h"

namespace qx::test::store_name_test {
namespace {

namespace fs = std::filesystem;

class StoreNameTest : public StoreTest {
 protected:
  static StoreName user(const std::string& name) {
    return *StoreName::make(Location::CurrentUser, name);
  }

  static StoreName machine(const std::string& name) {
    return *StoreName::make(Location::LocalMachine, name);
  }

  static unsigned modeOf(const std::string& path) {
    return static_cast<unsigned>(fs::status(path).permissions());
  }
};

TEST_F(StoreNameTest, TakesNamesOfAllScripts) {
  for (const char* name : {"My", "a", "Адресная книга", "with blank", "a.b", "日本", "x&y"}) {
    EXPECT_TRUE(StoreName::make(Location::CurrentUser, name)) << name;
  }
  EXPECT_TRUE(StoreName::make(Location::CurrentUser, std::string(255, 'x')));
}

TEST_F(StoreNameTest, RefusesNamesThatLeadElsewhere) {
  for (const char* name : {"", ".", "..", ".hidden", "a/b", "/etc", "a\\b", "\\", "../x"}) {
    const auto made = StoreName::make(Location::CurrentUser, name);
    EXPECT_EQ(E_INVALIDARG, made.error()) << name;
  }
}

TEST_F(StoreNameTest, RefusesControlCharactersAndLongNames) {
  const std::string nul("a\0b", 3);
  for (const std::string& name : {std::string("a\nb"),
                                  std::string("\x01"),
                                  std::string("a\x7F"),
                                  std::string("a\xC2\x85"),
                                  nul,
                                  std::string(256, 'x')}) {
    EXPECT_FALSE(StoreName::make(Location::CurrentUser, name));
  }
}

TEST_F(StoreNameTest, RefusesWhatIsNoUtf8) {
  for (const char* name : {"\xFF", "a\xC3", "\xED\xA0\x80", "\xC0\xAF"}) {
    EXPECT_FALSE(StoreName::make(Location::CurrentUser, name));
  }
}

TEST_F(StoreNameTest, ReadsWideNames) {
  EXPECT_EQ("Книга", StoreName::fromWide(Location::CurrentUser, L"Книга")->name());
  EXPECT_EQ(E_INVALIDARG, StoreName::fromWide(Location::CurrentUser, L"").error());
  EXPECT_EQ(E_INVALIDARG, StoreName::fromWide(Location::CurrentUser, L"a/b").error());
  const wchar_t surrogate[] = {L'a', static_cast<wchar_t>(0xD800), L'\0'};
  EXPECT_EQ(E_INVALIDARG, StoreName::fromWide(Location::CurrentUser, surrogate).error());
  const wchar_t tooLarge[] = {static_cast<wchar_t>(0x110000), L'\0'};
  EXPECT_EQ(E_INVALIDARG, StoreName::fromWide(Location::CurrentUser, tooLarge).error());
  EXPECT_FALSE(StoreName::fromWide(Location::CurrentUser, std::wstring(300, L'x').c_str()));
}

TEST_F(StoreNameTest, CountsBytesNotCharacters) {
  EXPECT_TRUE(StoreName::fromWide(Location::CurrentUser, std::wstring(127, L'Я').c_str()));
  EXPECT_FALSE(StoreName::fromWide(Location::CurrentUser, std::wstring(128, L'Я').c_str()));
}

TEST_F(StoreNameTest, KnowsTheStoresThatHoldTrust) {
  EXPECT_TRUE(user("Root").isTrust());
  EXPECT_TRUE(user("ROOT").isTrust());
  EXPECT_TRUE(machine("ca").isTrust());
  EXPECT_FALSE(user("My").isTrust());
  EXPECT_FALSE(user("Roots").isTrust());
}

TEST_F(StoreNameTest, IncludesTheMachinesTrustInTheUsers) {
  const auto sources = user("Root").sources();
  ASSERT_EQ(2U, sources.size());
  EXPECT_EQ(Location::CurrentUser, sources[0].location());
  EXPECT_EQ(Location::LocalMachine, sources[1].location());
  EXPECT_EQ(1U, user("My").sources().size());
  EXPECT_EQ(1U, machine("Root").sources().size());
}

TEST_F(StoreNameTest, OpensWhatIsThere) {
  fs::create_directories(storePath("My"));
  const auto opened = user("My").open();
  ASSERT_TRUE(opened);
  EXPECT_EQ(storePath("My"), opened->path);
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, user("Other").open().error());
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, machine("My").open().error());
}

TEST_F(StoreNameTest, FindsAFolderUnderAnotherCase) {
  fs::create_directories(storePath("My"));
  EXPECT_EQ(storePath("My"), user("MY").open()->path);
}

TEST_F(StoreNameTest, PrefersTheExactCase) {
  fs::create_directories(storePath("My"));
  fs::create_directories(storePath("MY"));
  EXPECT_EQ(storePath("MY"), user("MY").open()->path);
  EXPECT_EQ(storePath("My"), user("My").open()->path);
}

TEST_F(StoreNameTest, MakesTheUsersFolderForTheUserAlone) {
  const auto made = user("New").openOrMake();
  ASSERT_TRUE(made);
  EXPECT_EQ(storePath("New"), made->path);
  EXPECT_EQ(0700U, modeOf(storePath("New")));
}

TEST_F(StoreNameTest, MakesTheMachinesFolderForAllToRead) {
  ASSERT_TRUE(machine("New").openOrMake());
  EXPECT_EQ(0755U, modeOf(machinePath("New")));
}

TEST_F(StoreNameTest, MakesNoSecondFolderUnderAnotherCase) {
  fs::create_directories(storePath("My"));
  EXPECT_EQ(storePath("My"), user("MY").openOrMake()->path);
  EXPECT_FALSE(fs::exists(storePath("MY")));
}

TEST_F(StoreNameTest, ListsTheStoresThatThereAre) {
  EXPECT_EQ(std::vector<std::string>(), *storeNames(Location::CurrentUser));
  for (const char* name : {"Root", "My", ".hidden"}) {
    fs::create_directories(storePath(name));
  }
  fs::create_directories(machinePath("CA"));
  EXPECT_EQ((std::vector<std::string>{"My", "Root"}), *storeNames(Location::CurrentUser));
  EXPECT_EQ(std::vector<std::string>{"CA"}, *storeNames(Location::LocalMachine));
}

TEST_F(StoreNameTest, FollowsNoLink) {
  fs::create_directories(storePath("Real"));
  fs::create_directory_symlink(storePath("Real"), storePath("Link"));
  EXPECT_EQ(ERROR_PATH_NOT_FOUND, user("Link").open().error());
}

TEST_F(StoreNameTest, TakesNoFileForAStore) {
  write("My", "x", std::string("text"));
  writeFile(storePath("File"), "text");
  EXPECT_EQ(ERROR_PATH_NOT_FOUND, user("File").open().error());
}

}  // namespace
}  // namespace qx::test::store_name_test
