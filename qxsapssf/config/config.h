#ifndef QX_QXSAPSSF_CONFIG_CONFIG_H_
#define QX_QXSAPSSF_CONFIG_CONFIG_H_

#include <cstdint>
#include <list>
#include <string>

namespace qx {

/// The library's settings. All come from the environment, which is read once, when the library is
/// loaded.
struct Config {
  /// Flags of the chain check of SsfVerify, CERT_CHAIN_..., as hexadecimal QX_SSF_VERIFYCERTFLAGS. The
  /// default looks at the revocation of the whole chain but its root.
  std::uint32_t verifyCertFlags = 0x40000000;
  /// The same for a check when a certificate is selected; kept for hosts, read by no operation:
  /// QX_SSF_VERIFYCERTFLAGS_ONSELECT.
  std::uint32_t verifyCertFlagsOnSelect = 0;
  /// 1: SsfVerify names signers by the hash of their certificate: QX_SSF_USERID=CERT_HASH.
  std::uint8_t useCertHash = 0;
  /// 1: an empty password lets the provider ask for the PIN: QX_SSF_ASK_PIN_WHEN_EMPTY=YES.
  std::uint8_t askPinWhenEmpty = 0;
  /// Time-stamp servers to try, in order, after the provider's own: QX_SSF_ADD_TSP, separated by ";".
  std::list<std::string> tspList;
};

/// readEnvironment sets what the environment says, in order; a throw keeps what was read before it.
void readEnvironment(Config& config);

}  // namespace qx

/// The settings in force. Read-only after load.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): exported, as hosts know it
extern __attribute__((visibility("default"))) qx::Config gConfig;

#endif
