#include "qxsapssf/ssfxxaux_print.h"

#include <cstdint>

#include "qxsapssf/ssf.h"
#include "tests/scripted_provider/ssf_fixture.h"

namespace qx::ssfxxaux_print_test {
namespace {

using scripted::AllocationFailure;
using scripted::Octets;
using scripted::Output;

/// A record over the test's own strings.
class HandMadeRecord {
 public:
  HandMadeRecord(std::string_view id,
                 std::string_view reserved,
                 std::string_view profile,
                 SAPRETURN result)
      : id_(id), reserved_(reserved), profile_(profile), password_("secret") {
    record_.id = id_.data();
    record_.idLength = id_.size();
    record_.reserved = reserved_.data();
    record_.reservedLength = reserved_.size();
    record_.profile = profile_.data();
    record_.profileLength = profile_.size();
    record_.password = password_.data();
    record_.passwordLength = password_.size();
    record_.result = result;
  }

  SigRcpSsfInformation* get() { return &record_; }

 private:
  Octets id_;
  Octets reserved_;
  Octets profile_;
  Octets password_;
  SigRcpSsfInformation record_{};
};

std::string printed(SigRcpSsfInformation* record) {
  Output output;
  EXPECT_EQ(SsfPRISigRcpSsfInfo(record, output.data(), output.length()), 0);
  EXPECT_EQ(output.bytes()[output.size()], 0);  // a NUL that is not counted
  return output.text();
}

class PrintRecord : public scripted::ScriptedTest {};

TEST_F(PrintRecord, ShowsEverythingButThePassword) {
  HandMadeRecord record("CN=Ivan", "res", "uMy", 0);
  EXPECT_EQ(printed(record.get()),
            "Signer/Recipient Security Information :\n"
            "Id        : CN=Ivan (7)\n"
            "Reserved  : res (3)\n"
            "Profile   : uMy (3)\n"
            "\n\nSigner/Recipient Result : OK\n\n\n");
}

TEST_F(PrintRecord, LeavesEmptyStringsOut) {
  HandMadeRecord record("a", "", "", 0);
  EXPECT_EQ(printed(record.get()),
            "Signer/Recipient Security Information :\n"
            "Id        : a (1)\n"
            "\n\nSigner/Recipient Result : OK\n\n\n");
  HandMadeRecord empty("", "", "", 0);
  EXPECT_EQ(printed(empty.get()),
            "Signer/Recipient Security Information :\n"
            "\n\nSigner/Recipient Result : OK\n\n\n");
}

TEST_F(PrintRecord, NamesEveryResult) {
  const std::vector<std::pair<SAPRETURN, std::string>> words = {
      {0, "OK"},
      {21, "INVALID_NAMESPACE"},
      {22, "UNKNOWN"},
      {23, "UNKNOWN_PROFILE"},
      {24, "INVALID_PROFILE"},
      {25, "INVALID_PASSWORD"},
      {26, "NOCERTIFICATE"},
      {27, "NOT_OK"},
      {28, "UNDEFINED"},
      {1, "UNKNOWN RESULT ???"},
      {5, "UNKNOWN RESULT ???"},
      {20, "UNKNOWN RESULT ???"},
      {29, "UNKNOWN RESULT ???"},
      {-1, "UNKNOWN RESULT ???"},
      {INT32_MIN, "UNKNOWN RESULT ???"},
      {INT32_MAX, "UNKNOWN RESULT ???"},
  };
  for (const auto& [result, word] : words) {
    HandMadeRecord record("a", "", "", result);
    EXPECT_THAT(printed(record.get()),
                testing::EndsWith("\n\nSigner/Recipient Result : " + word + "\n\n\n"));
  }
}

TEST_F(PrintRecord, ShowsAStringUpToItsNulWithItsWholeLength) {
  HandMadeRecord record(std::string_view("CN\0=Ivan", 8), std::string_view("\0", 1), "", 0);
  EXPECT_EQ(printed(record.get()),
            "Signer/Recipient Security Information :\n"
            "Id        : CN (8)\n"
            "Reserved  :  (1)\n"
            "\n\nSigner/Recipient Result : OK\n\n\n");
}

TEST_F(PrintRecord, TextsAreNotFormats) {
  HandMadeRecord record("%s%n", "%d", "%", 0);
  EXPECT_THAT(printed(record.get()),
              testing::HasSubstr("Id        : %s%n (4)\nReserved  : %d (2)"));
}

TEST_F(PrintRecord, NullStringsOfHandMadeRecordsAreEmpty) {
  SigRcpSsfInformation record{};
  record.idLength = 5;
  record.reservedLength = 1000;
  record.profileLength = INT32_MAX;
  EXPECT_EQ(printed(&record),
            "Signer/Recipient Security Information :\n"
            "\n\nSigner/Recipient Result : OK\n\n\n");
}

TEST_F(PrintRecord, NegativeLengthsAreEmpty) {
  HandMadeRecord record("a", "b", "c", 0);
  record.get()->idLength = -1;
  record.get()->reservedLength = INT32_MIN;
  record.get()->profileLength = 0;
  EXPECT_EQ(printed(record.get()),
            "Signer/Recipient Security Information :\n"
            "\n\nSigner/Recipient Result : OK\n\n\n");
}

TEST_F(PrintRecord, FitsForEveryNumberOfDigits) {
  for (std::size_t size = 1; size <= 1000000; size *= 10) {
    const std::string text(size, 'x');
    HandMadeRecord record(text, text, text, 1);
    EXPECT_EQ(printed(record.get()).size(),
              40 + (3 * (12 + size + 2 + std::to_string(size).size() + 2)) + 28 + 18 + 3);
  }
}

TEST_F(PrintRecord, WithoutARecordOrAPlaceIsMissing) {
  Output output;
  EXPECT_EQ(SsfPRISigRcpSsfInfo(nullptr, output.data(), output.length()), 53);
  HandMadeRecord record("a", "", "", 0);
  EXPECT_EQ(SsfPRISigRcpSsfInfo(record.get(), nullptr, output.length()), 53);
  EXPECT_EQ(SsfPRISigRcpSsfInfo(record.get(), output.data(), nullptr), 53);
  EXPECT_TRUE(output.isUntouched());
  EXPECT_TRUE(output.isLengthUntouched());
}

TEST_F(PrintRecord, WithoutMemoryLeavesTheOutputsAlone) {
  HandMadeRecord record("a", "", "", 0);
  Output output;
  SAPRETURN code = 0;
  {
    const AllocationFailure failure(1);
    code = SsfPRISigRcpSsfInfo(record.get(), output.data(), output.length());
  }
  EXPECT_EQ(code, 51);
  EXPECT_TRUE(output.isUntouched());
  EXPECT_TRUE(output.isLengthUntouched());
}

TEST_F(PrintRecord, BeyondALengthIsNoMemory) {
  HandMadeRecord record("a", "b", "c", 0);
  record.get()->idLength = INT32_MAX;  // never read: the sum is refused before
  Output output;
  EXPECT_EQ(SsfPRISigRcpSsfInfo(record.get(), output.data(), output.length()), 51);
  record.get()->idLength = 1;
  record.get()->reservedLength = INT32_MAX / 2;
  record.get()->profileLength = INT32_MAX / 2 + 1;
  EXPECT_EQ(SsfPRISigRcpSsfInfo(record.get(), output.data(), output.length()), 51);
  EXPECT_TRUE(output.isUntouched());
}

class PrintList : public scripted::ScriptedTest {
 protected:
  /// A list of nodes on the test's own memory.
  static std::vector<SigRcpSsfInformationListStruct> link(
      const std::vector<SigRcpSsfInformation*>& records) {
    std::vector<SigRcpSsfInformationListStruct> nodes(records.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
      nodes[i].info = records[i];
      nodes[i].next = i + 1 < records.size() ? &nodes[i + 1] : nullptr;
    }
    return nodes;
  }
};

TEST_F(PrintList, NumbersTheEntriesInOrder) {
  HandMadeRecord one("one", "", "", 0);
  HandMadeRecord two("two", "", "", 22);
  HandMadeRecord three("three", "", "p", 28);
  auto nodes = link({one.get(), two.get(), three.get()});
  Output output;
  ASSERT_EQ(SsfPRISigRcpSsfInfoList(nodes.data(), output.data(), output.length()), 0);
  EXPECT_EQ(output.text(),
            "SIGNER/RECIPIENT SECURITY INFORMATION LIST :\n\n"
            "=============\nSigner/Recipient : 1\n=============\n" +
                printed(one.get()) + "=============\nSigner/Recipient : 2\n=============\n" +
                printed(two.get()) + "=============\nSigner/Recipient : 3\n=============\n" +
                printed(three.get()));
  EXPECT_EQ(output.bytes()[output.size()], 0);
}

TEST_F(PrintList, FitsForManyEntries) {
  HandMadeRecord record("one", "", "", 0);
  const std::vector<SigRcpSsfInformation*> records(1100, record.get());
  auto nodes = link(records);
  Output output;
  ASSERT_EQ(SsfPRISigRcpSsfInfoList(nodes.data(), output.data(), output.length()), 0);
  EXPECT_THAT(output.text(), testing::HasSubstr("Signer/Recipient : 1100\n"));
}

TEST_F(PrintList, OfNothingIsEmpty) {
  Output output;
  EXPECT_EQ(SsfPRISigRcpSsfInfoList(nullptr, output.data(), output.length()), 54);
  EXPECT_EQ(SsfPRISigRcpSsfInfoList(nullptr, nullptr, nullptr), 54);
  EXPECT_TRUE(output.isUntouched());
}

TEST_F(PrintList, WithoutAPlaceIsMissing) {
  HandMadeRecord record("one", "", "", 0);
  auto nodes = link({record.get()});
  Output output;
  EXPECT_EQ(SsfPRISigRcpSsfInfoList(nodes.data(), nullptr, output.length()), 53);
  EXPECT_EQ(SsfPRISigRcpSsfInfoList(nodes.data(), output.data(), nullptr), 53);
  EXPECT_TRUE(output.isUntouched());
}

TEST_F(PrintList, WithANodeWithoutRecordIsMissing) {
  HandMadeRecord record("one", "", "", 0);
  auto nodes = link({record.get(), nullptr});
  Output output;
  EXPECT_EQ(SsfPRISigRcpSsfInfoList(nodes.data(), output.data(), output.length()), 53);
  EXPECT_TRUE(output.isUntouched());
  EXPECT_TRUE(output.isLengthUntouched());
}

TEST_F(PrintList, LeavesNothingBehindWhicheverAllocationFails) {
  HandMadeRecord record("one", "", "", 0);
  auto nodes = link({record.get(), record.get()});
  SAP_B8* text = nullptr;
  SsfOctetlen length = -77;
  SAPRETURN code = 0;
  const unsigned failures = scripted::sweepAllocations(
      [] {},
      [&] { code = SsfPRISigRcpSsfInfoList(nodes.data(), &text, &length); },
      [&](unsigned n) {
        EXPECT_EQ(code, 51) << n;
        EXPECT_EQ(text, nullptr) << n;
        EXPECT_EQ(length, -77) << n;
      });
  EXPECT_EQ(failures, 5U);  // the head, and an entry and a longer text for each node
  EXPECT_EQ(code, 0);
  SsfDELSsfOctetstring(&text, &length);
}

TEST(RequireRoomDeathTest, EndsTheProcessInEveryBuild) {
  requireRoom(4, 5, "SAPRETURN SsfPRISigRcpSsfInfo(...)");
  EXPECT_DEATH(requireRoom(5, 5, "SAPRETURN SsfPRISigRcpSsfInfo(...)"),
               "ssfxxaux:.*SAPRETURN SsfPRISigRcpSsfInfo.*: Assertion `j<lsOutputDataL' failed");
  EXPECT_DEATH(requireRoom(6, 5, "SAPRETURN SsfPRISigRcpSsfInfoList(...)"), "j<lsOutputDataL");
}

}  // namespace
}  // namespace qx::ssfxxaux_print_test
