#include "QVFoundation/platform/runtime/ValueOrder.h"

#include <string>
#include <utility>

#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation {

namespace {

/// Enough to recognise a text by, however long it is.
std::string beginningOf(std::string_view text) {
  constexpr std::size_t longest = 60;
  const auto beginning = prefixOfCodePoints(text, longest);
  return std::string(beginning) + (beginning.size() == text.size() ? "" : "…");
}

std::string named(const Value& value) {
  switch (value.kind()) {
    case ValueKind::number: return "the number " + value.description();
    case ValueKind::date: return "the date " + value.description();
    case ValueKind::object: return "the object " + value.object()->shortDescription();
    case ValueKind::text: return "the text \"" + beginningOf(*value.text()) + '"';
    case ValueKind::data: return "data";
    case ValueKind::array: return "an array";
    case ValueKind::dictionary: return "a dictionary";
    case ValueKind::set: return "a set";
    case ValueKind::error: return "an error";
    default: return "the value " + beginningOf(value.description());
  }
}

int rank(const Value& value) noexcept {
  return value.isNothing() ? 0 : value.kind() == ValueKind::null ? 1 : 2;
}

int sign(auto order) noexcept { return order < 0 ? -1 : order > 0 ? 1 : 0; }

}  // namespace

int compareValues(const Value& a, const Value& b) { return detail::compareValuesUnder({}, a, b); }

int detail::compareValuesUnder(std::string_view keyPath, const Value& a, const Value& b) {
  if (rank(a) < 2 || rank(b) < 2) return sign(rank(a) <=> rank(b));
  const auto order = a.compare(b);
  if (order == std::partial_ordering::unordered) {
    std::string reason = "There is no order between " + named(a) + " and " + named(b);
    if (!keyPath.empty()) reason.append(" under \"").append(keyPath) += '"';
    throw NSException(NSInvalidArgumentException, std::move(reason));
  }
  return sign(order);
}

}  // namespace QVFoundation
