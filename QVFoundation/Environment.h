#pragma once

/// Everything about the surroundings of a program: texts in the user's language, settings, the system.
///
/// Threads: each header says its own rule.

#include "QVFoundation/environment/QVLocalizableStrings.h"
#include "QVFoundation/environment/QVLocalizedString.h"
#include "QVFoundation/environment/QVSystemInformation.h"
#include "QVFoundation/environment/QVUserDefaults.h"
