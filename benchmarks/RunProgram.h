#pragma once

#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

namespace QVFoundation::benchmarks {

/// What it prints is dropped. -1 where it could not be started.
inline pid_t startProgram(std::vector<const char*> arguments) {
  static const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, nowhere, STDOUT_FILENO);
  pid_t child = -1;
  if (posix_spawnp(&child, arguments[0], &actions, nullptr, const_cast<char**>(arguments.data()), environ) !=
      0) {
    child = -1;
  }
  posix_spawn_file_actions_destroy(&actions);
  return child;
}

/// Runs a program to its end.
inline void runProgram(benchmark::State& state, std::vector<const char*> arguments) {
  const pid_t child = startProgram(std::move(arguments));
  int status = -1;
  if (child < 0 || waitpid(child, &status, 0) != child || status != 0)
    state.SkipWithError("the program failed");
}

}  // namespace QVFoundation::benchmarks
