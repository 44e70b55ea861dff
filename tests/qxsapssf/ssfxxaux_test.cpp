#include <cstdint>

#include "qxsapssf/ssf.h"
#include "tests/scripted_provider/ssf_fixture.h"

namespace qx::ssfxxaux_test {
namespace {

using scripted::AllocationFailure;
using scripted::FreeWatch;
using scripted::Octets;
using scripted::provider;

class RecordTest : public scripted::ScriptedTest {
 protected:
  void TearDown() override {
    // Neither records nor lists write into the trace or call the platform.
    EXPECT_THAT(provider().journal(), testing::IsEmpty());
    ScriptedTest::TearDown();
  }

  static SAPRETURN make(SigRcpSsfInformation** record,
                        std::string_view id = "CN=Ivan",
                        std::string_view reserved = "res",
                        std::string_view profile = "uMy",
                        std::string_view password = "1234",
                        SAPRETURN result = 28) {
    Octets idBytes(id);
    Octets reservedBytes(reserved);
    Octets profileBytes(profile);
    Octets passwordBytes(password);
    return SsfNEWSigRcpSsfInfo(idBytes.data(),
                               idBytes.size(),
                               reservedBytes.data(),
                               reservedBytes.size(),
                               profileBytes.data(),
                               profileBytes.size(),
                               passwordBytes.data(),
                               passwordBytes.size(),
                               result,
                               record);
  }

  static std::string text(const SAP_B8* bytes, SsfOctetlen length) {
    return {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length)};
  }

  static SigRcpSsfInformation* notNull() {
    static SigRcpSsfInformation record;
    return &record;
  }

