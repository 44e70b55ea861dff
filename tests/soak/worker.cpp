#include "tests/soak/worker.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <utility>

#include <openssl/evp.h>

namespace qx::soak {
namespace {

using test::SsfOutcome;
using test::SsfRecord;

constexpr std::size_t kSmallest = 100;
constexpr std::size_t kLargest = World::kMaterial / 2;

// Wrong answers that a worker tells of.
constexpr std::uint64_t kMostTold = 10;

std::string digestOf(const std::string& content, const EVP_MD* algorithm) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned length = 0;
  EVP_Digest(content.data(), content.size(), digest.data(), &length, algorithm, nullptr);
  return {reinterpret_cast<const char*>(digest.data()), length};
}

SAPRETURN resultOf(const SsfOutcome& outcome) {
  return outcome.records.empty() ? SSF_RESULT_UNDEFINED : outcome.records.front().result;
}

bool areAllGood(const SsfOutcome& outcome, std::size_t records) {
  return outcome.code == SSF_API_OK && outcome.records.size() == records &&
         std::ranges::all_of(outcome.records, [](const SsfRecord& record) {
           return record.result == SSF_RESULT_OK;
         });
}

}  // namespace

void Worker::work() {
  constexpr std::array<Task, 18> kTasks = {&Worker::signAttached,
                                           &Worker::signDetached,
                                           &Worker::signWithTwo,
                                           &Worker::signWithWrongPin,
                                           &Worker::addSigner,
                                           &Worker::verifyChanged,
                                           &Worker::envelope,
                                           &Worker::develope,
                                           &Worker::digest,
                                           &Worker::copy,
                                           &Worker::tell,
                                           &Worker::keepRecords,
                                           &Worker::signAsGuest,
                                           &Worker::writeToGuest,
                                           &Worker::signWithStamps,
                                           &Worker::addSignerWithStamps,
                                           &Worker::verifyChangedWithStamps,
                                           &Worker::verifyKept};
  (this->*kTasks.at(number(kTasks.size())))();
}

void Worker::signAttached() {
  const std::string content = anyContent();
  const SsfOutcome made = test::ssfSign(content, {recordOf(anySigner())});
  expect(areAllGood(made, 1), "sign", made);
  expectVerified("verify", made.output, {}, content, 1);
}

void Worker::signDetached() {
  const std::string content = anyContent();
  const SsfOutcome made = test::ssfSign(content, {recordOf(anySigner())}, {.detached = true});
  expect(areAllGood(made, 1), "sign detached", made);
  expectVerified("verify detached", made.output, content, content, 1);
  expectRefused("verify with other content",
                test::ssfVerify(made.output, content + "."),
                SSF_API_SIGNER_ERROR,
                SSF_RESULT_NOT_OK);
}

void Worker::signWithTwo() {
  const std::string content = anyContent();
  const Identity& first = anySigner();
  const Identity& second = anySigner();
  if (&first == &second) {
    return;
  }
  const SsfOutcome made = test::ssfSign(content, {recordOf(first), recordOf(second)});
  expect(areAllGood(made, 2), "sign with two", made);
  expectVerified("verify two", made.output, {}, content, 2);
}

void Worker::signWithWrongPin() {
  SsfRecord signer = recordOf(anySigner());
  signer.password += "?";
  expectRefused("sign with a wrong PIN",
                test::ssfSign(anyContent(), {signer}),
                SSF_API_SIGNER_ERROR,
                SSF_RESULT_INVALID_PASSWORD);
}

void Worker::addSigner() {
  const std::string content = anyContent();
  const bool detached = number(2) == 0;
  const std::string given = detached ? content : std::string();
  const Identity& first = anySigner();
  const Identity& second = anySigner();
  if (&first == &second) {
    return;
  }
  const SsfOutcome one = test::ssfSign(content, {recordOf(first)}, {.detached = detached});
  expect(areAllGood(one, 1), "sign as the first", one);
  const SsfOutcome two = test::ssfAddSign(one.output, given, recordOf(second));
  expect(areAllGood(two, 1), "add a signer", two);
  expectVerified("verify both", two.output, given, content, 2);
}

void Worker::verifyChanged() {
  const std::string content = anyContent();
  const SsfOutcome made = test::ssfSign(content, {recordOf(anySigner())});
  expect(areAllGood(made, 1), "sign what is then changed", made);
  const std::size_t start = made.output.find(content);
  if (start == std::string::npos) {
    expect(false, "attach the content", made);
    return;
  }
  std::string changed = made.output;
  changed[start + number(content.size())] ^= 1;
  expectRefused(
      "verify what was changed", test::ssfVerify(changed), SSF_API_SIGNER_ERROR, SSF_RESULT_NOT_OK);
}

void Worker::envelope() {
  const std::string content = anyContent();
  const Identity& first = anyRecipient();
  const Identity& second = anyRecipient();
  const std::vector<SsfRecord> both = {{.id = first.thumbprint}, {.id = second.name}};
  const SsfOutcome made = test::ssfEnvelope(content, both);
  expect(areAllGood(made, 2), "envelope", made);
  for (const Identity* recipient : {&first, &second}) {
    const SsfOutcome opened = test::ssfDevelope(made.output, recordOf(*recipient));
    expect(areAllGood(opened, 1) && opened.output == content, "develope", opened);
  }
}

void Worker::develope() {
  const Identity& recipient = anyRecipient();
  const SsfOutcome made = test::ssfEnvelope(anyContent(), {{.id = recipient.thumbprint}});
  expect(areAllGood(made, 1), "envelope for one", made);
  SsfRecord wrong = recordOf(recipient);
  wrong.password += "?";
  expectRefused("develope with a wrong PIN",
                test::ssfDevelope(made.output, wrong),
                SSF_API_RECIPIENT_ERROR,
                SSF_RESULT_INVALID_PASSWORD);
}

