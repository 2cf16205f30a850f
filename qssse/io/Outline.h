#pragma once
#include <string>
#include <vector>

#include "qssse/io/IoExport.h"
#include "qssse/io/MeshFile.h"

// Outlines (closed rings of 3-D points) as plain text in and out, and pictures of them as SVG.
namespace qssse::io {

using OutlinePoints = std::vector<Vertex>;

// One point per line, "x y z" or "x y" (z = 0), separated by spaces, tabs or commas; blank lines and
// lines starting with '#' are skipped. The ring is closed implicitly: a last point equal to the first
// is dropped (repeatedly). Fewer than 3 points, a malformed line or a non-finite value throw
// CIoException(file, ...).
QSSSE_IO_API OutlinePoints ParseOutlineText(const std::string& text, const std::string& file);
// One "x y z" line per point, 9 significant digits (every float reads back exactly).
QSSSE_IO_API std::string EncodeOutlineText(const OutlinePoints& points);
// Reads the file as outline text; a file that DetectFileKind recognises as something else (a mesh, a
// height field, binary data) throws CIoException saying what it is.
QSSSE_IO_API OutlinePoints ReadOutline(const std::string& path);

// One ring of an SVG picture, drawn in x/y.
struct SvgRing {
  OutlinePoints points;
  std::string stroke = "#1f5fbf";
  std::string fill = "none";
  bool closed = true;
};

// One line of a picture's legend: a sample of a ring's stroke and fill, and what the ring is.
struct SvgLegendEntry {
  std::string label;
  std::string stroke = "#1f5fbf";
  std::string fill = "none";
};

// A standalone SVG showing the rings over the box [0, width] x [0, height] (or their bounds when the
// box is empty), with a light frame; the largest y at the top, like the raster pictures (the points are
// written as they are, inside a group that mirrors them). The legend's entries, when there are any, are
// listed in a band below the frame (text escaped for XML).
QSSSE_IO_API std::string EncodeSvg(const std::vector<SvgRing>& rings, double width, double height,
                                   const std::vector<SvgLegendEntry>& legend = {});

}  // namespace qssse::io
