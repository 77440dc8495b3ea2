#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace QVFoundation {

/// When a copy counts as done.
enum class CopyFlushPolicy {
  cached,   ///< Once the system has it; it is written when the system sees fit. Fast, and not yet safe.
  written,  ///< Once it is on the device. Copying goes at its pace, and does not fill memory with what waits.
};

/// Something that the copy of an item could not have, though its content is all there.
///
/// Threads: a plain value.
struct CopyLoss {
  enum class Kind {
    owner,      ///< It belongs to who copied it; and what it might do as its owner, it may not do any more.
    group,      ///< The same of its group. The new one, and all others, may do what both could.
    mode,       ///< Who may do what.
    times,      ///< When it was changed, and when it was looked at.
    attribute,  ///< An extended attribute, see `attribute`.
    /// A list of who may do what. Only the owner has the item then.
    accessList,
    hardLink  ///< It is an item of its own, with the same content.
  };

  std::string path;  ///< of the source
  Kind kind = Kind::owner;
  std::string attribute;  ///< its name
  int code = 0;           ///< what the system said, an `errno`
};

/// How a copy was made.
///
/// Threads: a plain value.
struct CopyReport {
  struct Amount {
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
    friend bool operator==(const Amount&, const Amount&) = default;
  };
  static constexpr std::size_t mostLosses = 1000;

  // Regular files, each in one of these.
  Amount cloned;     ///< share their blocks with the source
  Amount offloaded;  ///< copied by the system, without a way through this process
  Amount copied;     ///< read and written
  Amount linked;     ///< got a further name, as in the source
  std::uint64_t folders = 0;
  std::uint64_t others = 0;  ///< symbolic links, pipes, sockets and devices

  /// The first of them, in the order of copying.
  std::vector<CopyLoss> losses;
  std::uint64_t lossCount = 0;  ///< of all
};

}  // namespace QVFoundation
