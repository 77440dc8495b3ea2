// A template of the standard library that was put out with visible linkage.
#include <vector>

namespace QVFoundation {
struct Value {
  int number;
};
void add(std::vector<Value>& values) { values.push_back({1}); }
}  // namespace QVFoundation
