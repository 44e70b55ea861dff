#include <algorithm>

#include <gtest/gtest.h>

#include "provider/der/reader.h"
#include "provider/message/enveloped_data.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/envelopes.h"

// Messages that somebody changed on purpose. Where a MAC stands over the content, nothing but the
// content that was sent may come out; elsewhere nothing may break.

namespace qx::test::envelope_hostile_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("Not to be changed.");

/// A message by what it is made of.
struct Sample {
  const char* name;
  KeyKind kind;
  const char* cipher;  ///< openssl's option; null: a message of ours
  bool hasMac;
};

constexpr Sample kSamples[] = {
    {.name = "Gost2001", .kind = KeyKind::Gost2001, .cipher = nullptr, .hasMac = false},
    {.name = "Gost512", .kind = KeyKind::Gost2012_512, .cipher = nullptr, .hasMac = false},
    {.name = "Rsa", .kind = KeyKind::Rsa2048, .cipher = nullptr, .hasMac = false},
    {.name = "Magma",
     .kind = KeyKind::Gost2012_256,
     .cipher = "-magma-ctr-acpkm-omac",
     .hasMac = true},
    {.name = "Kuznyechik",
     .kind = KeyKind::Gost2012_512,
     .cipher = "-kuznyechik-ctr-acpkm-omac",
     .hasMac = true},
};

class HostileEnvelope : public ::testing::TestWithParam<Sample> {
 protected:
  static Signer& recipient() { return signer(GetParam().kind); }

  const Octets& message() const { return message_; }

  std::size_t ciphertextAt() const {
    const Octets ciphertext = bytesParam(decode(message_), CMSG_CONTENT_PARAM);
    const auto found = std::ranges::search(message_, ciphertext);
    EXPECT_FALSE(found.empty());
    return static_cast<std::size_t>(found.begin() - message_.begin());
  }

  /// Opens a changed message; true when something came out.
  static bool opens(const Octets& message, const std::string& what) {
    const MessageHandle decoded = openDecoder();
    if (update(decoded, message) != ERROR_SUCCESS ||
        decryptError(decoded, 0, recipient()) != ERROR_SUCCESS) {
      return false;
    }
    if (GetParam().hasMac) {
      EXPECT_EQ(bytesParam(decoded, CMSG_CONTENT_PARAM), kContent) << what;
    }
    return true;
  }

 private:
  static Octets make() {
    return GetParam().cipher == nullptr
               ? envelope({&recipient()}, kContent)
               : opensslEncrypt({&recipient()}, kContent, {GetParam().cipher});
  }

  const Octets message_ = make();
};

TEST_P(HostileEnvelope, IsOpenedAsItIs) {
  EXPECT_TRUE(opens(message(), "unchanged"));
}

TEST_P(HostileEnvelope, WithOneOctetReplacedBreaksNothing) {
  for (std::size_t at = 0; at < message().size(); ++at) {
    for (const unsigned octet : {0x00U, 0x01U, 0x30U, 0x7FU, 0x80U, 0x84U, 0xFFU}) {
      Octets changed = message();
      changed[at] = static_cast<std::uint8_t>(octet);
      (void)opens(changed, std::to_string(octet) + " at " + std::to_string(at));
    }
  }
}

TEST_P(HostileEnvelope, WithOneOctetLeftOutIsRefused) {
  for (std::size_t at = 0; at < message().size(); ++at) {
    Octets changed = message();
    changed.erase(changed.begin() + static_cast<std::ptrdiff_t>(at));
    EXPECT_FALSE(opens(changed, "")) << at;
  }
}

// Octets behind the message are ignored, so that one which the ciphertext pushes out is not missed.
TEST_P(HostileEnvelope, WithOneOctetTwiceIsRefusedUnlessItIsCiphertext) {
  const std::size_t ciphertextHead = ciphertextAt() - 1;
  for (std::size_t at = 0; at < message().size(); ++at) {
    Octets changed = message();
    changed.insert(changed.begin() + static_cast<std::ptrdiff_t>(at), changed[at]);
    const bool opened = opens(changed, std::to_string(at));
    EXPECT_FALSE(opened && at < ciphertextHead) << at;
  }
}

/// An element of a message: where it stands, and how long its head is.
struct Place {
  std::size_t at;
  std::size_t headSize;
  std::size_t contentSize;
};

/// Nobody looks into the recipient's name and the parameters of his key: he is found by comparing them.
bool isCompared(der::Bytes element, const Octets& message) {
  der::Reader outer(der::readWhole(message, der::kSequence)->content);
  (void)outer.next();
  der::Reader tagged(outer.next()->content);
  const Recipient recipient = readEnvelopedData(*tagged.next())->recipients.front();
  const auto isThat = [element](der::Bytes other) {
    return std::ranges::equal(element, other) && !other.empty();
  };
  return isThat(recipient.id.issuer) || isThat(recipient.algorithm.parameters);
}

// NOLINTNEXTLINE(misc-no-recursion): no deeper than a message that was made here
void collect(const Octets& whole, der::Bytes content, std::vector<Place>& places) {
  der::Reader reader(content);
  while (!reader.atEnd()) {
    const auto element = reader.next();
    ASSERT_TRUE(element);
    const auto at = static_cast<std::size_t>(element->whole.data() - whole.data());
    places.push_back({.at = at,
                      .headSize = element->whole.size() - element->content.size(),
                      .contentSize = element->content.size()});
    if ((element->identifier & der::kConstructed) != 0 && !isCompared(element->whole, whole)) {
      collect(whole, element->content, places);
    }
  }
}

