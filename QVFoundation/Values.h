#pragma once

/// Everything about values and the library's own objects.
///
/// Threads: each header says its own rule.

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/KeyValueCoding.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSNumber.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/values/HexUtils.h"
#include "QVFoundation/values/QVBundleVersion.h"
#include "QVFoundation/values/QVCarbonTypes.h"
#include "QVFoundation/values/QVCompoundValueTransformer.h"
#include "QVFoundation/values/QVHexNumberFormatter.h"
#include "QVFoundation/values/QVHexStringValueTransformer.h"
#include "QVFoundation/values/QVInfoDictionary.h"
#include "QVFoundation/values/QVInfoDictionaryCoding.h"
#include "QVFoundation/values/QVObject.h"
#include "QVFoundation/values/QVValueTransformers.h"
#include "QVFoundation/values/QVVersionNumber.h"
