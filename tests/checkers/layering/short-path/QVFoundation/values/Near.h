#pragma once

#include "Nearer.h"

/// Threads: any.
