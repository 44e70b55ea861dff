#include <algorithm>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/floor.h"
#include "bench/peer_side.h"
#include "bench/ratio_reporter.h"
#include "bench/ssf_side.h"
#include "bench/store.h"
#include "bench/world.h"

// Each operation through its SSF function and straight on libcrypto, or beside what it cannot do
// without, in one run.

namespace {

using qx::bench::Signer;
using qx::bench::SsfString;
using qx::bench::World;

constexpr std::size_t kKilobyte = 1024;
constexpr int kStoreSize = 1000;

struct Size {
  const char* name;
  std::size_t bytes;
};

constexpr Size kLarge = {.name = "64 MB", .bytes = 64 * kKilobyte * kKilobyte};
constexpr Size kSizes[] = {
    {.name = "1 KB", .bytes = kKilobyte}, {.name = "1 MB", .bytes = kKilobyte * kKilobyte}, kLarge};

const std::string& content(std::size_t size) {
  static std::map<std::size_t, std::string> cache;
  std::string& text = cache[size];
  if (text.empty()) {
    for (std::size_t i = 0; i < size; ++i) {
      text.push_back(static_cast<char>(i * 131 >> 3U));
    }
  }
  return text;
}

// work returns false when the operation failed, which ends that benchmark with an error.
void add(const std::string& name, std::function<bool()> work) {
  benchmark::RegisterBenchmark(name.c_str(), [work = std::move(work)](benchmark::State& state) {
    for (auto _ : state) {
      if (!work()) {
        state.SkipWithError("the operation failed");
        break;
      }
    }
  })->UseRealTime();
}

std::string title(const char* operation,
                  const std::string& algorithm,
                  const Size& size,
                  bool detached) {
  return std::string(operation) + ' ' + algorithm + ' ' + size.name +
         (detached ? " detached" : " attached");
}

void addDigest(const char* ssfName, const char* peerName, const Size& size, bool detached) {
  const std::string& text = content(size.bytes);
  const std::string name = title("digest", ssfName, size, detached);
  add(name + "|ours", [&text, ssfName, detached] {
    SsfString out;
    return qx::bench::ssfDigest(text, ssfName, detached, out) == 0;
  });
  add(name + "|peer", [&text, peerName, detached] {
    return !qx::bench::peerDigest(text, peerName, detached).empty();
  });
}

void addSign(const Signer& signer, const char* algorithm, const Size& size, bool detached) {
  const std::string& text = content(size.bytes);
  const std::string name = title("sign", algorithm, size, detached);
  add(name + "|ours", [&text, &signer, detached] {
    SsfString out;
    return qx::bench::ssfSign(text, signer.thumbprint, World::kPin, detached, out) == 0;
  });
  add(name + "|peer",
      [&text, &signer, detached] { return !qx::bench::peerSign(text, signer, detached).empty(); });
}

void addVerify(const Signer& signer, const char* algorithm, const Size& size, bool detached) {
  const std::string& text = content(size.bytes);
  SsfString made;
  qx::bench::ssfSign(text, signer.thumbprint, World::kPin, detached, made);
  const std::string message = made.text();
  const std::string given = detached ? text : std::string();
  const std::string name = title("verify", algorithm, size, detached);
  add(name + "|ours", [message, given] {
    SsfString out;
    return qx::bench::ssfVerify(message, given, out) == 0;
  });
  add(name + "|peer", [message, given, &signer] {
    std::string out;
    return qx::bench::peerVerify(message, given, signer, &out);
  });
}

using Recipients = std::vector<const Signer*>;

std::vector<std::string> identities(const Recipients& recipients) {
  std::vector<std::string> all;
  for (const Signer* recipient : recipients) {
    all.push_back(recipient->thumbprint);
  }
  return all;
}

std::string enveloped(const std::string& text, const Recipients& recipients) {
  SsfString made;
  qx::bench::ssfEnvelope(text, identities(recipients), made);
  return made.text();
}

std::string envelopeTitle(const char* operation,
                          const char* algorithm,
                          const Size& size,
                          const Recipients& recipients) {
  return std::string(operation) + ' ' + algorithm + ' ' + size.name + " for " +
         std::to_string(recipients.size());
}

void addEnvelope(const Recipients& recipients, const char* algorithm, const Size& size) {
  const std::string& text = content(size.bytes);
  const std::string name = envelopeTitle("envelope", algorithm, size, recipients);
  add(name + "|ours", [&text, ids = identities(recipients)] {
    SsfString out;
    return qx::bench::ssfEnvelope(text, ids, out) == 0;
  });
  add(name + "|peer",
      [&text, recipients] { return !qx::bench::peerEncrypt(text, recipients).empty(); });
}

void addDevelope(const Recipients& recipients, const char* algorithm, const Size& size) {
  const std::string message = enveloped(content(size.bytes), recipients);
  const Signer& last = *recipients.back();
  const std::string name = envelopeTitle("develope", algorithm, size, recipients);
  add(name + "|ours", [message, &last] {
    SsfString out;
    return qx::bench::ssfDevelope(message, last.thumbprint, World::kPin, out) == 0;
  });
  add(name + "|peer", [message, &last] { return !qx::bench::peerDecrypt(message, last).empty(); });
}

// From here on the peer is what cannot be avoided.

void addCipherAlone(const std::string& name, bool encrypts) {
  add(name + "|peer", [scratch = content(kLarge.bytes), encrypts]() mutable {
    benchmark::DoNotOptimize(qx::bench::cipherAlone(scratch, encrypts));
    return true;
  });
}

void addFloors(const Signer& signer, const std::string& algorithm) {
  const std::string& text = content(kLarge.bytes);
  const std::string envelopeName = "envelope, cipher alone " + algorithm;
  add(envelopeName + "|ours", [&text, &signer] {
    SsfString out;
    return qx::bench::ssfEnvelope(text, {signer.thumbprint}, out) == 0;
  });
  addCipherAlone(envelopeName, /*encrypts=*/true);
  const std::string developeName = "develope, cipher alone " + algorithm;
  add(developeName + "|ours", [message = enveloped(text, {&signer}), &signer] {
    SsfString out;
    return qx::bench::ssfDevelope(message, signer.thumbprint, World::kPin, out) == 0;
  });
  addCipherAlone(developeName, /*encrypts=*/false);
}

void addAddSign(const World& world, qx::lab::KeyKind kind, const std::string& algorithm) {
  const std::string& text = content(kLarge.bytes);
  const Signer& signer = world.signer(kind);
  SsfString made;
  qx::bench::ssfSign(
      text, world.signer(qx::lab::KeyKind::EcP256).thumbprint, World::kPin, false, made);
  const std::string name = "addsign, hash and copy " + algorithm;
  add(name + "|ours", [message = made.text(), &signer] {
    SsfString out;
    return qx::bench::ssfAddSign(message, signer.thumbprint, World::kPin, out) == 0;
  });
  add(name + "|peer", [&text, kind] {
    benchmark::DoNotOptimize(qx::bench::hashAndCopy(text, kind));
    return true;
  });
}

/// Ten recipients of each kind that content can be encrypted for.
class Envelopes {
 public:
  explicit Envelopes(const World& world)
      : gost_(world.addRecipients(qx::lab::KeyKind::Gost2012_256, kCount)),
        rsa_(world.addRecipients(qx::lab::KeyKind::Rsa2048, kCount)) {}

