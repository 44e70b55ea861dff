#include "qxsapssf/ssfxxaux_print.h"

// The assertion of this file stays on in every build.
#undef NDEBUG
#include <array>
#include <cassert>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "qxsapssf/frame.h"
#include "qxsapssf/owned_bytes.h"
#include "qxsapssf/ssf.h"

namespace qx {
namespace {

constexpr const char* kRecordFunction =
    "SAPRETURN SsfPRISigRcpSsfInfo(SigRcpSsfInformation*, SAP_B8**, SsfOctetlen*)";
constexpr const char* kListFunction =
    "SAPRETURN SsfPRISigRcpSsfInfoList(SigRcpSsfInformationListStruct*, SAP_B8**, SsfOctetlen*)";

/// A text under way in memory whose size was computed before. Running out of room is a mistake in that
/// computation and ends the process before anything is overwritten.
class TextBuffer {
 public:
  TextBuffer(std::size_t size, const char* function) noexcept
      : bytes_(size > INT32_MAX ? OwnedBytes() : OwnedBytes::allocate(size)), function_(function) {}

  explicit operator bool() const noexcept { return static_cast<bool>(bytes_); }

  std::size_t capacity() const noexcept { return bytes_.size(); }

  std::string_view text() const noexcept {
    return {reinterpret_cast<const char*>(bytes_.data()), written_};
  }

  void append(std::string_view text) noexcept {
    requireRoom(written_ + text.size(), bytes_.size(), function_);
    std::memcpy(bytes_.data() + written_, text.data(), text.size());
    written_ += text.size();
  }

  void append(int number) noexcept {
    std::array<char, 12> digits{};
    const int length = std::snprintf(digits.data(), digits.size(), "%d", number);
    append(std::string_view(digits.data(), static_cast<std::size_t>(length)));
  }

  void giveTo(SAP_B8** text, SsfOctetlen* length) noexcept {
    bytes_.data()[written_] = 0;
    *length = static_cast<SsfOctetlen>(written_);
    *text = bytes_.release();
  }

 private:
  OwnedBytes bytes_;
  const char* function_;
  std::size_t written_ = 0;
};

const char* resultWord(SAPRETURN result) noexcept {
  constexpr std::array<const char*, 8> kWords = {"INVALID_NAMESPACE",
                                                 "UNKNOWN",
                                                 "UNKNOWN_PROFILE",
                                                 "INVALID_PROFILE",
                                                 "INVALID_PASSWORD",
                                                 "NOCERTIFICATE",
                                                 "NOT_OK",
                                                 "UNDEFINED"};
  if (result == SSF_RESULT_OK) {
    return "OK";
  }
  if (result < SSF_RESULT_INVALID_NAMESPACE || result > SSF_RESULT_UNDEFINED) {
    return "UNKNOWN RESULT ???";
  }
  return kWords.at(static_cast<std::size_t>(result - SSF_RESULT_INVALID_NAMESPACE));
}

/// One string of a record. In records that callers made by hand it may be NULL, which is empty.
struct RecordString {
  const char* label;
  const SAP_B8* bytes;
  SsfOctetlen length;

