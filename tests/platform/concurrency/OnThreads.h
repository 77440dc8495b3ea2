#pragma once

#include <cstddef>
#include <latch>
#include <thread>
#include <vector>

namespace QVFoundation::testing {

/// Runs a body on several threads at once, which it tells apart by their numbers, and waits until all
/// have ended.
template <class Body>
void onThreads(int count, const Body& body) {
  std::latch start(count);
  std::vector<std::jthread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&start, &body, i] {
      start.arrive_and_wait();
      body(i);
    });
  }
}

}  // namespace QVFoundation::testing
