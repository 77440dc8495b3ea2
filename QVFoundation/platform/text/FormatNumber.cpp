#include <algorithm>
#include <vector>

#include "QVFoundation/platform/text/FormatWriters_p.h"
#include "QVFoundation/platform/text/NSLocale.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation::detail {

namespace {

/// Writes `digits` with separators between the groups of the locale.
std::string grouped(std::string_view digits, const NSLocale& locale) {
  const auto& sizes = locale.groupingSizes();
  std::vector<std::string_view> groups;  // from the right
  for (std::size_t index = 0; !digits.empty(); ++index) {
    const std::size_t size = sizes[std::min(index, sizes.size() - 1)];
    const std::size_t start = size == 0 || size >= digits.size() ? 0 : digits.size() - size;
    groups.push_back(digits.substr(start));
    digits = digits.substr(0, start);
  }
  std::string out;
  for (auto group = groups.rbegin(); group != groups.rend(); ++group) {
    if (group != groups.rbegin()) out += locale.groupingSeparator();
    out += *group;
  }
  return out;
}

bool wantsGroups(const FormatSpec& spec, const NumberParts& parts) {
  return spec.group && parts.canBeGrouped && spec.locale != nullptr &&
         !spec.locale->groupingSizes().empty() && !spec.locale->groupingSeparator().empty();
}

std::string_view separatorOf(const FormatSpec& spec, const NumberParts& parts) {
  if (!parts.hasSeparator) return {};
  return spec.locale != nullptr ? std::string_view(spec.locale->decimalSeparator()) : ".";
}

/// Only what comes from a locale may have characters of several bytes.
std::size_t lengthOf(const FormatSpec& spec, const NumberParts& parts, std::string_view separator) {
  const std::size_t ascii = parts.sign.size() + parts.base.size() + parts.leadingZeros + parts.rest.size();
  if (spec.locale == nullptr) return ascii + parts.whole.size() + separator.size();
  return ascii + codePointCount(parts.whole) + codePointCount(separator);
}

void appendFilled(FormatOutput& out, const FormatSpec& spec, const NumberParts& parts) {
  const std::string_view separator = separatorOf(spec, parts);
  const std::size_t length = spec.width > 0 ? lengthOf(spec, parts, separator) : 0;
  const std::size_t fill = spec.width > length ? spec.width - length : 0;
  const bool fillWithZeros = spec.zero && !spec.left && parts.canBeFilledWithZeros;
  if (!spec.left && !fillWithZeros) out.append(fill, ' ');
  out.append(parts.sign);
  out.append(parts.base);
  out.append(parts.leadingZeros + (fillWithZeros ? fill : 0), '0');
  out.append(parts.whole);
  out.append(separator);
  out.append(parts.rest);
  if (spec.left) out.append(fill, ' ');
}

}  // namespace

void capitalize(char* first, char* last) {
  std::transform(first, last, first,
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
}

void appendNumber(FormatOutput& out, const FormatSpec& spec, const NumberParts& parts) {
  if (!wantsGroups(spec, parts)) return appendFilled(out, spec, parts);
  const std::string digits = std::string(parts.leadingZeros, '0').append(parts.whole);
  const std::string groups = grouped(digits, *spec.locale);
  NumberParts groupedParts = parts;
  groupedParts.leadingZeros = 0;
  groupedParts.whole = groups;
  appendFilled(out, spec, groupedParts);
}

}  // namespace QVFoundation::detail