std::vector<Place> placesOf(const Octets& message) {
  std::vector<Place> places;
  collect(message, message, places);
  EXPECT_GT(places.size(), 15U);
  return places;
}

/// The message with other octets for the length of one element; all else stays as it was.
Octets withLength(const Octets& message, const Place& place, const Octets& length) {
  Octets changed(message.begin(), message.begin() + static_cast<std::ptrdiff_t>(place.at + 1));
  changed.insert(changed.end(), length.begin(), length.end());
  changed.insert(changed.end(),
                 message.begin() + static_cast<std::ptrdiff_t>(place.at + place.headSize),
                 message.end());
  return changed;
}

Octets lengthOctets(std::size_t length) {
  if (length < 0x80) {
    return {static_cast<std::uint8_t>(length)};
  }
  return {0x82, static_cast<std::uint8_t>(length >> 8U), static_cast<std::uint8_t>(length)};
}

TEST_P(HostileEnvelope, IsRefusedWhereALengthLies) {
  for (const Place& place : placesOf(message())) {
    std::vector<Octets> lies = {fromHex("84ffffffff"),
                                fromHex("847fffffff"),
                                fromHex("88ffffffffffffffff"),
                                fromHex("887fffffffffffffff"),
                                fromHex("89010000000000000000"),
                                fromHex("ff"),
                                lengthOctets(place.contentSize + 1),
                                lengthOctets(message().size())};
    if (place.contentSize > 0) {
      lies.push_back(lengthOctets(place.contentSize - 1));
      lies.push_back(lengthOctets(0));
    }
    for (const Octets& lie : lies) {
      EXPECT_FALSE(opens(withLength(message(), place, lie), ""))
          << toHex(lie) << " at " << place.at << " in " << toHex(message());
    }
  }
}

// An indefinite length without an end is no message; one that happens to find its two zeros somewhere
// must not become another one.
TEST_P(HostileEnvelope, IsRefusedWhereALengthIsIndefiniteWithoutAnEnd) {
  for (const Place& place : placesOf(message())) {
    EXPECT_FALSE(opens(withLength(message(), place, {0x80}), "")) << place.at;
  }
}

TEST_P(HostileEnvelope, WithSomethingForeignInsideIsRefused) {
  for (const Place& place : placesOf(message())) {
    const std::size_t end = place.at + place.headSize + place.contentSize;
    if (end < message().size()) {
      Octets changed = message();
      const Octets null = fromHex("0500");
      changed.insert(changed.begin() + static_cast<std::ptrdiff_t>(end), null.begin(), null.end());
      EXPECT_FALSE(opens(changed, "")) << "though no length was changed: " << place.at;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(All, HostileEnvelope, ::testing::ValuesIn(kSamples), [](const auto& one) {
  return std::string(one.param.name);
});

// The marker stands at the front, in the middle and at the end, and in every kind of message.
TEST(EnvelopeContent, ShowsNowhereInTheMessage) {
  const Octets marker = octets("a marker that nobody else writes");
  std::vector<Signer*> all;
  for (const KeyKind kind : recipientKinds()) {
    all.push_back(&signer(kind));
  }
  for (const std::size_t size : {std::size_t{0}, std::size_t{1'000}, std::size_t{100'000}}) {
    Octets plain = marker;
    const Octets filling = content(size);
    for (int i = 0; i < 2; ++i) {
      plain.insert(plain.end(), filling.begin(), filling.end());
      plain.insert(plain.end(), marker.begin(), marker.end());
    }
    const Octets message = envelope(all, plain);
    EXPECT_TRUE(std::ranges::search(message, marker).empty()) << size;
    // Nor half of it, as a block mode that was cut off would leave it.
    EXPECT_TRUE(std::ranges::search(message, der::Bytes(marker).first(8)).empty()) << size;
    const Octets hidden = bytesParam(decode(message), CMSG_CONTENT_PARAM);
    EXPECT_TRUE(std::ranges::search(hidden, marker).empty()) << "before it is decrypted";
  }
}

TEST(EnvelopeContent, OfEqualMessagesIsNowhereEqual) {
  const Octets plain(4'096, 0x5A);
  Signer& one = signer(KeyKind::Gost2012_256);
  const Octets first = bytesParam(decode(envelope({&one}, plain)), CMSG_CONTENT_PARAM);
  const Octets second = bytesParam(decode(envelope({&one}, plain)), CMSG_CONTENT_PARAM);
  ASSERT_EQ(first.size(), second.size());
  std::size_t equal = 0;
  for (std::size_t at = 0; at < first.size(); at += 8) {
    const auto here = first.begin() + static_cast<std::ptrdiff_t>(at);
    equal += std::equal(here, here + 8, second.begin() + static_cast<std::ptrdiff_t>(at)) ? 1U : 0U;
  }
  EXPECT_EQ(equal, 0U) << "blocks of 64 bits";
}

}  // namespace
}  // namespace qx::test::envelope_hostile_test