  void addAll() const {
    for (const auto& [name, all] :
         {std::pair("GOST-2012-256", &gost_), std::pair("RSA-2048", &rsa_)}) {
      addFloors(all->front(), name);
      for (const Size& size : kSizes) {
        addBoth(first(*all, 1), name, size);
        addBoth(first(*all, kCount), name, size);
      }
    }
  }

 private:
  static constexpr int kCount = 10;

  static Recipients first(const std::vector<Signer>& all, int count) {
    Recipients recipients;
    std::ranges::transform(
        all.begin(), all.begin() + count, std::back_inserter(recipients), [](const Signer& one) {
          return &one;
        });
    return recipients;
  }

  static void addBoth(const Recipients& recipients, const char* algorithm, const Size& size) {
    addEnvelope(recipients, algorithm, size);
    addDevelope(recipients, algorithm, size);
  }

  std::vector<Signer> gost_;
  std::vector<Signer> rsa_;
};

void addAll(const World& world) {
  const std::pair<const char*, qx::lab::KeyKind> kinds[] = {
      {"GOST-2012-256", qx::lab::KeyKind::Gost2012_256},
      {"GOST-2001", qx::lab::KeyKind::Gost2001},
      {"RSA-2048", qx::lab::KeyKind::Rsa2048},
      {"P-256", qx::lab::KeyKind::EcP256}};
  for (const Size& size : kSizes) {
    for (const bool detached : {false, true}) {
      addDigest("GOST3411", "md_gost94", size, detached);
      addDigest("SHA1", "SHA1", size, detached);
      for (const auto& [name, kind] : kinds) {
        addSign(world.signer(kind), name, size, detached);
        addVerify(world.signer(kind), name, size, detached);
      }
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  const World world(kStoreSize);
  qx::bench::reportStores(world);
  addAll(world);
  const Envelopes envelopes(world);
  envelopes.addAll();
  addAddSign(world, qx::lab::KeyKind::Gost2012_256, "GOST-2012-256");
  addAddSign(world, qx::lab::KeyKind::Rsa2048, "RSA-2048");
  qx::bench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}
