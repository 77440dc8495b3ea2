#pragma once

#include <string_view>

/// The kinds of progress, and the keys of its user info that have a meaning for all.
///
/// Threads: constants.
namespace QVFoundation {

/// Its units are bytes of files.
inline constexpr std::string_view NSProgressKindFile = "NSProgressKindFile";

// What is done with the files.
inline constexpr std::string_view NSProgressFileOperationKindDownloading =
    "NSProgressFileOperationKindDownloading";
inline constexpr std::string_view NSProgressFileOperationKindUploading =
    "NSProgressFileOperationKindUploading";
inline constexpr std::string_view NSProgressFileOperationKindReceiving =
    "NSProgressFileOperationKindReceiving";
inline constexpr std::string_view NSProgressFileOperationKindCopying = "NSProgressFileOperationKindCopying";
inline constexpr std::string_view NSProgressFileOperationKindDuplicating =
    "NSProgressFileOperationKindDuplicating";
inline constexpr std::string_view NSProgressFileOperationKindDecompressing =
    "NSProgressFileOperationKindDecompressingAfterDownloading";

// User info.
inline constexpr std::string_view NSProgressEstimatedTimeRemainingKey =
    "NSProgressEstimatedTimeRemainingKey";                                              ///< seconds
inline constexpr std::string_view NSProgressThroughputKey = "NSProgressThroughputKey";  ///< units a second
inline constexpr std::string_view NSProgressFileOperationKindKey = "NSProgressFileOperationKindKey";
inline constexpr std::string_view NSProgressFileURLKey = "NSProgressFileURLKey";
inline constexpr std::string_view NSProgressFileTotalCountKey = "NSProgressFileTotalCountKey";
inline constexpr std::string_view NSProgressFileCompletedCountKey = "NSProgressFileCompletedCountKey";

}  // namespace QVFoundation
