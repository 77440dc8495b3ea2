#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/application/UserDefaultsFile_p.h"
#include "QVFoundation/platform/runtime/Dictionary.h"

namespace QVFoundation::detail {

/// Where a setting may come from: what has been chosen and is not yet in the file, what the file holds, and
/// the registered defaults, in this order.
///
/// Threads: one at a time.
class UserDefaultsDomains {
public:
  using Changes = UserDefaultsFile::Changes;
  /// What is not yet in the file, as of a change that has a number.
  struct Unsaved {
    Changes changes;
    std::uint64_t number = 0;
  };

  [[nodiscard]] const Value& operator[](std::string_view key) const { return current_[key]; }
  [[nodiscard]] const Dictionary& all() const noexcept { return current_; }
  /// What has been chosen for a key; nothing where nothing has.
  [[nodiscard]] const Value& chosen(std::string_view key) const;

  void choose(Value value, std::string_view key);
  void registerDefaults(const Dictionary& defaults);

  [[nodiscard]] bool isSaved() const noexcept { return unsaved_.empty(); }
  [[nodiscard]] Unsaved unsaved() const;
  /// The changes are in the file now. What has been chosen since then is not.
  void markSaved(const Unsaved& saved);
  /// The keys under which the file holds something else than is known, and nothing has been chosen since.
  [[nodiscard]] std::vector<std::string> keysThatDiffer(const Dictionary& stored) const;
  void setStored(Dictionary stored);

private:
  struct Choice {
    Value value;
    std::uint64_t number;
  };
  void update(std::string_view key);

  Dictionary registered_, stored_;
  std::map<std::string, Choice, std::less<>> unsaved_;
  Dictionary current_;
  std::uint64_t number_ = 0;  // of the last change
};

}  // namespace QVFoundation::detail
