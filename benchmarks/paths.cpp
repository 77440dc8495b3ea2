// Paths as text: what lies below what, and what components there are.

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "QVFoundation/files/QVPathUtilities.h"

namespace {

using namespace QVFoundation;
using std::filesystem::path;

struct Pair {
  std::string base, below;
};

/// Paths as an importer meets them: most lie below the base, some are its neighbours or strangers.
const std::vector<Pair> pairs = [] {
  const std::string music = "/media/ada/Music/Collections/Baroque";
  std::vector<Pair> made;
  for (int album = 0; album < 8; ++album) {
    const std::string folder = music + "/Bach, Johann Sebastian/Album " + std::to_string(album);
    made.push_back({music, folder + "/01 Prelude.flac"});
    made.push_back({music + "/", folder});
    made.push_back({folder, music + "/Bach, Johann Sebastian/Album 9/02 Fugue.flac"});
    made.push_back({music, "/media/disk/Music/Collections/Baroque/03.flac"});
    made.push_back({music, music + " and Classic/Haydn, Joseph/04.flac"});
    made.push_back({music + "//Bach, Johann Sebastian", folder + "/05 Sarabande.flac"});
  }
  return made;
}();

/// Those whose base contains them and is no longer text than theirs.
const std::vector<Pair> nestedPairs = [] {
  std::vector<Pair> made;
  for (const Pair& pair : pairs) {
    if (pair.below.starts_with(pair.base + (pair.base.ends_with('/') ? "" : "/"))) made.push_back(pair);
  }
  return made;
}();

// The peer: what a program would write with std::filesystem.

bool containsByFilesystem(const std::string& base, const std::string& below) {
  const path parent = path(base).has_filename() ? path(base) : path(base).parent_path();
  const path child(below);
  return std::mismatch(parent.begin(), parent.end(), child.begin(), child.end()).first == parent.end();
}

std::string relativeByFilesystem(const std::string& base, const std::string& below) {
  return path(below).lexically_relative(path(base)).native();
}

std::vector<std::string> componentsByFilesystem(const std::string& text) {
  std::vector<std::string> components;
  for (const path& component : path(text)) components.push_back(component.native());
  return components;
}

void require(bool holds, const std::string& text) {
  if (holds) return;
  std::fprintf(stderr, "paths: the sides differ for \"%s\"\n", text.c_str());
  std::abort();
}

/// Runs `call` with one pair after the other.
template <class Call>
void overPairs(benchmark::State& state, const std::vector<Pair>& over, const Call& call) {
  std::size_t at = 0;
  for (auto _ : state) {
    const Pair& pair = over[at];
    at = at + 1 == over.size() ? 0 : at + 1;
    benchmark::DoNotOptimize(call(pair));
  }
}

const bool registered = [] {
  for (const auto& [base, below] : pairs) {
    require(qv_containsPath(base, below) == containsByFilesystem(base, below), below);
    require(pathComponents(below) == componentsByFilesystem(below), below);
  }
  for (const auto& [base, below] : nestedPairs)
    require(qv_relativePathForBasePath(below, base) == relativeByFilesystem(base, below), below);

  const auto add = [](const char* name, const std::vector<Pair>& over, const auto& call) {
    benchmark::RegisterBenchmark(name,
                                 [&over, call](benchmark::State& state) { overPairs(state, over, call); });
  };
  add("paths/contains/ours", pairs, [](const Pair& it) { return qv_containsPath(it.base, it.below); });
  add("paths/contains/filesystem", pairs,
      [](const Pair& it) { return containsByFilesystem(it.base, it.below); });
  add("paths/relative/ours", nestedPairs,
      [](const Pair& it) { return qv_relativePathForBasePath(it.below, it.base); });
  add("paths/relative/filesystem", nestedPairs,
      [](const Pair& it) { return relativeByFilesystem(it.base, it.below); });
  add("paths/components/ours", pairs, [](const Pair& it) { return pathComponents(it.below); });
  add("paths/components/filesystem", pairs, [](const Pair& it) { return componentsByFilesystem(it.below); });
  return true;
}();

}  // namespace
