#include "tests/soak/service_process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <thread>
#include <utility>

#include "tests/support/read_line.h"
#include "tools/common/error.h"
#include "tools/lab/services.h"

namespace qx::soak {
namespace {

using std::chrono::milliseconds;

constexpr const char* kOcspPath = "/ocsp";
constexpr const char* kStampPath = "/stamps";

/// How the time-stamp server is for a while.
struct Mood {
  milliseconds lasts{50};
  bool listens = true;
  bool refuses = false;
  lab::Conduct conduct{};
  lab::TimeStampOptions options{};
};

std::uint16_t portOf(const std::string& url) {
  const std::string number = url.substr(url.rfind(':') + 1);
  std::uint16_t port = 0;
  std::from_chars(number.data(), number.data() + number.size(), port);
  return port;
}

/// The time-stamp server, at one port for ever.
class StampServer {
 public:
  explicit StampServer(std::shared_ptr<const lab::TimeStampAuthority> authority)
      : authority_(std::move(authority)),
        services_(std::make_unique<lab::Services>()),
        url_(services_->url()) {}

  std::string url() const { return url_ + kStampPath; }

  void take(const Mood& mood) {
    if (!mood.listens) {
      services_.reset();
    } else if (isThere()) {
      services_->setConduct(kStampPath, mood.conduct);
      offer(mood);
    }
  }

 private:
  // Somebody who called while nobody listened may have the port for a moment.
  bool isThere() {
    try {
      if (services_ == nullptr) {
        services_ = std::make_unique<lab::Services>(portOf(url_));
      }
    } catch (const tools::ToolError&) {
      return false;
    }
    return true;
  }

  void offer(const Mood& mood) {
    if (mood.refuses) {
      services_->offerFile(kStampPath,
                           lab::timeStampResponse(lab::TimeStampStatus::Rejection, {}),
                           "application/timestamp-reply");
    } else {
      services_->offerTimeStamps(kStampPath, authority_, mood.options);
    }
  }

  std::shared_ptr<const lab::TimeStampAuthority> authority_;
  std::unique_ptr<lab::Services> services_;
  std::string url_;
};

// Whom it keeps waiting learns that it goes away.
std::array<Mood, 11> allMoods() {
  const Mood good{.lasts = milliseconds(150)};
  return {good,
          {.conduct = {.status = 503}},
          good,
          {.options = {.wrongImprint = true}},
          good,
          {.options = {.wrongNonce = true}},
          good,
          {.refuses = true},
          good,
          {.conduct = {.stalls = true}},
          {.listens = false}};
}

void answer(const Answerers& answerers, int addresses) {
  lab::Services certain;
  certain.offerOcsp(kOcspPath, answerers.responder, answerers.issuer);
  StampServer stamps(answerers.stamps);
  dprintf(addresses, "%s\n%s\n", certain.url(kOcspPath).c_str(), stamps.url().c_str());
  close(addresses);
  const auto moods = allMoods();
  for (std::size_t turn = 0;; ++turn) {
    const Mood& mood = moods.at(turn % moods.size());
    stamps.take(mood);
    std::this_thread::sleep_for(mood.lasts);
  }
}

// Ends when it is killed, or with the process that it serves.
[[noreturn]] void work(const Answerers& answerers, int addresses) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  try {
    answer(answerers, addresses);
  } catch (const std::exception& failure) {
    static_cast<void>(std::fprintf(stderr, "the services ended: %s\n", failure.what()));
  }
  _exit(1);
}

}  // namespace

ServiceProcess::ServiceProcess(const Answerers& answerers) {
  std::array<int, 2> ends{-1, -1};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  process_ = fork();
  if (process_ == 0) {
    close(ends[0]);
    work(answerers, ends[1]);
  }
  close(ends[1]);
  std::FILE* addresses = fdopen(ends[0], "r");
  ocspUrl_ = test::readLine(addresses);
  stampUrl_ = test::readLine(addresses);
  std::fclose(addresses);
  if (stampUrl_.empty()) {
    throw std::runtime_error("the services do not answer");
  }
}

ServiceProcess::~ServiceProcess() {
  kill(process_, SIGKILL);
  while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace qx::soak
