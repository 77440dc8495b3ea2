#include "QVFoundation/platform/runtime/ValueOrder.h"

#include <string>

#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation {

namespace {

/// Enough to recognise a value by, however large it is.
std::string named(const Value& value) {
  constexpr std::size_t longest = 60;
  switch (value.kind()) {
    case ValueKind::number: return "the number " + value.description();
    case ValueKind::date: return "the date " + value.description();
    case ValueKind::object: return "the object " + value.object()->shortDescription();
    case ValueKind::text: {
      const auto beginning = prefixOfCodePoints(*value.text(), longest);
      const bool isWhole = beginning.size() == value.text()->size();
      return "the text \"" + std::string(beginning) + (isWhole ? "\"" : "…\"");
    }
    case ValueKind::data: return "data";
    case ValueKind::array: return "an array";
    case ValueKind::dictionary: return "a dictionary";
    case ValueKind::set: return "a set";
    case ValueKind::error: return "an error";
    default: return "a value of a type of its own";
  }
}

int rank(const Value& value) noexcept {
  return value.isNothing() ? 0 : value.kind() == ValueKind::null ? 1 : 2;
}

int sign(auto order) noexcept { return order < 0 ? -1 : order > 0 ? 1 : 0; }

}  // namespace

int compareValues(const Value& a, const Value& b) {
  if (rank(a) < 2 || rank(b) < 2) return sign(rank(a) <=> rank(b));
  const auto order = a.compare(b);
  if (order == std::partial_ordering::unordered) {
    throw NSException(NSInvalidArgumentException,
                      "There is no order between " + named(a) + " and " + named(b));
  }
  return sign(order);
}

}  // namespace QVFoundation
