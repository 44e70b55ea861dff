#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include <nettle/streebog.h>

#include "bench/ssf_side.h"
#include "bench/world.h"

// Peak memory and time of one signature and one verification of 256 MB, above what the caller holds.

namespace {

using qx::bench::SsfString;
using qx::bench::World;

constexpr std::size_t kSize = 256UL * 1024 * 1024;
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
  const auto start = std::chrono::steady_clock::now();
  work();
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return {.seconds = seconds, .peakMegabytes = statusMegabytes("VmHWM:") - before};
}

// What cannot be avoided: the content is hashed once and copied once.
double hashAndCopySeconds(const std::string& content) {
  return measure([&content] {
           streebog256_ctx context;
           streebog256_init(&context);
           streebog256_update(
               &context, content.size(), reinterpret_cast<const unsigned char*>(content.data()));
           std::vector<char> copy(content.begin(), content.end());
           // The copy must happen: its last byte is looked at.
           std::printf("%s", copy.back() == '\1' ? " " : "");
         })
      .seconds;
}

void print(const char* what, const Cost& cost, double floorSeconds) {
  const double input = static_cast<double>(kSize) / kMegabyte;
  std::printf("%-28s %8.2f s = %.2f x hash and copy, peak %7.1f MB = %.3f x input\n",
              what,
              cost.seconds,
              cost.seconds / floorSeconds,
              cost.peakMegabytes,
              cost.peakMegabytes / input);
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
  const double floorSeconds = hashAndCopySeconds(content);
  SsfString message;
  SAPRETURN code = 0;
  print(detached ? "sign 256 MB detached" : "sign 256 MB attached",
        measure(
            [&] { code = qx::bench::ssfSign(content, identity, World::kPin, detached, message); }),
        floorSeconds);
  const std::string signedText = message.text();
  const std::string nothing;
  SsfString out;
  SAPRETURN verified = 0;
  print(detached ? "verify 256 MB detached" : "verify 256 MB attached",
        measure([&] {
          verified = qx::bench::ssfVerify(signedText, detached ? content : nothing, out);
        }),
        floorSeconds);
  return code == 0 && verified == 0;
}

}  // namespace

int main() {
  const bool good = run(false) && run(true);
  if (!good) {
    std::printf("an operation failed\n");
  }
  return good ? 0 : 1;
}
