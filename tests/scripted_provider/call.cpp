#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "tests/scripted_provider/state.h"

namespace qx::scripted {

Call::Call(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  char* text = nullptr;
  if (vasprintf(&text, format, arguments) >= 0) {
    text_ = text;
    std::free(text);
  }
  va_end(arguments);
}

void Call::tell(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  char* text = nullptr;
  if (vasprintf(&text, format, arguments) >= 0) {
    details_ += details_.empty() ? text : std::string(", ") + text;
    std::free(text);
  }
  va_end(arguments);
}

Call::~Call() {
  state().journal.push_back(text_ + outcome_);
  state().fullJournal.push_back(text_ + (details_.empty() ? "" : " {" + details_ + "}") + outcome_);
  std::optional<std::string>& beforeLoss = state().callBeforeLoss;
  if (beforeLoss && text_.starts_with(*beforeLoss)) {
    beforeLoss.reset();
    state().lossOfMemory = std::make_unique<AllocationFailure>(1);
  }
}

bool Call::fails() {
  Provider::State& s = state();
  ++s.failableCalls;
  s.failable.push_back(text_);
  if (s.failAny == s.failableCalls) {
    ++s.failuresSeen;
    fail(s.failAnyError);
    return true;
  }
  for (Failure& failure : s.failures) {
    if (!text_.starts_with(failure.call) || (failure.onlyReads && !text_.ends_with("read)"))) {
      continue;
    }
    ++failure.seen;
    if (failure.n == 0 || failure.n == failure.seen) {
      ++s.failuresSeen;
      fail(failure.lastError);
      return true;
    }
  }
  return false;
}

BOOL Call::fail(DWORD lastError) {
  std::array<char, 24> text{};
  std::snprintf(text.data(), text.size(), " -> FAILED %08x", lastError);
  outcome_ = text.data();
  state().lastError = lastError;
  return FALSE;
}

bool Call::givesNothing() const {
  return std::ranges::any_of(state().empty,
                             [&](const std::string& call) { return text_.starts_with(call); });
}

std::size_t Call::missized(std::size_t actual) {
  Provider::State& s = state();
  if (s.missizeAny == 0 || s.missizeAny != s.failableCalls) {
    return actual;
  }
  ++s.failuresSeen;
  return static_cast<std::size_t>(std::max(0L, static_cast<long>(actual) + s.missizeDifference));
}

BOOL Call::give(std::span<const BYTE> data, void* out, DWORD* size) {
  if (size == nullptr) {
    return fail(E_INVALIDARG);
  }
  std::size_t actual = givesNothing() ? 0 : data.size();
  for (const SizeRule& rule : state().sizes) {
    if (!text_.starts_with(rule.call)) {
      continue;
    }
    if (rule.claim && out == nullptr) {
      actual = *rule.claim;
    }
    if (out != nullptr) {
      actual = static_cast<std::size_t>(static_cast<long>(actual) + rule.difference);
    }
  }
  actual = missized(actual);
  const DWORD room = *size;
  *size = static_cast<DWORD>(actual);
  if (out != nullptr) {
    tell("room %u", room);
  }
  tell("= %u bytes", *size);
  if (out == nullptr) {
    return TRUE;
  }
  if (room < actual) {
    return fail(ERROR_MORE_DATA);
  }
  std::copy_n(data.data(), std::min(actual, data.size()), static_cast<BYTE*>(out));
  return TRUE;
}

std::size_t Piece::add(std::span<const BYTE> data) {
  bytes_.resize((bytes_.size() + 7) / 8 * 8);
  const std::size_t at = bytes_.size();
  bytes_.insert(bytes_.end(), data.begin(), data.end());
  return at;
}

std::size_t Piece::addString(std::string_view text) {
  Bytes bytes = bytesOf(text);
  bytes.push_back(0);
  return add(bytes);
}

void Piece::setBlob(std::size_t at, std::span<const BYTE> data) {
  set(at, static_cast<DWORD>(data.size()));
  setPointer(at + 8, add(data));
}

Bytes Piece::at(const void* base) const {
  Bytes relocated = bytes_;
  for (const auto& [at, target] : pointers_) {
    const auto address = reinterpret_cast<std::uintptr_t>(base) + target;
    std::memcpy(relocated.data() + at, &address, sizeof(address));
  }
  return relocated;
}

}  // namespace qx::scripted
