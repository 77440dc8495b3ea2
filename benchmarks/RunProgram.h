#pragma once

#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <benchmark/benchmark.h>

namespace QVFoundation::benchmarks {

/// Runs a program to its end; what it prints is dropped. Returns the most memory that it had, in KiB.
inline long runProgram(benchmark::State& state, std::vector<const char*> arguments) {
  static const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, nowhere, STDOUT_FILENO);
  pid_t child = 0;
  int status = -1;
  rusage usage{};
  if (posix_spawnp(&child, arguments[0], &actions, nullptr, const_cast<char**>(arguments.data()), environ) ==
      0) {
    wait4(child, &status, 0, &usage);
  }
  posix_spawn_file_actions_destroy(&actions);
  if (status != 0) state.SkipWithError("the program failed");
  return usage.ru_maxrss;
}

}  // namespace QVFoundation::benchmarks
