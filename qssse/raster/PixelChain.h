#pragma once
#include <vector>

#include "qssse/platform/Export.h"

// One pixel of a chain: its integer position first (outline builders read x and y only).
struct t_chainpixel {
  int x;
  int y;
};

// A chain of boundary pixels traced in a float matrix: the pixels in chain order, with their centre
// and bounding box.
class QSSSE_API CPixelChain {
 public:
  CPixelChain() = default;

  int GetCount() const { return static_cast<int>(pixels.size()); }  // number of pixels
  const t_chainpixel* GetPixels() const { return pixels.data(); }   // the pixel records, chain order
  t_chainpixel* GetPixels() { return pixels.data(); }
  void Clear() { pixels.clear(); }
  void AppendPixel(int x, int y) { pixels.push_back(t_chainpixel{x, y}); }  // adds a pixel at the end

 private:
  std::vector<t_chainpixel> pixels;
};
