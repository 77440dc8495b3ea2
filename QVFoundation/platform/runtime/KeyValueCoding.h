#pragma once

#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Value.h"

/// Reading any value by name: objects by their properties, dictionaries by their entries, arrays and sets by
/// asking each of their elements.
///
/// Threads: as the objects that are read allow.
/// Errors: a key that an object does not have raises `NSException` named `NSUndefinedKeyException`;
/// collections nested more than 100 deep raise `NSInvalidArgumentException`.
namespace QVFoundation {

class NSException;
class NSObject;

/// The value under a key. Of nothing, and of a value that has no keys, it is nothing; of an array or a set it
/// is the array of its elements' values, with `NSNull` where an element has none.
[[nodiscard]] QV_EXPORT Value valueForKey(const Value& value, std::string_view key);

/// The same along a path such as "album.artist.name".
[[nodiscard]] QV_EXPORT Value valueForKeyPath(const Value& value, std::string_view keyPath);

/// The exception for a key that an object does not have.
[[nodiscard]] QV_EXPORT NSException undefinedKeyException(const NSObject& object, std::string_view key);

}  // namespace QVFoundation
