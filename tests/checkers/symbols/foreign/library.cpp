// A function that lives outside of the library's namespace, although a template argument and a return type name it.
#include <vector>

namespace QVFoundation {
struct Value {};
int ours() { return 1; }
}  // namespace QVFoundation

namespace Elsewhere {
QVFoundation::Value* foreign(std::vector<QVFoundation::Value>& values) { return values.data(); }
}  // namespace Elsewhere
