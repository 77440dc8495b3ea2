#include <cerrno>
#include <string>
#include <system_error>

#include "QVFoundation/platform/files/FileErrors_p.h"
#include "QVFoundation/platform/runtime/NSErrorKeys.h"

namespace QVFoundation::detail {

namespace {

std::int64_t readCode(int code) {
  switch (code) {
    case ENOENT:
    case ENOTDIR: return NSFileReadNoSuchFileError;
    case EACCES:
    case EPERM: return NSFileReadNoPermissionError;
    case EFBIG: return NSFileReadTooLargeError;
    default: return NSFileReadUnknownError;
  }
}

std::int64_t writeCode(int code) {
  switch (code) {
    case ENOENT:
    case ENOTDIR: return NSFileNoSuchFileError;
    case EACCES:
    case EPERM: return NSFileWriteNoPermissionError;
    case EEXIST:
    case ENOTEMPTY: return NSFileWriteFileExistsError;
    case ENOSPC:
    case EDQUOT: return NSFileWriteOutOfSpaceError;
    case EROFS: return NSFileWriteVolumeReadOnlyError;
    default: return NSFileWriteUnknownError;
  }
}

NSError fileError(std::int64_t cocoaCode, PathView path, std::string_view action, int code) {
  const std::string file(path);
  return {NSCocoaErrorDomain,
          cocoaCode,
          {{NSLocalizedDescriptionKey, "The file \"" + file + "\" could not be " + std::string(action) +
                                           ": " + std::generic_category().message(code)},
           {NSFilePathErrorKey, file},
           {NSUnderlyingErrorKey, NSError(NSPOSIXErrorDomain, code)}}};
}

}  // namespace

NSError fileReadError(PathView path, int code) { return fileError(readCode(code), path, "read", code); }

NSError fileWriteError(PathView path, std::string_view action, int code) {
  return fileError(writeCode(code), path, action, code);
}

NSError unsupportedSchemeError(std::string_view url) {
  return {NSCocoaErrorDomain,
          NSFileReadUnsupportedSchemeError,
          {{NSLocalizedDescriptionKey, "The URL \"" + std::string(url) + "\" is not that of a file."}}};
}

}  // namespace QVFoundation::detail
