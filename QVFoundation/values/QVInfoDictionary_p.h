#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"

/// The parts of info dictionaries that do not depend on what they stand in.
///
/// Threads: functions without state.
namespace QVFoundation::detail {

inline constexpr std::string_view infoClassKey = "class";
inline constexpr std::string_view infoPropertiesKey = "properties";

/// The form of all that has none of its own.
[[nodiscard]] Dictionary infoDictionaryOf(std::string className, Dictionary properties);
[[nodiscard]] Dictionary infoDictionaryOf(const NSObject& object, std::vector<std::string> keys);

void applyProperties(NSObject& object, const Dictionary& info, const std::vector<std::string>& order);

/// A number as an integer, cut off at the point and at the ends of its range; 0 where it is none.
[[nodiscard]] std::int64_t integerIn(const Value& value);

/// The form of a value that is neither an object nor an error.
[[nodiscard]] Dictionary infoDictionaryOfPlainValue(const Value& value);
/// What such a form, or that of an object, describes; no value at all where the class is that of an error or
/// is not known.
[[nodiscard]] std::optional<Value> plainValueFromInfoDictionary(const Dictionary& info);

}  // namespace QVFoundation::detail
