#include <array>
#include <cstring>

#include "qxsapssf/frame.h"
#include "qxsapssf/owned_bytes.h"
#include "qxsapssf/ssf.h"

namespace qx {
namespace {

struct CountedBytes {
  const SAP_B8* bytes;
  SsfOctetlen length;

  bool isValid(SsfOctetlen minimum) const noexcept {
    return length >= minimum && (bytes != nullptr || length == 0);
  }
};

/// The strings of a record, in the order of its members.
using RecordStrings = std::array<CountedBytes, 4>;

struct OwnedRecordStrings {
  std::array<OwnedBytes, 4> buffers;
  bool isComplete = true;
};

/// Nothing is copied yet: a failure leaves no password behind in freed memory.
OwnedRecordStrings allocateStrings(const RecordStrings& strings) noexcept {
  OwnedRecordStrings owned;
  for (std::size_t i = 0; i < strings.size(); ++i) {
    if (strings[i].length > 0) {
      owned.buffers[i] = OwnedBytes::allocate(static_cast<std::size_t>(strings[i].length));
      owned.isComplete = owned.isComplete && owned.buffers[i];
    }
  }
  return owned;
}

SAP_B8* fill(OwnedBytes& buffer, const CountedBytes& string) noexcept {
  if (buffer) {
    std::memcpy(buffer.data(), string.bytes, buffer.size());
  }
  return buffer.release();
}

SAPRETURN newRecord(const RecordStrings& strings,
                    SAPRETURN result,
                    SigRcpSsfInformation** record) noexcept {
  if (record == nullptr) {
    return SSF_API_INFO_INVALID_PARAMETER;
  }
  *record = nullptr;
  if (!strings[0].isValid(/*minimum=*/1) || !strings[1].isValid(0) || !strings[2].isValid(0) ||
      !strings[3].isValid(0)) {
    return SSF_API_INFO_INVALID_PARAMETER;
  }
  OwnedRecord<SigRcpSsfInformation> made = allocateRecord<SigRcpSsfInformation>();
  if (!made) {
    return SSF_API_INFO_NO_MEMORY;
  }
  OwnedRecordStrings owned = allocateStrings(strings);
  if (!owned.isComplete) {
    return SSF_API_INFO_NO_MEMORY;
  }
  made->idLength = strings[0].length;
  made->id = fill(owned.buffers[0], strings[0]);
  made->reservedLength = strings[1].length;
  made->reserved = fill(owned.buffers[1], strings[1]);
  made->profileLength = strings[2].length;
  made->profile = fill(owned.buffers[2], strings[2]);
  made->passwordLength = strings[3].length;
  made->password = fill(owned.buffers[3], strings[3]);
  made->result = result;
  *record = made.release();
  return SSF_API_OK;
}

SAPRETURN deleteRecord(SigRcpSsfInformation** record) noexcept {
  if (record == nullptr || *record == nullptr) {
    return SSF_API_INFO_MISSING;
  }
  const OwnedRecord<SigRcpSsfInformation> owned(*record);
  freeBytes(owned->id);
  freeBytes(owned->reserved);
  freeBytes(owned->profile);
  if (owned->password != nullptr && owned->passwordLength > 0) {
    wipeWithSpaces(owned->password, static_cast<std::size_t>(owned->passwordLength));
  }
  freeBytes(owned->password);
  *record = nullptr;
  return SSF_API_OK;
}

SAPRETURN insertRecord(SigRcpSsfInformation* record,
                       SigRcpSsfInformationListStruct** list) noexcept {
  if (record == nullptr || list == nullptr) {
    return SSF_API_INFO_MISSING;
  }
  OwnedRecord<SigRcpSsfInformationListStruct> node =
      allocateRecord<SigRcpSsfInformationListStruct>();
  if (!node) {
    return SSF_API_INFO_NO_MEMORY;
  }
  node->info = record;
  while (*list != nullptr) {
    list = &(*list)->next;
  }
  *list = node.release();
  return SSF_API_OK;
}

SAPRETURN deleteList(SigRcpSsfInformationListStruct** list) noexcept {
  if (list == nullptr || *list == nullptr) {
    return SSF_API_INFO_LIST_EMPTY;
  }
  OwnedRecord<SigRcpSsfInformationListStruct> node(*list);
  while (node) {
    deleteRecord(&node->info);
    node.reset(node->next);
  }
  *list = nullptr;
  return SSF_API_OK;
}

SAPRETURN deleteOctetstring(SAP_B8** data, SsfOctetlen* length) noexcept {
  if (data != nullptr && *data != nullptr) {
    freeBytes(*data);
    *data = nullptr;
    if (length != nullptr) {
      *length = 0;
    }
  }
  return SSF_API_OK;
}

}  // namespace
}  // namespace qx

SAPRETURN SsfNEWSigRcpSsfInfo(const SAP_B8* id,
                              SsfOctetlen idLength,
                              const SAP_B8* reserved,
                              SsfOctetlen reservedLength,
                              const SAP_B8* profile,
                              SsfOctetlen profileLength,
                              const SAP_B8* password,
                              SsfOctetlen passwordLength,
                              SAPRETURN result,
                              SigRcpSsfInformation** record) noexcept {
  const qx::RecordStrings strings = {{{.bytes = id, .length = idLength},
                                      {.bytes = reserved, .length = reservedLength},
                                      {.bytes = profile, .length = profileLength},
                                      {.bytes = password, .length = passwordLength}}};
  return qx::runRecordFunction([&] { return qx::newRecord(strings, result, record); });
}

SAPRETURN SsfDELSigRcpSsfInfo(SigRcpSsfInformation** record) noexcept {
  return qx::runRecordFunction([&] { return qx::deleteRecord(record); });
}

SAPRETURN SsfINSSigRcpSsfInfo(SigRcpSsfInformation* record,
                              SigRcpSsfInformationListStruct** list) noexcept {
  return qx::runRecordFunction([&] { return qx::insertRecord(record, list); });
}

SAPRETURN SsfDELSigRcpSsfInfoList(SigRcpSsfInformationListStruct** list) noexcept {
  return qx::runRecordFunction([&] { return qx::deleteList(list); });
}

SAPRETURN SsfDELSsfOctetstring(SAP_B8** data, SsfOctetlen* length) noexcept {
  return qx::runRecordFunction([&] { return qx::deleteOctetstring(data, length); });
}
