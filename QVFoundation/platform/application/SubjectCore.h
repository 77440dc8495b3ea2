#pragma once

#include <memory>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/Cancellable.h"
#include "QVFoundation/platform/application/Completion.h"
#include "QVFoundation/platform/application/Publisher.h"
#include "QVFoundation/platform/application/Receiver.h"

/// Internal: installed because other headers need it.
///
/// What the two subjects have in common, whatever the type of their values.
///
/// Threads: all of it from any thread.
namespace QVFoundation::detail {

/// The subscribers of a subject and what waits to be delivered to them; a handle whose copies share all.
class QV_EXPORT SubjectCore {
public:
  /// With a current value, each new subscriber gets that one first.
  explicit SubjectCore(CopyOfValue copy, std::shared_ptr<const void> current = nullptr);

  void send(const void* value) const;
  void sendAndKeep(std::shared_ptr<const void> value) const;
  void send(const Completion& completion) const;

  [[nodiscard]] Cancellable subscribe(const std::shared_ptr<Receiver>& receiver) const;
  template <class Output>
  [[nodiscard]] Publisher<Output> publisher() const {
    return Publisher<Output>([core = *this](const Subscriber<Output>& subscriber) {
      return core.subscribe(subscriber.receiver());
    });
  }
  [[nodiscard]] std::shared_ptr<const void> current() const;

private:
  class State;

  std::shared_ptr<State> state_;
  CopyOfValue copy_;
};

}  // namespace QVFoundation::detail
