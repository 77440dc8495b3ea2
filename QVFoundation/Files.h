#pragma once

/// Everything about files and paths.
///
/// Threads: each header says its own rule.

#include "QVFoundation/files/QVPathUtilities.h"
#include "QVFoundation/files/QVStandardDirectories.h"
#include "QVFoundation/files/QVURLProperties.h"
