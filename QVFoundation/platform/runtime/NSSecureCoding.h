#pragma once

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/MadeByName.h"

namespace QVFoundation {

class NSCoder;

/// What a class derives from, beside `NSObject`, so that its objects can be archived.
///
/// ```cpp
/// void Track::encodeWithCoder(NSCoder& coder) const { coder.encodeObject(title_, "title"); }
/// void Track::initWithCoder(NSCoder& coder) {
///   title_ = coder.decodeObject<std::string>("title").value_or("");
/// }
/// ```
///
/// Its class must be the one that was listed for that C++ type, and be made without arguments.
///
/// Threads: called on the thread that archives or unarchives.
/// Errors: see `NSCoder`.
class QV_EXPORT NSSecureCoding : public MadeByName {
public:
  virtual ~NSSecureCoding();

  static constexpr bool supportsSecureCoding() noexcept { return true; }

  virtual void encodeWithCoder(NSCoder& coder) const = 0;
  /// Fills an object that has just been made.
  virtual void initWithCoder(NSCoder& coder) = 0;

protected:
  NSSecureCoding() = default;
  NSSecureCoding(const NSSecureCoding&) = default;
  NSSecureCoding& operator=(const NSSecureCoding&) = default;
};

}  // namespace QVFoundation
