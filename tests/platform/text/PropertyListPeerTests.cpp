#include "QVFoundation/platform/text/PropertyList.h"

#include <cstdlib>
#include <memory>
#include <span>
#include <string>

#include <gtest/gtest.h>
#include <plist/plist.h>

#include "QVFoundation/platform/runtime/Array.h"

// What other programs write can be read here and the other way round: a file goes through another library,
// which turns it into the other form, and must come back as the same value.

namespace QVFoundation {
namespace {

NSData rewrittenByPeer(const NSData& data, PropertyListFormat format) {
  plist_t parsed = nullptr;
  plist_from_memory(reinterpret_cast<const char*>(data.data()), static_cast<std::uint32_t>(data.size()),
                    &parsed);
  const std::unique_ptr<void, decltype(&plist_free)> root(parsed, plist_free);
  char* text = nullptr;
  std::uint32_t length = 0;
  if (root) (format == PropertyListFormat::xml ? plist_to_xml : plist_to_bin)(root.get(), &text, &length);
  const std::unique_ptr<char, decltype(&std::free)> owner(text, std::free);
  const auto bytes = std::as_bytes(std::span(text, length));
  return {bytes.begin(), bytes.end()};
}

/// Whatever both can hold: the other library ends dates in 2069.
Value commonValue() {
  return Dictionary{
      {"integers", Array{0, 1, -1, 255, 256, 65536, 1LL << 40, -(1LL << 40), ~0ULL, 1ULL << 63}},
      {"reals", Array{0.1, 1.0, -1e300, 5e-324}},
      {"booleans", Array{true, false}},
      {"texts", Array{"", "<&>", "äöü €", "𝄞", " two\nlines\t", std::string(70'000, 'x')}},
      {"data", Array{NSData(1), NSData(2), NSData(3), NSData(1000, std::byte{0xA5})}},
      {"dates", Array{NSDate(std::chrono::seconds(1'700'000'000)), NSDate(std::chrono::seconds(-1'000'000))}},
      {"nested", Dictionary{{"empty", Dictionary()}, {"none", Array()}, {"ä", Array{Array{Array{1}}}}}},
  };
}

TEST(PropertyListPeer, readsWhatIsWrittenHereAndIsRead) {
  for (const PropertyListFormat from : {PropertyListFormat::xml, PropertyListFormat::binary}) {
    for (const PropertyListFormat to : {PropertyListFormat::xml, PropertyListFormat::binary}) {
      const Value copy = propertyListFromData(rewrittenByPeer(dataFromPropertyList(commonValue(), from), to));
      EXPECT_EQ(copy, commonValue());
    }
  }
}

}  // namespace
}  // namespace QVFoundation
