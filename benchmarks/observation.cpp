// A property that nobody observes, one that is observed by one and by ten, and an observer that comes and goes.

#include <memory>
#include <vector>

#include <benchmark/benchmark.h>

#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"

#ifdef QV_PEER_QT
#include <QtCore/QObject>
#include <QtCore/QProperty>
#endif
#ifdef QV_PEER_BOOST_SIGNALS2
#include <boost/signals2/signal.hpp>
#endif

namespace {

using namespace QVFoundation;

class Counter : public NSObject {
public:
  static const NSClass& staticClass() {
    static const NSClass& cls = *new NSClass(NSClass::define<Counter>("Counter", NSObject::staticClass())
                                                 .property("value", &Counter::value, &Counter::setValue));
    return cls;
  }
  const NSClass& dynamicClass() const override { return staticClass(); }

  int value() const { return value_; }
  void setValue(int value) {
    const ChangeNotice notice(*this, "value");
    value_ = value;
  }
  void setValueSilently(int value) { value_ = value; }

private:
  int value_ = 0;
};

// Nobody observes.

void storeOurs(benchmark::State& state) {
  const auto counter = std::make_shared<Counter>();
  Counter* object = counter.get();
  int value = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(object);
    object->setValue(++value);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(storeOurs)->Name("observation/unobserved/ours");

void storePlain(benchmark::State& state) {
  const auto counter = std::make_shared<Counter>();
  Counter* object = counter.get();
  int value = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(object);
    object->setValueSilently(++value);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(storePlain)->Name("observation/unobserved/store");

// A change: each observer adds the new value to a sum.

void changeOurs(benchmark::State& state) {
  const auto counter = std::make_shared<Counter>();
  long sum = 0;
  std::vector<NSKeyValueObservation> observations;
  for (int i = 0; i < state.range(0); ++i) {
    observations.push_back(observe(
        *counter, "value", [&sum](Counter& object, const NSKeyValueChange&) { sum += object.value(); }));
  }
  int value = 0;
  for (auto _ : state) counter->setValue(++value);
  benchmark::DoNotOptimize(sum);
}
BENCHMARK(changeOurs)->Name("observation/change/ours")->Arg(1)->Arg(10);

// The same with the new value read by name, once, and handed over as a `Value`.
void changeWithNewOurs(benchmark::State& state) {
  const auto counter = std::make_shared<Counter>();
  long sum = 0;
  std::vector<NSKeyValueObservation> observations;
  for (int i = 0; i < state.range(0); ++i) {
    observations.push_back(observe(*counter, "value", NSKeyValueObservingOptionNew,
                                   [&sum](Counter&, const NSKeyValueChange& change) {
                                     sum += change.newValue().as<int>().value_or(0);
                                   }));
  }
  int value = 0;
  for (auto _ : state) counter->setValue(++value);
  benchmark::DoNotOptimize(sum);
}
BENCHMARK(changeWithNewOurs)->Name("observation/change-with-new-value/ours")->Arg(1)->Arg(10);

void addAndRemoveOurs(benchmark::State& state) {
  const auto counter = std::make_shared<Counter>();
  long sum = 0;
  const auto stays = observe(*counter, "value", [&sum](Counter& object, auto&) { sum += object.value(); });
  for (auto _ : state) {
    auto observation = observe(*counter, "value",
                               [&sum](Counter& object, const NSKeyValueChange&) { sum += object.value(); });
    benchmark::DoNotOptimize(observation);
  }
}
BENCHMARK(addAndRemoveOurs)->Name("observation/add-and-remove/ours");

}  // namespace

#ifdef QV_PEER_QT
// Outside of the anonymous namespace, for Qt's code generator.
class QtCounter : public QObject {
  Q_OBJECT

public:
  void setValue(int value) {
    value_ = value;
    emit valueChanged(value);
  }

signals:
  void valueChanged(int value);

private:
  int value_ = 0;
};

namespace {

void changeQtSignal(benchmark::State& state) {
  QtCounter counter;
  long sum = 0;
  for (int i = 0; i < state.range(0); ++i) {
    QObject::connect(
        &counter, &QtCounter::valueChanged, &counter, [&sum](int value) { sum += value; },
        Qt::DirectConnection);
  }
  int value = 0;
  for (auto _ : state) counter.setValue(++value);
  benchmark::DoNotOptimize(sum);
}
BENCHMARK(changeQtSignal)->Name("observation/change/qt-signal")->Arg(1)->Arg(10);

void changeQtProperty(benchmark::State& state) {
  QProperty<int> property(0);
  long sum = 0;
  auto handler = [&] { sum += property.value(); };
  std::vector<QPropertyChangeHandler<decltype(handler)>> handlers;
  handlers.reserve(static_cast<std::size_t>(state.range(0)));
  for (int i = 0; i < state.range(0); ++i) handlers.push_back(property.onValueChanged(handler));
  int value = 0;
  for (auto _ : state) property.setValue(++value);
  benchmark::DoNotOptimize(sum);
}
BENCHMARK(changeQtProperty)->Name("observation/change/qt-property")->Arg(1)->Arg(10);

}  // namespace
#endif

#ifdef QV_PEER_BOOST_SIGNALS2
namespace {

void changeSignals2(benchmark::State& state) {
  boost::signals2::signal<void(int)> changed;
  long sum = 0;
  for (int i = 0; i < state.range(0); ++i) changed.connect([&sum](int value) { sum += value; });
  int value = 0;
  for (auto _ : state) changed(++value);
  benchmark::DoNotOptimize(sum);
}
BENCHMARK(changeSignals2)->Name("observation/change/signals2")->Arg(1)->Arg(10);

void addAndRemoveSignals2(benchmark::State& state) {
  boost::signals2::signal<void(int)> changed;
  long sum = 0;
  changed.connect([&sum](int value) { sum += value; });
  for (auto _ : state) {
    const boost::signals2::scoped_connection connection(changed.connect([&sum](int value) { sum += value; }));
    benchmark::DoNotOptimize(connection);
  }
}
BENCHMARK(addAndRemoveSignals2)->Name("observation/add-and-remove/signals2");

}  // namespace
#endif

#ifdef QV_PEER_QT
#include "observation.moc"
#endif
