#include <string>
#include <utility>

namespace QVFoundation {

std::string twice(std::string text) {
  std::string first = std::move(text);
  return first + text;
}

}  // namespace QVFoundation
