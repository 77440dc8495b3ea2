#pragma once

#include <string>

#include "QVFoundation/platform/copying/OpenFolders_p.h"

namespace QVFoundation::detail {

/// Where a step makes an item, and of what.
///
/// Threads: a plain value.
struct CopyTarget {
  std::string source;          // its path
  OpenFolders::Folder folder;  // the new one
  std::string name;
  bool isRoot = false;  // its folder is no new one, and may give it what it likes
};

}  // namespace QVFoundation::detail
