#ifndef QX_PROVIDER_OID_TABLE_H_
#define QX_PROVIDER_OID_TABLE_H_

#include <span>

#include "platform/oid_info.h"

namespace qx {

/// oidTable is every entry, group after group; within a group the order in which searches find them.
std::span<const CRYPT_OID_INFO_LONG> oidTable();

/// publicForm is an entry as the published interface shows it: the long record begins with the short.
inline PCCRYPT_OID_INFO publicForm(const CRYPT_OID_INFO_LONG& entry) {
  return reinterpret_cast<PCCRYPT_OID_INFO>(&entry);
}

}  // namespace qx

#endif
