#include "QVFoundation/platform/runtime/Value.h"

#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/ValueNodes_p.h"

namespace QVFoundation {

Value::Value(const char* text) {
  if (text != nullptr) content_ = std::string(text);
}

Value::Value(NSData data)
    : content_(detail::Ref<const detail::DataNode>(new detail::DataNode(std::move(data)))) {}

const NSData* Value::data() const noexcept {
  const auto* node = std::get_if<detail::Ref<const detail::DataNode>>(&content_);
  return node != nullptr ? &(*node)->bytes : nullptr;
}

std::shared_ptr<NSObject> Value::object() const noexcept {
  const auto* object = std::get_if<std::shared_ptr<NSObject>>(&content_);
  return object != nullptr ? *object : nullptr;
}

}  // namespace QVFoundation
