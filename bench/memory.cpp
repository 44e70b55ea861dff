#include <cstdio>
#include <ctime>
#include <fstream>
#include <functional>
#include <string>

#include "bench/floor.h"
#include "bench/ssf_side.h"
#include "bench/world.h"

// Peak memory and time of large content, above what the caller holds: one signature and one verification
// of 256 MB, one envelope, one opening and one added signature of 64 MB.

namespace {

using qx::bench::SsfString;
using qx::bench::World;

constexpr std::size_t kSize = 256UL * 1024 * 1024;
constexpr std::size_t kEnvelopeSize = 64UL * 1024 * 1024;
constexpr double kMegabyte = 1024.0 * 1024.0;
constexpr double kKilobytesAMegabyte = 1024.0;

double statusMegabytes(const std::string& field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.starts_with(field)) {
      return std::stod(line.substr(field.size() + 1)) / kKilobytesAMegabyte;
    }
  }
  return 0;
}

// The kernel forgets the high-water mark when 5 is written here.
void resetPeak() {
  std::ofstream("/proc/self/clear_refs") << "5";
}

struct Cost {
  double seconds;
  double peakMegabytes;
};

Cost measure(const std::function<void()>& work) {
  resetPeak();
  const double before = statusMegabytes("VmRSS:");
  // Of the processor: others may be at work on the machine.
  const std::clock_t start = std::clock();
  work();
  const auto ticks = static_cast<double>(std::clock() - start);
  return {.seconds = ticks / CLOCKS_PER_SEC, .peakMegabytes = statusMegabytes("VmHWM:") - before};
}

struct Floor {
  const char* name;
  double seconds;
};

void print(const char* what, const Cost& cost, const Floor& floor, std::size_t size) {
  const double input = static_cast<double>(size) / kMegabyte;
  std::printf("%-28s %8.2f s = %.2f x %s, peak %7.1f MB = %.3f x input\n",
              what,
              cost.seconds,
              cost.seconds / floor.seconds,
              floor.name,
              cost.peakMegabytes,
              cost.peakMegabytes / input);
}

Floor hashAndCopy(const std::string& content) {
  unsigned left = 0;
  const Cost cost =
      measure([&] { left = qx::bench::hashAndCopy(content, qx::lab::KeyKind::Gost2012_256); });
  // What is left is looked at, so that the work cannot be left out.
  return {.name = left < 1'000 ? "hash and copy" : "", .seconds = cost.seconds};
}

Floor cipherAlone(std::string content, bool encrypts) {
  unsigned left = 0;
  const Cost cost = measure([&] { left = qx::bench::cipherAlone(content, encrypts); });
  return {.name = left < 1'000 ? "cipher" : "", .seconds = cost.seconds};
}

bool run(bool detached) {
  const World world(8);
  const std::string& identity = world.signer(qx::lab::KeyKind::Gost2012_256).thumbprint;
  {
    SsfString warm;
    if (qx::bench::ssfSign("warm", identity, World::kPin, false, warm) != 0) {
      return false;
    }
  }
  const std::string content(kSize, 'x');
  const Floor floor = hashAndCopy(content);
  SsfString message;
  SAPRETURN code = 0;
  print(detached ? "sign 256 MB detached" : "sign 256 MB attached",
        measure(
            [&] { code = qx::bench::ssfSign(content, identity, World::kPin, detached, message); }),
        floor,
        kSize);
  const std::string signedText = message.text();
  const std::string nothing;
  SsfString out;
  SAPRETURN verified = 0;
  print(detached ? "verify 256 MB detached" : "verify 256 MB attached",
        measure([&] {
          verified = qx::bench::ssfVerify(signedText, detached ? content : nothing, out);
        }),
        floor,
        kSize);
  return code == 0 && verified == 0;
}

bool runEnvelope() {
  const World world(8);
  const std::string& identity = world.signer(qx::lab::KeyKind::Gost2012_256).thumbprint;
  const std::string content(kEnvelopeSize, 'x');
  std::string message;
  SAPRETURN enveloped = 0;
  {
    SsfString out;
    print("envelope 64 MB",
          measure([&] { enveloped = qx::bench::ssfEnvelope(content, {identity}, out); }),
          cipherAlone(content, /*encrypts=*/true),
          kEnvelopeSize);
    message = out.text();
  }
  SsfString out;
  SAPRETURN opened = 0;
  print("develope 64 MB",
        measure([&] { opened = qx::bench::ssfDevelope(message, identity, World::kPin, out); }),
        cipherAlone(content, /*encrypts=*/false),
        kEnvelopeSize);
  return enveloped == 0 && opened == 0;
}

bool runAddSign() {
  const World world(8);
  const std::string content(kEnvelopeSize, 'x');
  SsfString first;
  const SAPRETURN made = qx::bench::ssfSign(content,
                                            world.signer(qx::lab::KeyKind::EcP256).thumbprint,
                                            World::kPin,
                                            /*detached=*/false,
                                            first);
  const std::string message = first.text();
  SsfString out;
  SAPRETURN added = 0;
  print("add a signature to 64 MB",
        measure([&] {
          added = qx::bench::ssfAddSign(
              message, world.signer(qx::lab::KeyKind::Gost2012_256).thumbprint, World::kPin, out);
        }),
        hashAndCopy(content),
        kEnvelopeSize);
  return made == 0 && added == 0;
}

}  // namespace

int main() {
  const bool good = run(false) && run(true) && runEnvelope() && runAddSign();
  if (!good) {
    std::printf("an operation failed\n");
  }
  return good ? 0 : 1;
}
