#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Value.h"

/// Comparisons that data may name, such as a sort descriptor that was read from a file. A name reaches what
/// was registered under it here and nothing else.
///
/// "compare:" is `compareValues`. "caseInsensitiveCompare:" does the same but for the case of letters, by
/// Unicode's simple mapping and in no particular language.
///
/// Threads: functions that may be called from any thread; a comparison runs on the thread that sorts.
namespace QVFoundation {

/// Negative, zero or positive for ascending, same and descending.
using NSComparator = std::function<int(const Value&, const Value&)>;

/// Makes a comparison known for the life of the process. False where it is empty, or the name is
/// taken: nobody can exchange what others rely on.
QV_EXPORT bool registerComparison(std::string selector, NSComparator comparison);

/// The comparison of that name; empty where nobody has registered one.
[[nodiscard]] QV_EXPORT NSComparator comparisonNamed(std::string_view selector);

}  // namespace QVFoundation
