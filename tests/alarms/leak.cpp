#include <cstdlib>

// The only owner of the memory is overwritten, as in the leaks that matter.
int main() {
  void* volatile memory = std::malloc(1);  // NOLINT(cppcoreguidelines-no-malloc): the leak is meant
  memory = nullptr;
  return memory == nullptr ? 0 : 1;
}
