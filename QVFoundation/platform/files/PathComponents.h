#pragma once

#include <string>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/PathView.h"

/// Taking paths apart and putting them together, as text: nothing here looks at a disk, and neither "." nor
/// ".." means anything. Slashes at the end of a path belong to its last component; only `pathComponents`
/// shows them.
///
/// | path          | components         | last     | extension | without extension | without last |
/// |---------------|--------------------|----------|-----------|-------------------|--------------|
/// | "/a/b.tar.gz" | "/" "a" "b.tar.gz" | b.tar.gz | gz        | /a/b.tar          | /a           |
/// | "/a/b/"       | "/" "a" "b" "/"    | b        |           | /a/b              | /a           |
/// | "a//b."       | "a" "b."           | b.       |           | a//b.             | a            |
/// | ".profile"    | ".profile"         | .profile |           | .profile          |              |
/// | "/"           | "/"                | /        |           | /                 | /            |
///
/// Threads: functions without state; call them from any thread.
/// Errors: none.
namespace QVFoundation {

/// The names between the slashes. A slash at the beginning is a component of its own, and so is one at the
/// end, unless it is the same; several together count as one.
[[nodiscard]] QV_EXPORT std::vector<std::string> pathComponents(PathView path);

/// Both with one slash between them and none at the end, but for "/" itself. Without a path it is the
/// component alone, without a component the path alone.
[[nodiscard]] QV_EXPORT std::string stringByAppendingPathComponent(PathView path, PathView component);

[[nodiscard]] QV_EXPORT std::string lastPathComponent(PathView path);

/// What stands after the last dot of the last component. A dot that begins the component, as those of hidden
/// files do, or ends it, counts for nothing.
[[nodiscard]] QV_EXPORT std::string pathExtension(PathView path);

/// The path without its extension and the dot before it.
[[nodiscard]] QV_EXPORT std::string stringByDeletingPathExtension(PathView path);

[[nodiscard]] QV_EXPORT std::string stringByDeletingLastPathComponent(PathView path);

}  // namespace QVFoundation
