#ifndef QX_TOOLS_QXPROVIDER_LANDSCAPE_PLACEMENT_H_
#define QX_TOOLS_QXPROVIDER_LANDSCAPE_PLACEMENT_H_

#include <span>
#include <string>
#include <vector>

#include "provider/support/files.h"
#include "provider/support/wipe.h"
#include "tools/qxprovider/landscape_files.h"

namespace qx::admin {

/// Placement puts files into a location, and takes all back that it put when it goes before it was
/// told to keep them.
class Placement {
 public:
  explicit Placement(Location location) : location_(location) {}

  ~Placement();
  Placement(const Placement&) = delete;
  Placement& operator=(const Placement&) = delete;
  Placement(Placement&&) = delete;
  Placement& operator=(Placement&&) = delete;

  /// What happens to a file that is there with another content.
  enum class IfOther : std::uint8_t { Refuse, Replace };

  /// put writes a file, under a temporary name first; one that is there with this content is left, for
  /// which the answer is false. Throws ToolError (Input).
  bool put(const LandscapePlace& place, std::span<const std::uint8_t> content, IfOther ifOther);

  void keep() { done_.clear(); }

 private:
  struct Done {
    Fd folder;
    std::string name;
    bool wasThere = false;
    SecretBytes before;
    mode_t mode = 0;
  };

  Fd openFolderOf(const LandscapePlace& place) const;
  mode_t modeOf(const LandscapePlace& place) const;

  Location location_;
  std::vector<Done> done_;
};

}  // namespace qx::admin

#endif
