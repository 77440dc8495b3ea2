#include "QVFoundation/adapters/FmtFormatter.h"

#include <fmt/std.h>
#include <gtest/gtest.h>

#include "QVFoundation/operations/QVTimingName.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSErrorKeys.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {

namespace {

struct Track : NSObject {
  std::string description() const override { return "Evening"; }
};

}  // namespace

// With the headers that make ranges and exceptions formattable, which have their own idea of these.
TEST(FmtFormatter, printsWhatHasADescriptionAsText) {
  const NSError error(NSPOSIXErrorDomain, 2, {{NSLocalizedDescriptionKey, "It is not there."}});
  const Dictionary dictionary{{"list", Array{1, 2}}};
  EXPECT_EQ(fmt::format("{} {}", error, dictionary), stringWithFormat("%@ %@", error, dictionary));
  EXPECT_EQ(fmt::format("{:>7}|{:_<9}|{:.2}", NSNumber(1.5), Track(), Value("abc")), "    1.5|Evening__|ab");
  EXPECT_EQ(fmt::format("{}{:^5}", StaticText("a"), QVTimingName("b")), "a  b  ");
}

}  // namespace QVFoundation
