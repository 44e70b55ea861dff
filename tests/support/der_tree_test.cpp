#include "tests/support/der_tree.h"

#include <stdexcept>

#include <gtest/gtest.h>

namespace qx::test {
namespace {

// SEQUENCE { INTEGER 5, SET { OCTET STRING "ab" } }
const std::string kEncoded(
    "\x30\x09\x02\x01\x05\x31\x04\x04\x02"
    "ab",
    11);

TEST(DerTree, IsPutTogetherAsItWas) {
  EXPECT_EQ(derTree(kEncoded).encoded(), kEncoded);
}

TEST(DerTree, ListsEveryElementParentsFirst) {
  DerNode tree = derTree(kEncoded);
  const std::vector<DerNode*> all = tree.all();
  ASSERT_EQ(all.size(), 4U);
  EXPECT_EQ(all[0]->identifier, 0x30);
  EXPECT_EQ(all[1]->content, "\x05");
  EXPECT_EQ(all[2]->identifier, 0x31);
  EXPECT_EQ(all[3]->content, "ab");
}

TEST(DerTree, CorrectsTheLengthsAroundAChange) {
  DerNode tree = derTree(kEncoded);
  tree.all()[3]->content = std::string(200, 'x');
  const std::string changed = tree.encoded();
  EXPECT_EQ(changed.substr(0, 3), "\x30\x81\xD1");
  EXPECT_EQ(changed.size(), 3U + 209U);
  EXPECT_EQ(derTree(changed).encoded(), changed);
}

TEST(DerTree, RefusesWhatIsNotOneElement) {
  EXPECT_THROW(derTree({}), std::runtime_error);
  EXPECT_THROW(derTree(kEncoded + kEncoded), std::runtime_error);
  EXPECT_THROW(derTree(kEncoded.substr(1)), std::runtime_error);
  EXPECT_THROW(derTree(std::string("\x30\x80\x00\x00", 4)), std::runtime_error);
}

}  // namespace
}  // namespace qx::test
