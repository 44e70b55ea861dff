#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <openssl/objects.h>
#include <openssl/x509.h>

#include "platform/cert.h"

#include "provider/name/name_text.h"
#include "provider/openssl/owned.h"

namespace qx::name_reading_back_test {
namespace {

// A rendered name must lead back to the name that was signed, whatever its authors put into it. The
// reader here knows the grammar only: OID=value, ", " between RDNs, " + " inside one, quotes doubled
// inside quotes, # before octets.

struct ReadValue {
  std::string oid;
  std::wstring text;
  bool isHex = false;
  bool startsRdn = true;

  bool operator==(const ReadValue&) const = default;
};

using ReadName = std::vector<ReadValue>;

class TextReader {
 public:
  explicit TextReader(std::wstring_view text) : rest_(text) {}

  std::optional<ReadName> read() {
    ReadName name;
    bool starts = true;
    while (!rest_.empty()) {
      ReadValue value{.oid = {}, .text = {}, .isHex = false, .startsRdn = starts};
      if (!readOid(value.oid) || !readValue(value)) {
        return std::nullopt;
      }
      name.push_back(std::move(value));
      starts = rest_.starts_with(L", ");
      if (rest_.empty()) {
        break;
      }
      if (!starts && !rest_.starts_with(L" + ")) {
        return std::nullopt;
      }
      rest_.remove_prefix(starts ? 2 : 3);
    }
    return name;
  }

 private:
  bool readOid(std::string& oid) {
    const std::size_t end = rest_.find(L'=');
    if (end == std::wstring_view::npos) {
      return false;
    }
    for (const wchar_t c : rest_.substr(0, end)) {
      oid += static_cast<char>(c);
    }
    rest_.remove_prefix(end + 1);
    return oid.find_first_not_of("0123456789.") == std::string::npos;
  }

  bool readValue(ReadValue& value) {
    if (rest_.starts_with(L'"')) {
      return readQuoted(value.text);
    }
    value.isHex = rest_.starts_with(L'#');
    const std::size_t end = std::min(rest_.find(L", "), rest_.find(L" + "));
    value.text = rest_.substr(0, end);
    rest_.remove_prefix(value.text.size());
    return true;
  }

  bool readQuoted(std::wstring& text) {
    for (std::size_t i = 1; i < rest_.size(); ++i) {
      if (rest_[i] != L'"') {
        text += rest_[i];
      } else if (i + 1 < rest_.size() && rest_[i + 1] == L'"') {
        text += rest_[i++];
      } else {
        rest_.remove_prefix(i + 1);
        return true;
      }
    }
    return false;
  }

