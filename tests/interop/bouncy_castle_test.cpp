#include "tests/interop/bouncy_castle.h"

#include <utility>

#include <gtest/gtest.h>

#include "tests/interop/interop_world.h"
#include "tests/support/kind_name.h"

// Bouncy Castle opens what we envelop and verifies what we sign, and the other way round. A Java machine
// starts slowly, so each test asks one run for many things and tells every one by its name.

namespace qx::test::bouncy_castle_test {
namespace {

using lab::KeyKind;

const std::string kContent = "Pay 100 roubles to the bearer.\r\nFor the eyes of some.\n";

class BouncyCastleEnvelopes : public BouncyCastle {
 protected:
  const InteropWorld& world() const { return world_; }

  const Signer& recipient(std::size_t index) const { return world_.signers().at(index); }

  std::string kindOf(std::size_t index) const { return kindText(kRecipientKinds[index]); }

  static constexpr std::size_t kKinds = std::size(kRecipientKinds);

  void askToOpen(const std::string& name,
                 const std::string& message,
                 std::size_t index,
                 const std::string& content) {
    ask("open",
        name,
        {write(name + ".p7m", message),
         recipient(index).keyFile,
         recipient(index).certificateFile,
         write(name + ".in", content)});
  }

 private:
  const InteropWorld world_{
      KeyKind::Gost2012_512,
      widelyKnownKeys({std::begin(kRecipientKinds), std::end(kRecipientKinds)})};
};

TEST_F(BouncyCastleEnvelopes, AreOpenedThatWeMake) {
  const std::string large(100'003, 'x');
  const SsfOutcome forAll = ssfEnvelope(kContent, world().records(kKinds));
  ASSERT_EQ(forAll.code, SSF_API_OK);
  for (std::size_t i = 0; i < kKinds; ++i) {
    for (const auto& [size, content] : {std::pair("Small", kContent), std::pair("Large", large)}) {
      const SsfOutcome made = ssfEnvelope(content, {world().record(i)});
      ASSERT_EQ(made.code, SSF_API_OK);
      askToOpen(kindOf(i) + size, made.output, i, content);
    }
    askToOpen(kindOf(i) + "OfAll", forAll.output, i, kContent);
  }
  expectAllGood();
}

TEST_F(BouncyCastleEnvelopes, AreNotOpenedOnceTheirKeyIsChanged) {
  for (std::size_t i = 0; i < kKinds; ++i) {
    SsfOutcome made = ssfEnvelope(kContent, {world().record(i)});
    ASSERT_EQ(made.code, SSF_API_OK);
    // Near the end of the recipient's entry, which the content and its parameters follow.
    made.output[made.output.size() - kContent.size() - 60] ^= 1;
    askToOpen(kindOf(i), made.output, i, kContent);
  }
  for (const auto& [name, answer] : answers()) {
    EXPECT_NE(answer, "good") << name;
  }
}

TEST_F(BouncyCastleEnvelopes, AreOpenedByUsThatItMakes) {
  const std::string content = write("content", kContent);
  for (std::size_t i = 0; i < kKinds; ++i) {
    ask("encrypt", kindOf(i), {file(kindOf(i)), content, recipient(i).certificateFile});
  }
  expectAllGood();
  for (std::size_t i = 0; i < kKinds; ++i) {
    const SsfOutcome opened = ssfDevelope(readFile(file(kindOf(i))), world().record(i));
    EXPECT_EQ(opened.code, SSF_API_OK) << kindOf(i);
    EXPECT_EQ(opened.output, kContent) << kindOf(i);
  }
}

// RFC 4490, 4.1, which openssl does not make.
TEST_F(BouncyCastleEnvelopes, AreOpenedByUsThatItMakesByKeyAgreement) {
  const std::string content = write("content", kContent);
  for (std::size_t i = 0; i < 3; ++i) {
    const EvpPkeyPtr senderKey = std::move(widelyKnownKeys({kRecipientKinds[i]}).front());
    const lab::Authority sender(
        lab::Authority::selfSigned(kRecipientKinds[i], {.subject = {{"CN", "Sender"}}}));
    write(kindOf(i) + "sender.key", lab::toPem(senderKey.get()));
    write(kindOf(i) + "sender.pem",
          lab::toPem(sender.issue(senderKey.get(), {.subject = {{"CN", "Sender"}}}).get()));
    ask("agree",
        kindOf(i),
        {file(kindOf(i)), content, recipient(i).certificateFile, file(kindOf(i) + "sender")});
  }
  expectAllGood();
  for (std::size_t i = 0; i < 3; ++i) {
    const SsfOutcome opened = ssfDevelope(readFile(file(kindOf(i))), world().record(i));
    EXPECT_EQ(opened.code, SSF_API_OK) << kindOf(i);
    EXPECT_EQ(opened.output, kContent) << kindOf(i);
  }
}

class BouncyCastleSignatures : public BouncyCastle {
 protected:
  void askToVerify(const std::string& name,
                   const std::string& message,
                   bool detached,
                   int signers) {
    ask(detached ? "verifyDetached" : "verify",
        name,
        {write(name + ".p7s", message), write("content", kContent), std::to_string(signers)});
  }

  static std::string form(bool detached) { return detached ? "Detached" : "Attached"; }
};

TEST_F(BouncyCastleSignatures, AreVerifiedThatWeMake) {
  for (const KeyKind kind : kAllKinds) {
    const InteropWorld world(KeyKind::EcP256, widelyKnownKeys({kind, kind, kind}));
    for (const bool detached : {false, true}) {
      for (const int signers : {1, 3}) {
        const SsfOutcome made = ssfSign(
            kContent, world.records(static_cast<std::size_t>(signers)), {.detached = detached});
        ASSERT_EQ(made.code, SSF_API_OK);
        askToVerify(kindText(kind) + form(detached) + std::to_string(signers),
                    made.output,
                    detached,
                    signers);
      }
    }
  }
  expectAllGood();
}

TEST_F(BouncyCastleSignatures, AreVerifiedThatWeAddToOthers) {
  const InteropWorld world(KeyKind::EcP256,
                           widelyKnownKeys({std::begin(kAllKinds), std::end(kAllKinds)}));
  for (const bool detached : {false, true}) {
    SsfOutcome made = ssfSign(kContent, world.records(1), {.detached = detached});
    for (std::size_t i = 1; i < std::size(kAllKinds); ++i) {
      made = ssfAddSign(made.output, detached ? kContent : "", world.record(i));
      ASSERT_EQ(made.code, SSF_API_OK);
      askToVerify(
          form(detached) + std::to_string(i + 1), made.output, detached, static_cast<int>(i + 1));
    }
  }
  expectAllGood();
}

TEST_F(BouncyCastleSignatures, AreNotVerifiedOnceTheyAreChanged) {
  for (const KeyKind kind : kAllKinds) {
    const InteropWorld world(KeyKind::EcP256, widelyKnownKeys({kind}));
    SsfOutcome made = ssfSign(kContent, world.records(1));
    ASSERT_EQ(made.code, SSF_API_OK);
    made.output.back() = static_cast<char>(made.output.back() ^ 1);
    askToVerify(kindText(kind), made.output, false, 1);
  }
  for (const auto& [name, answer] : answers()) {
    EXPECT_EQ(answer, "wrong signature") << name;
  }
}

TEST_F(BouncyCastleSignatures, AreVerifiedByUsThatItMakes) {
  constexpr const char* kAlgorithms[] = {"GOST3411WITHECGOST3410",
                                         "GOST3411-2012-256WITHECGOST3410-2012-256",
                                         "GOST3411-2012-512WITHECGOST3410-2012-512",
                                         "SHA256WITHRSA",
                                         "SHA256WITHECDSA",
                                         "SHA384WITHECDSA"};
  const InteropWorld world(KeyKind::EcP256,
                           widelyKnownKeys({std::begin(kAllKinds), std::end(kAllKinds)}));
  const std::string content = write("content", kContent);
  for (std::size_t i = 0; i < std::size(kAllKinds); ++i) {
    const Signer& signer = world.signers()[i];
    const std::string name = kindText(kAllKinds[i]);
    ask("sign",
        name,
        {file(name), content, signer.keyFile, signer.certificateFile, kAlgorithms[i]});
  }
  expectAllGood();
  for (const std::string& name : names()) {
    const SsfOutcome verified = ssfVerify(readFile(file(name)));
    EXPECT_EQ(verified.code, SSF_API_OK) << name;
    EXPECT_EQ(verified.output, kContent) << name;
  }
}

}  // namespace
}  // namespace qx::test::bouncy_castle_test
