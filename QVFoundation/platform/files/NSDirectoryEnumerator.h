#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/NSFileAttributes.h"
#include "QVFoundation/platform/files/PathView.h"
#include "QVFoundation/platform/runtime/NSError.h"

namespace QVFoundation {

/// All that is in a folder, however deep: each folder before what is in it, otherwise in the order of the
/// file system.
///
/// ```cpp
/// for (auto& item : files.enumeratorAtPath("Music")) {
///   if (item.name() == ".cache") item.skipDescendants();
///   else if (item.type() == NSFileType::regular) total += item.attributes().size;
/// }
/// ```
///
/// The folder may be given by a link. Below it links are items like others: none is followed, also when
/// somebody exchanges a folder for a link meanwhile. What comes or goes meanwhile may be seen or not.
///
/// It takes neither stack nor open files in proportion to the depth. Kinds of items cost nothing; attributes
/// are looked up when they are asked for.
///
/// Threads: one at a time.
/// Errors: a folder that cannot be read is passed over, unless a handler wants to end the enumeration.
class QV_EXPORT NSDirectoryEnumerator {
public:
  /// Told of each folder that cannot be read, the first one included; returns whether to go on.
  using ErrorHandler = std::function<bool(std::string_view path, const NSError& error)>;

  explicit NSDirectoryEnumerator(PathView path, ErrorHandler errorHandler = nullptr);
  NSDirectoryEnumerator(NSDirectoryEnumerator&&) noexcept;
  NSDirectoryEnumerator& operator=(NSDirectoryEnumerator&&) noexcept;
  ~NSDirectoryEnumerator();

  /// What the enumeration has come to; until it goes on.
  class QV_EXPORT Item {
  public:
    /// The path that the enumeration began with, and the way from there.
    [[nodiscard]] std::string_view path() const noexcept;
    [[nodiscard]] std::string_view name() const noexcept;
    [[nodiscard]] NSFileType type() const noexcept;
    [[nodiscard]] std::size_t level() const noexcept;  ///< 1 for what is in the folder itself
    /// Its type is `none` where the item has gone meanwhile.
    [[nodiscard]] NSFileAttributes attributes() const noexcept;
    /// Bytes of a file, which is less to ask for than all attributes; of what is no file, and of one that has
    /// gone, 0.
    [[nodiscard]] std::uint64_t fileSize() const noexcept;
    /// Passes over what is in this folder.
    void skipDescendants() noexcept;

  private:
    friend class NSDirectoryEnumerator;
    struct State;
    explicit Item(std::unique_ptr<State> state) noexcept;
    Item(Item&&) noexcept;
    Item& operator=(Item&&) noexcept;
    ~Item();
    std::unique_ptr<State> state_;
  };

  /// Null at the end.
  [[nodiscard]] Item* nextObject();

  class Iterator {
  public:
    using value_type = Item;
    using difference_type = std::ptrdiff_t;

    explicit Iterator(NSDirectoryEnumerator* enumerator) : enumerator_(enumerator) { ++*this; }
    [[nodiscard]] Item& operator*() const noexcept { return *item_; }
    Iterator& operator++() {
      item_ = enumerator_->nextObject();
      return *this;
    }
    void operator++(int) { ++*this; }
    friend bool operator==(const Iterator& iterator, std::default_sentinel_t) noexcept {
      return iterator.item_ == nullptr;
    }

  private:
    NSDirectoryEnumerator* enumerator_;
    Item* item_ = nullptr;
  };

  /// Goes on from where the enumeration is.
  [[nodiscard]] Iterator begin() { return Iterator(this); }
  [[nodiscard]] static std::default_sentinel_t end() noexcept { return std::default_sentinel; }

private:
  Item item_;
};

}  // namespace QVFoundation
