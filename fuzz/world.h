#ifndef QX_FUZZ_WORLD_H_
#define QX_FUZZ_WORLD_H_

#include <string>

namespace qx::fuzz {

/// What all signed and enveloped messages of the corpora hold.
inline constexpr const char* kContent = "a document";

/// enterWorld makes the process use a private copy of fuzz/world for the user's folder, an empty machine
/// folder and no configuration, so that nobody's own stores are read and no server is known. Once is
/// enough; further calls do nothing. Returns the copy's path.
const std::string& enterWorld();

}  // namespace qx::fuzz

#endif
