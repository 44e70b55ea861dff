#ifndef QX_TOOLS_LAB_ENCODE_H_
#define QX_TOOLS_LAB_ENCODE_H_

#include "tools/lab/error.h"
#include "tools/lab/pki.h"

namespace qx::lab {

/// encode is the DER of an object. i2d_* with no buffer allocates one of the right size.
template <class T>
Bytes encode(int (*i2d)(const T*, unsigned char**), const T* object, const char* what) {
  unsigned char* buffer = nullptr;
  const int length = i2d(object, &buffer);
  const OpensslBytes owner(buffer);
  check(length, what);
  return {buffer, buffer + length};
}

/// decode reads an object that is the whole of `der`; null when it is not one.
template <class Owner, class T>
Owner decode(T* (*d2i)(T**, const unsigned char**, long), const Bytes& der) {
  const unsigned char* at = der.data();
  Owner object(d2i(nullptr, &at, static_cast<long>(der.size())));
  return at == der.data() + der.size() ? std::move(object) : Owner();
}

}  // namespace qx::lab

#endif
