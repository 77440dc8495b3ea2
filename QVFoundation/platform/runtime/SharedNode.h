#pragma once

#include <atomic>
#include <cstddef>
#include <utility>

#include "QVFoundation/platform/Export.h"

/// Internal: installed because other headers need it.
///
/// Shared, reference-counted storage behind the value types (`Array`, `Dictionary`, `NSError`, …).
///
/// Threads: counts are atomic, so handles to one node may be copied and dropped on any thread; one handle
/// itself belongs to one thread at a time, as an `int` does.
namespace QVFoundation::detail {

/// The base of all shared storage.
///
/// Destruction does not recurse without bound: beyond a fixed nesting the nodes that lose their last owner
/// are queued and destroyed one after the other, so that a chain of 100,000 errors or a document nested as
/// deeply lets go without exhausting the stack.
class QV_EXPORT Node {
public:
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;

protected:
  Node() = default;
  virtual ~Node();

private:
  template <class T>
  friend class Ref;

  void retain() const noexcept { owners_.fetch_add(1, std::memory_order_relaxed); }
  void release() const noexcept {
    if (owners_.fetch_sub(1, std::memory_order_acq_rel) == 1) destroy(this);
  }
  [[nodiscard]] bool isUnique() const noexcept { return owners_.load(std::memory_order_acquire) == 1; }
  static void destroy(const Node* node) noexcept;

  mutable std::atomic<std::size_t> owners_{0};
  mutable const Node* nextToDestroy_ = nullptr;
};

/// An owning pointer to a node; null by default.
template <class T>
class Ref {
public:
  Ref() noexcept = default;
  explicit Ref(T* node) noexcept : node_(node) {
    if (node_ != nullptr) base()->retain();
  }
  Ref(const Ref& other) noexcept : Ref(other.node_) {}
  Ref(Ref&& other) noexcept : node_(std::exchange(other.node_, nullptr)) {}
  Ref& operator=(Ref other) noexcept {
    std::swap(node_, other.node_);
    return *this;
  }
  ~Ref() {
    if (node_ != nullptr) base()->release();
  }

  [[nodiscard]] T* get() const noexcept { return node_; }
  T& operator*() const noexcept { return *node_; }
  T* operator->() const noexcept { return node_; }
  explicit operator bool() const noexcept { return node_ != nullptr; }
  friend bool operator==(const Ref&, const Ref&) = default;

  /// True when nobody else owns the node, so that its owner may change it in place.
  [[nodiscard]] bool isUnique() const noexcept { return base()->isUnique(); }

private:
  // A node type is complete where it is made; elsewhere its first base stands in for it.
  [[nodiscard]] const Node* base() const noexcept { return reinterpret_cast<const Node*>(node_); }

  T* node_ = nullptr;
};

template <class T, class... Args>
[[nodiscard]] Ref<T> makeNode(Args&&... args) {
  return Ref<T>(new T(std::forward<Args>(args)...));
}

}  // namespace QVFoundation::detail
