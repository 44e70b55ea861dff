#include "provider/chain/path_search.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/provider/chain/chain_world.h"

namespace qx::test::path_search_test {
namespace {

using lab::Authority;
using lab::CertificateOptions;
using lab::KeyKind;
using ::testing::ElementsAre;
using ::testing::SizeIs;

CertificateOptions authorityNamed(const std::string& name) {
  CertificateOptions options = named(name);
  options.ca = true;
  return options;
}

class SearchPaths : public ::testing::Test {
 protected:
  SearchPaths()
      : root(Authority::selfSigned(KeyKind::EcP256, named("Root"))),
        middle(root.subordinate(KeyKind::EcP256, named("Middle"))),
        end(dataOf(middle.issue(sampleKey(), named("End")).get())) {}

  /// All paths that are found, each as the list of its certificates.
  std::vector<Path> search() {
    const TrustSource trust(roots, intermediates, {});
    std::vector<Path> paths;
    searchPaths({.certificate = end, .trust = &trust, .now = now, .certificates = material},
                window,
                [&](const Path& path) {
                  paths.push_back(path);
                  return paths.size() < wanted;
                });
    return paths;
  }

  const Authority root;
  const Authority middle;
  CertificatePtr end;
  std::vector<CertificatePtr> roots;
  std::vector<CertificatePtr> intermediates;
  std::vector<CertificatePtr> material;
  const std::time_t now = std::time(nullptr);
  TimeWindow window{now};
  std::size_t wanted = 1000;
};

TEST_F(SearchPaths, GivesTheOnlyWay) {
  roots = {dataOf(root.certificate())};
  intermediates = {dataOf(middle.certificate())};
  const std::vector<Path> paths = search();
  ASSERT_THAT(paths, SizeIs(1));
  EXPECT_THAT(paths[0].certificates, ElementsAre(end, intermediates[0], roots[0]));
  EXPECT_TRUE(paths[0].trusted);
  EXPECT_FALSE(paths[0].cyclic);
}

TEST_F(SearchPaths, GivesTheCertificateAloneWhenNobodyIssuedIt) {
  const std::vector<Path> paths = search();
  ASSERT_THAT(paths, SizeIs(1));
  EXPECT_THAT(paths[0].certificates, ElementsAre(end));
  EXPECT_FALSE(paths[0].trusted);
}

TEST_F(SearchPaths, CountsTheSameCertificateOnce) {
  roots = {dataOf(root.certificate())};
  intermediates = {dataOf(middle.certificate()), dataOf(middle.certificate())};
  material = {dataOf(middle.certificate()), dataOf(root.certificate())};
  EXPECT_THAT(search(), SizeIs(1));
}

TEST_F(SearchPaths, GivesTheTrustedWayFirst) {
  const Authority other = Authority::selfSigned(KeyKind::EcP256, named("Other"));
  roots = {dataOf(root.certificate())};
  intermediates = {dataOf(root.issue(middle.key(), authorityNamed("Middle")).get())};
  material = {dataOf(other.issue(middle.key(), authorityNamed("Middle")).get()),
              dataOf(other.certificate())};
  const std::vector<Path> paths = search();
  ASSERT_THAT(paths, SizeIs(2));
  EXPECT_TRUE(paths[0].trusted);
  EXPECT_FALSE(paths[1].trusted);
}

TEST_F(SearchPaths, GivesTheValidWayFirst) {
  CertificateOptions expired = authorityNamed("Middle");
  expired.notAfter = -std::chrono::hours(1);
  roots = {dataOf(root.certificate())};
  intermediates = {dataOf(root.issue(middle.key(), expired).get()), dataOf(middle.certificate())};
  const std::vector<Path> paths = search();
  ASSERT_THAT(paths, SizeIs(2));
  EXPECT_THAT(paths[0].certificates, ElementsAre(end, intermediates[1], roots[0]));
}

TEST_F(SearchPaths, StopsWhenTold) {
  roots = {dataOf(root.certificate())};
  for (int i = 0; i < 5; ++i) {
    intermediates.push_back(dataOf(root.issue(middle.key(), authorityNamed("Middle")).get()));
  }
  EXPECT_THAT(search(), SizeIs(5));
  wanted = 2;
  EXPECT_THAT(search(), SizeIs(2));
}

TEST_F(SearchPaths, StopsAfterSixteenWays) {
  roots = {dataOf(root.certificate())};
  for (int i = 0; i < 40; ++i) {
    intermediates.push_back(dataOf(root.issue(middle.key(), authorityNamed("Middle")).get()));
  }
  EXPECT_THAT(search(), SizeIs(16));
}

TEST_F(SearchPaths, LeavesOutNamesakesWhoseKeyDoesNotFit) {
  CertificateOptions plain = named("End");
  plain.keyIdentifiers = false;
  end = dataOf(middle.issue(sampleKey(), plain).get());
  roots = {dataOf(root.certificate())};
  intermediates = {dataOf(root.subordinate(KeyKind::EcP256, named("Middle")).certificate()),
                   dataOf(middle.certificate()),
                   dataOf(root.subordinate(KeyKind::EcP256, named("Middle")).certificate())};
  const std::vector<Path> paths = search();
  ASSERT_THAT(paths, SizeIs(1));
  EXPECT_THAT(paths[0].certificates, ElementsAre(end, intermediates[1], roots[0]));
}

TEST_F(SearchPaths, GivesOneWayWhenNoKeyFits) {
  CertificateOptions plain = named("End");
  plain.keyIdentifiers = false;
  end = dataOf(middle.issue(sampleKey(), plain).get());
  roots = {dataOf(root.certificate())};
  intermediates = {dataOf(root.subordinate(KeyKind::EcP256, named("Middle")).certificate()),
                   dataOf(root.subordinate(KeyKind::EcP256, named("Middle")).certificate())};
  const std::vector<Path> paths = search();
  ASSERT_THAT(paths, SizeIs(1));
  EXPECT_THAT(paths[0].certificates, SizeIs(3));
}

TEST_F(SearchPaths, NarrowsTheWindowByAllThatWasConsidered) {
  CertificateOptions soon = authorityNamed("Middle");
  soon.notBefore = std::chrono::seconds(30);
  roots = {dataOf(root.certificate())};
  intermediates = {dataOf(middle.certificate()), dataOf(root.issue(middle.key(), soon).get())};
  search();
  EXPECT_TRUE(window.contains(now));
  EXPECT_TRUE(window.contains(now + 20));
  EXPECT_FALSE(window.contains(now + 40));
}

TEST(SecondsOf, CountsFrom1970) {
  // 116444736000000000 is 1970-01-01 in units of 100 ns since 1601.
  EXPECT_EQ(secondsOf({.dwLowDateTime = 0xD53E8000, .dwHighDateTime = 0x019DB1DE}), 0);
  EXPECT_EQ(secondsOf({.dwLowDateTime = 0xD53E8000 + 19'999'999, .dwHighDateTime = 0x019DB1DE}), 1);
  EXPECT_EQ(secondsOf({.dwLowDateTime = 0, .dwHighDateTime = 0}), -11'644'473'600);
}

}  // namespace
}  // namespace qx::test::path_search_test
