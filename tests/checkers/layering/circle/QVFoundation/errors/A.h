#pragma once

#include "QVFoundation/errors/B.h"

/// Threads: any.
