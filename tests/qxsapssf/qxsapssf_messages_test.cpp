#include "qxsapssf/qxsapssf_messages.h"

#include <climits>
#include <map>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "qxsapssf/cp1251.h"
#include "tests/qxsapssf/cp1251_text.h"

namespace qx::qxsapssf_messages_test {
namespace {

using testing_support::utf8;

const std::map<DWORD, std::string> kErrorTexts = {
    {100, "No enough memory.\n"},
    {101, "Can't open file '%s'."},
    {102, "Canceled by user.\n"},
    {103, "Incorrect BASE64 conversion."},
    {104, "You cannot use '-help' argument along with the others."},
    {105, "File is too large.\n"},
    {106, "An Internal Application Error Has Occured.\n"},
    {200, ""},
    {300, "Can't open certificate store: '%s'.\n"},
    {301, "No certificate found.\n"},
    {302, "More than one certificate found."},
    {303, "Command needs only one certificate."},
    {304, "Wrong number.\n"},
    {305, "No certificate to use."},
    {306, "This certificate can't be used for current operation."},
    {307, "Certificate chain is not checked for this certificate (error code %X):"},
    {308, "CSP that supports required algorithm not found.\n"},
    {309, "Error while getting pin.\n"},
    {310, "Can not get certificate private key.\n"},
    {400, "Hash is incorrect\n"},
    {500, "Key '-start' without output file."},
    {501, "It isn't a signed message.\n"},
    {502, "Bad signature algorithm.\n"},
    {503, "Signer certificate not found.\n"},
    {504, "Signature isn't found.\n"},
    {505, "Signature.\n"},
    {506, "Time stamp is incorrect.\n"},
    {600, "It isn't encrypted message.\n"},
    {601, "Bad encryption algorithm.\n"},
    {602, "Recipient certificate not found.\n"},
    {700, ""},
    {800, ""},
};

const std::map<int, std::string> kCadesTexts = {
    {1, "Invalid revocation references and values.\n"},
    {2, "Signer certificate not found.\n"},
    {3, "Signature timestamp is incorrect.\n"},
    {4, "Revocation references and values does not match each other.\n"},
    {5, "Signer certificate chain could not be built to a trusted root authority.\n"},
    {6, "Signer certificate could not be checked.\n"},
    {7, "Certificate could not be checked.\n"},
    {8, "Invalid signature.\n"},
    {9, "CAdES-C timestamp is incorrect.\n"},
    {10, "Incorrect content-type attribute.\n"},
};

const std::map<int, std::string> kGeneralTexts = {
    {100, "Error: "},
    {101, ".\nCommand prompt Utility for file signature and encryption."},
    {102, "Please, choose certificate (type its number and press [ENTER])."},
    {103, "Valid from "},
    {104, " to "},
    {105, "RDN:"},
    {106, "Number:"},
    {116, "Encrypted message is created.\n"},
    {128, "Signed message is created.\n"},
    {131, "Signature verifying... \n"},
    {132, " Signature is bad.\n"},
    {134, " Signature's verified.\n"},
    {142, "Unknown error.\n"},
    {143, "OK.\n"},
    {144, "Signer certificate not found.\n"},
    {149, "Encrypting the data..."},
};

/// The Russian text says something in Russian letters, with the line ends and places of the English.
void expectRussian(const MessageRow& row) {
  const std::string english = row.english;
  const std::string russian = utf8(row.russian);
  if (english.empty()) {
    EXPECT_EQ(russian, "");
    return;
  }
  EXPECT_NE(russian, english);
  EXPECT_THAT(russian, testing::ContainsRegex("[\xD0\xD1]")) << english;
  EXPECT_EQ(english.ends_with('\n'), russian.ends_with('\n')) << english;
  EXPECT_EQ(english.starts_with(' '), russian.starts_with(' ')) << english;
  for (const char* place : {"%s", "%X"}) {
    EXPECT_EQ(english.find(place) == std::string::npos, russian.find(place) == std::string::npos)
        << english;
  }
  EXPECT_LT(std::string(row.russian).size(), 200U);
}

TEST(MessageTables, ErrorTextsAreTheOnesThatHostsKnow) {
  for (const auto& [number, english] : kErrorTexts) {
    EXPECT_EQ(errorRow(number).english, english) << number;
    expectRussian(errorRow(number));
  }
}

TEST(MessageTables, EveryOtherErrorNumberIsAnInternalError) {
  for (DWORD number = 0; number < 1200; ++number) {
    if (!kErrorTexts.contains(number)) {
      EXPECT_STREQ(errorRow(number).english, "An Internal Application Error Has Occured.\n")
          << number;
    }
  }
  EXPECT_STREQ(errorRow(UINT_MAX).english, "An Internal Application Error Has Occured.\n");
}

TEST(MessageTables, CadesTextsAreTheOnesThatHostsKnow) {
  for (const auto& [number, english] : kCadesTexts) {
    EXPECT_EQ(cadesRow(number).english, english) << number;
    expectRussian(cadesRow(number));
  }
}

TEST(MessageTables, EveryOtherCadesStatusIsUnknown) {
  for (const int number : {0, -1, 11, 12, 1000, INT_MAX, INT_MIN}) {
    EXPECT_STREQ(cadesRow(number).english, "Unknown error.\n") << number;
  }
}

TEST(MessageTables, GeneralTextsHave99RowsOfWhichTheQuotedOnesAreFilled) {
  for (int number = 100; number <= 198; ++number) {
    const auto known = kGeneralTexts.find(number);
    EXPECT_EQ(messageRow(number).english, known == kGeneralTexts.end() ? "" : known->second)
        << number;
    expectRussian(messageRow(number));
  }
}

TEST(MessageTables, EveryOtherGeneralNumberIsUnknown) {
  for (const int number : {99, 0, -1, 199, 200, INT_MAX, INT_MIN}) {
    EXPECT_STREQ(messageRow(number).english, "Unknown error.\n") << number;
  }
}

Insert takenBy(const std::string& text) {
  if (text.find("%s") != std::string::npos) {
    return Insert::Text;
  }
  return text.find("%X") != std::string::npos ? Insert::Number : Insert::Nothing;
}

TEST(MessageTables, RowsDeclareWhatTheyTake) {
  for (const auto& [number, english] : kErrorTexts) {
    EXPECT_EQ(errorRow(number).insert, takenBy(english)) << number;
  }
}

TEST(Cp1251, AgreesWithTheCLibrary) {
  const char* letters =
      "АБВГДЕЁЖЗИЙКЛМНОПРСТУФХЦЧШЩЪЫЬЭЮЯабвгдеёжзийклмнопрстуфхцчшщъыьэюя 'Az09%\n"_cp1251;
  EXPECT_EQ(utf8(letters),
            "АБВГДЕЁЖЗИЙКЛМНОПРСТУФХЦЧШЩЪЫЬЭЮЯабвгдеёжзийклмнопрстуфхцчшщъыьэюя 'Az09%\n");
  EXPECT_EQ(std::string(letters).size(), 66U + 8U);
}

}  // namespace
}  // namespace qx::qxsapssf_messages_test
