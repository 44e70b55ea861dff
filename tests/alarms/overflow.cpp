#include <limits>

int main(int count, char** /*arguments*/) {
  int sum = std::numeric_limits<int>::max();
  sum += count;
  return sum == 0 ? 0 : 1;
}
