#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/PathView.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

/// Which folders a walk visits and enters.
///
/// Threads: constants.
enum QVDirectoryRecursion : std::int32_t {
  QVDirectoryRecursionNone = 0,       ///< visits what is in the folder; enters none
  QVDirectoryRecursionPreOrder = 1,   ///< visits each folder, the first one included, before what is in it
  QVDirectoryRecursionPostOrder = 2,  ///< and after it
};

/// Asked about a folder that cannot be read: whether the walk goes on without it.
using QVIterationShouldContinueAfterError = std::function<bool(const NSError& error, std::string_view path)>;

namespace detail {

/// What can be called with a path, and does not return a truth that could mean "go on" as well as "stop".
template <class Callback, class Path>
concept CallableWithPath =
    std::invocable<Callback&, Path> && !std::same_as<std::invoke_result_t<Callback&, Path>, bool>;
template <class Callback>
concept PathCallback =
    CallableWithPath<Callback, std::string_view> || CallableWithPath<Callback, std::string>;

template <PathCallback Callback>
Value callWithPath(Callback& callback, std::string_view path) {
  using Path = std::conditional_t<std::invocable<Callback&, std::string_view>, std::string_view, std::string>;
  if constexpr (std::is_void_v<std::invoke_result_t<Callback&, Path>>) {
    std::invoke(callback, Path(path));
    return {};
  } else {
    return std::invoke(callback, Path(path));
  }
}

[[nodiscard]] QV_EXPORT Value iterateDirectory(PathView directory, QVDirectoryRecursion recursionType,
                                               const std::function<Value(std::string_view)>& callback,
                                               const QVIterationShouldContinueAfterError& shouldContinue);

}  // namespace detail

/// Walks through a folder and calls back with the full path of each item, until a call returns something:
/// that ends the walk and is its result. Calls that return nothing at all let it go on. The path is a
/// `std::string_view` until it goes on, or whatever the callback makes of one.
///
/// ```cpp
/// qv_iterateDirectory("Music", QVDirectoryRecursionPreOrder, [&](std::string_view path) { list(path); });
///
/// const Value found = qv_iterateDirectory(folder, QVDirectoryRecursionPostOrder, [](const fs::path& path) {
///   return path.extension() == ".cue" ? Value(path.native()) : Value();
/// });
/// ```
///
/// Links are followed: a link to a folder is entered like a folder, and one that leads nowhere is passed
/// over. So is one that leads back to a folder which the walk is in, since that would have no end. What two
/// links lead to is visited twice. Items come in the order of the file system.
///
/// The walk takes neither stack nor open files in proportion to the depth, and for items that are no links
/// asks the system nothing but their names. `NSFileManager::enumeratorAtPath` is the walk that follows no
/// link.
///
/// Threads: safe from any thread; it calls back on the calling one.
/// Errors: a folder that cannot be read ends the walk with an error, "The directory %@ could not be read", in
/// `NSPOSIXErrorDomain`, unless `shouldContinueAfterError` returns true. In post-order it is visited
/// all the same. What the callback throws goes through.
/// Returns: nothing, what the callback returned, or the `NSError` that ended the walk.
template <detail::PathCallback Callback>
Value qv_iterateDirectory(PathView directory, QVDirectoryRecursion recursionType, Callback&& callback,
                          const QVIterationShouldContinueAfterError& shouldContinueAfterError = nullptr) {
  return detail::iterateDirectory(
      directory, recursionType,
      [&callback](std::string_view path) { return detail::callWithPath(callback, path); },
      shouldContinueAfterError);
}

}  // namespace QVFoundation
