// A process whose configuration does not say otherwise sends not one packet.
#include <gtest/gtest.h>

#include "provider/chain/evaluate.h"
#include "provider/support/config.h"
#include "tests/provider/chain/listening_world.h"

namespace qx::test::offline_test {
namespace {

class Offline : public ListeningWorld {};

TEST_F(Offline, NothingIsSent) {
  ASSERT_FALSE(configuration().revocation.online);
  errorsFor(end.get(), kCheck);
  errorsFor(orphan.get(), kCheck);
  EXPECT_TRUE(evaluateNow({.certificate = dataOf(end.get())}));
  EXPECT_FALSE(server.wasContacted());
}

}  // namespace
}  // namespace qx::test::offline_test