void Worker::digest() {
  const std::array<std::pair<const char*, const EVP_MD*>, 3> algorithms = {
      {{"SHA1", EVP_sha1()}, {"MD5", EVP_md5()}, {"GOST3411", world_->oldGostDigest()}}};
  const auto& [name, algorithm] = algorithms.at(number(algorithms.size()));
  const std::string content = anyContent();
  const bool detached = number(2) == 0;
  const SsfOutcome made = test::ssfDigest(content, name, detached);
  const bool attached = made.output.find(content) != std::string::npos;
  const std::scoped_lock ownCalls(world_->ownLibcrypto());
  const bool right = made.code == SSF_API_OK && attached != detached &&
                     made.output.ends_with(digestOf(content, algorithm));
  expect(right, "digest", made);
}

void Worker::copy() {
  const std::string content = anyContent();
  const SsfOutcome encoded = test::ssfEncode(content);
  expect(encoded.code == SSF_API_OK && encoded.output == content, "encode", encoded);
  const SsfOutcome decoded = test::ssfDecode(content);
  expect(decoded.code == SSF_API_OK && decoded.output == content, "decode", decoded);
}

void Worker::tell() {
  const SsfOutcome version = test::ssfVersion();
  expect(version.output == "Qorvex SSF library for SAP Version 1.01", "version", version);
  const SsfOutcome formats = test::ssfProperty("FORMATS");
  expect(formats.code == SSF_API_OK && formats.output.find("PKCS7") != std::string::npos,
         "formats",
         formats);
  const SsfOutcome unknown = test::ssfProperty("COLOURS");
  expect(unknown.code == SSF_API_INVALID_INPUT && unknown.output.empty(), "no property", unknown);
}

void Worker::keepRecords() {
  const std::vector<SsfRecord> records = {recordOf(anySigner()), recordOf(anyRecipient())};
  const SsfOutcome printed = test::ssfPrint(records);
  const bool right =
      printed.code == SSF_API_OK && std::ranges::all_of(records, [&](const SsfRecord& record) {
        return printed.output.find(record.id) != std::string::npos &&
               printed.output.find(record.password) == std::string::npos;
      });
  expect(right, "records", printed);
}

// A guest signs so that it can be verified, or is not there, or has no key, or loses it between its
// acquisition and the look whether its PIN is right.
void Worker::signAsGuest() {
  const std::string content = anyContent();
  const SsfOutcome made = test::ssfSign(content, {recordOf(anyGuest())});
  if (made.code == SSF_API_OK) {
    expect(areAllGood(made, 1), "sign as a guest", made);
    expectVerified("verify a guest", made.output, {}, content, 1);
    return;
  }
  const SAPRETURN result = resultOf(made);
  const bool absent = result == SSF_RESULT_UNKNOWN || result == SSF_RESULT_INVALID_PROFILE ||
                      result == SSF_RESULT_INVALID_PASSWORD;
  expect(made.code == SSF_API_SIGNER_ERROR && absent && made.output.empty(),
         "refuse to sign as a guest",
         made);
}

void Worker::writeToGuest() {
  const SsfOutcome made = test::ssfEnvelope(anyContent(), {{.id = anyGuest().name}});
  const bool absent = made.code == SSF_API_RECIPIENT_ERROR &&
                      resultOf(made) == SSF_RESULT_NOCERTIFICATE && made.output.empty();
  expect(areAllGood(made, 1) || absent, "envelope for a guest", made);
}

void Worker::expectVerified(const char* what,
                            const std::string& message,
                            const std::string& given,
                            const std::string& content,
                            std::size_t signers,
                            const std::string& format) {
  const SsfOutcome verified = test::ssfVerify(message, given, {}, format);
  expect(areAllGood(verified, signers) && verified.output == content, what, verified);
}

void Worker::expectRefused(const char* what,
                           const SsfOutcome& got,
                           SAPRETURN code,
                           SAPRETURN result) {
  expect(got.code == code && resultOf(got) == result, what, got);
}

void Worker::expect(bool right, const char* what, const SsfOutcome& got) {
  ++calls_;
  if (!right && ++wrong_ <= kMostTold) {
    static_cast<void>(
        std::fprintf(stderr,
                     "wrong answer to %s: code %d, %zu bytes, %zu records, result %d\n",
                     what,
                     got.code,
                     got.output.size(),
                     got.records.size(),
                     resultOf(got)));
  }
}

std::size_t Worker::number(std::size_t below) {
  return std::uniform_int_distribution<std::size_t>(0, below - 1)(random_);
}

// As many of some hundred bytes as of some ten thousand.
std::string Worker::anyContent() {
  std::uniform_real_distribution<double> exponent(std::log(kSmallest), std::log(kLargest));
  const auto size = static_cast<std::size_t>(std::exp(exponent(random_)));
  return world_->material().substr(number(kLargest), size);
}

const Identity& Worker::anySigner() {
  return world_->identities().at(number(world_->identities().size()));
}

const Identity& Worker::anyRecipient() {
  const Identity* found = &anySigner();
  while (!found->receives) {
    found = &anySigner();
  }
  return *found;
}

const Identity& Worker::anyGuest() {
  return world_->guests().at(number(world_->guests().size()));
}

SsfRecord Worker::recordOf(const Identity& identity) {
  const bool byName = number(2) == 0;
  return {.id = byName ? identity.name : identity.thumbprint, .password = identity.pin};
}

}  // namespace qx::soak
