#include "QVFoundation/files/QVDirectoryIteration.h"

#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/platform/application/LocalizedText_p.h"
#include "QVFoundation/platform/files/DirectoryWalk_p.h"

namespace QVFoundation::detail {

namespace {

class Iteration {
public:
  using Walk = DirectoryWalk;

  Iteration(PathView directory, QVDirectoryRecursion recursionType,
            const std::function<Value(std::string_view)>& callback,
            const QVIterationShouldContinueAfterError& shouldContinue)
      : walk_(FileLocation(directory), directory, Walk::Links::followed),
        recursionType_(recursionType),
        callback_(callback),
        shouldContinue_(shouldContinue) {}

  Value run() {
    Value result;
    if (recursionType_ == QVDirectoryRecursionPreOrder) result = callback_(walk_.path());
    while (result.isNothing()) {
      const Walk::Event event = walk_.next();
      if (event == Walk::Event::end) break;
      result = visit(event);
    }
    return result;
  }

private:
  Value visit(Walk::Event event) {
    switch (event) {
      case Walk::Event::item: return callback_(walk_.path());
      case Walk::Event::directory: return visitDirectory();
      case Walk::Event::unreadable: return askAboutError();
      case Walk::Event::left:
        if (recursionType_ == QVDirectoryRecursionPostOrder) return callback_(walk_.path());
        break;
      case Walk::Event::end: break;
    }
    return {};
  }

  Value visitDirectory() {
    if (recursionType_ == QVDirectoryRecursionNone) {
      walk_.skip();
    } else if (walk_.leadsBack() || recursionType_ == QVDirectoryRecursionPostOrder) {
      return {};
    }
    return callback_(walk_.path());
  }

  Value askAboutError() {
    const NSError error =
        *POSIXError(walk_.error(), localizedText("The directory %@ could not be read", walk_.path()));
    if (shouldContinue_ && shouldContinue_(error, walk_.path())) return {};
    return error;
  }

  Walk walk_;
  const QVDirectoryRecursion recursionType_;
  const std::function<Value(std::string_view)>& callback_;
  const QVIterationShouldContinueAfterError& shouldContinue_;
};

}  // namespace

Value iterateDirectory(PathView directory, QVDirectoryRecursion recursionType,
                       const std::function<Value(std::string_view)>& callback,
                       const QVIterationShouldContinueAfterError& shouldContinue) {
  return Iteration(directory, recursionType, callback, shouldContinue).run();
}

}  // namespace QVFoundation::detail
