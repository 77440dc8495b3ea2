#include "QVFoundation/values/QVInfoDictionary.h"

#include <functional>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/values/QVInfoDictionary_p.h"

namespace QVFoundation {

namespace {

using detail::infoClassKey;

/// An array that is being converted.
struct ArrayInWork {
  Array source;
  std::size_t next = 0;
  Array converted = {};

  std::optional<Value> take() { return next < source.size() ? std::optional(source[next++]) : std::nullopt; }
  void put(Value value) {
    if (!value.isNothing()) converted.append(std::move(value));
  }
  [[nodiscard]] Value result() const { return converted; }
};

/// A dictionary that is being converted. What comes to nothing loses its key.
struct DictionaryInWork {
  Dictionary source;
  Dictionary::const_iterator next = source.begin();
  Dictionary converted = {};
  Value key = {};  // of the value just taken

  std::optional<Value> take() {
    if (next == source.end()) return {};
    key = next->first;
    return (next++)->second;
  }
  void put(Value value) { converted.set(std::move(key), std::move(value)); }
  [[nodiscard]] Value result() const { return converted; }
};

/// An error, of whose parts only the user info is converted.
struct ErrorInWork {
  std::optional<Value> userInfo;
  std::function<Value(const Dictionary&)> finish;
  Dictionary converted = {};

  std::optional<Value> take() { return std::exchange(userInfo, std::nullopt); }
  void put(const Value& value) { converted = value.dictionary(); }
  [[nodiscard]] Value result() const { return finish(converted); }
};

using Level = std::variant<ArrayInWork, DictionaryInWork, ErrorInWork>;

/// Converts level by level, without recursion: values may be nested as deeply as others please.
class Conversion {
public:
  Conversion() = default;
  Conversion(const Conversion&) = delete;
  Conversion& operator=(const Conversion&) = delete;
  virtual ~Conversion() = default;

  Value convert(const Value& root) { return finish(begin(root)); }

protected:
  /// The converted value, or nothing yet where a level has been opened for it.
  virtual std::optional<Value> begin(const Value& value) = 0;

  void open(Level level) { levels_.push_back(std::move(level)); }

  /// Goes on until all levels are closed again.
  Value finish(std::optional<Value> done) {
    while (!levels_.empty()) {
      Level& level = levels_.back();
      if (done) std::visit([&](auto& work) { work.put(*std::exchange(done, std::nullopt)); }, level);
      if (const auto next = std::visit([](auto& work) { return work.take(); }, level)) {
        done = begin(*next);
      } else {
        done = std::visit([](auto& work) { return work.result(); }, level);
        levels_.pop_back();
      }
    }
    return *std::move(done);
  }

private:
  std::vector<Level> levels_;
};

class ConversionToInfo final : public Conversion {
  std::optional<Value> begin(const Value& value) override {
    switch (value.kind()) {
      case ValueKind::nothing:
      case ValueKind::number:
      case ValueKind::text:
      case ValueKind::data:
      case ValueKind::date: return value;
      case ValueKind::array: return open(ArrayInWork{value.array()}), std::nullopt;
      case ValueKind::dictionary: return open(DictionaryInWork{value.dictionary()}), std::nullopt;
      case ValueKind::object: return infoDictionary(*value.object());
      default: break;
    }
    const auto error = value.error();
    if (!error) return detail::infoDictionaryOfPlainValue(value);
    open(ErrorInWork{error->userInfo(),
                     [error = *error](const Dictionary& info) { return form(error, info); }});
    return {};
  }

  static Value form(const NSError& error, const Dictionary& userInfo) {
    Dictionary info = detail::infoDictionaryOf(error.className(), {});
    info.set("domain", error.domain());
    info.set("code", error.code());
    info.set("userInfo", userInfo);
    return info;
  }
};

class ConversionFromInfo final : public Conversion {
public:
  /// For what is taken for an object, whether it says so or not.
  Value object(const Dictionary& info) { return finish(beginObject(info)); }

private:
  std::optional<Value> begin(const Value& value) override {
    if (value.kind() == ValueKind::array) return open(ArrayInWork{value.array()}), std::nullopt;
    if (value.kind() != ValueKind::dictionary) return value;
    Dictionary dictionary = value.dictionary();
    // By design nothing tells a plain dictionary that happens to have this key from an object.
    if (dictionary.contains(infoClassKey)) return beginObject(dictionary);
    open(DictionaryInWork{std::move(dictionary)});
    return {};
  }

  std::optional<Value> beginObject(const Dictionary& info) {
    if (auto value = detail::plainValueFromInfoDictionary(info)) return value;
    // An absent or unknown class is deliberately read as an error, not as nothing.
    open(ErrorInWork{info["userInfo"], [info](const Dictionary& userInfo) { return error(info, userInfo); }});
    return {};
  }

  static Value error(const Dictionary& info, const Dictionary& userInfo) {
    const std::string* domain = info["domain"].text();
    const std::string* name = info[infoClassKey].text();
    return NSError(domain != nullptr ? std::optional<std::string_view>(*domain) : std::nullopt,
                   detail::integerIn(info["code"]), userInfo,
                   errorClassForName(name != nullptr ? OptionalText(*name) : OptionalText()));
  }
};

}  // namespace

Dictionary infoDictionary(const Value& value) {
  if (value.isNothing()) return {};
  if (value.object() || value.error()) return ConversionToInfo().convert(value).dictionary();
  return detail::infoDictionaryOfPlainValue(value);
}

Value objectFromInfoDictionary(const Value& info) {
  if (info.kind() != ValueKind::dictionary) return {};
  return ConversionFromInfo().object(info.dictionary());
}

Value convertToInfoDictionary(const Value& value) { return ConversionToInfo().convert(value); }

Value convertFromInfoDictionary(const Value& value) { return ConversionFromInfo().convert(value); }

}  // namespace QVFoundation
