#ifndef QX_TESTS_CONTRACT_CONTRACT_H_
#define QX_TESTS_CONTRACT_CONTRACT_H_

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/cert.h"
#include "platform/errors.h"

#include "qxsapssf/platform_handles.h"
#include "tests/contract/subject.h"

namespace qx::test {

inline constexpr DWORD kBoth = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

/// A value that no function sets: where it stays, the last error was left alone.
inline constexpr DWORD kMark = 0x2000BEEF;

// NOLINTBEGIN(cppcoreguidelines-macro-usage): the last error is set before the call is evaluated

/// Fails when `call` is not refused with `code` as the last error.
#define EXPECT_REFUSED(call, code)          \
  do {                                      \
    SetLastError(kMark);                    \
    EXPECT_FALSE(call);                     \
    EXPECT_EQ(GetLastError(), DWORD{code}); \
  } while (false)

/// Fails when `call` fails or touches the last error.
#define EXPECT_QUIET(call)            \
  do {                                \
    SetLastError(kMark);              \
    EXPECT_TRUE(call);                \
    EXPECT_EQ(GetLastError(), kMark); \
  } while (false)

// NOLINTEND(cppcoreguidelines-macro-usage)

inline DWORD sizeOf(const std::vector<BYTE>& bytes) {
  return static_cast<DWORD>(bytes.size());
}

inline Certificate contextOf(const std::vector<BYTE>& der) {
  return Certificate(CertCreateCertificateContext(kBoth, der.data(), sizeOf(der)));
}

inline std::vector<BYTE> bytesOf(PCCERT_CONTEXT certificate) {
  return {certificate->pbCertEncoded, certificate->pbCertEncoded + certificate->cbCertEncoded};
}

inline Store storeOfSigner() {
  subject();
  return Store(CertOpenStore(CERT_STORE_PROV_SYSTEM_W,
                             0,
                             0,
                             CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_OPEN_EXISTING_FLAG,
                             L"MY"));
}

inline Store memoryStore() {
  return Store(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
}

/// The signer as his store has him, so that his key is known.
inline Certificate storedSigner(const Store& store) {
  const Certificate given = contextOf(subject().signer);
  return Certificate(
      CertFindCertificateInStore(store.get(), kBoth, 0, CERT_FIND_EXISTING, given.get(), nullptr));
}

/// readTwice reads a value by both passes and proves what they promise: size alone, one byte too few, the
/// exact size, more room than needed. `read` is called with a buffer and a size.
template <class Read>
std::vector<BYTE> readTwice(const Read& read) {
  DWORD size = 0;
  EXPECT_QUIET(read(nullptr, &size));
  // As a caller's malloc gives it.
  std::vector<BYTE> buffer(size + std::size_t{16}, 0xA5);
  if (size > 0) {
    DWORD small = size - 1;
    EXPECT_REFUSED(read(buffer.data(), &small), ERROR_MORE_DATA);
    EXPECT_EQ(small, size);
  }
  DWORD large = size + 16;
  EXPECT_TRUE(read(buffer.data(), &large));
  EXPECT_LE(large, size);
  DWORD exact = size;
  EXPECT_TRUE(read(buffer.data(), &exact));
  EXPECT_EQ(exact, large);
  for (std::size_t i = size; i < buffer.size(); ++i) {
    EXPECT_EQ(buffer[i], 0xA5) << "written behind the end";
  }
  DWORD* nowhere = nullptr;
  EXPECT_FALSE(read(nullptr, nowhere));
  buffer.resize(exact);
  return buffer;
}

}  // namespace qx::test

#endif
