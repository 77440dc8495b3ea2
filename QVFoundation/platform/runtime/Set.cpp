#include "QVFoundation/platform/runtime/Set.h"

#include "QVFoundation/platform/runtime/ValueNodes_p.h"

namespace QVFoundation {

Set::Set(std::initializer_list<Value> members) {
  for (const Value& member : members) add(member);
}

bool Set::contains(const Value& member) const { return members().find(member) != members().end(); }

bool Set::add(Value member) { return !contains(member) && mutableMembers().insert(std::move(member)).second; }

bool Set::remove(const Value& member) { return contains(member) && mutableMembers().erase(member) != 0; }

const Set::Members& Set::members() const noexcept {
  static const Members& none = *new Members;
  return node_ ? node_->members : none;
}

Set::Members& Set::mutableMembers() {
  if (!node_) {
    node_ = detail::makeNode<detail::SetNode>();
  } else if (!node_.isUnique()) {
    node_ = detail::makeNode<detail::SetNode>(node_->members);
  }
  return node_->members;
}

bool operator==(const Set& a, const Set& b) { return a.node_ == b.node_ || Value(a) == Value(b); }

Value::Value(const Set& set) noexcept : content_(set.node_) {}

Set Value::set() const noexcept {
  const auto* node = std::get_if<detail::Ref<detail::SetNode>>(&content_);
  return node != nullptr ? Set(*node) : Set();
}

}  // namespace QVFoundation
