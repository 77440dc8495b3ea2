#include <algorithm>
#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Set.h"

namespace QVFoundation {

namespace {

constexpr bool isContainer(ValueKind kind) noexcept {
  return kind == ValueKind::array || kind == ValueKind::dictionary || kind == ValueKind::set ||
         kind == ValueKind::error;
}

template <class Container>
bool shareStorage(const Container& a, const Container& b) noexcept {
  return !a.empty() && !b.empty() && &*a.begin() == &*b.begin();
}

/// Looking up a member of a set, or a key that is a container, compares within a comparison. Sets in sets are
/// told apart down to a limit; below it they are equal only where they share storage, so that no nesting
/// exhausts the stack.
class Lookup {
public:
  Lookup() noexcept { ++depth; }
  Lookup(const Lookup&) = delete;
  Lookup& operator=(const Lookup&) = delete;
  ~Lookup() { --depth; }

  [[nodiscard]] static bool isTooDeep() noexcept { return depth == 64; }

private:
  static thread_local int depth;
};

thread_local int Lookup::depth = 0;

/// Compares without recursion: containers within containers wait in a list of pairs that must be equal
/// as well.
class Comparison {
public:
  bool equal(const Value& a, const Value& b) {
    waiting_.emplace_back(&a, &b);
    while (!waiting_.empty()) {
      const auto [x, y] = waiting_.back();
      waiting_.pop_back();
      if (!contentsMatch(*x, *y)) return false;
    }
    return true;
  }

private:
  bool contentsMatch(const Value& a, const Value& b) {
    switch (a.kind()) {
      case ValueKind::array: return match(a.array(), b.array());
      case ValueKind::dictionary: return match(a.dictionary(), b.dictionary());
      case ValueKind::set: return match(a.set(), b.set());
      default: return match(*a.error(), *b.error());
    }
  }

  bool match(const Array& a, const Array& b) {
    return shareStorage(a, b) ||
           std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [this](const Value& x, const Value& y) { return matchOrWait(x, y); });
  }

  bool match(const Dictionary& a, const Dictionary& b) {
    if (shareStorage(a, b)) return true;
    if (a.size() != b.size() || Lookup::isTooDeep()) return false;
    const Lookup lookup;
    return std::all_of(a.begin(), a.end(),
                       [&](const auto& entry) { return matchOrWait(entry.second, b[entry.first]); });
  }

  static bool match(const Set& a, const Set& b) {
    if (shareStorage(a, b)) return true;
    if (a.size() != b.size() || Lookup::isTooDeep()) return false;
    const Lookup lookup;
    return std::all_of(a.begin(), a.end(), [&](const Value& member) { return b.contains(member); });
  }

  bool match(const NSError& a, const NSError& b) {
    return a.address() == b.address() ||
           (a.code() == b.code() && a.domain() == b.domain() && match(a.userInfo(), b.userInfo()));
  }

  bool matchOrWait(const Value& a, const Value& b) {
    if (a.kind() != b.kind() || !isContainer(a.kind())) return a == b;
    waiting_.emplace_back(&a, &b);
    return true;
  }

  std::vector<std::pair<const Value*, const Value*>> waiting_;
};

constexpr std::size_t mixed(std::size_t hash) noexcept {
  hash *= static_cast<std::size_t>(0x9E3779B97F4A7C15);
  return hash ^ (hash >> (sizeof(hash) * 4));
}

/// The hash of what stands in a container. It does not look into nested containers, so that no nesting makes
/// it dear.
std::size_t elementHash(const Value& value) {
  switch (value.kind()) {
    case ValueKind::array: return value.array().size();
    case ValueKind::dictionary: return value.dictionary().size();
    case ValueKind::set: return value.set().size();
    default: return value.hash();
  }
}

std::size_t hashOf(const Array& array) {
  std::size_t hash = array.size();
  for (const Value& element : array) hash = mixed(hash + elementHash(element));
  return hash;
}

// Equal dictionaries and sets may list what they hold in different orders, so what each entry adds is summed.
std::size_t hashOf(const Dictionary& dictionary) {
  std::size_t hash = dictionary.size();
  for (const auto& [key, value] : dictionary) hash += mixed(mixed(elementHash(key)) + elementHash(value));
  return hash;
}

std::size_t hashOf(const Set& set) {
  std::size_t hash = set.size();
  for (const Value& member : set) hash += mixed(elementHash(member));
  return hash;
}

}  // namespace

std::partial_ordering Value::compare(const Value& other) const {
  if (kind() == other.kind()) {
    switch (kind()) {
      case ValueKind::number: return *number() <=> *other.number();
      case ValueKind::text: return *text() <=> *other.text();
      case ValueKind::data: return *data() <=> *other.data();
      case ValueKind::date: return *date() <=> *other.date();
      case ValueKind::object: return object()->compare(*other.object());
      case ValueKind::boxed: return box().compare(other.box());
      default: break;
    }
  }
  return *this == other ? std::partial_ordering::equivalent : std::partial_ordering::unordered;
}

bool operator==(const Value& a, const Value& b) {
  if (a.kind() != b.kind()) return false;
  switch (a.kind()) {
    case ValueKind::nothing:
    case ValueKind::null: return true;
    case ValueKind::number: return *a.number() == *b.number();
    case ValueKind::text: return *a.text() == *b.text();
    case ValueKind::data: return *a.data() == *b.data();
    case ValueKind::date: return *a.date() == *b.date();
    case ValueKind::object: {
      const auto object = a.object();
      const auto other = b.object();
      return object == other || object->isEqual(*other);
    }
    case ValueKind::boxed: return a.box().equals(b.box());
    case ValueKind::array:
    case ValueKind::dictionary:
    case ValueKind::set:
    case ValueKind::error: break;
  }
  return Comparison().equal(a, b);
}

std::size_t Value::hash() const {
  switch (kind()) {
    case ValueKind::number: return number()->hash();
    case ValueKind::text: return std::hash<std::string_view>{}(*text());
    case ValueKind::data:
      return std::hash<std::string_view>{}(
          {reinterpret_cast<const char*>(data()->data()), std::min<std::size_t>(data()->size(), 64)});
    case ValueKind::date: return std::hash<NSDate::rep>{}(date()->time_since_epoch().count());
    case ValueKind::array: return hashOf(array());
    case ValueKind::dictionary: return hashOf(dictionary());
    case ValueKind::set: return hashOf(set());
    case ValueKind::error: return std::hash<std::int64_t>{}(error()->code());
    case ValueKind::object: return object()->hash();
    case ValueKind::boxed: return box().hash();
    case ValueKind::nothing:
    case ValueKind::null: break;
  }
  return 0;
}

}  // namespace QVFoundation
