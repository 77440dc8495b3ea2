#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "QVFoundation/platform/copying/CopyRun_p.h"
#include "QVFoundation/platform/copying/CopyTarget_p.h"
#include "QVFoundation/platform/copying/StepMaker_p.h"
#include "QVFoundation/platform/files/DirectoryWalk_p.h"

namespace QVFoundation::detail {

/// Goes through the source of a copy, makes the new folders, and has the queue do the rest.
///
/// Threads: that of the copy.
class CopyWalk {
public:
  CopyWalk(CopyRun& run, std::string_view source, std::string_view destination)
      : run_(run), source_(source), destination_(destination) {}

  /// What comes of it is in the run.
  void copy();
  /// Removes what has been made, unless something else has its name by now.
  void removeCopy();

private:
  [[nodiscard]] int openParent(const struct stat& source);

  // False where the copy is over.
  bool copyFolder();
  bool take(const DirectoryWalk& walk, DirectoryWalk::Event event);
  bool copyItem(int folder, const char* name, NSFileType type, CopyTarget target);
  bool enterFrom(const DirectoryWalk& walk, std::string path);
  bool enter(const FileLocation& location, std::string path);
  bool leave(const DirectoryWalk& walk, std::string path);

  template <class Step, class... Args>
  bool add(Args&&... args) {
    return run_.queue.add(std::make_unique<Step>(run_, std::forward<Args>(args)...));
  }
  bool addFailure(CopyItem item, std::string path, int code);

  CopyRun& run_;
  const std::string source_;
  const std::string destination_;
  CopyItem rootItem_ = CopyItem::file;
  OpenFolders::Folder parent_;  // that the copy comes into
  std::string name_;            // and what it is called there
  OpenFolders folders_{[this] { return run_.queue.finishAll(); }};
  const StepMaker steps_{run_};
};

}  // namespace QVFoundation::detail
