#pragma once

/// Marks what `libkestrova_photo` exports; all else is hidden.
#define KESTROVA_PHOTO_EXPORT __attribute__((visibility("default")))
