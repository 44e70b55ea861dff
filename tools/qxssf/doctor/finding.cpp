#include "tools/qxssf/doctor/finding.h"

#include <algorithm>

namespace qx::ssf::doctor {
namespace {

using tools::ExitCode;

const char* nameOf(Level level) {
  switch (level) {
    case Level::Good:
      return "good";
    case Level::Warning:
      return "warning";
    case Level::Fault:
      return "FAULT";
  }
  return "";
}

const char* factOf(Level level) {
  return level == Level::Fault ? "fault" : nameOf(level);
}

std::string counted(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

void reportOne(const Finding& finding, tools::Report& report) {
  std::string label = nameOf(finding.level);
  label.resize(9, ' ');
  report.line("  " + label + finding.subject + ": " + finding.text);
  if (!finding.remedy.empty()) {
    report.line("           mend: " + finding.remedy);
  }
  report.facts()["findings"].push_back({{"area", finding.area},
                                        {"level", factOf(finding.level)},
                                        {"subject", finding.subject},
                                        {"text", finding.text},
                                        {"remedy", finding.remedy},
                                        {"exitCode", static_cast<int>(finding.exit)}});
}

}  // namespace

void Findings::good(const std::string& subject, const std::string& text) {
  findings_.push_back(
      {.level = Level::Good, .subject = subject, .text = text, .remedy = "", .area = area_});
}

void Findings::warn(const std::string& subject,
                    const std::string& text,
                    const std::string& remedy) {
  findings_.push_back(
      {.level = Level::Warning, .subject = subject, .text = text, .remedy = remedy, .area = area_});
}

void Findings::fault(ExitCode exit,
                     const std::string& subject,
                     const std::string& text,
                     const std::string& remedy) {
  findings_.push_back({.level = Level::Fault,
                       .subject = subject,
                       .text = text,
                       .remedy = remedy,
                       .exit = exit,
                       .area = area_});
}

std::size_t Findings::count(Level level) const {
  return static_cast<std::size_t>(std::ranges::count(findings_, level, &Finding::level));
}

ExitCode Findings::worst() const {
  ExitCode worst = ExitCode::Good;
  for (const Finding& finding : findings_) {
    worst = std::max(worst, finding.exit);
  }
  return worst;
}

void reportFindings(const Findings& findings, tools::Report& report) {
  std::string area;
  for (const Finding& finding : findings.all()) {
    if (finding.area != area) {
      area = finding.area;
      report.line(area);
    }
    reportOne(finding, report);
  }
  report.line(counted(findings.count(Level::Fault), "fault") + ", " +
              counted(findings.count(Level::Warning), "warning"));
  report.facts()["faults"] = findings.count(Level::Fault);
  report.facts()["warned"] = findings.count(Level::Warning);
}

}  // namespace qx::ssf::doctor
