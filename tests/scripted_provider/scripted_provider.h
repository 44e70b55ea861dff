#ifndef QX_TESTS_SCRIPTED_PROVIDER_SCRIPTED_PROVIDER_H_
#define QX_TESTS_SCRIPTED_PROVIDER_SCRIPTED_PROVIDER_H_

// A provider that plays back what a test tells it. It exports the whole platform interface and answers
// with readable toy values: certificates are records, messages are texts. Every call is written into a
// journal together with the lines that the library traces, and any call can be made to fail.
//
// It is one object, for one thread. A test begins with provider().reset().

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/crypt_msg.h"
#include "platform/errors.h"
#include "platform/oid_info.h"

#include "tests/scripted_provider/allocation.h"

namespace qx::scripted {

#define QX_SCRIPTED_API __attribute__((visibility("default")))

using Bytes = std::vector<BYTE>;

/// Bytes of a text, for whatever wants bytes.
inline Bytes bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

/// A certificate. Names are texts in X.500 form, and so are their encodings; the certificate's own
/// encoding is "certificate(SUBJECT,SERIAL)".
struct ToyCertificate {
  std::string subject = "CN=Ivan Petrov, O=Bank, C=RU";
  std::string issuer = "CN=Test CA, C=RU";
  Bytes serial = {1};
  Bytes thumbprint = Bytes(20, 0x11);
  std::string publicKeyOid = "1.2.643.7.1.1.1.1";
  std::string signatureOid = "1.2.643.7.1.1.3.2";
  bool hasKey = true;
  DWORD keySpec = 1;     // AT_KEYEXCHANGE
  std::string pin;       // empty: the key has none
  DWORD pinError = 0;    // what setting a PIN fails with, whatever it is
  DWORD trustError = 0;  // CERT_TRUST_... that a chain of it gets

  QX_SCRIPTED_API std::string encoded() const;
};

struct ToyStore {
  std::wstring name = L"My";
  DWORD location = 0x10000;  // CERT_SYSTEM_STORE_CURRENT_USER
  std::vector<ToyCertificate> certificates;
};

struct ToyAttribute {
  std::string oid;
  std::vector<Bytes> values;
};

/// What CadesMsgVerifySignature answers for a signer.
struct ToyCadesVerdict {
  BOOL answer = TRUE;
  DWORD lastError = 0;  // set also when the answer is TRUE, unless 0
  bool hasRecord = true;
  DWORD status = 0;
  std::optional<ToyCertificate> certificate;
  std::optional<FILETIME> signingTime;
  std::optional<FILETIME> stampTime;
};

/// A signer of a message.
struct ToySigner {
  std::string issuer = "CN=Test CA, C=RU";
  Bytes serial = {1};
  std::vector<ToyAttribute> attributes;
  DWORD signatureError = 0;  // what CMSG_CTRL_VERIFY_SIGNATURE_EX fails with, 0: it is good
  ToyCadesVerdict cades;
  std::vector<ToyCertificate> certificateValues;
  bool isCadesXLong = false;

  /// The signer that a certificate names.
  QX_SCRIPTED_API static ToySigner of(const ToyCertificate& certificate);
};

/// A recipient of an enveloped message.
struct ToyRecipient {
  std::string issuer = "CN=Test CA, C=RU";
  Bytes serial = {1};
};

/// A message as a decoder sees it.
struct ToyMessage {
  DWORD type = CMSG_SIGNED;
  std::string content;  // empty and isDetached: comes in a second update
  bool isDetached = false;
  std::vector<ToySigner> signers;
  std::vector<ToyCertificate> certificates;
  std::vector<ToyRecipient> recipients;
  std::string hashOid;
  std::vector<std::string> marks;  // what was done to it: "enhanced with default", "added CN=..."

  /// The message as a text; whoever encodes a message gets these bytes, and a decoder knows them again.
  QX_SCRIPTED_API std::string encoded() const;
};

struct ToyOid {
  DWORD group = CRYPT_PUBKEY_ALG_OID_GROUP_ID;
  std::string oid;
  std::wstring name;
  ALG_ID algId = 0;
  std::vector<DWORD> extra;
  DWORD extraBytes = 0xFFFFFFFF;  // what cbData says; by default all words
};

/// One line that the library traced.
struct TraceLine {
  std::string text;    // formatted
  std::string format;  // as it was given
  std::string file;
  int line = 0;
  std::string function;
};

/// A failure that waits for its call. A call is told by the beginning of its journal line, so
/// "CryptMsgGetParam" means any of these calls and "CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, read" the
/// read that follows a size query.
class QX_SCRIPTED_API Provider {
 public:
  Provider();
  ~Provider();
  Provider(const Provider&) = delete;
  Provider& operator=(const Provider&) = delete;

