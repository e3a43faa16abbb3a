#pragma once

#include <kestrova/kestrova.h>

#include <iosfwd>
#include <string>

/// Paints what a text says, line by line; a line that cannot be read is refused by name and number before anything is
/// painted. Empty lines and what follows a # are skipped. Numbers are in pixels of the picture.
///
///   fill VALUE                 the whole mask, 0..255
///   invert                     the whole mask
///   stroke [KEY=VALUE...] : X,Y [X,Y...]
///                              a stroke along the points; keys: value (0..255), outer and inner (radii, inner not
///                              above outer and half of it by default), opacity (0..1), tolerance (0 for none; 0.5
///                              stops at clear edges)
///   undo                       takes back the fill, inversion or stroke before
///
/// Throws Refusal.
void paintStrokes(std::istream& text, const std::string& name, TDrawMask& mask);

/// What is painted over the bundled photograph.
extern const char* const kFlowerStrokes;
