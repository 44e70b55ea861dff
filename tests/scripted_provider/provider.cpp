#include <algorithm>

#include "tests/scripted_provider/state.h"

namespace qx::scripted {

Provider& provider() {
  static Provider theProvider;
  return theProvider;
}

Provider::Provider() : state_(std::make_unique<State>()) {
  reset();
}

Provider::~Provider() = default;

void Provider::reset() {
  auto fresh = std::make_unique<State>();
  fresh->registrations = state_->registrations;
  // The library holds the address of the context, so the context stays where it is.
  state_->live.clear();
  const QX_TRACE_CONTEXT context = fresh->context;
  std::swap(*state_, *fresh);
  state_->context = context;

  stores.clear();
  otherCertificates.clear();
  messages.clear();
  onPinSet = nullptr;
  promptAnswer.reset();
  workingTspServers = {""};
  timeStampsLeft = -1;
  isTraceEnabledAnswer = true;
  algorithms = {CALG_SHA_256, CALG_SHA1};
  const auto publicKey = CRYPT_PUBKEY_ALG_OID_GROUP_ID;
  const auto signature = CRYPT_SIGN_ALG_OID_GROUP_ID;
  const auto hash = CRYPT_HASH_ALG_OID_GROUP_ID;
  oids = {
      {publicKey, "1.2.643.2.2.19", L"GOST 2001", 0x2E01, {0}},
      {publicKey, "1.2.643.2.2.19", L"GOST 2001 DH", 0xAE01, {0}},
      {publicKey, "1.2.643.7.1.1.1.1", L"GOST 2012 256", 0x2E02, {0}},
      {publicKey, "1.2.643.7.1.1.1.1", L"GOST 2012 256 DH", 0xAE02, {0}},
      {publicKey, szOID_RSA_RSA, L"RSA", CALG_RSA_KEYX, {0}},
      {publicKey, szOID_RSA_RSA, L"RSA_SIGN", CALG_RSA_SIGN, {0}},
      {publicKey, szOID_ECC_PUBLIC_KEY, L"ECC", CALG_ECDSA, {0}},
      {signature, "1.2.643.2.2.3", L"GOST 2001 with GOST 94", 0x801E, {0x2E01, 0, 75}},
      {signature, "1.2.643.7.1.1.3.2", L"GOST 2012 256", 0x8021, {0x2E02, 0, 80}},
      {signature, szOID_RSA_SHA1RSA, L"sha1RSA", CALG_SHA1, {CALG_RSA_SIGN, 0, 24}},
      {signature, szOID_RSA_SHA256RSA, L"sha256RSA", CALG_SHA_256, {CALG_RSA_SIGN, 0, 24}},
      {signature, szOID_ECDSA_SHA256, L"sha256ECDSA", CALG_SHA_256, {CALG_ECDSA, 0, 0}},
      {hash, "1.2.643.2.2.9", L"GOST 94", 0x801E, {}},
      {hash, "1.2.643.7.1.1.2.2", L"GOST 2012 256", 0x8021, {}},
      {hash, szOID_OIWSEC_sha1, L"sha1", CALG_SHA1, {}},
      {hash, szOID_NIST_sha256, L"sha256", CALG_SHA_256, {}},
  };
}

ToyCertificate& Provider::addCertificate(ToyCertificate certificate, std::wstring_view store) {
  auto at = std::ranges::find_if(stores, [&](const ToyStore& each) {
    return each.name == store && each.location == CERT_SYSTEM_STORE_CURRENT_USER;
  });
  if (at == stores.end()) {
    ToyStore made;
    made.name = store;
    at = stores.insert(stores.end(), std::move(made));
  }
  at->certificates.push_back(std::move(certificate));
  return at->certificates.back();
}

std::string Provider::addMessage(const ToyMessage& message) {
  std::string encoding = message.encoded();
  messages[encoding] = message;
  return encoding;
}

void Provider::setTraceMask(std::uint8_t mask) {
  state_->context.bLevelMask = mask;
}

const std::vector<TraceLine>& Provider::trace() const {
  return state_->trace;
}

std::vector<std::string> Provider::traceTexts() const {
  std::vector<std::string> texts;
  for (const TraceLine& line : state_->trace) {
    texts.push_back(line.text);
  }
  return texts;
}

unsigned Provider::traceEnabledCalls() const {
  return state_->traceEnabledCalls;
}

const std::vector<std::string>& Provider::registrations() const {
  return state_->registrations;
}

void Provider::failNth(std::string_view call, unsigned n, DWORD lastError) {
  state_->failures.push_back({.call = std::string(call), .n = n, .lastError = lastError});
}

void Provider::failAlways(std::string_view call, DWORD lastError) {
  failNth(call, 0, lastError);
}

void Provider::failLate(std::string_view call, DWORD lastError) {
  state_->failures.push_back(
      {.call = std::string(call), .n = 1, .lastError = lastError, .onlyReads = true});
}

void Provider::failAny(unsigned n, DWORD lastError) {
  state_->failAny = n;
  state_->failAnyError = lastError;
}

void Provider::missizeAny(unsigned n, int difference) {
  state_->missizeAny = n;
  state_->missizeDifference = difference;
}

void Provider::sizeChanges(std::string_view call, int difference) {
  state_->sizes.push_back(
      {.call = std::string(call), .difference = difference, .claim = std::nullopt});
}

void Provider::loseMemoryAfter(std::string_view call) {
  state_->callBeforeLoss = call;
}

void Provider::claimSize(std::string_view call, DWORD size) {
  state_->sizes.push_back({.call = std::string(call), .difference = 0, .claim = size});
}

void Provider::giveNothing(std::string_view call) {
  state_->empty.emplace_back(call);
}

unsigned Provider::failableCalls() const {
  return state_->failableCalls;
}

const std::vector<std::string>& Provider::failable() const {
  return state_->failable;
}

unsigned Provider::failuresSeen() const {
  return state_->failuresSeen;
}

const std::vector<std::string>& Provider::journal() const {
  return state_->journal;
}

const std::vector<std::string>& Provider::fullJournal() const {
  return state_->fullJournal;
}

std::vector<std::string> Provider::calls(std::string_view beginning) const {
  std::vector<std::string> found;
  for (const std::string& line : state_->journal) {
    if (line.starts_with(beginning)) {
      found.push_back(line);
    }
  }
  return found;
}

unsigned Provider::lastErrorReads() const {
  return state_->lastErrorReads;
}

const std::vector<std::string>& Provider::pinsSet() const {
  return state_->pins;
}

std::vector<std::string> Provider::leftovers() const {
  std::vector<std::string> left = state_->misuse;
  for (const auto& [handle, object] : state_->live) {
    left.push_back(object->name + " is still out");
  }
  return left;
}

void Provider::State::takeBack(const void* handle, const char* user) {
  if (handle == nullptr) {
    return;
  }
  auto* object = find<Object>(handle, user);
  if (object != nullptr && --object->references == 0) {
    // Dying objects take the keys cached on them along.
    const auto owned = live.extract(handle);
    if (auto* certificate = dynamic_cast<CertificateObject*>(object)) {
      live.erase(certificate->cachedKey);
    }
  }
}

std::string Provider::State::nameOf(const void* handle) const {
  if (handle == nullptr) {
    return "NULL";
  }
  const auto at = live.find(handle);
  return at == live.end() ? "unknown" : at->second->name;
}

}  // namespace qx::scripted
