#include "QVFoundation/collections/QVDeepCopying.h"

#include <optional>
#include <unordered_set>
#include <variant>

#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

namespace {

/// An array that is being copied: it shares its elements with the original until the first of them changes.
struct ArrayLevel {
  Array original;
  Array copy;
  std::size_t next = 0;
  bool isChanged = false;

  explicit ArrayLevel(Array array) : original(std::move(array)), copy(original) {}
  [[nodiscard]] bool isDone() const { return next == original.size(); }
  const Value& take() { return original[next++]; }
  void change(Value copied) {
    copy.set(next - 1, std::move(copied));
    isChanged = true;
  }
  [[nodiscard]] const void* address() const { return original.begin(); }
};

/// The same of a dictionary.
struct DictionaryLevel {
  Dictionary original;
  Dictionary copy;
  Dictionary::const_iterator next;
  const Value* key = nullptr;  // of the value just taken
  bool isChanged = false;

  explicit DictionaryLevel(Dictionary dictionary)
      : original(std::move(dictionary)), copy(original), next(original.begin()) {}
  [[nodiscard]] bool isDone() const { return next == original.end(); }
  const Value& take() {
    const auto& entry = *next++;
    key = &entry.first;
    return entry.second;
  }
  void change(Value copied) {
    copy.set(*key, std::move(copied));
    isChanged = true;
  }
  [[nodiscard]] const void* address() const { return &*original.begin(); }
};

/// Copies level by level, without recursion.
class DeepCopy {
public:
  Value copyOf(const Value& root) {
    auto copied = begin(root);
    if (levels_.empty()) return copied.value_or(root);
    for (;;) {
      const Value* next =
          std::visit([](auto& level) { return level.isDone() ? nullptr : &level.take(); }, levels_.back());
      if (next != nullptr) {
        use(begin(*next));
        continue;
      }
      copied = end();
      if (levels_.empty()) return copied.value_or(root);
      use(std::move(copied));
    }
  }

private:
  /// Copies a leaf, or opens a level for a container. Nothing where the copy is to come, or is the original.
  std::optional<Value> begin(const Value& value) {
    switch (value.kind()) {
      case ValueKind::object: return copyOf(value.object());
      case ValueKind::array: open<ArrayLevel>(value.array()); break;
      case ValueKind::dictionary: open<DictionaryLevel>(value.dictionary()); break;
      default: break;
    }
    return {};
  }

  template <class Level, class Container>
  void open(Container container) {
    if (container.empty()) return;
    Level level(std::move(container));
    if (!unchanged_.contains(level.address())) levels_.emplace_back(std::move(level));
  }

  static std::optional<Value> copyOf(const std::shared_ptr<NSObject>& object) {
    auto copy = detail::checkedCopy(*object);
    return copy != object ? std::optional<Value>(std::move(copy)) : std::nullopt;
  }

  /// Closes a level. Nothing where its copy is the original.
  std::optional<Value> end() {
    auto copied = std::visit(
        [this](auto& level) -> std::optional<Value> {
          if (level.isChanged) return Value(level.copy);
          unchanged_.insert(level.address());
          return {};
        },
        levels_.back());
    levels_.pop_back();
    return copied;
  }

  void use(std::optional<Value> copied) {
    if (copied) std::visit([&](auto& level) { level.change(*std::move(copied)); }, levels_.back());
  }

  std::vector<std::variant<ArrayLevel, DictionaryLevel>> levels_;
  // Storage without any object to copy. It is not looked at again however often it is shared: a few lines can
  // make a value that holds itself a billion times over.
  std::unordered_set<const void*> unchanged_;
};

}  // namespace

namespace detail {

std::shared_ptr<NSObject> checkedCopy(const NSObject& object) {
  auto copy = object.copy();
  if (copy) return copy;
  throw NSException(NSInvalidArgumentException, "The copy of " + object.shortDescription() + " is null");
}

void refuseCopy(const NSObject& object, const NSObject& copy) {
  throw NSException(NSInvalidArgumentException, "The copy of " + object.shortDescription() +
                                                    " is of another class: " + copy.shortDescription());
}

}  // namespace detail

Value qv_deepCopy(const Value& value) { return DeepCopy().copyOf(value); }

}  // namespace QVFoundation
