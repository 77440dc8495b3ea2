#include <algorithm>

#include "QVFoundation/platform/text/NSLocaleName_p.h"

namespace QVFoundation::detail {

namespace {

constexpr std::string_view posixIdentifier = "en_US_POSIX";
constexpr std::size_t longestName = 64;

bool couldBeName(std::string_view name) {
  const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
  return !name.empty() && name.size() <= longestName && isLetter(name.front()) &&
         std::ranges::all_of(name, [&](char c) {
           return isLetter(c) || (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.' || c == '@';
         });
}

/// Cuts what follows the first of `marks` off `name`, and gives it without the mark.
std::string_view takeTail(std::string_view& name, std::string_view marks) {
  const std::size_t mark = name.find_first_of(marks);
  if (mark == std::string_view::npos) return {};
  const std::string_view tail = name.substr(mark + 1);
  name = name.substr(0, mark);
  return tail;
}

/// The script that a modifier asks for, as tags spell it.
std::string_view scriptOf(std::string_view modifier) {
  if (modifier == "latin") return "Latn";
  if (modifier == "cyrillic") return "Cyrl";
  if (modifier == "devanagari") return "Deva";
  return {};
}

}  // namespace

LocaleName::LocaleName(std::string_view name) {
  if (!couldBeName(name)) name = "C";
  modifier = takeTail(name, "@");
  takeTail(name, ".");
  region = takeTail(name, "_-");
  language = name;
  std::ranges::replace(region, '-', '_');
}

bool LocaleName::isPOSIX() const noexcept {
  return language == "C" || language == "POSIX" || region == "US_POSIX";
}

std::string LocaleName::languageTag() const {
  std::string tag = language;
  if (const std::string_view script = scriptOf(modifier); !script.empty()) tag.append("-").append(script);
  if (!region.empty()) tag.append("-").append(region);
  std::ranges::replace(tag, '_', '-');
  return tag;
}

std::string LocaleName::identifier() const {
  return isPOSIX() ? std::string(posixIdentifier) : nameWithEncoding({});
}

std::string LocaleName::nameWithEncoding(std::string_view encoding) const {
  std::string name = language;
  if (!region.empty()) name.append("_").append(region);
  if (!encoding.empty()) name.append(".").append(encoding);
  if (!modifier.empty()) name.append("@").append(modifier);
  return name;
}

}  // namespace QVFoundation::detail
