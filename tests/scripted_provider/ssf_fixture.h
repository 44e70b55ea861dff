#ifndef QX_TESTS_SCRIPTED_PROVIDER_SSF_FIXTURE_H_
#define QX_TESTS_SCRIPTED_PROVIDER_SSF_FIXTURE_H_

// What the library's tests on the scripted provider share.

#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "qxsapssf/ssf.h"
#include "tests/scripted_provider/scripted_provider.h"

namespace qx::scripted {

inline constexpr const char* kStart = "****************#start#****************\n";
inline constexpr const char* kSuccess = "++++++++++++++++#success#++++++++++++++++\n";
inline constexpr const char* kError = "!!!!!!!!!!!!!!!!#error#!!!!!!!!!!!!!!!!\n";

/// A fixture that begins with a fresh provider and ends with everything given back exactly once.
class ScriptedTest : public testing::Test {
 protected:
  void SetUp() override { provider().reset(); }

  void TearDown() override { EXPECT_THAT(provider().leftovers(), testing::IsEmpty()); }
};

/// A counted string as an argument. The interface takes it without const; it must stay unchanged.
class Octets {
 public:
  Octets(std::string_view text)  // NOLINT(google-explicit-constructor): it stands for the text
      : bytes_(text.begin(), text.end()), length_(static_cast<SsfOctetlen>(text.size())) {
    bytes_.push_back(0xEE);  // whoever reads on finds neither a NUL nor a letter
  }

  SAP_B8* data() { return bytes_.data(); }

  SsfOctetlen size() const { return length_; }

 private:
  std::vector<SAP_B8> bytes_;
  SsfOctetlen length_;
};

/// A place for an output, filled so that untouched shows.
class Output {
 public:
  Output() = default;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  ~Output() {
    if (!isUntouched()) {
      SsfDELSsfOctetstring(&data_, &length_);
    }
  }

  SAP_B8** data() { return &data_; }

  SsfOctetlen* length() { return &length_; }

  bool isUntouched() const { return data_ == untouched(); }

  bool isLengthUntouched() const { return length_ == kUntouchedLength; }

  SsfOctetlen size() const { return length_; }

  const SAP_B8* bytes() const { return data_; }

  std::string text() const {
    return isUntouched() || data_ == nullptr || length_ < 0
               ? "no output"
               : std::string(reinterpret_cast<const char*>(data_),
                             static_cast<std::size_t>(length_));
  }

 private:
  static constexpr SsfOctetlen kUntouchedLength = -77;

  static SAP_B8* untouched() {
    static SAP_B8 mark = 0;
    return &mark;
  }

  SAP_B8* data_ = untouched();
  SsfOctetlen length_ = kUntouchedLength;
};

/// Lets every allocation of a call fail once, the first to the last. `call` runs once more for each and
/// is told nothing; `check` looks at what came of it. Returns how many failures there were.
template <class Prepare, class Call, class Check>
unsigned sweepAllocations(Prepare prepare, Call call, Check check) {
  for (unsigned n = 1;; ++n) {
    prepare();
    bool happened = false;
    {
      const AllocationFailure failure(n);
      call();
      happened = failure.hasHappened();
    }
    if (!happened) {
      return n - 1;
    }
    check(n);
  }
}

}  // namespace qx::scripted

#endif
