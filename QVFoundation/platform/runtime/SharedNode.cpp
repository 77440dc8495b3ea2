#include "QVFoundation/platform/runtime/SharedNode.h"

namespace QVFoundation::detail {

namespace {

// Deep enough that ordinary values are destroyed at once, shallow enough for the smallest thread stack.
constexpr int nestingLimit = 32;

thread_local int nesting = 0;
thread_local const Node* queue = nullptr;

}  // namespace

Node::~Node() = default;

void Node::destroy(const Node* node) noexcept {
  if (nesting == nestingLimit) {
    node->nextToDestroy_ = queue;
    queue = node;
    return;
  }
  ++nesting;
  delete node;
  while (nesting == nestingLimit && queue != nullptr) {
    const Node* next = queue;
    queue = next->nextToDestroy_;
    delete next;
  }
  --nesting;
}

}  // namespace QVFoundation::detail
