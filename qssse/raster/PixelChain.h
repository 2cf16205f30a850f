#pragma once
#include <vector>

#include "qssse/platform/Export.h"

class CSSEMatrix;

// One pixel of a chain: its integer position first (outline builders read x and y only).
struct t_chainpixel {
  int x;
  int y;
};

// A chain of boundary pixels traced in a float matrix: the pixels in chain order, with their centre
// and bounding box.
//
// Tracing (TraceChains): the region is the set of pixels strictly above a threshold (NaN pixels are
// outside), connected through all eight neighbours. Each region gives one chain: its OUTER boundary
// (holes are not traced), traced by Moore-neighbour following from its first pixel in row order and
// stopped when the first move repeats (Jacob's criterion). Seen in (x, y) the chain runs with positive
// signed area (counter-clockwise with y pointing up), the orientation outlines use. A pixel is listed
// once per visit, so a one-pixel-wide part is walked out and back and lists its pixels twice; a lone
// pixel gives a chain of one pixel. The chain is not closed by repeating its first pixel.
class QSSSE_API CPixelChain {
 public:
  CPixelChain() = default;

  int GetCount() const { return static_cast<int>(pixels.size()); }  // number of pixels
  const t_chainpixel* GetPixels() const { return pixels.data(); }   // the pixel records, chain order
  t_chainpixel* GetPixels() { return pixels.data(); }
  void Clear() { pixels.clear(); }
  void AppendPixel(int x, int y) { pixels.push_back(t_chainpixel{x, y}); }  // adds a pixel at the end

  // Replaces chains by the outer boundary chains of the regions of m above threshold, in the row order
  // of their first pixels, each with its centre and box computed; returns their number. A matrix
  // without pixels or a NaN threshold gives no chain.
  static int TraceChains(const CSSEMatrix& m, float threshold, std::vector<CPixelChain>& chains);

  // Computes the centre (mean of the pixel positions, in double) and the bounding box from the pixels;
  // an empty chain gets centre (0, 0) and the empty box min (0, 0), max (-1, -1). Not updated by
  // AppendPixel: call it after editing a chain.
  void CalcCenterAndBoundingBox();
  float GetCenterX() const { return centerX; }
  float GetCenterY() const { return centerY; }
  // Inclusive pixel box of the chain, as of the last CalcCenterAndBoundingBox.
  void GetBoundingBox(int* minXOut, int* minYOut, int* maxXOut, int* maxYOut) const;

 private:
  std::vector<t_chainpixel> pixels;
  float centerX = 0.0f;
  float centerY = 0.0f;
  int minX = 0;
  int minY = 0;
  int maxX = -1;
  int maxY = -1;
};
