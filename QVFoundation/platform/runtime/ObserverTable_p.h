#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>

namespace QVFoundation::detail {

class KeyValueRegistration;

/// What a change of the key means to the registration that hooks it.
enum class HookRole : std::uint8_t {
  own,   ///< the key is what is observed, on the object that is observed
  leaf,  ///< the key is the last of a path, on the object that the path leads to now
  link,  ///< the path leads on from here, or what it leads to depends on this key
};

/// A registration that wants to know when a key of an object changes.
struct ObserverHook {
  std::string_view key;  // text of the registration
  KeyValueRegistration* registration = nullptr;
  HookRole role = HookRole::own;
  std::uint32_t countOfKey = 0;  // of the hooks of this key that begin here
};

/// A hook that keeps its registration.
struct OwnedHook {
  ObserverHook hook;
  std::shared_ptr<KeyValueRegistration> owner;
  bool hasBeenInTable = false;  // so that a walk may have come by it
};

/// The hooks of one object, by key and for each key in the order of registration. Immutable, and all in one
/// piece, because it is walked over at each change; when observers come and go, another one is made.
///
/// Threads: any.
/// Ownership: registrations are borrowed; `ObservationInfo` keeps them alive while a table names them.
class ObserverTable {
public:
  struct Delete {
    void operator()(const ObserverTable* table) const noexcept;
  };
  using Pointer = std::unique_ptr<const ObserverTable, Delete>;

  ObserverTable(const ObserverTable&) = delete;
  ObserverTable& operator=(const ObserverTable&) = delete;

  /// From hooks that are sorted with `precedes`.
  [[nodiscard]] static Pointer make(std::span<const OwnedHook> sorted);

  [[nodiscard, gnu::always_inline]] std::span<const ObserverHook> hooksFor(
      std::string_view key) const noexcept {
    if (count_ > fewHooks) return searchHooksFor(key);
    const ObserverHook* hook = hooks();
    const ObserverHook* const end = hook + count_;
    while (hook != end && !isSameKey(hook->key, key)) hook += hook->countOfKey;
    return hook == end ? std::span<const ObserverHook>() : std::span(hook, hook->countOfKey);
  }

  /// The order of keys: short ones first, which is what makes most comparisons cheap.
  [[nodiscard]] static bool precedes(std::string_view a, std::string_view b) noexcept {
    return a.size() != b.size() ? a.size() < b.size() : a < b;
  }

private:
  // Up to here one key after the other is looked at; beyond, the search halves.
  static constexpr std::size_t fewHooks = 32;

  explicit ObserverTable(std::size_t count) noexcept : count_(count) {}
  ~ObserverTable() = default;

  [[nodiscard]] std::span<const ObserverHook> searchHooksFor(std::string_view key) const noexcept;

  /// Most keys have 4 to 16 characters, which two words hold that may overlap.
  [[nodiscard]] static bool isSameKey(std::string_view a, std::string_view b) noexcept {
    if (a.size() != b.size()) return false;
    if (a.size() - 4 > 12) return a == b;
    return a.size() < 8 ? isSameInWords<std::uint32_t>(a, b) : isSameInWords<std::uint64_t>(a, b);
  }
  template <class Word>
  [[nodiscard]] static bool isSameInWords(std::string_view a, std::string_view b) noexcept {
    const auto word = [](std::string_view text, std::size_t at) {
      Word read = 0;
      std::memcpy(&read, &text[at], sizeof read);
      return read;
    };
    const std::size_t last = a.size() - sizeof(Word);
    return word(a, 0) == word(b, 0) && word(a, last) == word(b, last);
  }

  [[nodiscard]] const ObserverHook* hooks() const noexcept {
    return reinterpret_cast<const ObserverHook*>(this + 1);
  }

  const std::size_t count_;
};

}  // namespace QVFoundation::detail
