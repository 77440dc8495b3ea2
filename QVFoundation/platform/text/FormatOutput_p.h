#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

/// What a format has become so far. Collects a message on the stack, so that the string behind it seldom
/// grows, or is not needed at all.
///
/// Threads: one; it lives for one call.
/// Errors: what is not flushed when an exception leaves the call is lost.
class FormatOutput {
public:
  /// What `room` can give.
  static constexpr std::size_t mostRoom = 512;

  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): filling the buffer would cost more than the
  // formatting
  explicit FormatOutput(std::string& text) : text_(text) {}
  FormatOutput(const FormatOutput&) = delete;
  FormatOutput& operator=(const FormatOutput&) = delete;

  void append(char c) {
    *room(1) = c;
    ++at_;
  }

  void append(std::string_view text) {
    if (text.empty()) return;
    if (text.size() > mostRoom) return appendLarge(text);
    char* const to = room(text.size());
    std::memcpy(to, text.data(), text.size());
    at_ = to + text.size();
  }

  /// The same as `append`, but takes a long string over where nothing stands before it.
  void take(std::string text) {
    if (text.size() <= mostRoom || at_ != buffer_ || !text_.empty()) return append(text);
    text_ = std::move(text);
  }

  void append(std::size_t count, char c) {
    if (count == 0) return;
    if (count > mostRoom) return appendLarge(std::string(count, c));
    char* const to = room(count);
    std::memset(to, c, count);
    at_ = to + count;
  }

  /// A place for at most `size` bytes, to be followed by `setEnd`.
  char* room(std::size_t size) {
    if (static_cast<std::size_t>(buffer_ + mostRoom - at_) < size) flush();
    return at_;
  }
  void setEnd(char* end) noexcept { at_ = end; }

  /// Hands on all that was written so far, and gives the text for writing to it directly.
  std::string& flush() {
    const auto size = static_cast<std::size_t>(at_ - buffer_);
    if (text_.capacity() < size && text_.empty()) {
      text_ = std::string(buffer_, size);  // shorter than the way by which a string grows
    } else {
      text_.append(buffer_, size);
    }
    at_ = buffer_;
    return text_;
  }

  /// All that was written so far, lent until more is. It is not copied as long as it is short.
  std::string_view text() {
    if (text_.empty()) return {buffer_, at_};
    return flush();
  }

private:
  void appendLarge(std::string_view text) {
    if (text_.empty()) text_.reserve(static_cast<std::size_t>(at_ - buffer_) + text.size());
    flush() += text;
  }

  std::string& text_;
  char buffer_[mostRoom];  // NOLINT(cppcoreguidelines-pro-type-member-init): filling it would cost more than
                           // most messages.
  char* at_ = buffer_;
};

}  // namespace QVFoundation::detail
