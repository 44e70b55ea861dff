#include "tools/qxprovider/subject_name.h"

#include <string_view>

#include "platform/oid_info.h"

#include "provider/openssl/errors.h"
#include "tools/common/error.h"

namespace qx::admin {
namespace {

[[noreturn]] void refuseSubject(const std::string& reason) {
  throw tools::ToolError(tools::ExitCode::Usage, "the subject " + reason);
}

bool isBlank(char c) {
  return c == ' ' || c == '\t';
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && isBlank(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

// The dotted OID of a keyword as names are shown with it, else the word itself.
std::string typeOf(std::string_view word) {
  std::wstring keyword(word.begin(), word.end());
  const CRYPT_OID_INFO* entry =
      CryptFindOIDInfo(CRYPT_OID_INFO_NAME_KEY, keyword.data(), CRYPT_RDN_ATTR_OID_GROUP_ID);
  if (entry != nullptr) {
    return entry->pszOID;
  }
  return std::string(word.starts_with("OID.") ? word.substr(4) : word);
}

// Reads a text attribute by attribute.
class NameParser {
 public:
  explicit NameParser(std::string_view text) : rest_(trimmed(text)) {}

  X509NamePtr parse() {
    X509NamePtr name(X509_NAME_new());
    bool joined = false;
    do {
      const std::string type = typeOf(takeType());
      const std::string value = takeValue();
      append(name.get(), type, value, joined);
      joined = takeSeparator();
    } while (!ended_);
    return name;
  }

 private:
  std::string_view takeType() {
    const std::size_t end = rest_.find('=');
    if (end == std::string_view::npos || trimmed(rest_.substr(0, end)).empty()) {
      refuseSubject("is written as CN=Ivan Petrov, O=Bank, C=RU");
    }
    const std::string_view type = trimmed(rest_.substr(0, end));
    rest_ = trimmed(rest_.substr(end + 1));
    return type;
  }

  std::string takeValue() {
    if (rest_.starts_with('"')) {
      return takeQuoted();
    }
    const std::string_view value = rest_.substr(0, rest_.find_first_of(",;+"));
    rest_.remove_prefix(value.size());
    return std::string(trimmed(value));
  }

  std::string takeQuoted() {
    std::string value;
    rest_.remove_prefix(1);
    for (;;) {
      const std::size_t quote = rest_.find('"');
      if (quote == std::string_view::npos) {
        refuseSubject("has a quote that does not end");
      }
      value += rest_.substr(0, quote);
      rest_.remove_prefix(quote + 1);
      if (!rest_.starts_with('"')) {
        return value;
      }
      value += '"';
      rest_.remove_prefix(1);
    }
  }

  // Whether the next attribute belongs to the same RDN.
  bool takeSeparator() {
    rest_ = trimmed(rest_);
    ended_ = rest_.empty();
    if (ended_) {
      return false;
    }
    const char separator = rest_.front();
    if (separator != ',' && separator != ';' && separator != '+') {
      refuseSubject("has something behind a quote");
    }
    rest_ = trimmed(rest_.substr(1));
    return separator == '+';
  }

  static void append(X509_NAME* name,
                     const std::string& type,
                     const std::string& value,
                     bool joined) {
    const ErrorQueueGuard queue;
    if (X509_NAME_add_entry_by_txt(name,
                                   type.c_str(),
                                   MBSTRING_UTF8,
                                   reinterpret_cast<const unsigned char*>(value.data()),
                                   static_cast<int>(value.size()),
                                   /*loc=*/-1,
                                   joined ? -1 : 0) != 1) {
      refuseSubject("has an attribute that cannot be written: " + type + "=" + value);
    }
  }

  std::string_view rest_;
  bool ended_ = false;
};

}  // namespace

X509NamePtr parseName(const std::string& text) {
  return NameParser(text).parse();
}

}  // namespace qx::admin
