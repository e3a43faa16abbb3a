#pragma once

/// Marks what the shared library exports; everything else is hidden.
#define KESTROVA_EXPORT __attribute__((visibility("default")))
