#pragma once

#include <memory>
#include <utility>

#include "QVFoundation/platform/application/Completion.h"
#include "QVFoundation/platform/application/Publisher.h"
#include "QVFoundation/platform/application/SubjectCore.h"

namespace QVFoundation {

/// A value that others follow: who subscribes gets the present one first and then each that is sent.
///
/// ```cpp
/// CurrentValueSubject<double> volume(0.5);
/// const auto showing = volume.publisher().sink([&](double level) { slider.setLevel(level); });
/// volume.send(0.8);
/// ```
///
/// Values arrive as those of a `PassthroughSubject` do. After the completion subscribers get that alone.
///
/// Threads: any, also from inside a subscriber.
/// Ownership: as for `PassthroughSubject`.
template <class Output>
class CurrentValueSubject {
public:
  explicit CurrentValueSubject(Output value)
      : core_(&detail::copyOfValue<Output>, std::make_shared<const Output>(std::move(value))) {}
  CurrentValueSubject(const CurrentValueSubject&) = delete;
  CurrentValueSubject& operator=(const CurrentValueSubject&) = delete;
  ~CurrentValueSubject() = default;

  /// What was sent last, also where it is still to be delivered.
  [[nodiscard]] Output value() const { return *std::static_pointer_cast<const Output>(core_.current()); }

  void send(Output value) { core_.sendAndKeep(std::make_shared<const Output>(std::move(value))); }
  void send(const Completion& completion) { core_.send(completion); }

  [[nodiscard]] Publisher<Output> publisher() const { return core_.publisher<Output>(); }

private:
  const detail::SubjectCore core_;
};

}  // namespace QVFoundation
