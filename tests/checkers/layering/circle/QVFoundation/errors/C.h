#pragma once

#include "QVFoundation/errors/A.h"

/// Threads: any.
