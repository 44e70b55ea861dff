#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <openssl/ts.h>

#include "bench/bare_exchange.h"
#include "bench/bare_signatures.h"
#include "bench/cades_world.h"
#include "bench/ratio_reporter.h"
#include "bench/signed_elsewhere.h"
#include "bench/ssf_side.h"
#include "provider/openssl/owned.h"

// Signatures with time stamps, beside what may be spent on them: five plain signatures and the services'
// answers for making one, six times its bare signatures for verifying it. A ratio above 1 means that
// less was spent. Time is the processor's that the calling thread takes: what it waits for, such as the work of
// the services, which answer in threads of this process, costs it nothing, here as there.

namespace {

using qx::bench::BareExchange;
using qx::bench::BareSignatures;
using qx::bench::Branch;
using qx::bench::CadesWorld;
using qx::bench::Evidence;
using qx::bench::SsfString;

constexpr int kBareRounds = 6;
// Verdicts on chains are kept: who is to pay for all of them needs a message of another signer each
// time. So many are verified in a run, of which there may be five.
constexpr int kFreshMessages = 25;
constexpr int kRuns = 5;
// Signing waits for other threads, so that whatever else the machine does tells. Many short runs, ours and the
// peer's mixed, have their share of it alike.
constexpr int kShortRuns = 100;
constexpr double kShortRunSeconds = 0.006;

const std::string& content() {
  static const std::string text(1024, 'x');
  return text;
}

// prepare runs before the clock does; work gives false when it failed, which ends that benchmark.
benchmark::internal::Benchmark* add(const std::string& name,
                                    std::function<void()> prepare,
                                    std::function<bool()> work) {
  return benchmark::RegisterBenchmark(
             name.c_str(),
             [prepare = std::move(prepare), work = std::move(work)](benchmark::State& state) {
               prepare();
               for (auto _ : state) {
                 if (!work()) {
                   state.SkipWithError("the operation failed");
                   break;
                 }
               }
             })
      ->UseRealTime();
}

bool sign(const std::string& signer, const std::string& format) {
  SsfString out;
  return qx::bench::ssfSign(content(), signer, CadesWorld::kPin, false, out, format) == 0;
}

/// times does something again and again, as long as it works.
bool times(int count, const std::function<bool()>& work) {
  for (int i = 0; i < count; ++i) {
    if (!work()) {
      return false;
    }
  }
  return true;
}

/// timeStampRequest is a TimeStampReq like those of the provider, over a hash of 32 bytes.
std::vector<std::uint8_t> timeStampRequest(int digest) {
  using RequestPtr = qx::OpensslOwner<TS_REQ, TS_REQ_free>;
  using ImprintPtr = qx::OpensslOwner<TS_MSG_IMPRINT, TS_MSG_IMPRINT_free>;
  const RequestPtr request(TS_REQ_new());
  const ImprintPtr imprint(TS_MSG_IMPRINT_new());
  const qx::X509AlgorPtr algorithm(X509_ALGOR_new());
  const qx::Asn1IntegerPtr nonce(ASN1_INTEGER_new());
  std::vector<unsigned char> hash(32, 'h');
  X509_ALGOR_set0(algorithm.get(), OBJ_nid2obj(digest), V_ASN1_NULL, nullptr);
  ASN1_INTEGER_set_uint64(nonce.get(), 0x0123456789ABCDEF);
  TS_MSG_IMPRINT_set_algo(imprint.get(), algorithm.get());
  TS_MSG_IMPRINT_set_msg(imprint.get(), hash.data(), static_cast<int>(hash.size()));
  TS_REQ_set_version(request.get(), 1);
  TS_REQ_set_msg_imprint(request.get(), imprint.get());
  TS_REQ_set_nonce(request.get(), nonce.get());
  TS_REQ_set_cert_req(request.get(), 1);
  unsigned char* encoded = nullptr;
  const int size = i2d_TS_REQ(request.get(), &encoded);
  const qx::OpensslBytes owner(encoded);
  return {encoded, encoded + size};
}

// In the order in which one CAdES signature has them: signing, an answer, work on it, another answer.
bool fivePlainAndTwoAnswers(const std::function<bool()>& plain,
                            const std::function<bool()>& answer) {
  return plain() && answer() && times(2, plain) && answer() && times(2, plain);
}

void addSign(CadesWorld& world,
             const Branch& branch,
             const std::shared_ptr<const BareSignatures>& bare,
             const std::string& title,
             int digest) {
  const std::string name = "sign " + title;
  const auto prepare = [&world, &branch] { world.stampBy(branch); };
  const std::string& signer = branch.signers.front();
  const auto plain = [&signer] { return sign(signer, qx::bench::kPlain); };
  const auto answer =
      [exchange = std::make_shared<const BareExchange>(
           world.stampUrl(), "application/timestamp-query", timeStampRequest(digest))] {
        return exchange->run();
      };
  const auto ours = [&signer] { return sign(signer, qx::bench::kCades); };
  const auto side = [&](const std::string& row, const std::function<bool()>& work) {
    add(row, prepare, work)->Repetitions(kShortRuns)->MinTime(kShortRunSeconds);
  };
  const auto compare = [&](const std::string& what, const std::function<bool()>& peer) {
    side(name + ", " + what + "|ours", ours);
    side(name + ", " + what + "|peer", peer);
  };
  compare("beside 1 plain", plain);
  compare("5 plain and 2 answers",
          [plain, answer] { return fivePlainAndTwoAnswers(plain, answer); });
  compare("2 answers alone", [answer] { return times(2, answer); });
  // What nobody can leave out: a signature, the answers, and the signatures of both stamps.
  compare("floor",
          [plain, answer, bare] { return plain() && times(2, answer) && bare->verifyStamps(); });
}

/// Messages are X Long signatures, each of another signer of a branch.
class Messages {
 public:
  Messages(CadesWorld& world, const Branch& branch) {
    world.stampBy(branch);
    encoded_ =
        qx::bench::signedElsewhere(content(), branch.signers, CadesWorld::kPin, qx::bench::kCades);
  }