  std::size_t size() const noexcept {
    return bytes != nullptr && length > 0 ? static_cast<std::size_t>(length) : 0;
  }
};

/// A string that holds a NUL is shown up to there, with its whole length.
void appendString(TextBuffer& text, const RecordString& string) noexcept {
  if (string.size() == 0) {
    return;
  }
  const auto* characters = reinterpret_cast<const char*>(string.bytes);
  text.append(string.label);
  text.append(std::string_view(characters, strnlen(characters, string.size())));
  text.append(" (");
  text.append(string.length);
  text.append(")\n");
}

/// What the fixed words around the strings take at most.
constexpr std::size_t kFrameSize = 51;
constexpr std::size_t kNoIdSize = 43;
constexpr std::size_t kIdSize = 68;
constexpr std::size_t kStringSize = 25;

std::size_t textSize(const RecordString& id,
                     const RecordString& reserved,
                     const RecordString& profile) noexcept {
  std::size_t size = kFrameSize + (id.size() > 0 ? id.size() + kIdSize : kNoIdSize);
  for (const RecordString* string : {&reserved, &profile}) {
    size += string->size() > 0 ? string->size() + kStringSize : 0;
  }
  return size;
}

SAPRETURN printRecord(const SigRcpSsfInformation* record,
                      SAP_B8** output,
                      SsfOctetlen* outputLength) noexcept {
  if (record == nullptr || output == nullptr || outputLength == nullptr) {
    return SSF_API_INFO_MISSING;
  }
  const RecordString id{.label = "Id        : ", .bytes = record->id, .length = record->idLength};
  const RecordString reserved{
      .label = "Reserved  : ", .bytes = record->reserved, .length = record->reservedLength};
  const RecordString profile{
      .label = "Profile   : ", .bytes = record->profile, .length = record->profileLength};
  TextBuffer text(textSize(id, reserved, profile), kRecordFunction);
  if (!text) {
    return SSF_API_INFO_NO_MEMORY;
  }
  text.append("Signer/Recipient Security Information :\n");
  appendString(text, id);
  appendString(text, reserved);
  appendString(text, profile);
  text.append("\n\nSigner/Recipient Result : ");
  text.append(resultWord(record->result));
  text.append("\n\n\n");
  text.giveTo(output, outputLength);
  return SSF_API_OK;
}

constexpr std::size_t kListHeadSize = 49;
constexpr std::size_t kEntryHeadSize = 53;

/// The text so far with one more entry, in new memory.
SAPRETURN appendEntry(const SigRcpSsfInformation* record, int number, TextBuffer& list) noexcept {
  SAP_B8* data = nullptr;
  SsfOctetlen length = 0;
  const SAPRETURN code = printRecord(record, &data, &length);
  if (code != SSF_API_OK) {
    return code;
  }
  const OwnedRecord<SAP_B8> entry(data);
  TextBuffer longer(list.capacity() + static_cast<std::size_t>(length) + kEntryHeadSize,
                    kListFunction);
  if (!longer) {
    return SSF_API_INFO_NO_MEMORY;
  }
  longer.append(list.text());
  longer.append("=============\nSigner/Recipient : ");
  longer.append(number);
  longer.append("\n=============\n");
  longer.append(std::string_view(reinterpret_cast<const char*>(entry.get()),
                                 static_cast<std::size_t>(length)));
  list = std::move(longer);
  return SSF_API_OK;
}

SAPRETURN printList(const SigRcpSsfInformationListStruct* list,
                    SAP_B8** output,
                    SsfOctetlen* outputLength) noexcept {
  if (list == nullptr) {
    return SSF_API_INFO_LIST_EMPTY;
  }
  if (output == nullptr || outputLength == nullptr) {
    return SSF_API_INFO_MISSING;
  }
  TextBuffer text(kListHeadSize, kListFunction);
  if (!text) {
    return SSF_API_INFO_NO_MEMORY;
  }
  text.append("SIGNER/RECIPIENT SECURITY INFORMATION LIST :\n\n");
  int number = 1;
  for (const auto* node = list; node != nullptr; node = node->next) {
    const SAPRETURN code = appendEntry(node->info, number, text);
    if (code != SSF_API_OK) {
      return code;
    }
    ++number;
  }
  text.giveTo(output, outputLength);
  return SSF_API_OK;
}

}  // namespace

void requireRoom(std::size_t written, std::size_t size, const char* function) noexcept {
  if (written >= size) {
    // The message is the one that hosts have always seen: its own expression, unit and signature.
    __assert_fail("j<lsOutputDataL", "ssfxxaux", __LINE__, function);
  }
}

}  // namespace qx

SAPRETURN SsfPRISigRcpSsfInfo(SigRcpSsfInformation* record,
                              SAP_B8** text,
                              SsfOctetlen* textLength) noexcept {
  return qx::runRecordFunction([&] { return qx::printRecord(record, text, textLength); });
}

SAPRETURN SsfPRISigRcpSsfInfoList(SigRcpSsfInformationListStruct* list,
                                  SAP_B8** text,
                                  SsfOctetlen* textLength) noexcept {
  return qx::runRecordFunction([&] { return qx::printList(list, text, textLength); });
}
