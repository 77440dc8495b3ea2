#pragma once

/// Everything about operations.
///
/// Threads: each header says its own rule.

#include "QVFoundation/operations/DeadlineExceededError.h"
#include "QVFoundation/operations/QVAnyProcessIOHandle.h"
#include "QVFoundation/operations/QVAnyResult.h"
#include "QVFoundation/operations/QVAsyncBlockOperation.h"
#include "QVFoundation/operations/QVAsyncOperation.h"
#include "QVFoundation/operations/QVAsyncSemaphore.h"
#include "QVFoundation/operations/QVCalculateFolderSizeOperation.h"
#include "QVFoundation/operations/QVDeadline.h"
#include "QVFoundation/operations/QVOperation.h"
#include "QVFoundation/operations/QVOperationConditionName.h"
#include "QVFoundation/operations/QVOperationProtocol.h"
#include "QVFoundation/operations/QVProcessDataCollector.h"
#include "QVFoundation/operations/QVProcessIOHandle.h"
#include "QVFoundation/operations/QVProcessOperation.h"
#include "QVFoundation/operations/QVProcessStreamCollector.h"
#include "QVFoundation/operations/QVProgress.h"
#include "QVFoundation/operations/QVProgressMirror.h"
#include "QVFoundation/operations/QVProgressSegmentName.h"
#include "QVFoundation/operations/QVProgressUtilities.h"
#include "QVFoundation/operations/QVStopInDebugger.h"
#include "QVFoundation/operations/QVTimingInfo.h"
#include "QVFoundation/operations/QVTimingName.h"
#include "QVFoundation/operations/QVUndoableOperation.h"
#include "QVFoundation/operations/QVUndoableOperationPlaceholder.h"
#include "QVFoundation/operations/StaticName.h"
#include "QVFoundation/operations/XRCopyFileDelegate.h"
#include "QVFoundation/operations/XRCopyFileOperation.h"
