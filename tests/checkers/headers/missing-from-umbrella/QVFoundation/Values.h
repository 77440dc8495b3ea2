#pragma once

/// Everything about values.
///
/// Threads: none are involved.
