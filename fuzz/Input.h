#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace QVFoundation::fuzzing {

/// Takes the bytes of one run apart from the front. What is missing at the end is zero, or empty.
///
/// Threads:   one at a time.
/// Ownership: borrows the bytes.
class Input {
public:
  Input(const std::uint8_t* data, std::size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

  template <class T>
  T take() {
    T value{};
    const std::string_view bytes = text(sizeof value);
    if (!bytes.empty()) std::memcpy(&value, bytes.data(), bytes.size());
    return value;
  }

  /// So many bytes, or what is left.
  std::string_view text(std::size_t size) {
    const std::string_view taken = rest_.substr(0, size);
    rest_.remove_prefix(taken.size());
    return taken;
  }

  /// What comes before the next newline, which goes with it.
  std::string_view line() {
    const std::string_view taken = text(std::min(rest_.find('\n'), rest_.size()));
    text(1);
    return taken;
  }

  [[nodiscard]] bool isAtEnd() const noexcept { return rest_.empty(); }
  [[nodiscard]] std::string_view rest() const noexcept { return rest_; }
  [[nodiscard]] std::span<const std::byte> bytes() const noexcept { return std::as_bytes(std::span(rest_)); }

private:
  std::string_view rest_;
};

}  // namespace QVFoundation::fuzzing
