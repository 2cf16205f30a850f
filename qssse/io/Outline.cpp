#include "qssse/io/Outline.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

#include "qssse/io/FileBytes.h"
#include "qssse/io/FileKind.h"
#include "qssse/io/IoException.h"

namespace qssse::io {

OutlinePoints ParseOutlineText(const std::string& text, const std::string& file) {
  OutlinePoints points;
  std::size_t pos = 0, lineNo = 0;
  while (pos < text.size()) {
    std::size_t end = text.find('\n', pos);
    if (end == std::string::npos) end = text.size();
    std::string_view line(text.data() + pos, end - pos);
    pos = end + 1;
    ++lineNo;
    float v[3] = {0, 0, 0};
    int n = 0;
    std::size_t i = 0;
    auto separator = [](char c) { return c == ' ' || c == '\t' || c == ',' || c == '\r'; };
    while (i < line.size() && separator(line[i])) ++i;
    if (i == line.size() || line[i] == '#') continue;
    while (i < line.size()) {
      if (n == 3) throw CIoException(file, "line " + std::to_string(lineNo) + ": more than three values");
      const auto [p, ec] = std::from_chars(line.data() + i, line.data() + line.size(), v[n]);
      if (ec != std::errc() || (p < line.data() + line.size() && !separator(*p))) {
        throw CIoException(file, "line " + std::to_string(lineNo) + ": expected numbers 'x y z'");
      }
      if (!std::isfinite(v[n]))
        throw CIoException(file, "line " + std::to_string(lineNo) + ": non-finite value");
      ++n;
      i = static_cast<std::size_t>(p - line.data());
      while (i < line.size() && separator(line[i])) ++i;
    }
    if (n < 2)
      throw CIoException(file, "line " + std::to_string(lineNo) + ": a point needs at least x and y");
    if (points.size() >= (std::size_t{1} << 24)) throw CIoException(file, "more than 2^24 outline points");
    points.push_back({v[0], v[1], v[2]});
  }
  // Every trailing repeat of the first point goes, not just one: the written ring then reads back the same.
  while (points.size() > 1 && points.front() == points.back()) points.pop_back();
  if (points.size() < 3) {
    throw CIoException(file,
                       "an outline needs at least 3 points, this one has " + std::to_string(points.size()));
  }
  return points;
}

std::string EncodeOutlineText(const OutlinePoints& points) {
  std::string out;
  char buf[96];
  for (const Vertex& p : points) {
    std::snprintf(buf, sizeof buf, "%.9g %.9g %.9g\n", p.x, p.y, p.z);
    out += buf;
  }
  return out;
}

OutlinePoints ReadOutline(const std::string& path) {
  const std::vector<unsigned char> bytes = ReadFileBytes(path);
  const FileKind kind = DetectFileKind(bytes, path);
  if (kind != FileKind::OutlineText && kind != FileKind::Unknown) {
    throw CIoException(path,
                       std::string("this is ") + FileKindName(kind) + " data, not an outline text file");
  }
  for (unsigned char c : bytes) {
    if (c == 0) throw CIoException(path, "not an outline text file (binary data)");
  }
  return ParseOutlineText(std::string(bytes.begin(), bytes.end()), path);
}

namespace {

// Text for an XML attribute or element: the five special characters escaped, control characters dropped.
std::string XmlText(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&apos;";
        break;
      default:
        if (static_cast<unsigned char>(c) >= 0x20) out += c;
    }
  }
  return out;
}

}  // namespace

std::string EncodeSvg(const std::vector<SvgRing>& rings, double width, double height,
                      const std::vector<SvgLegendEntry>& legend) {
  double x0 = 0, y0 = 0, x1 = width, y1 = height;
  if (!(width > 0 && height > 0)) {
    x0 = y0 = std::numeric_limits<double>::max();
    x1 = y1 = std::numeric_limits<double>::lowest();
    for (const SvgRing& r : rings) {
      for (const Vertex& p : r.points) {
        x0 = std::min(x0, double{p.x});
        y0 = std::min(y0, double{p.y});
        x1 = std::max(x1, double{p.x});
        y1 = std::max(y1, double{p.y});
      }
    }
    if (x0 > x1) x0 = y0 = 0, x1 = y1 = 1;
  }
  const double stroke = std::max(x1 - x0, y1 - y0) / 400.0;
  // The legend: one line per entry, in a band below the frame.
  const std::vector<SvgLegendEntry>& entries = legend;
  const double font = std::max(x1 - x0, y1 - y0) / 32.0;
  const double band = entries.empty() ? 0.0 : (0.6 + 1.5 * static_cast<double>(entries.size())) * font;
  const double shownHeight = y1 - y0 + band;
  char buf[256];
  std::snprintf(buf, sizeof buf,
                "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"%.6g %.6g %.6g %.6g\" width=\"%d\" "
                "height=\"%d\">\n",
                x0, y0, x1 - x0, shownHeight, 640,
                static_cast<int>(640 * shownHeight / std::max(x1 - x0, 1e-9)));
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  out += buf;
  std::snprintf(buf, sizeof buf,
                "<rect x=\"%.6g\" y=\"%.6g\" width=\"%.6g\" height=\"%.6g\" fill=\"#fafafa\" "
                "stroke=\"#cccccc\" stroke-width=\"%.4g\"/>\n",
                x0, y0, x1 - x0, y1 - y0, stroke);
  out += buf;
  // Mirrored about the box's middle row: the largest y at the top, like the raster pictures.
  std::snprintf(buf, sizeof buf, "<g transform=\"matrix(1 0 0 -1 0 %.9g)\">\n", y0 + y1);
  out += buf;
  for (const SvgRing& r : rings) {
    out += r.closed ? "<polygon" : "<polyline";
    out += " fill=\"" + XmlText(r.fill) + "\" stroke=\"" + XmlText(r.stroke) + "\"";
    std::snprintf(buf, sizeof buf, " stroke-width=\"%.4g\" stroke-linejoin=\"round\" points=\"", 2 * stroke);
    out += buf;
    for (std::size_t i = 0; i < r.points.size(); ++i) {
      std::snprintf(buf, sizeof buf, "%s%.7g,%.7g", i ? " " : "", r.points[i].x, r.points[i].y);
      out += buf;
    }
    out += "\"/>\n";
  }
  out += "</g>\n";
  for (std::size_t k = 0; k < entries.size(); ++k) {
    const SvgLegendEntry& r = entries[k];
    const double y = y1 + (0.6 + 1.5 * static_cast<double>(k)) * font;  // top of the entry's line
    std::snprintf(buf, sizeof buf,
                  "<rect x=\"%.6g\" y=\"%.6g\" width=\"%.6g\" height=\"%.6g\" stroke-width=\"%.4g\"",
                  x0 + 0.5 * font, y + 0.1 * font, 1.6 * font, 0.8 * font, 2 * stroke);
    out += buf;
    out += " fill=\"" + XmlText(r.fill) + "\" stroke=\"" + XmlText(r.stroke) + "\"/>\n";
    std::snprintf(
        buf, sizeof buf,
        "<text x=\"%.6g\" y=\"%.6g\" font-family=\"sans-serif\" font-size=\"%.6g\" fill=\"#222222\">",
        x0 + 2.6 * font, y + 0.85 * font, font);
    out += buf;
    out += XmlText(r.label) + "</text>\n";
  }
  out += "</svg>\n";
  return out;
}

}  // namespace qssse::io
