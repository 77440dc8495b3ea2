#pragma once

/// Everything about operations.
///
/// Threads: each header says its own rule.

#include "QVFoundation/operations/QVProgressSegmentName.h"
#include "QVFoundation/operations/QVTimingInfo.h"
#include "QVFoundation/operations/QVTimingName.h"
#include "QVFoundation/operations/StaticName.h"
