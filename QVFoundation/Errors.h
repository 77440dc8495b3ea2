#pragma once

/// Everything about errors.
///
/// Threads: each header says its own rule.

#include "QVFoundation/errors/OptionalText.h"
#include "QVFoundation/errors/QVBlockErrorRecoveryAttempter.h"
#include "QVFoundation/errors/QVCodableError.h"
#include "QVFoundation/errors/QVErrorBuilder.h"
#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/errors/QVErrorInspection.h"
#include "QVFoundation/errors/QVErrorKeys.h"
#include "QVFoundation/errors/QVErrorRecovery.h"
#include "QVFoundation/errors/QVExceptionWrapping.h"
#include "QVFoundation/errors/QVJSONDescription.h"
#include "QVFoundation/platform/concurrency/CancellationError.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "QVFoundation/platform/runtime/FatalError.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/Result.h"
