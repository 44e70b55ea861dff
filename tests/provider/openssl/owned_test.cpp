#include "provider/openssl/owned.h"

#include <utility>

#include <gtest/gtest.h>

namespace qx::test::owned_test {
namespace {

/// An object of somebody else's library that counts how often it is freed.
struct Toy {
  int freed = 0;
};

void freeToy(Toy* toy) {
  ++toy->freed;
}

using ToyPtr = qx::OpensslOwner<Toy, freeToy>;

TEST(OpensslOwner, FreesWhatItOwnsOnce) {
  Toy toy;
  {
    const ToyPtr owner(&toy);
    EXPECT_EQ(owner.get(), &toy);
    EXPECT_EQ(toy.freed, 0);
  }
  EXPECT_EQ(toy.freed, 1);
}

TEST(OpensslOwner, FreesNothingWhenEmpty) {
  const ToyPtr owner;
  EXPECT_EQ(owner, nullptr);
}

TEST(OpensslOwner, HandsOver) {
  Toy toy;
  ToyPtr first(&toy);
  {
    const ToyPtr second(std::move(first));
    EXPECT_EQ(second.get(), &toy);
  }
  EXPECT_EQ(toy.freed, 1);
}

TEST(OpensslOwner, GivesUpWhatItReleases) {
  Toy toy;
  ToyPtr owner(&toy);
  EXPECT_EQ(owner.release(), &toy);
  owner.reset();
  EXPECT_EQ(toy.freed, 0);
}

TEST(OpensslOwner, IsNoLargerThanAPointer) {
  EXPECT_EQ(sizeof(ToyPtr), sizeof(Toy*));
  EXPECT_EQ(sizeof(qx::X509Ptr), sizeof(X509*));
}

/// How many owners a certificate has is told by libcrypto: a reference more than once outlives them.
X509* newCertificate() {
  X509* certificate = X509_new();
  EXPECT_NE(certificate, nullptr);
  return certificate;
}

TEST(OpensslOwner, OfAStackFreesWhatIsInIt) {
  X509* certificate = newCertificate();
  const qx::X509Ptr mine(certificate);
  STACK_OF(X509)* stack = sk_X509_new_null();
  X509_up_ref(certificate);
  ASSERT_EQ(sk_X509_push(stack, certificate), 1);
  // The leak checker sees whether the reference went with the stack.
  const qx::X509StackPtr owner(stack);
  EXPECT_EQ(sk_X509_num(owner.get()), 1);
}

TEST(OpensslOwner, OfABorrowedStackLeavesWhatIsInIt) {
  const qx::X509Ptr mine(newCertificate());
  {
    STACK_OF(X509)* stack = sk_X509_new_null();
    ASSERT_EQ(sk_X509_push(stack, mine.get()), 1);
    qx::freeBorrowedX509Stack(stack);
  }
  // It is still there.
  EXPECT_EQ(X509_get_version(mine.get()), 0);
}

TEST(OpensslOwner, OfMemoryTakesWhatLibcryptoAllocated) {
  const qx::OpensslBytes bytes(static_cast<unsigned char*>(OPENSSL_malloc(16)));
  ASSERT_NE(bytes, nullptr);
  bytes.get()[15] = 1;
}

}  // namespace
}  // namespace qx::test::owned_test