  /// What SsfNEW answers to four lengths, with all pointers valid.
  static SAPRETURN codeOfLengths(SsfOctetlen id,
                                 SsfOctetlen reserved,
                                 SsfOctetlen profile,
                                 SsfOctetlen password,
                                 SigRcpSsfInformation** record) {
    const SAP_B8 byte = 'a';
    return SsfNEWSigRcpSsfInfo(
        &byte, id, &byte, reserved, &byte, profile, &byte, password, 0, record);
  }
};

TEST_F(RecordTest, HoldsCopiesOfTheFourStringsAndTheResult) {
  SigRcpSsfInformation* record = nullptr;
  ASSERT_EQ(make(&record), 0);
  EXPECT_EQ(text(record->id, record->idLength), "CN=Ivan");
  EXPECT_EQ(text(record->reserved, record->reservedLength), "res");
  EXPECT_EQ(text(record->profile, record->profileLength), "uMy");
  EXPECT_EQ(text(record->password, record->passwordLength), "1234");
  EXPECT_EQ(record->result, 28);
  EXPECT_EQ(SsfDELSigRcpSsfInfo(&record), 0);
  EXPECT_EQ(record, nullptr);
}

TEST_F(RecordTest, DoesNotJudgeTheResult) {
  for (const SAPRETURN result : {-1, 5, 29, INT32_MIN, INT32_MAX}) {
    SigRcpSsfInformation* record = nullptr;
    ASSERT_EQ(make(&record, "a", "", "", "", result), 0);
    EXPECT_EQ(record->result, result);
    SsfDELSigRcpSsfInfo(&record);
  }
}

TEST_F(RecordTest, KeepsBytesOfAnyValue) {
  SigRcpSsfInformation* record = nullptr;
  const std::string_view id("a\0b\xFF", 4);
  ASSERT_EQ(make(&record, id), 0);
  EXPECT_EQ(text(record->id, record->idLength), id);
  SsfDELSigRcpSsfInfo(&record);
}

TEST_F(RecordTest, EmptyStringsAreNull) {
  SigRcpSsfInformation* record = nullptr;
  ASSERT_EQ(make(&record, "a", "", "", ""), 0);
  EXPECT_EQ(record->reserved, nullptr);
  EXPECT_EQ(record->profile, nullptr);
  EXPECT_EQ(record->password, nullptr);
  EXPECT_EQ(record->reservedLength, 0);
  EXPECT_EQ(record->profileLength, 0);
  EXPECT_EQ(record->passwordLength, 0);
  SsfDELSigRcpSsfInfo(&record);
}

TEST_F(RecordTest, EmptyStringsMayBeNullPointers) {
  SigRcpSsfInformation* record = nullptr;
  const SAP_B8 id = 'a';
  EXPECT_EQ(SsfNEWSigRcpSsfInfo(&id, 1, nullptr, 0, nullptr, 0, nullptr, 0, 0, &record), 0);
  SsfDELSigRcpSsfInfo(&record);
}

TEST_F(RecordTest, NeedsAnIdentity) {
  for (const SsfOctetlen length : {0, -1, INT32_MIN}) {
    SigRcpSsfInformation* record = notNull();
    EXPECT_EQ(codeOfLengths(length, 1, 1, 1, &record), 52);
    EXPECT_EQ(record, nullptr);
  }
}

TEST_F(RecordTest, RefusesNegativeLengths) {
  for (const SsfOctetlen length : {-1, INT32_MIN}) {
    SigRcpSsfInformation* record = notNull();
    EXPECT_EQ(codeOfLengths(1, length, 1, 1, &record), 52);
    EXPECT_EQ(record, nullptr);
    record = notNull();
    EXPECT_EQ(codeOfLengths(1, 1, length, 1, &record), 52);
    EXPECT_EQ(record, nullptr);
    record = notNull();
    EXPECT_EQ(codeOfLengths(1, 1, 1, length, &record), 52);
    EXPECT_EQ(record, nullptr);
  }
}

TEST_F(RecordTest, RefusesNullStringsOfPositiveLength) {
  const SAP_B8 a = 'a';
  SigRcpSsfInformation* record = notNull();
  EXPECT_EQ(SsfNEWSigRcpSsfInfo(nullptr, 1, &a, 1, &a, 1, &a, 1, 0, &record), 52);
  EXPECT_EQ(record, nullptr);
  EXPECT_EQ(SsfNEWSigRcpSsfInfo(&a, 1, nullptr, 1, &a, 1, &a, 1, 0, &record), 52);
  EXPECT_EQ(SsfNEWSigRcpSsfInfo(&a, 1, &a, 1, nullptr, 1, &a, 1, 0, &record), 52);
  EXPECT_EQ(SsfNEWSigRcpSsfInfo(&a, 1, &a, 1, &a, 1, nullptr, 1, 0, &record), 52);
  EXPECT_EQ(record, nullptr);
}

TEST_F(RecordTest, NeedsAPlaceForTheRecord) {
  EXPECT_EQ(make(nullptr), 52);
}

TEST_F(RecordTest, LeavesNothingBehindWhicheverAllocationFails) {
  SigRcpSsfInformation* record = nullptr;
  SAPRETURN code = 0;
  // Five allocations are the library's: the record and its strings. The sanitizers and the reset of
  // the fixture see that no block is lost.
  const SAP_B8 a = 'a';
  const unsigned failures = scripted::sweepAllocations(
      [&] { record = notNull(); },
      [&] { code = SsfNEWSigRcpSsfInfo(&a, 1, &a, 1, &a, 1, &a, 1, 0, &record); },
      [&](unsigned n) {
        EXPECT_EQ(code, 51) << n;
        EXPECT_EQ(record, nullptr) << n;
      });
  EXPECT_EQ(failures, 5U);
  EXPECT_EQ(code, 0);
  SsfDELSigRcpSsfInfo(&record);
}

TEST_F(RecordTest, AttemptsAllAllocationsEvenAfterOneFailed) {
  SigRcpSsfInformation* record = nullptr;
  const SAP_B8 a = 'a';
  unsigned count = 0;
  {
    const AllocationFailure failure(2);  // the id
    SsfNEWSigRcpSsfInfo(&a, 1, &a, 1, &a, 1, &a, 1, 0, &record);
    count = failure.count();
  }
  EXPECT_EQ(count, 5U);
}

TEST_F(RecordTest, DeletingOverwritesThePasswordWithSpaces) {
  SigRcpSsfInformation* record = nullptr;
  ASSERT_EQ(make(&record, "CN=Ivan", "res", "uMy", "top secret"), 0);
  const FreeWatch watch(record->password, 10);
  ASSERT_EQ(SsfDELSigRcpSsfInfo(&record), 0);
  ASSERT_TRUE(watch.wasFreed());
  EXPECT_EQ(watch.contents(), "          ");
}

TEST_F(RecordTest, DeletingOverwritesNothingElse) {
  SigRcpSsfInformation* record = nullptr;
  ASSERT_EQ(make(&record, "CN=Ivan"), 0);
  const FreeWatch watch(record->id, 7);
  ASSERT_EQ(SsfDELSigRcpSsfInfo(&record), 0);
  ASSERT_TRUE(watch.wasFreed());
  EXPECT_EQ(watch.contents(), "CN=Ivan");
}

TEST_F(RecordTest, DeletingNothingIsMissing) {
  SigRcpSsfInformation* record = nullptr;
  EXPECT_EQ(SsfDELSigRcpSsfInfo(&record), 53);
  EXPECT_EQ(SsfDELSigRcpSsfInfo(nullptr), 53);
}

TEST_F(RecordTest, DeletesHandMadeRecords) {
  auto* record = static_cast<SigRcpSsfInformation*>(std::calloc(1, sizeof(SigRcpSsfInformation)));
  record->passwordLength = 100;  // of a password that is not there
  EXPECT_EQ(SsfDELSigRcpSsfInfo(&record), 0);
  EXPECT_EQ(record, nullptr);

  record = static_cast<SigRcpSsfInformation*>(std::calloc(1, sizeof(SigRcpSsfInformation)));
  record->password = static_cast<SAP_B8*>(std::malloc(1));
  record->passwordLength = -5;
  EXPECT_EQ(SsfDELSigRcpSsfInfo(&record), 0);
}

class ListTest : public RecordTest {
 protected:
  static SigRcpSsfInformationListStruct* listOf(const std::vector<std::string>& ids) {
    SigRcpSsfInformationListStruct* list = nullptr;
    for (const std::string& id : ids) {
      SigRcpSsfInformation* record = nullptr;
      EXPECT_EQ(make(&record, id), 0);
      EXPECT_EQ(SsfINSSigRcpSsfInfo(record, &list), 0);
    }
    return list;
  }
};

TEST_F(ListTest, KeepsTheOrderOfInsertion) {
  SigRcpSsfInformationListStruct* list = listOf({"one", "two", "three"});
  std::vector<std::string> ids;
  for (const auto* node = list; node != nullptr; node = node->next) {
    ids.push_back(text(node->info->id, node->info->idLength));
  }
  EXPECT_THAT(ids, testing::ElementsAre("one", "two", "three"));
  EXPECT_EQ(SsfDELSigRcpSsfInfoList(&list), 0);
  EXPECT_EQ(list, nullptr);
}

TEST_F(ListTest, OwnsTheRecordItselfNotACopy) {
  SigRcpSsfInformationListStruct* list = nullptr;
  SigRcpSsfInformation* record = nullptr;
  ASSERT_EQ(make(&record), 0);
  ASSERT_EQ(SsfINSSigRcpSsfInfo(record, &list), 0);
  EXPECT_EQ(list->info, record);
  EXPECT_EQ(list->next, nullptr);
  SsfDELSigRcpSsfInfoList(&list);
}

TEST_F(ListTest, TakesNoMissingRecord) {
  SigRcpSsfInformationListStruct* list = listOf({"one"});
  EXPECT_EQ(SsfINSSigRcpSsfInfo(nullptr, &list), 53);
  EXPECT_EQ(list->next, nullptr);
  SsfDELSigRcpSsfInfoList(&list);
  EXPECT_EQ(SsfINSSigRcpSsfInfo(nullptr, &list), 53);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(SsfINSSigRcpSsfInfo(notNull(), nullptr), 53);
}

TEST_F(ListTest, StaysAsItIsWhenThereIsNoMemory) {
  SigRcpSsfInformationListStruct* list = listOf({"one"});
  SigRcpSsfInformation* record = nullptr;
  ASSERT_EQ(make(&record), 0);
  SAPRETURN code = 0;
  {
    const AllocationFailure failure(1);
    code = SsfINSSigRcpSsfInfo(record, &list);
  }
  EXPECT_EQ(code, 51);
  EXPECT_EQ(list->next, nullptr);
  SsfDELSigRcpSsfInfo(&record);
  SsfDELSigRcpSsfInfoList(&list);
}

TEST_F(ListTest, DeletingWipesThePasswords) {
  SigRcpSsfInformationListStruct* list = listOf({"one", "two"});
  const FreeWatch watch(list->next->info->password, 4);
  ASSERT_EQ(SsfDELSigRcpSsfInfoList(&list), 0);
  ASSERT_TRUE(watch.wasFreed());
  EXPECT_EQ(watch.contents(), "    ");
}

TEST_F(ListTest, DeletesNodesWithoutRecord) {
  SigRcpSsfInformationListStruct* list = listOf({"one", "two"});
  SsfDELSigRcpSsfInfo(&list->info);
  EXPECT_EQ(SsfDELSigRcpSsfInfoList(&list), 0);
}

TEST_F(ListTest, DeletingAnEmptyListSaysSo) {
  SigRcpSsfInformationListStruct* list = nullptr;
  EXPECT_EQ(SsfDELSigRcpSsfInfoList(&list), 54);
  EXPECT_EQ(SsfDELSigRcpSsfInfoList(nullptr), 54);
}

TEST_F(ListTest, DeletesALongListWithoutRecursion) {
  SigRcpSsfInformationListStruct* list = nullptr;
  SigRcpSsfInformationListStruct** tail = &list;
  for (int i = 0; i < 200000; ++i) {
    SigRcpSsfInformation* record = nullptr;
    ASSERT_EQ(make(&record, "i", "", "", ""), 0);
    // At the tail directly: the walk of each insertion would make this quadratic.
    ASSERT_EQ(SsfINSSigRcpSsfInfo(record, tail), 0);
    tail = &(*tail)->next;
  }
  EXPECT_EQ(SsfDELSigRcpSsfInfoList(&list), 0);
  EXPECT_EQ(list, nullptr);
}

class OctetstringTest : public RecordTest {};

TEST_F(OctetstringTest, IsFreedAndForgotten) {
  auto* data = static_cast<SAP_B8*>(std::calloc(5, 1));
  SsfOctetlen length = 5;
  const FreeWatch watch(data, 5);
  EXPECT_EQ(SsfDELSsfOctetstring(&data, &length), 0);
  EXPECT_EQ(data, nullptr);
  EXPECT_EQ(length, 0);
  EXPECT_TRUE(watch.wasFreed());
}

TEST_F(OctetstringTest, ThatIsNullLeavesTheLengthAlone) {
  SAP_B8* data = nullptr;
  SsfOctetlen length = 5;
  EXPECT_EQ(SsfDELSsfOctetstring(&data, &length), 0);
  EXPECT_EQ(length, 5);
  EXPECT_EQ(SsfDELSsfOctetstring(nullptr, &length), 0);
  EXPECT_EQ(length, 5);
}

TEST_F(OctetstringTest, MayComeWithoutALength) {
  auto* data = static_cast<SAP_B8*>(std::malloc(5));
  EXPECT_EQ(SsfDELSsfOctetstring(&data, nullptr), 0);
  EXPECT_EQ(data, nullptr);
}

}  // namespace
}  // namespace qx::ssfxxaux_test