  const std::string& first() const { return encoded_.front(); }

  /// One that was not verified yet; nothing when there is none left.
  std::string takeFresh() {
    if (encoded_.size() == 1) {
      return {};
    }
    std::string message = std::move(encoded_.back());
    encoded_.pop_back();
    return message;
  }

 private:
  std::vector<std::string> encoded_;
};

bool verify(const std::string& message) {
  SsfString out;
  return qx::bench::ssfVerify(message, {}, out, qx::bench::kCades) == 0;
}

void addVerify(Messages& messages,
               const std::shared_ptr<const BareSignatures>& bare,
               const char* title) {
  const auto sixTimes = [bare] { return times(kBareRounds, [&bare] { return bare->verify(); }); };
  const auto nothing = [] {};
  const std::string name =
      std::string("verify ") + title + ", 6 x " + std::to_string(bare->count()) + " bare";
  add(name + ", first|ours", nothing, [&messages] {
    return verify(messages.takeFresh());
  })->Iterations(kFreshMessages);
  add(name + ", first|peer", nothing, sixTimes);
  add(name + ", again|ours", nothing, [&messages] { return verify(messages.first()); });
  add(name + ", again|peer", nothing, sixTimes);
}

struct Work {
  const char* title;
  qx::lab::KeyKind kind;
  Evidence evidence;
  int digest;
};

constexpr Work kWorks[] = {
    {.title = "GOST-2012-256, CRL",
     .kind = qx::lab::KeyKind::Gost2012_256,
     .evidence = Evidence::RevocationList,
     .digest = NID_id_GostR3411_2012_256},
    {.title = "GOST-2012-256, OCSP",
     .kind = qx::lab::KeyKind::Gost2012_256,
     .evidence = Evidence::OcspAnswers,
     .digest = NID_id_GostR3411_2012_256},
    {.title = "RSA-2048, CRL",
     .kind = qx::lab::KeyKind::Rsa2048,
     .evidence = Evidence::RevocationList,
     .digest = NID_sha256},
    {.title = "P-256, CRL",
     .kind = qx::lab::KeyKind::EcP256,
     .evidence = Evidence::RevocationList,
     .digest = NID_sha256},
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  CadesWorld world;
  // What the benchmarks refer to stays where it is.
  std::vector<std::unique_ptr<Branch>> branches;
  std::vector<std::unique_ptr<Messages>> messages;
  for (const Work& work : kWorks) {
    branches.push_back(std::make_unique<Branch>(
        world.addBranch(work.kind, work.evidence, 1 + (kRuns * kFreshMessages))));
    messages.push_back(std::make_unique<Messages>(world, *branches.back()));
    const auto bare = std::make_shared<const BareSignatures>(messages.back()->first(),
                                                             branches.back()->root.certificate());
    addSign(world, *branches.back(), bare, work.title, work.digest);
    addVerify(*messages.back(), bare, work.title);
  }
  // What was written a moment ago is read again and again, until its dates tell that it is complete.
  std::this_thread::sleep_for(std::chrono::seconds(3));
  qx::bench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}
