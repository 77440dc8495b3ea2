#pragma once

#include <string>

/// Threads: any.