  /// Forgets script, journal and books. What the library registered at load stays.
  void reset();

  // ---- What there is: change it freely ----
  std::vector<ToyStore> stores;
  std::vector<ToyCertificate> otherCertificates;  // known by their encoding, in no store
  std::map<std::string, ToyMessage> messages;     // by encoding; encoders add theirs
  std::vector<ToyOid> oids;
  std::vector<ALG_ID> algorithms;              // of any provider, for PP_ENUMALGS
  std::optional<std::string> promptAnswer;     // what a user types when a key may ask
  std::vector<std::string> workingTspServers;  // addresses that stamp; "" is the default server
  int timeStampsLeft = -1;                     // how many more are given; -1: any number

  /// Adds a certificate to the current user's store of a name, which is made when it is not there.
  ToyCertificate& addCertificate(ToyCertificate certificate, std::wstring_view store = L"My");

  /// Makes a message known and returns its encoding.
  std::string addMessage(const ToyMessage& message);

  /// Looks at the memory of a PIN while it is being set.
  std::function<void(const void* pin, std::size_t size)> onPinSet;

  // ---- Tracing ----
  void setTraceMask(std::uint8_t mask);  // 8 at reset
  bool isTraceEnabledAnswer = true;      // what qxsup_trace_enabled says
  const std::vector<TraceLine>& trace() const;
  std::vector<std::string> traceTexts() const;
  unsigned traceEnabledCalls() const;
  const std::vector<std::string>& registrations() const;  // names given to qxsup_trace_register

  // ---- Failures ----
  void failNth(std::string_view call, unsigned n, DWORD lastError);

  void failFirst(std::string_view call, DWORD lastError) { failNth(call, 1, lastError); }

  void failAlways(std::string_view call, DWORD lastError);
  /// The size queries succeed, the first read fails.
  void failLate(std::string_view call, DWORD lastError);
  /// The n-th call that can fail at all, whichever it is.
  void failAny(unsigned n, DWORD lastError);
  /// The object grows (or shrinks) by so many bytes between a size query and its read.
  void sizeChanges(std::string_view call, int difference);
  /// The n-th call that can fail at all, a size query or a read, tells or gives so many bytes more (or
  /// fewer) than there are.
  void missizeAny(unsigned n, int difference);
  /// The call succeeds but gives no output (NULL, 0).
  void giveNothing(std::string_view call);
  /// There is no memory for the first allocation after the first such call, once. Wants the allocation hook.
  void loseMemoryAfter(std::string_view call);
  /// The sizes that queries answer are this number, whatever there is.
  void claimSize(std::string_view call, DWORD size);
  /// How many calls that can fail there were since reset().
  unsigned failableCalls() const;
  /// The same calls as they stand in the journal, without what came of them.
  const std::vector<std::string>& failable() const;
  /// How many of the failures and the wrong size that a test asked for have happened.
  unsigned failuresSeen() const;

  // ---- What happened ----
  /// Calls and trace lines in order. A call is "Function(arguments)", with " -> FAILED 80092004" when it
  /// failed; a trace line is "trace Function: text". Reading the last error and asking whether tracing
  /// is on are counted only.
  const std::vector<std::string>& journal() const;
  /// The same with everything that was given and handed out: "Function(arguments) {message#1, room 9, = 9
  /// bytes}", and trace lines with their level: "trace 8 Function: text".
  const std::vector<std::string>& fullJournal() const;
  /// The calls of the journal that begin so.
  std::vector<std::string> calls(std::string_view beginning) const;
  unsigned lastErrorReads() const;
  /// The PINs that were set; they stand nowhere else.
  const std::vector<std::string>& pinsSet() const;
  /// What is still out, and what was given back twice or was never given: empty when all is well.
  std::vector<std::string> leftovers() const;

  // ---- For the functions of the interface ----
  struct State;

  State& state() { return *state_; }

 private:
  std::unique_ptr<State> state_;
};

/// The one provider.
QX_SCRIPTED_API Provider& provider();

/// A FILETIME of a UTC date.
QX_SCRIPTED_API FILETIME fileTime(int year, int month, int day, int hour, int minute, int second);

/// The toy encoding of a signing time, for ToyAttribute.
QX_SCRIPTED_API Bytes encodedTime(const FILETIME& time);

}  // namespace qx::scripted

#endif
