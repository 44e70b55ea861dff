#ifndef QX_TOOLS_QXSSF_BATCH_PLAN_H_
#define QX_TOOLS_QXSSF_BATCH_PLAN_H_

#include <cstddef>
#include <string>
#include <vector>

#include "tools/qxssf/batch/batch.h"

namespace qx::ssf {

/// A file that is not worked on, and why.
struct BatchExcuse {
  std::string input;
  std::string why;
};

/// What a batch will do.
struct BatchPlan {
  std::vector<BatchTask> tasks;
  /// Links and special files that were found, folders within folders.
  std::vector<BatchExcuse> skipped;
  /// What cannot be done: a folder that cannot be read, an output that is there already.
  std::vector<BatchExcuse> refused;
  /// Files in folders whose names say that they are none for this command.
  std::size_t leftOut = 0;
};

/// planBatch looks into the folders and names the outputs. Nothing is written. Files come in the order in
/// which they were named, those of a folder in the order of their names.
BatchPlan planBatch(const BatchArguments& batch, const BatchRule& rule);

}  // namespace qx::ssf

#endif
