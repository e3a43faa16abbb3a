#pragma once

/// Marks what `libkestrova_photo` exports; all else is hidden.
#define KESTROVA_PHOTO_EXPORT __attribute__((visibility("default")))

/// Keeps a member of an exported class to the library.
#define KESTROVA_PHOTO_HIDDEN __attribute__((visibility("hidden")))
