#pragma once

/// Everything about logging.
///
/// Threads: each header says its own rule.

#include "QVFoundation/logging/QVArrayCompositeLogWriter.h"
#include "QVFoundation/logging/QVFileHandleLogWriter.h"
#include "QVFoundation/logging/QVLogBasicFormatter.h"
#include "QVFoundation/logging/QVLogFile.h"
#include "QVFoundation/logging/QVLogFilter.h"
#include "QVFoundation/logging/QVLogFormatter.h"
#include "QVFoundation/logging/QVLogLevelFilter.h"
#include "QVFoundation/logging/QVLogManager.h"
#include "QVFoundation/logging/QVLogManagerDelegate.h"
#include "QVFoundation/logging/QVLogNoFilter.h"
#include "QVFoundation/logging/QVLogStandardFormatter.h"
#include "QVFoundation/logging/QVLogWriter.h"
#include "QVFoundation/logging/QVLogger.h"
#include "QVFoundation/logging/QVLoggerLevel.h"
#include "QVFoundation/logging/QVOSLogWriter.h"
#include "QVFoundation/logging/QVToggleLogWriter.h"