  std::wstring_view rest_;
};

// What libcrypto knows of one value.
ReadValue expectedOf(const X509_NAME_ENTRY* entry, bool startsRdn) {
  char oid[64];
  OBJ_obj2txt(oid, sizeof oid, X509_NAME_ENTRY_get_object(entry), /*no_name=*/1);
  const ASN1_STRING* data = X509_NAME_ENTRY_get_data(entry);
  std::wstring text(ASN1_STRING_get0_data(data),
                    ASN1_STRING_get0_data(data) + ASN1_STRING_length(data));
  return {.oid = oid, .text = std::move(text), .isHex = false, .startsRdn = startsRdn};
}

std::wstring hexOf(const std::wstring& octets) {
  constexpr std::wstring_view kDigits = L"0123456789ABCDEF";
  std::wstring text = L"#";
  for (const wchar_t octet : octets) {
    text += kDigits[static_cast<unsigned>(octet) >> 4U];
    text += kDigits[static_cast<unsigned>(octet) & 15U];
  }
  return text;
}

struct Part {
  const char* type;
  std::string value;
  bool sameRdn = false;
};

// A name of these parts as libcrypto encodes it, rendered by us and read back, is what libcrypto reads.
void expectReadBack(const std::vector<Part>& parts) {
  const X509NamePtr made(X509_NAME_new());
  for (const Part& part : parts) {
    ASSERT_EQ(X509_NAME_add_entry_by_txt(made.get(),
                                         part.type,
                                         V_ASN1_UTF8STRING,
                                         reinterpret_cast<const unsigned char*>(part.value.data()),
                                         static_cast<int>(part.value.size()),
                                         /*loc=*/-1,
                                         part.sameRdn ? -1 : 0),
              1);
  }
  unsigned char* der = nullptr;
  const int size = i2d_X509_NAME(made.get(), &der);
  const OpensslBytes owner(der);
  ASSERT_GT(size, 0);
  const unsigned char* at = der;
  const X509NamePtr name(d2i_X509_NAME(nullptr, &at, size));
  const auto rendered = nameText({der, static_cast<std::size_t>(size)}, CERT_OID_NAME_STR);
  ASSERT_TRUE(rendered);
  const auto read = TextReader(*rendered).read();
  ASSERT_TRUE(read) << std::string(rendered->begin(), rendered->end());
  ASSERT_EQ(read->size(), static_cast<std::size_t>(X509_NAME_entry_count(name.get())));
  int rdn = -1;
  for (int i = 0; i < X509_NAME_entry_count(name.get()); ++i) {
    const X509_NAME_ENTRY* entry = X509_NAME_get_entry(name.get(), i);
    ReadValue expected = expectedOf(entry, X509_NAME_ENTRY_set(entry) != rdn);
    rdn = X509_NAME_ENTRY_set(entry);
    const ReadValue& found = (*read)[static_cast<std::size_t>(i)];
    if (found.isHex) {
      expected.text = hexOf(expected.text);
      expected.isHex = true;
    }
    ASSERT_TRUE(found == expected) << std::string(rendered->begin(), rendered->end());
  }
}

// Every text of up to three of the characters that mean something somewhere.
std::vector<std::string> nastyValues() {
  constexpr std::string_view kLetters("a ,+=\"\\#;<\n\ru\0", 14);
  std::vector<std::string> values = {""};
  for (std::size_t begin = 0, length = 1; length <= 3; ++length) {
    const std::size_t end = values.size();
    for (; begin < end; ++begin) {
      for (const char letter : kLetters) {
        values.push_back(values[begin] + letter);
      }
    }
  }
  return values;
}

TEST(RenderedNames, LeadBackToTheirValues) {
  const std::vector<std::string> values = nastyValues();
  ASSERT_EQ(values.size(), 1U + 14 + 196 + 2744);
  for (const std::string& value : values) {
    expectReadBack({{"CN", value}});
    if (HasFatalFailure()) {
      return;
    }
  }
}

TEST(RenderedNames, KeepWhereOneValueEndsAndTheNextBegins) {
  const std::vector<std::string> values = nastyValues();
  for (std::size_t i = 0; i < 211; ++i) {
    const std::string& other = values[(i * 7) % 211];
    expectReadBack({{"CN", values[i]}, {"O", other}});
    expectReadBack({{"CN", values[i]}, {"serialNumber", other, /*sameRdn=*/true}, {"C", "RU"}});
    if (HasFatalFailure()) {
      return;
    }
  }
}

TEST(RenderedNames, DoNotLetAValuePretendToBeAnotherAttribute) {
  for (const char* value : {"Ivan, 2.5.4.10=Bank",
                            "Ivan + 2.5.4.10=Bank",
                            "\"Ivan\", 2.5.4.10=Bank",
                            "Ivan\", 2.5.4.10=\"Bank",
                            "Ivan\\\", 2.5.4.10=Bank",
                            "#49, 2.5.4.10=Bank",
                            "Ivan\n2.5.4.10=Bank",
                            "Ivan; 2.5.4.10=Bank"}) {
    expectReadBack({{"CN", value}});
    expectReadBack({{"CN", value}, {"O", value}});
  }
}

// Two different names never look alike.
TEST(RenderedNames, DifferWhereTheNamesDo) {
  std::vector<std::wstring> texts;
  for (const std::string& value : nastyValues()) {
    const X509NamePtr name(X509_NAME_new());
    ASSERT_EQ(X509_NAME_add_entry_by_txt(name.get(),
                                         "CN",
                                         V_ASN1_UTF8STRING,
                                         reinterpret_cast<const unsigned char*>(value.data()),
                                         static_cast<int>(value.size()),
                                         -1,
                                         0),
              1);
    unsigned char* der = nullptr;
    const int size = i2d_X509_NAME(name.get(), &der);
    const OpensslBytes owner(der);
    texts.push_back(*nameText({der, static_cast<std::size_t>(size)}, CERT_X500_NAME_STR));
  }
  std::ranges::sort(texts);
  EXPECT_EQ(std::ranges::adjacent_find(texts), texts.end());
}

}  // namespace
}  // namespace qx::name_reading_back_test
