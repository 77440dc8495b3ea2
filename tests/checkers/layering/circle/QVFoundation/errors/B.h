#pragma once

#include "QVFoundation/errors/C.h"

/// Threads: any.
