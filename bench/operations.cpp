#include <functional>
#include <string>
#include <utility>

#include <benchmark/benchmark.h>

#include "bench/peer_side.h"
#include "bench/ratio_reporter.h"
#include "bench/ssf_side.h"
#include "bench/store.h"
#include "bench/world.h"

// Digest, sign and verify, each through the SSF function and straight on libcrypto, in one run.

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

constexpr Size kSizes[] = {{.name = "1 KB", .bytes = kKilobyte},
                           {.name = "1 MB", .bytes = kKilobyte * kKilobyte},
                           {.name = "64 MB", .bytes = 64 * kKilobyte * kKilobyte}};

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
  qx::bench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}
