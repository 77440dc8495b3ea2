#include <array>
#include <chrono>
#include <memory>
#include <optional>

#include "QVFoundation/Operations.h"
#include "QVFoundation/Platform.h"
#include "QVFoundation/Values.h"

/// What gdb is asked to show, see shown.gdb.
namespace {

using namespace QVFoundation;

struct Point {
  int x, y;
};

struct Song : NSObject {};

struct CountWords : QVOperation, QVSyncOperationProtocol<long> {
  CountWords() : QVOperation("Count words") {}
  long perform() override { return words_; }
  long words_ = 61'000;
};

// The debugger stops here.
[[gnu::noinline]] void look() { asm volatile("" ::: "memory"); }

}  // namespace

int main() {
  using namespace std::chrono_literals;
  const Value nothing, null = NSNull(), yes = true, small = std::int8_t{-3}, most = ~std::uint64_t{0},
                       ratio = 0.25;
  const Value text = "a \"quoted\"\nJürgen", data = NSData(20, std::byte{0xAB});
  const Value date = NSDate(1'700'000'000s + 125ms), point = Value::boxed(Point{3, 4});
  const Array list{1, "two", Array{3}};
  const Dictionary dictionary{{"list", list}};
  const Set set{7};
  const Value nested = dictionary, object = std::make_shared<Song>();
  const Array empty;
  IndexSet indexes;
  indexes.addRange(1, 2);
  indexes.add(4);

  const NSError error(NSPOSIXErrorDomain, 2, {{NSLocalizedDescriptionKey, "It is not there."}});
  const Value failure = error;
  const NSURL url = NSURL::fileURLWithPath("/tmp/a b");
  const StaticText constant = "constant";
  const QVTimingName timing = "reading";
  const QVVersionNumber version({1, 2, 3});
  const QVVersionNumber longVersion({1, 2, 3, 4, 5, 6, 7, 8});

  const auto operation = std::make_shared<CountWords>();
  const auto progress = std::make_shared<NSProgress>(10);
  progress->setLocalizedDescription("Both");
  progress->setCompletedUnitCount(2);
  const auto half = std::make_shared<NSProgress>(4);
  progress->addChild(half, 5);
  half->setCompletedUnitCount(1);
  half->cancel();
  operation->progress()->setTotalUnitCount(100);
  const CountWords& counting = *operation;
  NSProgress& both = *progress;

  std::array<char, sizeof(Value)> garbage;
  garbage.fill(static_cast<char>(ValueKind::dictionary));

  look();
  static_cast<void>(counting), static_cast<void>(both), static_cast<void>(garbage);
}
