#pragma once

#include <concepts>
#include <exception>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

/// A value of any type, or the failure that came instead of it: what an operation ended in, for those who do
/// not know its type.
///
/// ```cpp
/// QVAnyResult result = QVAnyResult::success(Size{3, 4});
/// if (const Size* size = result.as<Size>()) use(*size);
/// ```
///
/// Threads: a value; copies share what they hold, which is never changed.
class QV_EXPORT QVAnyResult {
public:
  /// The result of work that has no value; also one that is made without arguments.
  [[nodiscard]] static QVAnyResult success() noexcept { return {}; }
  template <std::copy_constructible T>
  [[nodiscard]] static QVAnyResult success(T value) {
    QVAnyResult result;
    result.content_ = std::make_shared<const Holder<T>>(std::move(value));
    return result;
  }
  /// Of what was thrown, which is not null.
  [[nodiscard]] static QVAnyResult failure(std::exception_ptr exception) noexcept {
    QVAnyResult result;
    result.exception_ = std::move(exception);
    return result;
  }
  [[nodiscard]] static QVAnyResult failure(const NSError& error) {
    return failure(std::make_exception_ptr(error));
  }

  [[nodiscard]] bool hasValue() const noexcept { return exception_ == nullptr; }
  /// As it was thrown; null where there is a value.
  [[nodiscard]] const std::exception_ptr& exception() const noexcept { return exception_; }

  /// Null where the value is of another type, or there is none.
  template <class T>
  [[nodiscard]] const T* as() const noexcept {
    if (content_ == nullptr || content_->type() != typeid(T)) return nullptr;
    return &static_cast<const Holder<T>&>(*content_).content;
  }
  /// Whether it is the success of work that gives nothing.
  [[nodiscard]] bool isVoid() const noexcept { return hasValue() && content_ == nullptr; }
  /// The value as an object; what is none of a `Value`'s kinds comes boxed. Nothing where there is none.
  [[nodiscard]] Value value() const { return content_ != nullptr ? content_->value() : Value(); }

private:
  struct Content {
    virtual ~Content();
    [[nodiscard]] virtual const std::type_info& type() const noexcept = 0;
    [[nodiscard]] virtual Value value() const = 0;
  };

  template <class T>
  struct Holder final : Content {
    explicit Holder(T value) : content(std::move(value)) {}
    [[nodiscard]] const std::type_info& type() const noexcept override { return typeid(T); }
    [[nodiscard]] Value value() const override {
      if constexpr (std::constructible_from<Value, const T&>) {
        return Value(content);
      } else {
        return Value::boxed(content);
      }
    }
    const T content;
  };

  std::shared_ptr<const Content> content_;
  std::exception_ptr exception_;
};

}  // namespace QVFoundation
