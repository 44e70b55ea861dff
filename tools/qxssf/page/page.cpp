#include "tools/qxssf/page/page.h"

#include <algorithm>
#include <map>
#include <ranges>
#include <string_view>

#include "tools/qxssf/codes.h"
#include "tools/qxssf/page/html.h"
#include "tools/qxssf/page/words.h"

namespace qx::ssf {
namespace {

constexpr std::string_view kHead =
    R"(<!DOCTYPE html>
<html xmlns="http://www.w3.org/1999/xhtml" lang="@LANGUAGE@">
<head>
<meta charset="utf-8"/>
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'sha256-@HASH@'"/>
<meta name="viewport" content="width=device-width, initial-scale=1"/>
<meta name="referrer" content="no-referrer"/>
)";

// The SHA-256 of pageStyle() in Base64; a test computes it anew.
constexpr std::string_view kStyleHash = "fDUONDrl7LMHiZ2t+U2I9rItgHGUm6IrfMUZkiKGD30=";

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

void writeVerdict(const PageFacts& facts, const Words& words, Html& html) {
  const bool good = facts.fault.empty();
  html.begin("header", good ? "verdict good" : "verdict bad");
  html.element("h1", words(good ? "\u2714 Verified" : "\u2718 Not verified"));
  if (good) {
    html.element("p", words("Every signature is good and every signer is trusted."));
  } else if (words.isRussian() && !facts.verdicts.empty()) {
    // The fault is written in English; each signer's own stands with him.
    html.element("p", words("The message cannot be relied on; what is wrong stands below."));
  } else {
    html.element("p", facts.fault);
  }
  html.end();
  html.begin("dl");
  html.field(words("Message"),
             (facts.message + ", ").append(std::to_string(facts.size)).append(words(" bytes")));
  if (!facts.content.empty()) {
    html.field(words("Content"), facts.content);
  }
  html.field(words("Verified at"), readable(facts.time));
  html.field(words("Signers"), std::to_string(facts.verdicts.size()));
  html.end();
}

void writeLink(const ChainLink& link, const Words& words, Html& html) {
  html.begin("li", link.faults.empty() ? "good" : "bad");
  html.element("p", link.subject, "name");
  html.element("p",
               words("valid ")
                   .append(readable(link.notBefore))
                   .append(words(" to "))
                   .append(readable(link.notAfter)),
               "soft");
  html.element("p", words("thumbprint ") + link.thumbprint, "soft");
  if (link.faults.empty()) {
    html.element("p", words("\u2714 good"));
  }
  for (const std::string& fault : link.faults) {
    html.element("p", "\u2718 " + words(fault));
  }
  html.end();
}

void writeChain(const Evidence& evidence, const Words& words, Html& html) {
  html.element("h3", words("Chain of certificates, as it stands now"));
  if (evidence.chain.empty()) {
    html.element("p", words("There is no certificate of this signer."));
    return;
  }
  html.begin("ol", "chain");
  for (const ChainLink& link : evidence.chain | std::views::reverse) {
    writeLink(link, words, html);
  }
  html.end();
}

// Times that cannot be read stand first.
Events eventsOf(const PageFacts& facts,
                const SignerVerdict& verdict,
                const Evidence& evidence,
                const Words& words) {
  Events events;
  if (verdict.certificate) {
    events.insert({verdict.certificate->notBefore, {.text = words("certificate begins")}});
    events.insert({verdict.certificate->notAfter, {.text = words("certificate ends")}});
  }
  if (verdict.signingTime) {
    events.insert({*verdict.signingTime, {.text = words("signed, as the signer says")}});
  }
  for (const Stamp& stamp : evidence.stamps) {
    const std::string& name = stamp.authority;
    events.insert(
        {stamp.time,
         {.text = words("time stamp over ")
                      .append(words(stamp.what))
                      .append(words(", by "))
                      .append(name.empty() ? words("an authority that it does not name") : name),
          .isStamp = true}});
  }
  events.insert({facts.time, {.text = words("verified")}});
  return events;
}

void writeTimes(const PageFacts& facts,
                const SignerVerdict& verdict,
                const Evidence& evidence,
                const Words& words,
                Html& html) {
  html.element("h3", words("Time line"));
  html.begin("ol", "times");
  for (const auto& [time, event] : eventsOf(facts, verdict, evidence, words)) {
    html.begin("li", event.isStamp ? "stamp" : "");
    html.element(
        "p", time.empty() ? words("at a time that cannot be read") : readable(time), "name");
    html.element("p", event.text);
    html.end();
  }
  html.end();
}

void writeSigner(const PageFacts& facts, std::size_t index, const Words& words, Html& html) {
  const SignerVerdict& verdict = facts.verdicts[index];
  const bool good = verdict.result == SSF_RESULT_OK;
  html.begin("section");
  html.element("h2",
               words("Signer ").append(std::to_string(index + 1)).append(": ").append(verdict.id));
  html.element("p",
               (good ? "\u2714 " : "\u2718 ") + words(verifyingWords(verdict.result)),
               good ? "badge good" : "badge bad");
  html.begin("dl");
  html.field(words("Signed"),
             verdict.signingTime
                 ? readable(*verdict.signingTime).append(words(", as the signer says"))
                 : words("the signer does not say when"));
  html.field(words("Time stamp"),
             verdict.stampTime ? readable(*verdict.stampTime) : words("none that was verified"));
  if (verdict.certificate) {
    html.field(words("Certificate"), verdict.certificate->thumbprint);
  }
  html.end();
  if (index < facts.evidence.size()) {
    writeChain(facts.evidence[index], words, html);
    writeTimes(facts, verdict, facts.evidence[index], words, html);
  }
  html.end();
}

void writeList(const char* title,
               const std::vector<std::string>& lines,
               const Words& words,
               Html& html) {
  html.begin("section");
  html.element("h2", words(title));
  html.begin("ul");
  for (const std::string& line : lines) {
    html.element("li", words(line));
  }
  html.end();
  html.end();
}

void writeChecks(const PageFacts& facts, const Words& words, Html& html) {
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
      .emplace_back(hasStamps
                        ? words("The time stamps, under the format ").append(facts.format) + "."
                        : "Time stamps: no signer has one that was verified.");
  unchecked.emplace_back(
      "This page itself: whoever can change it can change what it says. The message is the proof.");
  // A check that finds something wrong ends those of its signer.
  if (facts.verdicts.empty()) {
    writeList("What was checked",
              {"Nothing: no signature was found that could be looked at."},
              words,
              html);
    return;
  }
  writeList(facts.fault.empty() ? "What was checked" : "What was checked, up to what was wrong",
            checked,
            words,
            html);
  writeList("What was not checked", unchecked, words, html);
}

void replace(std::string& text, std::string_view place, std::string_view by) {
  text.replace(text.find(place), place.size(), by);
}

std::string head(const Words& words) {
  std::string text(kHead);
  replace(text, "@HASH@", kStyleHash);
  replace(text, "@LANGUAGE@", words.isRussian() ? "ru" : "en");
  return text.append("<style>").append(pageStyle()).append("</style>\n");
}

}  // namespace

std::string pageOf(const PageFacts& facts) {
  const Words words(facts.language);
  Html html;
  html.raw(head(words));
  html.element("title", words("Verification of ") + facts.message);
  html.raw("</head>\n");
  html.begin("body");
  html.begin("main");
  writeVerdict(facts, words, html);
  for (std::size_t i = 0; i < facts.verdicts.size(); ++i) {
    writeSigner(facts, i, words, html);
  }
  writeChecks(facts, words, html);
  html.element("footer", words("Made by qxssf with ").append(facts.library) + ".");
  html.end();
  html.end();
  html.raw("</html>\n");
  return html.text();
}

}  // namespace qx::ssf
