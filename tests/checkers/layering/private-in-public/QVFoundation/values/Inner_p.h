#pragma once


/// Threads: any.
