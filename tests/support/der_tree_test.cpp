#include "tests/support/der_tree.h"

#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qx::test::der_tree_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// SEQUENCE { INTEGER 5, SET { OCTET STRING "ab" }, NULL }
const std::string kEncoded(
    "\x30\x0B\x02\x01\x05\x31\x04\x04\x02"
    "ab"
    "\x05\x00",
    13);

TEST(DerTree, IsPutTogetherAsItWas) {
  EXPECT_EQ(DerTree(kEncoded).encoded(), kEncoded);
}

TEST(DerTree, NumbersItsElementsParentsFirst) {
  const DerTree tree(kEncoded);
  ASSERT_EQ(tree.size(), 5U);
  EXPECT_EQ(tree[0].identifier, 0x30);
  EXPECT_EQ(tree[1].content, "\x05");
  EXPECT_EQ(tree[3].content, "ab");
  EXPECT_EQ(tree[3].depth, 2U);
  EXPECT_THAT(tree.childrenOf(0), ElementsAre(1U, 2U, 4U));
  EXPECT_THAT(tree.childrenOf(2), ElementsAre(3U));
  EXPECT_THAT(tree.childrenOf(3), IsEmpty());
}

TEST(DerTree, CorrectsTheLengthsAroundAChange) {
  DerTree tree(kEncoded);
  tree[3].content = std::string(200, 'x');
  const std::string changed = tree.encoded();
  EXPECT_EQ(changed.substr(0, 3), "\x30\x81\xD3");
  EXPECT_EQ(changed.size(), 3U + 211U);
  EXPECT_EQ(DerTree(changed).encoded(), changed);
}

TEST(DerTree, TakesElementsWithAllThatIsInThem) {
  DerTree tree(kEncoded);
  tree.remove(2);
  EXPECT_EQ(tree.encoded(), std::string("\x30\x05\x02\x01\x05\x05\x00", 7));
  tree.append(0, DerTree(kEncoded), 2);
  EXPECT_EQ(tree.encoded(),
            std::string("\x30\x0B\x02\x01\x05\x05\x00\x31\x04\x04\x02"
                        "ab",
                        13));
  tree.replace(3, DerTree(kEncoded), 1);
  EXPECT_EQ(tree.encoded(), std::string("\x30\x08\x02\x01\x05\x05\x00\x02\x01\x05", 10));
  tree.replace(0, DerTree(kEncoded), 0);
  EXPECT_EQ(tree.encoded(), kEncoded);
}

TEST(DerTree, RefusesWhatIsNotOneElement) {
  EXPECT_THROW(DerTree({}), std::runtime_error);
  EXPECT_THROW(DerTree(kEncoded + kEncoded), std::runtime_error);
  EXPECT_THROW(DerTree(kEncoded.substr(1)), std::runtime_error);
  EXPECT_THROW(DerTree(std::string("\x30\x80\x00\x00", 4)), std::runtime_error);
}

}  // namespace
}  // namespace qx::test::der_tree_test
