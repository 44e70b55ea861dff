#include "provider/http/resolve.h"

#include <csignal>
#include <ctime>
#include <mutex>
#include <utility>
#include <vector>

#include "provider/support/fork.h"
#include "provider/support/fork_gate.h"

namespace qx {
namespace {

// One question to glibc's resolver thread, which writes into it until it is done.
struct Lookup {
  Lookup(std::string hostName, std::uint16_t port)
      : host(std::move(hostName)), service(std::to_string(port)) {
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    request.ar_name = host.c_str();
    request.ar_service = service.c_str();
    request.ar_request = &hints;
  }

  Lookup(const Lookup&) = delete;
  Lookup& operator=(const Lookup&) = delete;
  Lookup(Lookup&&) = delete;
  Lookup& operator=(Lookup&&) = delete;

  ~Lookup() {
    if (request.ar_result != nullptr) {
      freeaddrinfo(request.ar_result);
    }
  }

  bool isPending() { return gai_error(&request) == EAI_INPROGRESS; }

  std::string host;
  std::string service;
  addrinfo hints{};
  gaicb request{};
};

using LookupPtr = std::unique_ptr<Lookup>;

// Nobody waits for these any more, but the resolver still writes into them: they are freed when a
// later call finds them done, and never by the end of the process, which the resolver may outlive.
void keepUntilDone(LookupPtr lookup) {
  static ForkSafeMutex mutex;
  static std::vector<LookupPtr>& kept = *new std::vector<LookupPtr>;
  const std::scoped_lock lock(mutex);
  std::erase_if(kept, [](const LookupPtr& old) { return !old->isPending(); });
  kept.push_back(std::move(lookup));
}

bool waitFor(Lookup& lookup, const Deadline& deadline) {
  const gaicb* const list[] = {&lookup.request};
  while (lookup.isPending() && !deadline.passed()) {
    const auto left = deadline.left();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
    const timespec wait{.tv_sec = seconds.count(),
                        .tv_nsec = std::chrono::nanoseconds(left - seconds).count()};
    static_cast<void>(gai_suspend(list, 1, &wait));
  }
  return !lookup.isPending();
}

Result<AddressList> taken(int error, addrinfo*& found) {
  if (error == EAI_MEMORY) {
    return fail(ERROR_OUTOFMEMORY);
  }
  if (error != 0 || found == nullptr) {
    return fail(ERROR_WINHTTP_NAME_NOT_RESOLVED);
  }
  return AddressList(std::exchange(found, nullptr));
}

Result<AddressList> resolveInThread(LookupPtr lookup, const Deadline& deadline) {
  gaicb* list[] = {&lookup->request};
  if (getaddrinfo_a(GAI_NOWAIT, list, 1, nullptr) != 0) {
    return fail(ERROR_WINHTTP_NAME_NOT_RESOLVED);
  }
  if (!waitFor(*lookup, deadline)) {
    static_cast<void>(gai_cancel(&lookup->request));
    if (lookup->isPending()) {
      keepUntilDone(std::move(lookup));
    }
    return fail(ERROR_TIMEOUT);
  }
  return taken(gai_error(&lookup->request), lookup->request.ar_result);
}

Result<AddressList> resolveHere(Lookup& lookup) {
  const int error = getaddrinfo(
      lookup.host.c_str(), lookup.service.c_str(), &lookup.hints, &lookup.request.ar_result);
  return taken(error, lookup.request.ar_result);
}

// glibc does not notice that its threads are gone in a child: a question to them stays unanswered.
bool isForked() {
  static const unsigned first = forkGeneration();
  return forkGeneration() != first;
}

bool isNumeric(const std::string& host) {
  return host.find(':') != std::string::npos ||
         host.find_first_not_of("0123456789.") == std::string::npos;
}

}  // namespace

Result<AddressList> resolve(const std::string& host, std::uint16_t port, const Deadline& deadline) {
  const ForkMayPass noLockIsHeld;
  auto lookup = std::make_unique<Lookup>(host, port);
  if (isNumeric(host)) {
    lookup->hints.ai_flags = AI_NUMERICSERV | AI_NUMERICHOST;
    return resolveHere(*lookup);
  }
  const bool forked = isForked();
  return forked ? resolveHere(*lookup) : resolveInThread(std::move(lookup), deadline);
}

}  // namespace qx
