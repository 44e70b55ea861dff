#include "qxsapssf/identity/selection_trace.h"

#include <string>
#include <vector>

#include "tests/qxsapssf/operation.h"

// Hosts search for these lines as they stand.

namespace qx::selection_trace_test {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;

class SelectionTraceTest : public test::OperationTest {
 protected:
  /// Every line that a selection writes, in the order of its events.
  static std::vector<std::string> allLines(const SelectionTrace& trace) {
    trace.storeNamed(7, "mMy");
    trace.storeInvalid();
    trace.keyNotAcquired();
    trace.pinNotSet();
    trace.keyNotUsable();
    trace.notFound(7);
    return test::linesOf(trace.function);
  }
};

TEST_F(SelectionTraceTest, OfSsfSign) {
  EXPECT_STREQ(kSignSelection.function, "SsfSign");
  EXPECT_TRUE(kSignSelection.tellsProgress);
  EXPECT_EQ(kSignSelection.pinNotTaken, SSF_RESULT_INVALID_PASSWORD);
  EXPECT_THAT(
      allLines(kSignSelection),
      ElementsAre(
          "#trace# Signer 7 Store = mMy.\n",
          "#error#: Invalid store in user's profile\n",
          "#trace# Can not AcquireCertificatePrivateKey. Trying to search another certificate.\n",
          "#trace# Failed to set explisit pin code. Trying to search another certificate.\n",
          "#trace# Can not Acquire Private Key with supplied pin code. Trying to search another "
          "certificate.\n",
          "#error# Signer's (7) Certificate with supplied pin code NOT FOUND.\n"));
}

TEST_F(SelectionTraceTest, OfSsfAddSign) {
  EXPECT_STREQ(kAddSignSelection.function, "SsfAddSign");
  EXPECT_TRUE(kAddSignSelection.tellsProgress);
  EXPECT_EQ(kAddSignSelection.pinNotTaken, SSF_RESULT_INVALID_PASSWORD);
  EXPECT_THAT(
      allLines(kAddSignSelection),
      ElementsAre(
          "#trace# Signer's Store = mMy.\n",
          "#error#: Invalid Store in user's profile\n",
          "#info# Can not AcquireCertificatePrivateKey. Trying to search another certificate.\n",
          "#info# Failed to set explisit pin code. Trying to search another certificate.\n",
          "#info# Can not Acquire Private Key with supplied pin code. Trying to search another "
          "certificate.\n",
          "#error#: Signer's certificate with supplied pin code not found\n"));
}

TEST_F(SelectionTraceTest, OfSsfDevelope) {
  EXPECT_STREQ(kDevelopeSelection.function, "SsfDevelope");
  EXPECT_FALSE(kDevelopeSelection.tellsProgress);
  EXPECT_EQ(kDevelopeSelection.pinNotTaken, SSF_RESULT_INVALID_PROFILE);
  EXPECT_THAT(allLines(kDevelopeSelection),
              ElementsAre("#error#: Invaild Store in user's profile\n",
                          "#error#: Some certificates not found\n"));
}

TEST_F(SelectionTraceTest, CutsALongProfile) {
  const std::string profile(1000, 'x');
  kSignSelection.storeNamed(0, profile);
  EXPECT_THAT(test::linesOf("SsfSign"),
              ElementsAre("#trace# Signer 0 Store = " + std::string(256, 'x') + ".\n"));
}

TEST_F(SelectionTraceTest, EndsAProfileAtItsLengthAndItsNul) {
  kSignSelection.storeNamed(0, std::string_view("MyOther", 2));
  kSignSelection.storeNamed(1, std::string_view("My\0Other", 8));
  EXPECT_THAT(test::linesOf("SsfSign"),
              ElementsAre("#trace# Signer 0 Store = My.\n", "#trace# Signer 1 Store = My.\n"));
}

TEST_F(SelectionTraceTest, NeverTakesAProfileForAFormat) {
  kSignSelection.storeNamed(0, "%s%n%d");
  EXPECT_THAT(test::linesOf("SsfSign"), ElementsAre(EndsWith("Store = %s%n%d.\n")));
}

TEST_F(SelectionTraceTest, WritesNothingWithTracingOff) {
  scripted::provider().setTraceMask(0);
  for (const SelectionTrace* trace : {&kSignSelection, &kAddSignSelection, &kDevelopeSelection}) {
    EXPECT_THAT(allLines(*trace), IsEmpty());
  }
}

}  // namespace
}  // namespace qx::selection_trace_test
