#ifndef QX_TESTS_JOURNAL_ROAD_H_
#define QX_TESTS_JOURNAL_ROAD_H_

// The good roads through the operations, and refusals: each a call with the script that it needs. Their
// journals are compared line by line, and then every call and every allocation on the good ones fails.

#include <functional>
#include <initializer_list>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "tests/qxsapssf/operation.h"

namespace qx::test {

/// A call that is ready to be made, with what belongs to it. The scripted provider and the settings are
/// as the call needs them from its making on.
class Road {
 public:
  Road() = default;
  Road(const Road&) = delete;
  Road& operator=(const Road&) = delete;
  virtual ~Road() = default;

  virtual SAPRETURN run() = 0;
  virtual Output& output() = 0;

  /// The caller's records: those given, or those that came back.
  virtual std::vector<SigRcpSsfInformation*> records() { return {}; }
};

/// What the outputs of a failed call look like.
enum class OnFailure {
  Nothing,          // NULL and 0
  Untouched,        // length 0
  ContentMayStay,   // length 0, or the content, once it was read
  LengthUntouched,  // nothing was written at all
};

struct NamedRoad {
  std::string operation;
  std::string name;  // of its file, too
  OnFailure onFailure;
  std::function<std::unique_ptr<Road>()> make;
};

/// For the messages of the tests.
inline std::ostream& operator<<(std::ostream& out, const NamedRoad& road) {
  return out << road.name;
}

std::vector<NamedRoad> plainRoads();  // without certificates
std::vector<NamedRoad> signRoads();
std::vector<NamedRoad> addSignRoads();
std::vector<NamedRoad> verifyRoads();
std::vector<NamedRoad> envelopeRoads();
std::vector<NamedRoad> developeRoads();

std::vector<NamedRoad> allRoads();

/// Calls that are refused, for their journals.
std::vector<NamedRoad> plainRefusals();
std::vector<NamedRoad> signRefusals();
std::vector<NamedRoad> addSignRefusals();
std::vector<NamedRoad> verifyRefusals();
std::vector<NamedRoad> envelopeRefusals();
std::vector<NamedRoad> developeRefusals();

std::vector<NamedRoad> allRefusals();

/// The roads of several lists, one list after the other.
std::vector<NamedRoad> joined(std::initializer_list<std::vector<NamedRoad>> parts);

/// A road from a fresh provider with default settings.
std::unique_ptr<Road> prepared(const NamedRoad& road);

/// What the caller has of a call, as lines of its journal.
std::vector<std::string> outcome(Road& road, SAPRETURN code);

}  // namespace qx::test

#endif
