#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace example {

/// Reads what `diff` says of two items in the C locale. Not all that it calls a difference is one: it cannot compare
/// pipes and sockets, and says so of each pair.
///
/// Threads: one.
class DiffReport {
public:
  DiffReport(const std::filesystem::path& one, const std::filesystem::path& other);

  /// With what `diff` is to be called.
  [[nodiscard]] std::vector<std::string> arguments() const;

  /// Takes the next line; the path of the item that it ends a message about, if that is as good as equal.
  std::optional<std::string> take(std::string_view line);
  /// Whether all that was taken says so.
  [[nodiscard]] bool isOfEquals() const noexcept { return differences_.empty() && begun_.empty(); }
  /// The first of what says anything else, on lines of their own.
  [[nodiscard]] std::string differences() const { return differences_ + begun_; }

private:
  const std::string one_, other_;
  std::string begun_;  // of a message about names with line breaks
  std::string differences_;
};

}  // namespace example
