#pragma once

/// Everything about observation: blocks and managers that observe, key paths.
///
/// Threads: each header says its own rule.

#include "QVFoundation/observation/KDBlockObservation.h"
#include "QVFoundation/observation/KeyPathPublisher.h"
#include "QVFoundation/observation/QVKeyPath.h"
#include "QVFoundation/observation/QVKeyPathUtils.h"
#include "QVFoundation/observation/QVObservationInfo.h"
#include "QVFoundation/observation/QVObservationManager.h"
#include "QVFoundation/platform/application/NSNotificationCenter.h"
#include "QVFoundation/platform/application/Publisher.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/MutableArrayProxy.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"
