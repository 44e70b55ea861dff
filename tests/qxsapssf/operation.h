#ifndef QX_TESTS_QXSAPSSF_OPERATION_H_
#define QX_TESTS_QXSAPSSF_OPERATION_H_

// What the tests of the operations share: records made through the library's own functions, and views
// of what the scripted provider has seen.

#include <array>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "qxsapssf/config/config.h"
#include "qxsapssf/ssf.h"
#include "tests/scripted_provider/ssf_fixture.h"

namespace qx::test {

using scripted::kError;
using scripted::kStart;
using scripted::kSuccess;
using scripted::Output;
using scripted::provider;
using scripted::ToyCertificate;

inline SsfOctetlen lengthOf(std::string_view text) {
  return static_cast<SsfOctetlen>(text.size());
}

/// The interface takes what it only reads without const.
inline SAP_B8* bytesOf(std::string& text) {
  return reinterpret_cast<SAP_B8*>(text.data());
}

/// Frees what an earlier call has left in an output.
inline void freeOutput(Output& output) {
  if (!output.isUntouched()) {
    SsfDELSsfOctetstring(output.data(), output.length());
  }
}

/// A list of records, freed with it.
class Records {
 public:
  Records() = default;
  Records(const Records&) = delete;
  Records& operator=(const Records&) = delete;

  ~Records() { SsfDELSigRcpSsfInfoList(&list); }

  SigRcpSsfInformation& add(std::string id, std::string profile = "", std::string password = "") {
    SigRcpSsfInformation* record = nullptr;
    EXPECT_EQ(SsfNEWSigRcpSsfInfo(bytesOf(id),
                                  lengthOf(id),
                                  nullptr,
                                  0,
                                  bytesOf(profile),
                                  lengthOf(profile),
                                  bytesOf(password),
                                  lengthOf(password),
                                  99,
                                  &record),
              SSF_API_OK);
    EXPECT_EQ(SsfINSSigRcpSsfInfo(record, &list), SSF_API_OK);
    return *record;
  }

  std::vector<SigRcpSsfInformation*> all() const {
    std::vector<SigRcpSsfInformation*> records;
    for (const auto* node = list; node != nullptr; node = node->next) {
      records.push_back(node->info);
    }
    return records;
  }

  std::vector<SAPRETURN> results() const {
    std::vector<SAPRETURN> results;
    for (const SigRcpSsfInformation* record : all()) {
      results.push_back(record->result);
    }
    return results;
  }

  SigRcpSsfInformationListStruct* list = nullptr;
};

inline std::string idOf(const SigRcpSsfInformation& record) {
  return {reinterpret_cast<const char*>(record.id), static_cast<std::size_t>(record.idLength)};
}

inline std::string profileOf(const SigRcpSsfInformation& record) {
  return {reinterpret_cast<const char*>(record.profile),
          static_cast<std::size_t>(record.profileLength)};
}

inline std::string passwordOf(const SigRcpSsfInformation& record) {
  return {reinterpret_cast<const char*>(record.password),
          static_cast<std::size_t>(record.passwordLength)};
}

/// A thumbprint of twenty equal bytes, as an identity.
inline std::string thumbprint(std::string_view byte) {
  std::string text;
  for (int i = 0; i < 20; ++i) {
    text += byte;
  }
  return text;
}

/// The lines that were traced under a name.
inline std::vector<std::string> linesOf(std::string_view function) {
  std::vector<std::string> lines;
  for (const auto& line : provider().trace()) {
    if (line.function == function) {
      lines.push_back(line.text);
    }
  }
  return lines;
}

/// The line that a failed call leaves.
inline std::string errorLine(DWORD error) {
  std::array<char, 24> text{};
  std::snprintf(text.data(), text.size(), "#error#: %08x\n", error);
  return text.data();
}

/// The message that follows it.
inline std::string errorText(DWORD error) {
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), "Text of error %08x. \r\n", error);
  return text.data();
}

/// Watches the memory of the PIN that the next call sets, to see what is left in it. The PIN must be
/// longer than what a string keeps in itself.
class PinWatch {
 public:
  PinWatch() {
    provider().onPinSet = [this](const void* pin, std::size_t size) { watch_.emplace(pin, size); };
  }

  PinWatch(const PinWatch&) = delete;
  PinWatch& operator=(const PinWatch&) = delete;

  ~PinWatch() { provider().onPinSet = nullptr; }

  /// What stood in the memory when it was given back.
  std::string leftover() const {
    return watch_ && watch_->wasFreed() ? std::string(watch_->contents()) : "never freed";
  }

 private:
  std::optional<scripted::FreeWatch> watch_;
};

/// Whatever went wrong in a call, it gives no output, its banners stand first and last, and it leaves
/// nothing behind. A call knows by hasNoOutput what its operation leaves in the outputs then.
template <class Call>
void expectFailure(Call& call, SAPRETURN code) {
  EXPECT_EQ(call.run(), code);
  EXPECT_TRUE(call.hasNoOutput());
  EXPECT_EQ(provider().traceTexts().front(), kStart);
  EXPECT_EQ(provider().traceTexts().back(), kError);
  EXPECT_THAT(provider().leftovers(), ::testing::IsEmpty());
}

/// Every allocation of a call that succeeds fails once, `check` is given the code and the number of the
/// allocation each time. The number of failures.
template <class Call, class Check>
unsigned sweepMemory(Call& call, Check check) {
  SAPRETURN code = -1;
  const unsigned failures = scripted::sweepAllocations([&] { freeOutput(call.output); },
                                                       [&] { code = call.run(); },
                                                       [&](unsigned n) { check(code, n); });
  EXPECT_EQ(code, SSF_API_OK);
  return failures;
}

/// A call with at least this many allocations ends with SSF_API_NO_MEMORY whichever of them fails.
template <class Call>
void expectNoMemory(Call& call, unsigned allocations) {
  const unsigned failures = sweepMemory(call, [&](SAPRETURN code, unsigned n) {
    EXPECT_EQ(code, SSF_API_NO_MEMORY) << n;
    EXPECT_TRUE(call.hasNoOutput()) << n;
    EXPECT_EQ(provider().traceTexts().back(), kError) << n;
    EXPECT_THAT(provider().leftovers(), ::testing::IsEmpty()) << n;
  });
  EXPECT_GE(failures, allocations);
}

/// One allocation of a call is its only certificate's thumbprint: without it nobody is found, which the
/// call says by `refusal` and the record by SSF_RESULT_UNKNOWN. All others end with SSF_API_NO_MEMORY.
template <class Call>
void expectOneLostThumbprint(Call& call, const SigRcpSsfInformation& record, SAPRETURN refusal) {
  unsigned lost = 0;
  sweepMemory(call, [&](SAPRETURN code, unsigned n) {
    if (code != refusal) {
      EXPECT_EQ(code, SSF_API_NO_MEMORY) << n;
      return;
    }
    ++lost;
    EXPECT_EQ(record.result, SSF_RESULT_UNKNOWN);
  });
  EXPECT_EQ(lost, 1U);
}

inline constexpr const char* kLongPin = "a long PIN of more than sixteen bytes";

/// Default settings before each test.
class OperationTest : public scripted::ScriptedTest {
 protected:
  void SetUp() override {
    ScriptedTest::SetUp();
    gConfig = Config();
  }

  void TearDown() override {
    gConfig = Config();
    ScriptedTest::TearDown();
  }
};

}  // namespace qx::test

#endif
