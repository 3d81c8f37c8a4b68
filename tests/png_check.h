// Just enough of PNG to tell a real screenshot from a blank one: the
// image's size and the number of distinct colours of its pixels.
#ifndef IR_TESTS_PNG_CHECK_H
#define IR_TESTS_PNG_CHECK_H

#include <string>

struct PngSummary {
  std::string error;  // "" when the image was read
  unsigned width = 0;
  unsigned height = 0;
  // Distinct RGB(A) values among the pixels, counted up to 1000.
  unsigned colours = 0;
};

// Reads an 8-bit RGB or RGBA, non-interlaced PNG (what Chromium writes).
PngSummary summarize_png(const std::string& bytes);

#endif
