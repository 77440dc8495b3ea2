#pragma once

/// The whole library.
///
/// Threads: each header says its own rule.

#include "QVFoundation/Collections.h"
#include "QVFoundation/Environment.h"
#include "QVFoundation/Errors.h"
#include "QVFoundation/Files.h"
#include "QVFoundation/Logging.h"
#include "QVFoundation/Observation.h"
#include "QVFoundation/Operations.h"
#include "QVFoundation/Platform.h"
#include "QVFoundation/Values.h"
#include "QVFoundation/Version.h"
