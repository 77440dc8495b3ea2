#include "QVFoundation/platform/runtime/Array.h"

#include <algorithm>
#include <string>

#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/ValueNodes_p.h"

namespace QVFoundation {

Array::Array(std::initializer_list<Value> elements) : Array(std::vector<Value>(elements)) {}

Array::Array(std::vector<Value> elements) {
  if (!elements.empty()) node_ = detail::makeNode<detail::ArrayNode>(std::move(elements));
}

std::size_t Array::size() const noexcept { return node_ ? node_->elements.size() : 0; }

Array::const_iterator Array::begin() const noexcept { return node_ ? node_->elements.data() : nullptr; }

const Value& Array::operator[](std::size_t index) const {
  checkIndex(index, size());
  return node_->elements[index];
}

bool Array::contains(const Value& element) const { return std::find(begin(), end(), element) != end(); }

void Array::append(Value element) { mutableElements().push_back(std::move(element)); }

void Array::insert(std::size_t index, Value element) {
  checkIndex(index, size() + 1);
  auto& elements = mutableElements();
  elements.insert(elements.begin() + static_cast<std::ptrdiff_t>(index), std::move(element));
}

void Array::set(std::size_t index, Value element) {
  checkIndex(index, size());
  mutableElements()[index] = std::move(element);
}

void Array::remove(std::size_t index) {
  checkIndex(index, size());
  auto& elements = mutableElements();
  elements.erase(elements.begin() + static_cast<std::ptrdiff_t>(index));
}

void Array::reserve(std::size_t capacity) {
  if (capacity > 0) mutableElements().reserve(capacity);
}

std::vector<Value>& Array::mutableElements() {
  if (!node_) {
    node_ = detail::makeNode<detail::ArrayNode>();
  } else if (!node_.isUnique()) {
    node_ = detail::makeNode<detail::ArrayNode>(node_->elements);
  }
  return node_->elements;
}

void Array::checkIndex(std::size_t index, std::size_t limit) const {
  if (index < limit) return;
  throw NSException(NSRangeException, "Array index " + std::to_string(index) + " is beyond the array's " +
                                          std::to_string(size()) + " elements");
}

bool operator==(const Array& a, const Array& b) { return a.node_ == b.node_ || Value(a) == Value(b); }

Value::Value(const Array& array) noexcept : content_(array.node_) {}

Array Value::array() const noexcept {
  const auto* node = std::get_if<detail::Ref<detail::ArrayNode>>(&content_);
  return node != nullptr ? Array(*node) : Array();
}

}  // namespace QVFoundation
