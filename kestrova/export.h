#pragma once

/// Marks what the shared library exports; everything else is hidden.
#define KESTROVA_EXPORT __attribute__((visibility("default")))

/// Keeps a member of an exported class to the library.
#define KESTROVA_HIDDEN __attribute__((visibility("hidden")))
