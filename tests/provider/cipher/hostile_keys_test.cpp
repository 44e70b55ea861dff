// Public keys that somebody sent: points off the curve would tell him about our private key, one agreement
// after the other.
#include <algorithm>
#include <cctype>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "provider/cipher/key_agreement.h"
#include "tests/provider/der/hex.h"
#include "tools/lab/pki.h"

namespace qx::hostile_keys_test {
namespace {

using lab::KeyKind;
using Octets = std::vector<std::uint8_t>;

const Octets kUkm = test::fromHex("1d80603c8544c727");
const Octets kLongUkm = Octets(kKegUkmSize, 0x1D);

class HostileKeys : public ::testing::TestWithParam<KeyKind> {
 protected:
  static std::shared_ptr<const PrivateKey> generated() {
    return *PrivateKey::fromEvp(lab::generateKey(GetParam()));
  }

  /// The octets of one coordinate.
  static std::size_t coordinateSize() { return GetParam() == KeyKind::Gost2012_512 ? 64 : 32; }

  /// A key of ours with another point in its place: both coordinates stand at the end.
  Octets withPoint(const Octets& point) const {
    Octets spki(own_->spki().begin(), own_->spki().end());
    std::ranges::copy(point, spki.end() - static_cast<std::ptrdiff_t>(point.size()));
    return spki;
  }

  Octets ownPoint() const {
    return {own_->spki().end() - static_cast<std::ptrdiff_t>(2 * coordinateSize()),
            own_->spki().end()};
  }

  /// Nobody agrees with this key: it is refused when it is read or when it is used.
  void expectRefused(const Octets& spki, const std::string& what) const {
    const Result<PublicKey> key = PublicKey::parse(spki);
    if (!key) {
      EXPECT_NE(key.error(), ERROR_SUCCESS) << what;
      return;
    }
    EXPECT_EQ(vko(*own_, *key, kUkm).error(), static_cast<DWORD>(NTE_BAD_KEY)) << what;
    EXPECT_FALSE(ephemeralVko(*key, kUkm)) << what;
    if (GetParam() != KeyKind::Gost2001) {
      EXPECT_FALSE(keg(*own_, *key, kLongUkm)) << what;
    }
  }

  const std::shared_ptr<const PrivateKey> own_ = generated();
};

TEST_P(HostileKeys, AreTakenWithThePointThatTheyHad) {
  const Result<PublicKey> key = PublicKey::parse(withPoint(ownPoint()));
  ASSERT_TRUE(key);
  EXPECT_TRUE(vko(*own_, *key, kUkm));
}

TEST_P(HostileKeys, AreRefusedWhenABitOfTheirPointIsFlipped) {
  const Octets point = ownPoint();
  // Each seventh: bits of both coordinates at every place of an octet.
  for (std::size_t bit = 0; bit < point.size() * 8; bit += 7) {
    Octets changed = point;
    changed[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    expectRefused(withPoint(changed), "bit " + std::to_string(bit));
  }
}

TEST_P(HostileKeys, AreRefusedWithCoordinatesThatAreNone) {
  const std::size_t size = coordinateSize();
  const Octets point = ownPoint();
  const Octets x(point.begin(), point.begin() + static_cast<std::ptrdiff_t>(size));
  Octets noY = x;
  noY.resize(2 * size, 0);
  Octets swapped(point.begin() + static_cast<std::ptrdiff_t>(size), point.end());
  swapped.insert(swapped.end(), x.begin(), x.end());
  expectRefused(withPoint(Octets(2 * size, 0)), "nothing");
  expectRefused(withPoint(Octets(2 * size, 0xFF)), "above the field");
  expectRefused(withPoint(noY), "no y");
  expectRefused(withPoint(swapped), "x for y");
}

TEST_P(HostileKeys, AreRefusedWhereverTheyAreCut) {
  const Octets whole(own_->spki().begin(), own_->spki().end());
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(PublicKey::parse(der::Bytes(whole).first(length))) << length;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Gost,
    HostileKeys,
    ::testing::Values(KeyKind::Gost2001, KeyKind::Gost2012_256, KeyKind::Gost2012_512),
    [](const auto& one) {
      std::string name = lab::kindName(one.param);
      std::erase_if(name, [](unsigned char c) { return std::isalnum(c) == 0; });
      return name;
    });

}  // namespace
}  // namespace qx::hostile_keys_test
