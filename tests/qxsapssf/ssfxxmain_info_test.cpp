#include <cstdint>

#include "qxsapssf/ssf.h"
#include "tests/scripted_provider/ssf_fixture.h"

namespace qx::ssfxxmain_info_test {
namespace {

using scripted::AllocationFailure;
using scripted::kError;
using scripted::kStart;
using scripted::kSuccess;
using scripted::Octets;
using scripted::Output;
using scripted::provider;
using testing::ElementsAre;
using testing::IsEmpty;

class VersionTest : public scripted::ScriptedTest {};

TEST_F(VersionTest, Is39BytesWithoutTerminatorAndWithoutBanners) {
  Output output;
  EXPECT_EQ(SsfVersion(output.data(), output.length()), 0);
  EXPECT_EQ(output.text(), "Qorvex SSF library for SAP Version 1.01");
  EXPECT_EQ(output.size(), 39);
  EXPECT_THAT(provider().journal(), IsEmpty());
}

TEST_F(VersionTest, WithoutMemoryIs51WithThePairAndNoBanner) {
  Output output;
  SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  SAPRETURN code = 0;
  {
    const AllocationFailure failure(1);
    code = SsfVersion(output.data(), output.length());
  }
  EXPECT_EQ(code, 51);
  EXPECT_TRUE(output.isUntouched());
  EXPECT_EQ(output.size(), 0);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre("#error#: 00000008\n", "Text of error 00000008. \r\n"));
  EXPECT_EQ(provider().trace()[0].function, "SsfVersion");
}

TEST_F(VersionTest, NeedsAPlaceForTheOutput) {
  Output output;
  EXPECT_EQ(SsfVersion(nullptr, output.length()), 3);
  EXPECT_EQ(output.size(), 0);
  EXPECT_EQ(SsfVersion(output.data(), nullptr), 3);
  EXPECT_TRUE(output.isUntouched());
}

class PropertiesTest : public scripted::ScriptedTest {
 protected:
  SAPRETURN query(std::string_view name, Output& output) {
    Octets bytes(name);
    return SsfQueryProperties(
        bytes.data(), bytes.size(), nullptr, nullptr, output.data(), output.length());
  }

  std::string valueOf(std::string_view name) {
    Output output;
    EXPECT_EQ(query(name, output), 0) << name;
    return output.text();
  }
};

TEST_F(PropertiesTest, HaveTheirValues) {
  EXPECT_EQ(valueOf("PROPERTIES"), "FORMATS;HASHALGS;ENCRALGS;SSF_POPUPS");
  EXPECT_EQ(valueOf("FORMATS"), "PKCS7;CADES;PKCS7_CADES;PKCS7_ANY");
  EXPECT_EQ(valueOf("HASHALGS"), "SHA1;GOST3411;GOST-R-34.11-94;MD2;MD5");
  EXPECT_EQ(valueOf("ENCRALGS"), "GOST28147;GOST-28147-89");
  EXPECT_EQ(valueOf("SSF_POPUPS"), "1");
}

TEST_F(PropertiesTest, HaveTheLengthsThatHostsKnow) {
  const std::vector<std::pair<std::string, SsfOctetlen>> lengths = {
      {"PROPERTIES", 36}, {"FORMATS", 33}, {"HASHALGS", 37}, {"ENCRALGS", 23}, {"SSF_POPUPS", 1}};
  for (const auto& [name, length] : lengths) {
    Output output;
    EXPECT_EQ(query(name, output), 0);
    EXPECT_EQ(output.size(), length) << name;
  }
}

TEST_F(PropertiesTest, StandBetweenTheBanners) {
  valueOf("FORMATS");
  EXPECT_THAT(provider().traceTexts(), ElementsAre(kStart, kSuccess));
  EXPECT_EQ(provider().trace()[0].function, "SsfQueryProperties");
}

TEST_F(PropertiesTest, AreFoundByTheBeginningOfTheirName) {
  EXPECT_THAT(valueOf("FORM"), testing::StartsWith("PKCS7;"));
  EXPECT_THAT(valueOf("P"), testing::StartsWith("FORMATS;"));
  EXPECT_THAT(valueOf("HASH"), testing::StartsWith("SHA1;"));
  EXPECT_EQ(valueOf("S"), "1");
  EXPECT_THAT(valueOf(""), testing::StartsWith("FORMATS;"));
}

TEST_F(PropertiesTest, MayHaveAnythingBehindANul) {
  EXPECT_THAT(valueOf(std::string_view("FORMATS\0", 8)), testing::StartsWith("PKCS7;"));
  EXPECT_THAT(valueOf(std::string_view("FORMATS\0xyz", 11)), testing::StartsWith("PKCS7;"));
}

TEST_F(PropertiesTest, OfOtherNamesAreRefused) {
  for (const std::string_view name : {std::string_view("XYZ"),
                                      std::string_view("FORMATSX"),
                                      std::string_view("formats"),
                                      std::string_view("FORM\0", 5)}) {
    provider().reset();
    Output output;
    EXPECT_EQ(query(name, output), 3) << name;
    EXPECT_TRUE(output.isUntouched());
    EXPECT_TRUE(output.isLengthUntouched());
    EXPECT_THAT(provider().traceTexts(),
                ElementsAre(kStart, "#error#: Invalid Property name\n", kError));
  }
}

TEST_F(PropertiesTest, OfNoNameOrANegativeLengthAreRefused) {
  Output output;
  Octets name("FORMATS");
  for (const SsfOctetlen length : {-1, INT32_MIN}) {
    EXPECT_EQ(
        SsfQueryProperties(name.data(), length, nullptr, nullptr, output.data(), output.length()),
        3);
  }
  EXPECT_EQ(SsfQueryProperties(nullptr, 7, nullptr, nullptr, output.data(), output.length()), 3);
  EXPECT_EQ(SsfQueryProperties(nullptr, 0, nullptr, nullptr, output.data(), output.length()), 3);
  EXPECT_TRUE(output.isUntouched());
  EXPECT_TRUE(output.isLengthUntouched());
}

TEST_F(PropertiesTest, DoNotReadTheIgnoredArguments) {
  Output output;
  Octets name("FORMATS");
  void* nowhere = reinterpret_cast<void*>(std::uintptr_t{1});
  EXPECT_EQ(SsfQueryProperties(
                name.data(), name.size(), nowhere, nowhere, output.data(), output.length()),
            0);
}

TEST_F(PropertiesTest, WithoutMemoryAre4WithThePair) {
  Output output;
  SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  SAPRETURN code = 0;
  Octets name("FORMATS");
  {
    const AllocationFailure failure(1);
    code = SsfQueryProperties(
        name.data(), name.size(), nullptr, nullptr, output.data(), output.length());
  }
  EXPECT_EQ(code, 4);
  EXPECT_TRUE(output.isUntouched());
  EXPECT_TRUE(output.isLengthUntouched());
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart, "#error#: 00000008\n", "Text of error 00000008. \r\n", kError));
}

TEST_F(PropertiesTest, NeedAPlaceForTheOutput) {
  Output output;
  Octets name("FORMATS");
  EXPECT_EQ(SsfQueryProperties(name.data(), 7, nullptr, nullptr, nullptr, output.length()), 3);
  EXPECT_EQ(SsfQueryProperties(name.data(), 7, nullptr, nullptr, output.data(), nullptr), 3);
  EXPECT_TRUE(output.isUntouched());
  EXPECT_TRUE(output.isLengthUntouched());
  EXPECT_EQ(provider().traceTexts().back(), kError);
}

}  // namespace
}  // namespace qx::ssfxxmain_info_test
