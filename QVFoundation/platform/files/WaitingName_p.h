#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <string_view>

namespace QVFoundation::detail {

/// The name that a file has, beside the one that it is to have, until it is whole: hidden, and one that nobody
/// else thinks of.
///
/// Threads: any.
[[nodiscard]] inline std::string waitingName(std::string_view name) {
  constexpr std::size_t mostOfName = 100;  // leaves room below what a name may have, and is cut anywhere
  std::random_device random;
  const std::uint64_t number = (std::uint64_t{random()} << 32) | random();
  return '.' + std::string(name.substr(0, mostOfName)) + '.' + std::to_string(number);
}

}  // namespace QVFoundation::detail
