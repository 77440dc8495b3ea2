#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/text/Described.h"

namespace QVFoundation {

/// The base of exception types of one's own that say themselves which error they become.
///
/// Threads: as for the derived class; the library asks on the thread that caught the exception.
class QV_EXPORT CustomNSError : public std::exception {
public:
  ~CustomNSError() override;

  /// By default the qualified name of the type with dots: "Player.DecodingFailure".
  [[nodiscard]] virtual std::string errorDomain() const;
  [[nodiscard]] virtual std::int64_t errorCode() const { return 1; }
  [[nodiscard]] virtual Dictionary errorUserInfo() const { return {}; }
  /// For logs and developers; by default that of the error that this becomes.
  [[nodiscard]] virtual std::string description() const;

protected:
  CustomNSError() = default;
  CustomNSError(const CustomNSError&) = default;
  CustomNSError& operator=(const CustomNSError&) = default;
};

}  // namespace QVFoundation
