#include "tools/qxssf/page/page.h"

#include <algorithm>
#include <map>
#include <ranges>
#include <string_view>

#include "tools/qxssf/codes.h"
#include "tools/qxssf/page/html.h"

namespace qx::ssf {
namespace {

constexpr std::string_view kHead =
    R"(<!DOCTYPE html>
<html xmlns="http://www.w3.org/1999/xhtml" lang="en">
<head>
<meta charset="utf-8"/>
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'sha256-@HASH@'"/>
<meta name="viewport" content="width=device-width, initial-scale=1"/>
<meta name="referrer" content="no-referrer"/>
)";

// The SHA-256 of pageStyle() in Base64; a test computes it anew.
constexpr std::string_view kStyleHash = "Y+uR5JQ5BN5gpO4oRcNM5yY56FmfPo4Ebiosrz8jZSM=";

/// What happened at a moment on a signer's time line.
struct Event {
  std::string text;
  bool isStamp = false;
};

/// By their times, which sort as texts; those of one time in the order in which they were added.
using Events = std::multimap<std::string, Event>;

// "2026-11-15T17:03:41Z" as people read it.
std::string readable(std::string time) {
  constexpr std::size_t kLength = 20;
  if (time.size() == kLength && time[10] == 'T') {
    time[10] = ' ';
    time.replace(kLength - 1, 1, " UTC");
  }
  return time;
}

void writeVerdict(const PageFacts& facts, Html& html) {
  const bool good = facts.fault.empty();
  html.begin("header", good ? "verdict good" : "verdict bad");
  html.element("h1", good ? "\u2714 Verified" : "\u2718 Not verified");
  html.element("p", good ? "Every signature is good and every signer is trusted." : facts.fault);
  html.end();
  html.begin("dl");
  html.field("Message", facts.message + ", " + std::to_string(facts.size) + " bytes");
  if (!facts.content.empty()) {
    html.field("Content", facts.content);
  }
  html.field("Verified at", readable(facts.time));
  html.field("Signers", std::to_string(facts.verdicts.size()));
  html.end();
}

void writeLink(const ChainLink& link, Html& html) {
  html.begin("li", link.faults.empty() ? "good" : "bad");
  html.element("p", link.subject, "name");
  html.element("p", "valid " + readable(link.notBefore) + " to " + readable(link.notAfter), "soft");
  html.element("p", "thumbprint " + link.thumbprint, "soft");
  if (link.faults.empty()) {
    html.element("p", "\u2714 good");
  }
  for (const std::string& fault : link.faults) {
    html.element("p", "\u2718 " + fault);
  }
  html.end();
}

void writeChain(const Evidence& evidence, Html& html) {
  html.element("h3", "Chain of certificates, as it stands now");
  if (evidence.chain.empty()) {
    html.element("p", "There is no certificate of this signer.");
    return;
  }
  html.begin("ol", "chain");
  for (const ChainLink& link : evidence.chain | std::views::reverse) {
    writeLink(link, html);
  }
  html.end();
}

// Times that cannot be read stand first.
Events eventsOf(const PageFacts& facts, const SignerVerdict& verdict, const Evidence& evidence) {
  Events events;
  if (verdict.certificate) {
    events.insert({verdict.certificate->notBefore, {.text = "certificate begins"}});
    events.insert({verdict.certificate->notAfter, {.text = "certificate ends"}});
  }
  if (verdict.signingTime) {
    events.insert({*verdict.signingTime, {.text = "signed, as the signer says"}});
  }
  for (const Stamp& stamp : evidence.stamps) {
    const std::string& name = stamp.authority;
    events.insert({stamp.time,
                   {.text = "time stamp over " + stamp.what + ", by " +
                            (name.empty() ? "an authority that it does not name" : name),
                    .isStamp = true}});
  }
  events.insert({facts.time, {.text = "verified"}});
  return events;
}

void writeTimes(const PageFacts& facts,
                const SignerVerdict& verdict,
                const Evidence& evidence,
                Html& html) {
  html.element("h3", "Time line");
  html.begin("ol", "times");
  for (const auto& [time, event] : eventsOf(facts, verdict, evidence)) {
    html.begin("li", event.isStamp ? "stamp" : "");
    html.element("p", time.empty() ? "at a time that cannot be read" : readable(time), "name");
    html.element("p", event.text);
    html.end();
  }
  html.end();
}

void writeSigner(const PageFacts& facts, std::size_t index, Html& html) {
  const SignerVerdict& verdict = facts.verdicts[index];
  const bool good = verdict.result == SSF_RESULT_OK;
  html.begin("section");
  html.element("h2", "Signer " + std::to_string(index + 1) + ": " + verdict.id);
  html.element("p",
               (good ? "\u2714 " : "\u2718 ") + std::string(verifyingWords(verdict.result)),
               good ? "badge good" : "badge bad");
  html.begin("dl");
  html.field("Signed",
             verdict.signingTime ? readable(*verdict.signingTime) + ", as the signer says"
                                 : "the signer does not say when");
  html.field("Time stamp",
             verdict.stampTime ? readable(*verdict.stampTime) : "none that was verified");
  if (verdict.certificate) {
    html.field("Certificate", verdict.certificate->thumbprint);
  }
  html.end();
  if (index < facts.evidence.size()) {
    writeChain(facts.evidence[index], html);
    writeTimes(facts, verdict, facts.evidence[index], html);
  }
  html.end();
}

void writeList(const char* title, const std::vector<std::string>& lines, Html& html) {
  html.begin("section");
  html.element("h2", title);
  html.begin("ul");
  for (const std::string& line : lines) {
    html.element("li", line);
  }
  html.end();
  html.end();
}

void writeChecks(const PageFacts& facts, Html& html) {
  const bool hasStamps = std::ranges::any_of(
      facts.verdicts, [](const SignerVerdict& verdict) { return verdict.stampTime.has_value(); });
  std::vector<std::string> checked = {
      "That the content is what each signer signed.",
      "That each signer's certificate leads to a root that is trusted here, and that each certificate "
      "between them held: now, or at the time of a time stamp that was verified."};
  std::vector<std::string> unchecked = {
      "Who the signer is beyond the name in his certificate, and what he is entitled to sign.",
      "What the signed content says, and whether it is harmless.",
      "The time that a signer says he signed at; only a time stamp proves that a signature was there."};
  (facts.revocation ? checked : unchecked)
      .emplace_back("That no certificate between signer and root was revoked.");
  (hasStamps ? checked : unchecked)
      .emplace_back(hasStamps ? "The time stamps, under the format " + facts.format + "."
                              : "Time stamps: no signer has one that was verified.");
  unchecked.emplace_back(
      "This page itself: whoever can change it can change what it says. The message is the proof.");
  // A check that finds something wrong ends those of its signer.
  if (facts.verdicts.empty()) {
    writeList(
        "What was checked", {"Nothing: no signature was found that could be looked at."}, html);
    return;
  }
  writeList(facts.fault.empty() ? "What was checked" : "What was checked, up to what was wrong",
            checked,
            html);
  writeList("What was not checked", unchecked, html);
}

std::string head() {
  constexpr std::string_view kPlace = "@HASH@";
  std::string text(kHead);
  text.replace(text.find(kPlace), kPlace.size(), kStyleHash);
  return text.append("<style>").append(pageStyle()).append("</style>\n");
}

}  // namespace

std::string pageOf(const PageFacts& facts) {
  Html html;
  html.raw(head());
  html.element("title", "Verification of " + facts.message);
  html.raw("</head>\n");
  html.begin("body");
  html.begin("main");
  writeVerdict(facts, html);
  for (std::size_t i = 0; i < facts.verdicts.size(); ++i) {
    writeSigner(facts, i, html);
  }
  writeChecks(facts, html);
  html.element("footer", "Made by qxssf with " + facts.library + ".");
  html.end();
  html.end();
  html.raw("</html>\n");
  return html.text();
}

}  // namespace qx::ssf
