#include <utility>

#include "platform/cert_store.h"
#include "platform/errors.h"

#include "tests/journal/road.h"
#include "tests/qxsapssf/develope_call.h"
#include "tests/qxsapssf/envelope_call.h"

namespace qx::test {
namespace {

struct EnvelopeRoad : Road {
  SAPRETURN run() override {
    if (!isSecondMissing) {
      return call.run();
    }
    SigRcpSsfInformation*& second = call.recipients.list->next->info;
    SigRcpSsfInformation* const record = std::exchange(second, nullptr);
    const SAPRETURN code = call.run();
    second = record;
    return code;
  }

  Output& output() override { return call.output; }

  std::vector<SigRcpSsfInformation*> records() override { return call.recipients.all(); }

  EnvelopeCall call;
  bool isSecondMissing = false;  // the record of the second node
};

using Change = void (*)(EnvelopeRoad&);

ToyCertificate numbered(BYTE number) {
  return {.subject = "CN=Recipient " + std::to_string(number),
          .serial = {number},
          .thumbprint = scripted::Bytes(20, number),
          .hasKey = false};
}

NamedRoad road(const char* name, Change change) {
  return {"SsfEnvelope", name, OnFailure::Untouched, [change] {
            auto made = std::make_unique<EnvelopeRoad>();
            change(*made);
            return made;
          }};
}

void withProfile(EnvelopeRoad& road, const char* profile, DWORD location) {
  provider().stores.push_back(
      {.name = L"Book", .location = location, .certificates = {numbered(1)}});
  road.call.profile = profile;
  road.call.recipients.add("CN=Recipient 1");
}

void addFirst(EnvelopeRoad& road) {
  provider().addCertificate(numbered(1), L"Addressbook");
  road.call.recipients.add("CN=Recipient 1");
}

struct DevelopeRoad : Road {
  SAPRETURN run() override { return call.run(); }

  Output& output() override { return call.output; }

  std::vector<SigRcpSsfInformation*> records() override { return given.all(); }

