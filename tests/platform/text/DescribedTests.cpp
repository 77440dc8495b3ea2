#include "QVFoundation/platform/text/Described.h"

#include <iomanip>
#include <sstream>

#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSErrorKeys.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/platform/text/Format.h"
#include "QVFoundation/platform/text/StaticText.h"

namespace QVFoundation {

namespace {

struct NamedPiece : NSObject {
  std::string description() const override { return "Evening"; }
};

/// Has its own idea of how streams print it.
struct LoudNamedPiece : NamedPiece {
  friend std::ostream& operator<<(std::ostream& stream, const LoudNamedPiece&) { return stream << "EVENING"; }
};

template <class T>
std::string streamed(const T& object) {
  std::ostringstream stream;
  stream << object;
  return stream.str();
}

}  // namespace

TEST(Described, isPrintedByStreamsAsByFormats) {
  const NSError error(NSPOSIXErrorDomain, 2, {{NSLocalizedDescriptionKey, "It is not there."}});
  const Array list{1, "two", NSNull()};
  EXPECT_EQ(streamed(error), stringWithFormat("%@", error));
  EXPECT_EQ(streamed(list), stringWithFormat("%@", list));
  EXPECT_EQ(streamed(Value(list)), streamed(list));
  EXPECT_EQ(streamed(NSNumber(0.25)), "0.25");
  EXPECT_EQ(streamed(NamedPiece()), "Evening") << "a class of the application";
  EXPECT_EQ(streamed(LoudNamedPiece()), "EVENING");
  EXPECT_EQ(streamed(StaticText("reading")), "reading");
}

TEST(Described, takesTheWidthAndTheFillOfTheStreamOnce) {
  std::ostringstream stream;
  stream << std::left << std::setfill('.') << std::setw(9) << NamedPiece() << Value(7) << std::setw(3)
         << StaticText("a");
  EXPECT_EQ(stream.str(), "Evening..7a..");
}

}  // namespace QVFoundation
