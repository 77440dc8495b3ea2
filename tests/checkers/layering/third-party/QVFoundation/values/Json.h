#pragma once

#include <nlohmann/json.hpp>

/// Threads: any.
