// Loads the library as a host does and lets it go again, with the scripted provider watching.
#include <dlfcn.h>

#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "qxsapssf/config/config.h"
#include "qxsapssf/ssf.h"
#include "tests/scripted_provider/scripted_provider.h"

namespace qx::load_test {
namespace {

constexpr const char* kLibrary = QX_LIBRARY_UNDER_TEST;

/// The library while it is loaded.
class LoadedLibrary {
 public:
  LoadedLibrary() : handle_(dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL)) {
    EXPECT_NE(handle_, nullptr) << dlerror();
  }

  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;

  ~LoadedLibrary() {
    EXPECT_EQ(dlclose(handle_), 0);
    EXPECT_EQ(dlopen(kLibrary, RTLD_NOW | RTLD_NOLOAD), nullptr) << "still loaded";
  }

  template <class T>
  T* symbol(const char* name) {
    void* found = dlsym(handle_, name);
    EXPECT_NE(found, nullptr) << name;
    return reinterpret_cast<T*>(found);
  }

 private:
  void* handle_;
};

class LoadTest : public testing::Test {
 protected:
  static std::size_t registrations() { return scripted::provider().registrations().size(); }
};

TEST_F(LoadTest, RegistersItsTraceAndRemovesIt) {
  const std::size_t before = registrations();
  {
    LoadedLibrary library;
    EXPECT_NE(*library.symbol<QX_TRACE_CONTEXT*>("qxsapssf_db_ctx"), nullptr);
    ASSERT_EQ(registrations(), before + 1);
    EXPECT_EQ(scripted::provider().registrations().back(), "qxsapssf");
  }
  ASSERT_EQ(registrations(), before + 2);
  EXPECT_EQ(scripted::provider().registrations().back(), "unregistered");
}

TEST_F(LoadTest, IsGoneAfterEachOfAHundredRounds) {
  for (int round = 0; round < 100; ++round) {
    LoadedLibrary library;
    SAP_B8* version = nullptr;
    SsfOctetlen length = 0;
    ASSERT_EQ(library.symbol<decltype(SsfVersion)>("SsfVersion")(&version, &length), 0);
    ASSERT_EQ(
        library.symbol<decltype(SsfDELSsfOctetstring)>("SsfDELSsfOctetstring")(&version, &length),
        0);
  }
}

TEST_F(LoadTest, ReadsTheEnvironmentAnewAtEachLoadAndNotBetween) {
  // NOLINTBEGIN(concurrency-mt-unsafe): a test has one thread
  setenv("QX_SSF_VERIFYCERTFLAGS", "12", 1);
  setenv("QX_SSF_ADD_TSP", "http://a;http://b", 1);
  {
    LoadedLibrary library;
    const auto* config = library.symbol<Config>("gConfig");
    EXPECT_EQ(config->verifyCertFlags, 0x12U);
    EXPECT_THAT(config->tspList, testing::ElementsAre("http://a", "http://b"));
    setenv("QX_SSF_VERIFYCERTFLAGS", "34", 1);
    EXPECT_EQ(config->verifyCertFlags, 0x12U);
  }
  {
    LoadedLibrary library;
    EXPECT_EQ(library.symbol<Config>("gConfig")->verifyCertFlags, 0x34U);
  }
  unsetenv("QX_SSF_VERIFYCERTFLAGS");
  unsetenv("QX_SSF_ADD_TSP");
  // NOLINTEND(concurrency-mt-unsafe)
}

TEST_F(LoadTest, HasItsGlobalsAtTheirFirstValues) {
  LoadedLibrary library;
  EXPECT_EQ(*library.symbol<unsigned char>("RusCodePage"), 0);
  EXPECT_EQ(*library.symbol<std::int32_t>("NoRev"), 0);
}

TEST_F(LoadTest, HasItsSettingsWhereHostsLookForThem) {
  LoadedLibrary library;
  const auto* config = library.symbol<Config>("gConfig");
  const auto offset = [&](const void* member) {
    return static_cast<const char*>(member) - reinterpret_cast<const char*>(config);
  };
  EXPECT_EQ(offset(&config->verifyCertFlags), 0);
  EXPECT_EQ(offset(&config->verifyCertFlagsOnSelect), 4);
  EXPECT_EQ(offset(&config->useCertHash), 8);
  EXPECT_EQ(offset(&config->askPinWhenEmpty), 9);
  EXPECT_EQ(offset(&config->tspList), 16);
}

TEST_F(LoadTest, DoesNotExportItsInside) {
  void* handle = dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(handle, nullptr);
  for (const char* name : {"check_ssf_format",
                           "ErrorHandleEx",
                           "PrintString",
                           "PrintMessage",
                           "snapUnicode",
                           "_ZN2qx11PrintStringEPKcS1_i"}) {
    EXPECT_EQ(dlsym(handle, name), nullptr) << name;
  }
  EXPECT_EQ(dlclose(handle), 0);
}

}  // namespace
}  // namespace qx::load_test
