#ifndef QX_QXSAPSSF_SSFXXMAIN_ARGUMENTS_H_
#define QX_QXSAPSSF_SSFXXMAIN_ARGUMENTS_H_

// What every operation does with its flat arguments.

#include <cstddef>

#include "qxsapssf/owned_bytes.h"
#include "qxsapssf/ssf.h"
#include "qxsapssf/trace.h"

namespace qx {

/// isSet reads a boolean of the interface: only its low byte is the caller's.
inline bool isSet(int flag) noexcept {
  return (static_cast<unsigned>(flag) & 0xFFU) != 0;
}

/// clearOutputLength sets the caller's length to 0. False, with a trace line, when the caller gave no
/// place for the output or for its length.
inline bool clearOutputLength(const char* function,
                              SAP_B8* const* output,
                              SsfOctetlen* outputLength) noexcept {
  if (outputLength != nullptr) {
    *outputLength = 0;
  }
  if (output == nullptr || outputLength == nullptr) {
    QX_TRACE(function, "#error#: No place for the output\n");
    return false;
  }
  return true;
}

/// clearOutput is clearOutputLength for the operations that leave no output pointer behind on failure.
inline bool clearOutput(const char* function, SAP_B8** output, SsfOctetlen* outputLength) noexcept {
  if (output != nullptr) {
    *output = nullptr;
  }
  return clearOutputLength(function, output, outputLength);
}

/// hasInput is for inputs whose length is positive: false, with a trace line, when there are no bytes.
inline bool hasInput(const char* function, const SAP_B8* input) noexcept {
  if (input == nullptr) {
    QX_TRACE(function, "#error#: The input is NULL\n");
    return false;
  }
  return true;
}

/// countNodes is the length of a list of records.
inline std::size_t countNodes(const SigRcpSsfInformationListStruct* node) noexcept {
  std::size_t count = 0;
  for (; node != nullptr; node = node->next) {
    ++count;
  }
  return count;
}

/// handOver gives a byte string to the caller.
inline void handOver(OwnedBytes& bytes, SAP_B8** output, SsfOctetlen* outputLength) noexcept {
  *outputLength = static_cast<SsfOctetlen>(bytes.size());
  *output = bytes.release();
}

}  // namespace qx

#endif
