#pragma once

/// Marks what the shared library offers; everything else stays hidden.
#define DATAIO_RECORDING_EXPORT __attribute__((visibility("default")))
