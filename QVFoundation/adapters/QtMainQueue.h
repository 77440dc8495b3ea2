#pragma once

#include <QAbstractEventDispatcher>
#include <QSocketNotifier>

#include "QVFoundation/platform/concurrency/MainQueue.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

/// Has Qt's event loop run what is sent to `DispatchQueue::main()`, for as long as this lives.
///
/// ```cpp
/// QApplication application(argc, argv);
/// const QVFoundation::QtMainQueue mainQueue;
/// ```
///
/// Whichever event loop of the main thread runs serves the main queue: one after the other, and one within
/// another, such as that of a modal dialogue which a block of the main queue runs. Where none runs, blocks wait
/// for the next one; with two of these, each block still runs once.
///
/// The header needs Qt 5 or 6 (`QtCore` and its include folder); the library itself does not.
///
/// Threads: made and destroyed on the main thread, after the application object and before its end.
class QtMainQueue {
public:
  /// Raises `NSException` on another thread, or before there is an application object; throws `NSError` where
  /// there is no main queue to be had.
  QtMainQueue() : notifier_(descriptor(), QSocketNotifier::Read) {
    QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_, [] { drainMainQueue(); });
  }
  QtMainQueue(const QtMainQueue&) = delete;
  QtMainQueue& operator=(const QtMainQueue&) = delete;
  ~QtMainQueue() = default;

private:
  static int descriptor() {
    if (!isMainThread()) {
      throw NSException(NSInternalInconsistencyException,
                        "QtMainQueue must be made on the main thread, in whose loop the main queue runs");
    }
    if (QAbstractEventDispatcher::instance() == nullptr) {
      throw NSException(NSInternalInconsistencyException,
                        "QtMainQueue must be made after the QCoreApplication, whose event loop it uses");
    }
    return mainQueueFileDescriptor();
  }

  QSocketNotifier notifier_;
};

}  // namespace QVFoundation
