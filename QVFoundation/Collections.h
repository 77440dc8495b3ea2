#pragma once

/// Everything about collections: mapping, matching, sorting, reordering and copying them, and some of their
/// own.
///
/// Threads: each header says its own rule.

#include "QVFoundation/collections/ObjectComparison.h"
#include "QVFoundation/collections/ObjectSet.h"
#include "QVFoundation/collections/QVArrayConveniences.h"
#include "QVFoundation/collections/QVBatches.h"
#include "QVFoundation/collections/QVCollectionFiltering.h"
#include "QVFoundation/collections/QVCollectionMapping.h"
#include "QVFoundation/collections/QVCollectionMatching.h"
#include "QVFoundation/collections/QVCollectionSorting.h"
#include "QVFoundation/collections/QVDeepCopying.h"
#include "QVFoundation/collections/QVDictionaryConveniences.h"
#include "QVFoundation/collections/QVIndexMap.h"
#include "QVFoundation/collections/QVLazyArray.h"
#include "QVFoundation/collections/QVReordering.h"
#include "QVFoundation/collections/QVSelectionCount.h"
#include "QVFoundation/collections/QVSortMap.h"
#include "QVFoundation/collections/QVWeakArray.h"
#include "QVFoundation/collections/QVWeakDictionary.h"
#include "QVFoundation/collections/QVWeakKeyDictionary.h"
