// Runs a target over each file of the folders that it is given, for compilers without a fuzzer.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/input.h"

namespace {

std::size_t replay(const std::filesystem::path& folder) {
  const std::filesystem::directory_iterator files(folder);
  std::vector<std::filesystem::path> paths(begin(files), end(files));
  std::ranges::sort(paths);
  for (const std::filesystem::path& path : paths) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
    // The name comes first, so that it stands last when the run crashes.
    static_cast<void>(std::fprintf(stderr, "%s\n", path.c_str()));
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  return paths.size();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    std::size_t count = 0;
    for (int i = 1; i < argc; ++i) {
      count += replay(argv[i]);
    }
    std::printf("%zu files\n", count);
    return count > 0 ? 0 : 1;
  } catch (const std::exception& error) {
    static_cast<void>(std::fprintf(stderr, "%s\n", error.what()));
    return 1;
  }
}