  DevelopeCall call;
  Records given;
};

NamedRoad developing(const char* name, void (*change)(DevelopeRoad&)) {
  return {"SsfDevelope", name, OnFailure::Nothing, [change] {
            auto made = std::make_unique<DevelopeRoad>();
            ToyMessage toy;
            toy.type = CMSG_ENVELOPED;
            toy.content = "content";
            toy.recipients = {{.serial = {9}}, {.serial = {1}}};
            made->call.envelopedData = provider().addMessage(toy);
            change(*made);
            made->call.recipient = made->given.list == nullptr ? nullptr : made->given.list->info;
            return made;
          }};
}

}  // namespace

std::vector<NamedRoad> envelopeRoads() {
  return {
      road("envelope",
           [](EnvelopeRoad& r) {
             provider().addCertificate(numbered(1), L"Addressbook");
             r.call.recipients.add("CN=Recipient 1");
           }),
      road("envelope_cades",
           [](EnvelopeRoad& r) {
             provider().addCertificate(numbered(1), L"Addressbook");
             r.call.recipients.add("CN=Recipient 1");
             r.call.format = "CADES";
             r.call.cipher = "GOST";
           }),
      road("envelope_two",
           [](EnvelopeRoad& r) {
             provider().addCertificate({.subject = "CN=", .serial = {5}}, L"Addressbook");
             provider().addCertificate(numbered(2), L"Addressbook");
             provider().addCertificate(numbered(1), L"Addressbook");
             r.call.recipients.add("CN=Recipient 1");
             r.call.recipients.add(thumbprint("02"));
           }),
      road("envelope_user_store",
           [](EnvelopeRoad& r) { withProfile(r, "uBook", CERT_SYSTEM_STORE_CURRENT_USER); }),
      road("envelope_machine_store",
           [](EnvelopeRoad& r) { withProfile(r, "mBook", CERT_SYSTEM_STORE_LOCAL_MACHINE); }),
      road("envelope_time_word",
           [](EnvelopeRoad& r) { withProfile(r, "<TIME>Book", CERT_SYSTEM_STORE_CURRENT_USER); }),
      road("envelope_time_digits",
           [](EnvelopeRoad& r) {
             withProfile(r, "20240131120000Book", CERT_SYSTEM_STORE_CURRENT_USER);
           }),
  };
}

std::vector<NamedRoad> developeRoads() {
  return {
      developing("develope",
                 [](DevelopeRoad& r) {
                   provider().addCertificate({.pin = kLongPin});
                   r.given.add("CN=Ivan Petrov, C=RU", "uMy", kLongPin);
                 }),
      developing("develope_thumbprint",
                 [](DevelopeRoad& r) {
                   provider().addCertificate({.keySpec = 2, .pin = kLongPin});
                   r.given.add(thumbprint("11"), "", kLongPin);
                 }),
      developing("develope_machine_store",
                 [](DevelopeRoad& r) {
                   provider().stores = {{.name = L"My",
                                         .location = CERT_SYSTEM_STORE_LOCAL_MACHINE,
                                         .certificates = {{.pin = kLongPin}}}};
                   r.given.add("CN=Ivan Petrov, C=RU", "mMy", kLongPin);
                 }),
      developing("develope_time_word",
                 [](DevelopeRoad& r) {
                   provider().addCertificate({.pin = kLongPin});
                   r.given.add("CN=Ivan Petrov, C=RU", "<TIME>My", kLongPin);
                 }),
      developing("develope_without_pin",
                 [](DevelopeRoad& r) {
                   provider().addCertificate({});
                   r.given.add("CN=Ivan Petrov, C=RU", "20240131120000My", "");
                 }),
      developing("develope_asks",
                 [](DevelopeRoad& r) {
                   provider().addCertificate({.pin = kLongPin});
                   provider().promptAnswer = kLongPin;
                   r.given.add("CN=Ivan Petrov, C=RU", "My", "!");
                 }),
      developing("develope_last_of_many",
                 [](DevelopeRoad& r) {
                   provider().addCertificate({.subject = "CN=", .serial = {6}});
                   provider().addCertificate({.serial = {7}, .hasKey = false});
                   provider().addCertificate({.serial = {8}, .pin = "another PIN"});
                   provider().addCertificate({.pin = kLongPin});
                   r.given.add("CN=Ivan Petrov, C=RU", "uMy", kLongPin);
                 }),
  };
}

namespace {

/// The operations' calls fail with this error.
constexpr DWORD kRefused = NTE_FAIL;

/// What is refused before the recipients are looked for.
std::vector<NamedRoad> envelopeArgumentRefusals() {
  return {
      road("refused_envelope_format",
           [](EnvelopeRoad& r) {
             addFirst(r);
             r.call.format = "pkcs7";
           }),
      road("refused_envelope_no_data", [](EnvelopeRoad& r) { r.call.input.clear(); }),
      road("refused_envelope_no_list", [](EnvelopeRoad& r) { r.call.cipher = "AES"; }),
      road("refused_envelope_cipher",
           [](EnvelopeRoad& r) {
             addFirst(r);
             r.call.cipher = "GOST28147X";
             r.call.profile = "uNone";
           }),
      road("refused_envelope_no_cipher",
           [](EnvelopeRoad& r) {
             addFirst(r);
             r.call.cipher.clear();
           }),
      road("refused_envelope_no_store",
           [](EnvelopeRoad& r) {
             addFirst(r);
             r.call.profile = "uNone";
           }),
  };
}

/// What is refused while the recipients are looked for.
std::vector<NamedRoad> recipientRefusals() {
  return {
      road("refused_envelope_no_record",
           [](EnvelopeRoad& r) {
             addFirst(r);
             r.call.recipients.add("CN=Recipient 2");
             r.isSecondMissing = true;
           }),
      road("refused_envelope_identities",
           [](EnvelopeRoad& r) {
             r.call.recipients.add("CN=Recipient 1").idLength = 0;
             r.call.recipients.add("   ");
             r.call.recipients.add("Ivan Petrov");
             addFirst(r);
           }),
      road("refused_envelope_second",
           [](EnvelopeRoad& r) {
             addFirst(r);
             r.call.recipients.add("CN=Recipient 2");
             r.call.recipients.add(thumbprint("03"));
           }),
      road("refused_envelope_unreadable",
           [](EnvelopeRoad& r) {
             provider().addCertificate({.subject = "CN="}, L"Addressbook");
             r.call.recipients.add("CN=Recipient 1");
           }),
  };
}

/// What is refused while the message is made.
std::vector<NamedRoad> envelopeMessageRefusals() {
  return {
      road("refused_envelope_open",
           [](EnvelopeRoad& r) {
             addFirst(r);
             provider().failFirst("CryptMsgOpenToEncode", kRefused);
           }),
      road("refused_envelope_update",
           [](EnvelopeRoad& r) {
             addFirst(r);
             provider().failFirst("CryptMsgUpdate", kRefused);
           }),
      road("refused_envelope_size",
           [](EnvelopeRoad& r) {
             addFirst(r);
             provider().failFirst("CryptMsgGetParam", kRefused);
           }),
      road("refused_envelope_memory",
           [](EnvelopeRoad& r) {
             addFirst(r);
             provider().loseMemoryAfter("CryptMsgGetParam");
           }),
      road("refused_envelope_message",
           [](EnvelopeRoad& r) {
             addFirst(r);
             provider().failLate("CryptMsgGetParam", kRefused);
           }),
  };
}

void addIvan(DevelopeRoad& road, const ToyCertificate& certificate) {
  provider().addCertificate(certificate);
  road.given.add("CN=Ivan Petrov, C=RU", "uMy", kLongPin);
}

void addIvan(DevelopeRoad& road) {
  addIvan(road, {.pin = kLongPin});
}

/// What is refused before the recipient is looked for.
std::vector<NamedRoad> developeArgumentRefusals() {
  return {
      developing("refused_develope_format",
                 [](DevelopeRoad& r) {
                   addIvan(r);
                   r.call.format = "pkcs7";
                 }),
      developing("refused_develope_no_recipient",
                 [](DevelopeRoad& r) { r.call.envelopedData.clear(); }),
      developing("refused_develope_no_message",
                 [](DevelopeRoad& r) {
                   r.given.add("CN=Ivan Petrov, C=RU", "uNone");
                   r.call.envelopedData.clear();
                 }),
      developing(
          "refused_develope_no_store",
          [](DevelopeRoad& r) { r.given.add("CN=Ivan Petrov, C=RU", "uNone").idLength = 0; }),
      developing("refused_develope_no_identity",
                 [](DevelopeRoad& r) {
                   addIvan(r);
                   r.given.list->info->idLength = 0;
                 }),
  };
}

/// What is refused while the recipient is looked for.
std::vector<NamedRoad> keyRefusals() {
  return {
      developing("refused_develope_blank_identity",
                 [](DevelopeRoad& r) {
                   provider().addCertificate({});
                   r.given.add("   ", "uMy");
                 }),
      developing("refused_develope_identity",
                 [](DevelopeRoad& r) {
                   provider().addCertificate({});
                   r.given.add("Ivan Petrov", "uMy");
                 }),
      developing("refused_develope_absent",
                 [](DevelopeRoad& r) { addIvan(r, {.subject = "CN=Somebody"}); }),
      developing("refused_develope_unreadable",
                 [](DevelopeRoad& r) { addIvan(r, {.subject = "CN="}); }),
      developing("refused_develope_no_key", [](DevelopeRoad& r) { addIvan(r, {.hasKey = false}); }),
      developing("refused_develope_pin_not_taken",
                 [](DevelopeRoad& r) { addIvan(r, {.pin = kLongPin, .pinError = kRefused}); }),
      developing("refused_develope_pin",
                 [](DevelopeRoad& r) { addIvan(r, {.pin = "another PIN"}); }),
  };
}

/// What is refused while the recipient's entry is looked for.
std::vector<NamedRoad> entryRefusals() {
  return {
      developing("refused_develope_open",
                 [](DevelopeRoad& r) {
                   addIvan(r);
                   provider().failFirst("CryptMsgOpenToDecode", kRefused);
                 }),
      developing("refused_develope_no_format",
                 [](DevelopeRoad& r) {
                   addIvan(r);
                   r.call.envelopedData = "garbage";
                 }),
      developing("refused_develope_count",
                 [](DevelopeRoad& r) {
                   addIvan(r);
                   provider().failFirst("CryptMsgGetParam", kRefused);
                 }),
      developing("refused_develope_entry_size",
                 [](DevelopeRoad& r) {
                   addIvan(r);
                   provider().failFirst("CryptMsgGetParam(CMSG_RECIPIENT_INFO_PARAM", kRefused);
                 }),
      developing("refused_develope_entry_memory",
                 [](DevelopeRoad& r) {
                   addIvan(r);
                   provider().loseMemoryAfter("CryptMsgGetParam(CMSG_RECIPIENT_INFO_PARAM, 1");
                 }),
      developing("refused_develope_entry",
                 [](DevelopeRoad& r) {
                   addIvan(r);
                   provider().failLate("CryptMsgGetParam(CMSG_RECIPIENT_INFO_PARAM, 1", kRefused);
                 }),
      developing("refused_develope_stranger",
                 [](DevelopeRoad& r) {
                   addIvan(r);
                   ToyMessage toy;
                   toy.type = CMSG_ENVELOPED;
                   toy.content = "content";
                   toy.recipients = {{.serial = {9}}, {.serial = {7}}};
                   r.call.envelopedData = provider().addMessage(toy);
                 }),
  };
}

/// What is refused while the content is decrypted and read.
std::vector<NamedRoad> contentRefusals() {
  return {
      developing("refused_develope_decrypt",
                 [](DevelopeRoad& r) {
                   addIvan(r);
                   provider().failFirst("CryptMsgControl", kRefused);
                 }),
      developing("refused_develope_size",
                 [](DevelopeRoad& r) {
                   addIvan(r);
                   provider().failFirst("CryptMsgGetParam(CMSG_CONTENT_PARAM", kRefused);
                 }),
      developing("refused_develope_content_memory",
                 [](DevelopeRoad& r) {
                   addIvan(r);
                   provider().loseMemoryAfter("CryptMsgGetParam(CMSG_CONTENT_PARAM");
                 }),
      developing("refused_develope_content",
                 [](DevelopeRoad& r) {
                   addIvan(r);
                   provider().failLate("CryptMsgGetParam(CMSG_CONTENT_PARAM", kRefused);
                 }),
  };
}

}  // namespace

std::vector<NamedRoad> envelopeRefusals() {
  return joined({envelopeArgumentRefusals(), recipientRefusals(), envelopeMessageRefusals()});
}

std::vector<NamedRoad> developeRefusals() {
  return joined({developeArgumentRefusals(), keyRefusals(), entryRefusals(), contentRefusals()});
}

}  // namespace qx::test
