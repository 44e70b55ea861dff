#include "tools/qxssf/doctor/finding.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qx::ssf::doctor::finding_test {
namespace {

using tools::ExitCode;

std::string printed(tools::Report& report) {
  testing::internal::CaptureStdout();
  report.print();
  return testing::internal::GetCapturedStdout();
}

TEST(DoctorFindings, AreGoodAsLongAsThereIsNoFault) {
  Findings findings;
  EXPECT_EQ(findings.worst(), ExitCode::Good);
  findings.good("a", "b");
  findings.warn("c", "d", "e");
  EXPECT_EQ(findings.worst(), ExitCode::Good);
}

TEST(DoctorFindings, AreAsBadAsTheWorstFault) {
  Findings findings;
  findings.fault(ExitCode::NotTrusted, "a", "b", "c");
  findings.fault(ExitCode::Key, "a", "b", "c");
  findings.fault(ExitCode::Input, "a", "b", "c");
  EXPECT_EQ(findings.worst(), ExitCode::Key);
  EXPECT_EQ(findings.count(Level::Fault), 3U);
  EXPECT_EQ(findings.count(Level::Warning), 0U);
}

TEST(DoctorFindings, ArePrintedBelowTheirAreas) {
  Findings findings;
  findings.begin("places");
  findings.good("user", "root");
  findings.begin("keys");
  findings.warn("k1", "is old", "renew k1");
  findings.fault(ExitCode::Key, "k2", "is lost", "find k2");
  tools::Report report("qxssf");
  reportFindings(findings, report);
  EXPECT_EQ(printed(report),
            "places\n"
            "  good     user: root\n"
            "keys\n"
            "  warning  k1: is old\n"
            "           mend: renew k1\n"
            "  FAULT    k2: is lost\n"
            "           mend: find k2\n"
            "1 fault, 1 warning\n");
}

TEST(DoctorFindings, AreFactsToo) {
  Findings findings;
  findings.begin("keys");
  findings.fault(ExitCode::Key, "k2", "is lost", "find k2");
  tools::Report report("qxssf");
  reportFindings(findings, report);
  const nlohmann::ordered_json expected = {{"findings",
                                            {{{"area", "keys"},
                                              {"level", "fault"},
                                              {"subject", "k2"},
                                              {"text", "is lost"},
                                              {"remedy", "find k2"},
                                              {"exitCode", 5}}}},
                                           {"faults", 1},
                                           {"warned", 0}};
  EXPECT_EQ(report.facts(), expected);
}

}  // namespace
}  // namespace qx::ssf::doctor::finding_test
