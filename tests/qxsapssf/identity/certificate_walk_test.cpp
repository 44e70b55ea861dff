#include "qxsapssf/identity/certificate_walk.h"

#include <string>
#include <vector>

#include "qxsapssf/identity/profile.h"
#include "tests/qxsapssf/operation.h"

namespace qx::certificate_walk_test {
namespace {

using scripted::provider;
using scripted::ToyCertificate;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr const char* kUnreadable = "#error#: Invalid certificate DN\n";

class CertificateWalkTest : public test::OperationTest {
 protected:
  void TearDown() override {
    store_.close();
    OperationTest::TearDown();
  }

  static void addSubjects(const std::vector<std::string>& subjects) {
    for (const std::string& subject : subjects) {
      ToyCertificate certificate;
      certificate.subject = subject;
      certificate.serial = {static_cast<BYTE>(serial_++)};
      provider().addCertificate(certificate);
    }
  }

  /// Opens the store My and gets ready to look for an identity in it.
  CertificateWalk walkFor(std::string_view identity) {
    store_ = openProfileStore("", StoreMy);
    EXPECT_TRUE(store_);
    EXPECT_TRUE(identity_.read(identity));
    record_.result = kBefore;
    return {store_, identity_, record_, "SsfSomething"};
  }

  /// The subjects of all that a walk visits.
  static std::vector<std::string> subjectsOf(CertificateWalk& walk) {
    std::vector<std::string> subjects;
    while (const PCCERT_CONTEXT context = walk.next()) {
      const CERT_NAME_BLOB& name = context->pCertInfo->Subject;
      subjects.emplace_back(reinterpret_cast<const char*>(name.pbData), name.cbData);
    }
    return subjects;
  }

  static constexpr SAPRETURN kBefore = 99;
  inline static int serial_ = 1;
  Store store_;
  Identity identity_;
  SigRcpSsfInformation record_{};
};

TEST_F(CertificateWalkTest, VisitsTheNamedOnesInTheOrderOfTheStore) {
  addSubjects({"CN=a, O=1", "CN=b", "CN=a, O=2", "CN=c", "CN=a, O=3"});
  CertificateWalk walk = walkFor("CN=a");
  EXPECT_THAT(subjectsOf(walk), ElementsAre("CN=a, O=1", "CN=a, O=2", "CN=a, O=3"));
  EXPECT_EQ(record_.result, kBefore);
  EXPECT_THAT(provider().calls("CertFindCertificateInStore"), SizeIs(6));
}

TEST_F(CertificateWalkTest, GivesBackWhatItDoesNotHandOut) {
  addSubjects({"CN=a", "CN=b", "CN=a"});
  CertificateWalk walk = walkFor("CN=a");
  EXPECT_THAT(subjectsOf(walk), SizeIs(2));
  // The search takes each one back that it is given.
  EXPECT_THAT(provider().calls("CertFreeCertificateContext"), IsEmpty());
}

TEST_F(CertificateWalkTest, KeepsTheLastOneWhenItIsLeftEarly) {
  addSubjects({"CN=a", "CN=a"});
  {
    CertificateWalk walk = walkFor("CN=a");
    ASSERT_NE(walk.next(), nullptr);
    EXPECT_THAT(provider().calls("CertFreeCertificateContext"), IsEmpty());
  }
  EXPECT_THAT(provider().calls("CertFreeCertificateContext"),
              ElementsAre("CertFreeCertificateContext(certificate#1)"));
}

TEST_F(CertificateWalkTest, HandsTheFoundOneOut) {
  addSubjects({"CN=a"});
  Certificate taken;
  {
    CertificateWalk walk = walkFor("CN=a");
    const PCCERT_CONTEXT found = walk.next();
    ASSERT_NE(found, nullptr);
    taken = walk.take();
    EXPECT_EQ(taken.get(), found);
  }
  EXPECT_THAT(provider().calls("CertFreeCertificateContext"), IsEmpty());
}

TEST_F(CertificateWalkTest, BeginsAgainBehindWhatWasHandedOut) {
  addSubjects({"CN=a"});
  CertificateWalk walk = walkFor("CN=a");
  ASSERT_NE(walk.next(), nullptr);
  const Certificate taken = walk.take();
  EXPECT_FALSE(walk.take());
  EXPECT_NE(walk.next(), nullptr);
  EXPECT_THAT(provider().calls("CertFindCertificateInStore").back(), HasSubstr(", NULL)"));
}

TEST_F(CertificateWalkTest, FindsNobodyInAnEmptyStore) {
  provider().stores.push_back({});
  CertificateWalk walk = walkFor("CN=a");
  EXPECT_EQ(walk.next(), nullptr);
  EXPECT_EQ(walk.next(), nullptr);
  EXPECT_EQ(record_.result, kBefore);
}

TEST_F(CertificateWalkTest, TellsOfASubjectThatDoesNotParseAndGoesOn) {
  addSubjects({"broken", "CN=a", "broken too"});
  CertificateWalk walk = walkFor("CN=a");
  ASSERT_NE(walk.next(), nullptr);
  EXPECT_EQ(record_.result, SSF_RESULT_NOT_OK);
  EXPECT_THAT(test::linesOf("SsfSomething"), ElementsAre(kUnreadable));
  record_.result = kBefore;
  EXPECT_EQ(walk.next(), nullptr);
  EXPECT_EQ(record_.result, SSF_RESULT_NOT_OK);
  EXPECT_THAT(test::linesOf("SsfSomething"), ElementsAre(kUnreadable, kUnreadable));
}

TEST_F(CertificateWalkTest, LooksForAThumbprintThroughTheStore) {
  ToyCertificate wanted;
  wanted.subject = "broken";
  wanted.thumbprint = scripted::Bytes(20, 0x22);
  addSubjects({"CN=a", "CN=b"});
  provider().addCertificate(wanted);
  CertificateWalk walk = walkFor(test::thumbprint("22"));
  EXPECT_THAT(subjectsOf(walk), ElementsAre("broken"));
  EXPECT_EQ(record_.result, kBefore);
  EXPECT_THAT(provider().calls("CertFindCertificateInStore").front(),
              HasSubstr("(store#1, 0x10001, 0, 0x10000, " + test::thumbprint("22") + ", NULL)"));
}

TEST_F(CertificateWalkTest, EndsWhenTheSearchFails) {
  addSubjects({"CN=a", "CN=a"});
  provider().failNth("CertFindCertificateInStore", 2, ERROR_ACCESS_DENIED);
  CertificateWalk walk = walkFor("CN=a");
  EXPECT_NE(walk.next(), nullptr);
  EXPECT_EQ(walk.next(), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_FALSE(walk.take());
}

TEST_F(CertificateWalkTest, WalksOverALargeStore) {
  std::vector<std::string> subjects(500, "CN=somebody else");
  subjects.emplace_back("CN=a");
  addSubjects(subjects);
  CertificateWalk walk = walkFor("CN=a");
  EXPECT_THAT(subjectsOf(walk), ElementsAre("CN=a"));
}

}  // namespace
}  // namespace qx::certificate_walk_test
