#pragma once

#include "QVFoundation/values/Inner_p.h"

/// Threads: any.
