#include <array>

#include "platform/encode.h"
#include "platform/strings.h"

#include "tests/contract/contract.h"

// Single values, texts and times in another form.

namespace qx::test::conversion_test {
namespace {

std::vector<BYTE> decoded(LPCSTR type, const std::vector<BYTE>& der) {
  DWORD size = 0;
  EXPECT_TRUE(CryptDecodeObject(kBoth, type, der.data(), sizeOf(der), 0, nullptr, &size));
  std::vector<BYTE> value(size);
  DWORD small = size - 1;
  EXPECT_REFUSED(CryptDecodeObject(kBoth, type, der.data(), sizeOf(der), 0, value.data(), &small),
                 ERROR_MORE_DATA);
  EXPECT_EQ(small, size);
  SetLastError(kMark);
  EXPECT_TRUE(CryptDecodeObject(kBoth, type, der.data(), sizeOf(der), 0, value.data(), &size));
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  return value;
}

TEST(ContractValue, IsDecodedIntoOnePiece) {
  const std::vector<BYTE> octets = decoded(X509_OCTET_STRING, {0x04, 0x02, 7, 8});
  const auto& blob = *reinterpret_cast<const CRYPT_DATA_BLOB*>(octets.data());
  ASSERT_EQ(blob.cbData, 2U);
  EXPECT_EQ(blob.pbData[1], 8);
  const std::vector<BYTE> number = decoded(X509_MULTI_BYTE_INTEGER, {0x02, 0x02, 0x00, 0x80});
  const auto& integer = *reinterpret_cast<const CRYPT_INTEGER_BLOB*>(number.data());
  ASSERT_EQ(integer.cbData, 2U);
  EXPECT_EQ(integer.pbData[0], 0x80) << "little-endian";
}

TEST(ContractValue, OfTimeIsAFileTime) {
  // 2020-01-02 03:04:05 UTC
  const std::vector<BYTE> der = {
      0x17, 0x0D, '2', '0', '0', '1', '0', '2', '0', '3', '0', '4', '0', '5', 'Z'};
  const std::vector<BYTE> value = decoded(PKCS_UTC_TIME, der);
  FILETIME time{};
  ASSERT_EQ(value.size(), sizeof time);
  std::memcpy(&time, value.data(), sizeof time);
  SYSTEMTIME broken{};
  ASSERT_TRUE(FileTimeToSystemTime(&time, &broken));
  EXPECT_EQ(broken.wYear, 2020);
  EXPECT_EQ(broken.wDayOfWeek, 4);
  EXPECT_EQ(broken.wSecond, 5);
}

TEST(ContractValue, ThatCannotBeDecodedSaysWhy) {
  const std::vector<BYTE> der = {0x05, 0x00};
  DWORD size = 0;
  const auto decode = [&](LPCSTR type, DWORD length) {
    return CryptDecodeObject(
        kBoth, type, length > 0 ? der.data() : nullptr, length, 0, nullptr, &size);
  };
  EXPECT_REFUSED(decode("1.2.3.4", 2), ERROR_FILE_NOT_FOUND);
  EXPECT_REFUSED(decode(X509_OCTET_STRING, 2), CRYPT_E_ASN1_BADTAG);
  EXPECT_REFUSED(decode(X509_OCTET_STRING, 0), CRYPT_E_ASN1_EOD);
}

TEST(ContractText, IsWidenedAndNarrowed) {
  const char* narrow =
      "\xD0\x96 \xF0\x9F\x98\x80";  // a Cyrillic letter, a blank, one beyond the BMP
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, narrow, -1, nullptr, 0), 4) << "with its NUL";
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, narrow, 2, nullptr, 0), 1) << "without";
  std::array<WCHAR, 4> wide{};
  ASSERT_EQ(MultiByteToWideChar(CP_UTF8, 0, narrow, -1, wide.data(), 4), 4);
  EXPECT_EQ(wide[0], L'\x0416');
  EXPECT_EQ(wide[2], L'\x1F600');
  std::array<char, 8> back{};
  ASSERT_EQ(WideCharToMultiByte(CP_UTF8, 0, wide.data(), -1, back.data(), 8, nullptr, nullptr), 8);
  EXPECT_STREQ(back.data(), narrow);
}

TEST(ContractText, ThatCannotBeConvertedSaysWhy) {
  std::array<WCHAR, 2> wide{};
  EXPECT_REFUSED(MultiByteToWideChar(CP_UTF8, 0, "", 0, wide.data(), 2), ERROR_INVALID_PARAMETER);
  EXPECT_REFUSED(MultiByteToWideChar(CP_UTF8, 0, "abc", 3, wide.data(), 2),
                 ERROR_INSUFFICIENT_BUFFER);
  EXPECT_REFUSED(MultiByteToWideChar(12345, 0, "abc", 3, wide.data(), 2), ERROR_INVALID_PARAMETER);
  EXPECT_REFUSED(MultiByteToWideChar(CP_UTF8, 0x800, "a", 1, wide.data(), 2), ERROR_INVALID_FLAGS);
  EXPECT_REFUSED(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "\xFF", 1, wide.data(), 2),
                 ERROR_NO_UNICODE_TRANSLATION);
  ASSERT_EQ(MultiByteToWideChar(CP_UTF8, 0, "\xFF", 1, wide.data(), 2), 1);
  EXPECT_EQ(wide[0], L'\xFFFD');
}

TEST(ContractTime, HasItsDateChecked) {
  FILETIME time{};
  SYSTEMTIME date{};
  date.wYear = 2023;
  date.wMonth = 2;
  date.wDay = 30;
  EXPECT_REFUSED(SystemTimeToFileTime(&date, &time), ERROR_INVALID_PARAMETER);
  date.wDay = 28;
  date.wDayOfWeek = 99;
  EXPECT_TRUE(SystemTimeToFileTime(&date, &time)) << "the day of the week is not looked at";
  time.dwHighDateTime = 0x80000000;
  EXPECT_REFUSED(FileTimeToSystemTime(&time, &date), ERROR_INVALID_PARAMETER);
}

TEST(ContractErrorText, IsAllocatedAndFreed) {
  constexpr DWORD kFlags =
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
  char* text = nullptr;
  const DWORD length = FormatMessageA(
      kFlags, nullptr, NTE_BAD_SIGNATURE, 0, reinterpret_cast<char*>(&text), 0, nullptr);
  const LocalText owned(text);
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(length, std::strlen(text));
  EXPECT_TRUE(std::string(text).ends_with(". \r\n"));
}

TEST(ContractErrorText, OfAnUnknownNumberIsNotThere) {
  constexpr DWORD kFlags =
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
  char left[] = "untouched";
  char* text = left;
  EXPECT_REFUSED(
      FormatMessageA(kFlags, nullptr, 0x1234567, 0, reinterpret_cast<char*>(&text), 0, nullptr),
      ERROR_MR_MID_NOT_FOUND);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(LocalFree(nullptr), nullptr);
}

}  // namespace
}  // namespace qx::test::conversion_test
