#pragma once

/// Threads: none are involved.
struct Lonely {};
