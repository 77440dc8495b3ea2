#pragma once

#include "QVFoundation/errors/High.h"

/// Threads: any.
