#pragma once

/// Everything about files and paths.
///
/// Threads: each header says its own rule.

#include "QVFoundation/files/PNAlias.h"
#include "QVFoundation/files/QVDictionaryFiles.h"
#include "QVFoundation/files/QVDirectoryIteration.h"
#include "QVFoundation/files/QVDirectoryPruning.h"
#include "QVFoundation/files/QVExtendedAttributes.h"
#include "QVFoundation/files/QVFileManagerUtilities.h"
#include "QVFoundation/files/QVFileMeasures.h"
#include "QVFoundation/files/QVFileNaming.h"
#include "QVFoundation/files/QVPathUtilities.h"
#include "QVFoundation/files/QVStandardDirectories.h"
#include "QVFoundation/files/QVURLContents.h"
#include "QVFoundation/files/QVURLProperties.h"
#include "QVFoundation/files/QVVolumes.h"
