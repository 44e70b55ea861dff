#ifndef QX_PROVIDER_STORE_STORE_FILES_H_
#define QX_PROVIDER_STORE_STORE_FILES_H_

#include <string>

#include "provider/result.h"
#include "provider/store/certificate_data.h"
#include "provider/store/crl_data.h"
#include "provider/store/store_name.h"

namespace qx {

// Files are written to a temporary name, flushed and renamed, under a lock on the folder: after a crash
// there is the old state or the new one. What changes is seen by the next snapshot of the store. Errors
// of all functions: E_ACCESSDENIED when the system does not let us, or when others than root change the
// machine's "Root" and "CA"; ERROR_PATH_NOT_FOUND, ERROR_DISK_FULL, CRYPT_E_FILE_ERROR.

/// What happens when a store holds the same certificate already.
enum class IfPresent : std::uint8_t {
  Refuse,     ///< CRYPT_E_EXISTS
  Keep,       ///< the name of the file that is there
  AddAnother  ///< a second file
};

/// mayChange tells by an error why a store may not be changed by this process: the machine's trust is
/// root's.
Result<void> mayChange(const StoreName& store);

/// makeStore makes a store that is not there yet.
Result<void> makeStore(const StoreName& store);

/// addCertificateFile puts a certificate into a store, which it makes when it is not there, and gives
/// the file's name: what the subject is called, as far as ASCII goes, and the thumbprint.
Result<std::string> addCertificateFile(const StoreName& store,
                                       const CertificateData& certificate,
                                       IfPresent ifPresent);

/// removeCertificateFile removes a file that holds this certificate. A file that is gone or holds
/// another one by now is left as it is, which is success.
Result<void> removeCertificateFile(const StoreName& store,
                                   const std::string& fileName,
                                   const Thumbprint& sha1);

/// addCrlFile puts a CRL into a store, which it makes when it is not there, and gives the file's name.
/// It takes the place of an older CRL on the same subject (CrlData::subject) that was added by this
/// function; CRYPT_E_EXISTS when that one is newer.
Result<std::string> addCrlFile(const StoreName& store, const CrlData& crl);

/// removeCrlFile removes a CRL's file; ERROR_FILE_NOT_FOUND when it is not there, ERROR_INVALID_NAME
/// for a name that is none of a CRL.
Result<void> removeCrlFile(const StoreName& store, const std::string& fileName);

}  // namespace qx

#endif
