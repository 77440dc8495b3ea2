#pragma once

namespace QVFoundation {

/// How much somebody waits for a piece of work. Of what waits for a thread, the more urgent goes first.
///
/// Threads: a plain value.
enum class QualityOfService : unsigned char {
  background,       ///< nobody waits: cleaning up, indexing
  utility,          ///< somebody looks at its progress from time to time
  standard,         ///< what says nothing about itself
  userInitiated,    ///< somebody has asked for it and waits
  userInteractive,  ///< somebody is looking at what it draws
};

}  // namespace QVFoundation
