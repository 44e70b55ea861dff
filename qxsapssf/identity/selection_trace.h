#ifndef QX_QXSAPSSF_IDENTITY_SELECTION_TRACE_H_
#define QX_QXSAPSSF_IDENTITY_SELECTION_TRACE_H_

#include <string_view>

#include "qxsapssf/ssf.h"

namespace qx {

/// SelectionTrace is what the operations do not share when they search a private key: their lines, each
/// a function that writes it or nothing, and one result code.
struct SelectionTrace {
  /// The operation, under whose name the common lines are written too.
  const char* function;
  /// The lines that tell the progress of the search; SsfDevelope tells none.
  bool tellsProgress;
  /// Whether the key is to sign, so that it needs a hash algorithm.
  bool needsHash;
  /// The record's result when the provider does not take the PIN.
  SAPRETURN pinNotTaken;
  void (*storeNamed)(int number, std::string_view profile);
  void (*storeInvalid)();
  void (*keyNotAcquired)();
  void (*pinNotSet)();
  void (*keyNotUsable)();
  void (*notFound)(int number);
};

extern const SelectionTrace kSignSelection;
extern const SelectionTrace kAddSignSelection;
extern const SelectionTrace kDevelopeSelection;

}  // namespace qx

#endif
