#pragma once

/// Marks what the shared library offers; everything else stays hidden.
#define DATAIO_EXPORT __attribute__((visibility("default")))
/// Marks what an exported class keeps to itself: no program can be built against it.
#define DATAIO_HIDDEN __attribute__((visibility("hidden")))
