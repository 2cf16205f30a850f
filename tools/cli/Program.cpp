#include <CLI/CLI.hpp>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "cli/Commands.h"
#include "cli/Error.h"
#include "cli/Subcommand.h"

namespace qssse::tool {

CLI::Validator PositiveNumber() {
  return CLI::Validator(
      [](std::string& text) -> std::string {
        char* end = nullptr;
        const double v = std::strtod(text.c_str(), &end);
        if (text.empty() || *end != '\0' || !(v > 0.0) || !std::isfinite(v))
          return "must be a number above 0, not '" + text + "'";
        return std::string();
      },
      "POSITIVE");
}

CLI::Validator NumberFrom(double lo, double hi) {
  char range[96];
  if (std::isinf(hi))
    std::snprintf(range, sizeof range, "at least %.15g", lo);
  else
    std::snprintf(range, sizeof range, "%.15g to %.15g", lo, hi);
  const std::string bounds = range;
  return CLI::Validator(
      [lo, hi, bounds](std::string& text) -> std::string {
        char* end = nullptr;
        const double v = std::strtod(text.c_str(), &end);
        if (text.empty() || *end != '\0' || !(v >= lo && v <= hi))
          return "must be a number, " + bounds + ", not '" + text + "'";
        return std::string();
      },
      bounds);
}

CLI::Validator AtLeastOne() {
  return CLI::Validator(
      [](std::string& text) -> std::string {
        long long v = 0;
        const auto [p, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
        if (ec != std::errc() || p != text.data() + text.size() || v < 1 || v > 2147483647)
          return "must be a whole number from 1 to 2147483647, not '" + text + "'";
        return std::string();
      },
      "AT LEAST 1");
}

namespace {

void AddRasterInput(CLI::App* c, RasterInputOptions& r) {
  c->add_option_function<double>(
       "--height-scale", [&r](double v) { r.heightScale = v, r.haveHeightScale = true; },
       "height per grey level of a PNG input (default: the file's HeightScale text, else 1)")
      ->check(PositiveNumber());
  c->add_option_function<double>(
      "--height-offset", [&r](double v) { r.heightOffset = v, r.haveHeightOffset = true; },
      "height of grey level 0 of a PNG input (default: the file's HeightOffset text, else 0)");
  c->add_option_function<double>(
      "--nodata", [&r](double v) { r.noData = static_cast<float>(v), r.haveNoData = true; },
      "height that marks pixels without one (e.g. -9999 or --nodata=-inf); such pixels, NaN pixels and "
      "transparent PNG pixels are read as 0, the library's \"no value\", and counted");
}

void AddBits(CLI::App* c, int& bits) {
  c->add_option("--bits", bits, "bit depth of a PNG output, 8 or 16")
      ->check(CLI::IsMember({8, 16}))
      ->capture_default_str();
}

}  // namespace

int RunProgram(int argc, char** argv) {
  CLI::App app{"qssse: height fields, outlines and meshes of restorations, from the command line"};
  app.name("qssse");
  app.require_subcommand(1, 1);
  app.set_help_all_flag("--help-all", "the options of every command");

  DemoOptions demo;
  CLI::App* cDemo = app.add_subcommand("demo", "run the library's round trip on a synthetic restoration");
  cDemo->add_option("--out", demo.outDir, "directory for the pictures, meshes and summary.json")
      ->capture_default_str();
  cDemo->add_option("--size", demo.size, "side of the synthetic height field in pixels")
      ->check(CLI::Range(16, 4096))
      ->capture_default_str();

  MeshOptions mesh;
  CLI::App* cMesh = app.add_subcommand("mesh", "turn a height field into a triangle mesh");
  cMesh->add_option("input", mesh.input, "height field (.pfm, .png, .npy, .qsm)")->required();
  cMesh->add_option("output", mesh.output, "mesh (.stl, .ply, .obj)")->required();
  cMesh
      ->add_option(
          "--threshold", mesh.threshold,
          "height a cell corner must pass to be meshed; auto: just below the lowest height (above the "
          "highest with --below), so the whole field is meshed")
      ->capture_default_str();
  cMesh->add_flag("--below", mesh.below, "keep corners below the threshold instead of above");
  cMesh
      ->add_option_function<int>(
          "--step", [&mesh](int n) { mesh.stepX = mesh.stepY = n; },
          "sample every N-th pixel in x and y (default 1)")
      ->check(CLI::Range(1, 1024));
  cMesh->add_option("--step-x", mesh.stepX, "sample every N-th column (overrides --step)")
      ->check(CLI::Range(1, 1024));
  cMesh->add_option("--step-y", mesh.stepY, "sample every N-th row (overrides --step)")
      ->check(CLI::Range(1, 1024));
  cMesh->add_option("--outline", mesh.outline,
                    "clip the mesh to this outline (text, x y z per line, in pixels; the builder tests every "
                    "fourth point, so sample it densely)");
  cMesh->add_option("--scale-x", mesh.scaleX, "x size of a pixel")
      ->check(PositiveNumber())
      ->capture_default_str();
  cMesh->add_option("--scale-y", mesh.scaleY, "y size of a pixel")
      ->check(PositiveNumber())
      ->capture_default_str();
  cMesh->add_option("--scale-z", mesh.scaleZ, "factor on the heights (not 0)")->capture_default_str();
  AddRasterInput(cMesh, mesh.raster);

  ScanOptions scan;
  CLI::App* cScan = app.add_subcommand("scan",
                                       "scan-convert a triangle mesh into a height field (pixel (0, 0) at "
                                       "the mesh's lowest x and y)");
  cScan->add_option("input", scan.input, "mesh (.stl, .ply, .obj)")->required();
  cScan->add_option("output", scan.output, "height field (.pfm, .png, .npy, .qsm)")->required();
  cScan->add_option("--resolution", scan.resolution, "mesh units per pixel")
      ->check(PositiveNumber())
      ->capture_default_str();
  cScan->add_option("--width", scan.width, "raster width (default: the mesh's extent)")->check(AtLeastOne());
  cScan->add_option("--height", scan.height, "raster height (default: the mesh's extent)")
      ->check(AtLeastOne());
  cScan->add_option("--z-offset", scan.zOffset, "added to every height; pixels no triangle covers stay 0")
      ->capture_default_str();
  cScan->add_flag("--min", scan.minimum, "keep the lowest surface instead of the highest");
  cScan->add_option("--method", scan.method, "zbuffer, stamp or stamp-refined (see below)")
      ->check(CLI::IsMember({"zbuffer", "stamp", "stamp-refined"}))
      ->capture_default_str();
  cScan->add_flag("--threads", scan.threads, "stamp methods: convert on ten worker threads (the same result)");
  cScan
      ->add_option_function<std::string>(
          "--nodata-out", [&scan](const std::string& v) { scan.noDataNaN = v == "nan"; },
          "value of the pixels no triangle covers: 0 (default) or nan (transparent in a PNG)")
      ->check(CLI::IsMember({"0", "nan"}));
  AddBits(cScan, scan.bits);
  cScan->footer(
      "Methods:\n"
      "  zbuffer        every pixel whose centre a triangle covers gets the surface's height there, others 0;\n"
      "                 one pixel per grid point (a mesh of an n x m field comes back n x m), heights the mesh's z\n"
      "  stamp          samples about one per pixel diagonal, each stamped as a five-pixel cross: up to two pixels\n"
      "                 too wide and too high on slopes; heights above the lowest point; last row and column dropped\n"
      "  stamp-refined  stamp, then every pixel whose centre a triangle covers set to the exact height and every\n"
      "                 other pixel to 0 (no halo); heights above the lowest point, the size of stamp");

  FillOptions fill;
  CLI::App* cFill =
      app.add_subcommand("fill",
                         "fill an outline into a mask or height raster (the cells inside by the library's "
                         "fill rule; parts of the outline beyond the raster paint its border cells)");
  cFill->add_option("input", fill.input, "outline (text, x y z per line; x and y in pixels)")->required();
  cFill->add_option("output", fill.output, "raster (.pfm, .png, .npy, .qsm)")->required();
  cFill->add_option("--width", fill.width, "raster width (default: the outline's extent)")
      ->check(AtLeastOne());
  cFill->add_option("--height", fill.height, "raster height (default: the outline's extent)")
      ->check(AtLeastOne());
  cFill->add_option("--value", fill.value, "value of the inside")->capture_default_str();
  cFill->add_flag("--heights", fill.heights, "fill with heights interpolated from the outline's z");
  AddBits(cFill, fill.bits);

  MorphOptions morph;
  CLI::App* cMorph = app.add_subcommand("morph",
                                        "chamfer distances, erosion and dilation over a disc, thinning, "
                                        "median filter or rescaling of a raster");
  cMorph->add_option("op", morph.op, "chamfer | erode | dilate | thin | median | scale")
      ->required()
      ->check(CLI::IsMember({"chamfer", "erode", "dilate", "thin", "median", "scale"}));
  cMorph->add_option("input", morph.input, "raster (.pfm, .png, .npy, .qsm)")->required();
  cMorph->add_option("output", morph.output, "raster (.pfm, .png, .npy, .qsm)")->required();
  cMorph
      ->add_option(
          "--radius", morph.radius,
          "erode/dilate: radius of the disc in pixels (dx^2 + dy^2 <= radius^2; below 1 changes nothing)")
      ->check(PositiveNumber())
      ->capture_default_str();
  cMorph
      ->add_option_function<float>(
          "--binary", [&morph](float t) { morph.binary = true, morph.binaryThreshold = t; },
          "erode/dilate: the binary forms on the region of the pixels above THRESHOLD (result 1 and 0)")
      ->type_name("THRESHOLD");
  cMorph
      ->add_option("--threshold", morph.threshold,
                   "thin: pixels above it are foreground; thinning repeats until no pixel changes")
      ->capture_default_str();
  cMorph->add_flag("--inside", morph.inside, "chamfer: distance of each region pixel to the background");
  cMorph
      ->add_option("--units", morph.units,
                   "chamfer: pixels (1 per step, 4/3 per diagonal) or chamfer (3 and 4)")
      ->check(CLI::IsMember({"pixels", "chamfer"}))
      ->capture_default_str();
  cMorph->add_option("--median", morph.median, "median window, 3 or 5")
      ->check(CLI::IsMember({3, 5}))
      ->capture_default_str();
  cMorph->add_option("--width", morph.width, "scale: new width")->check(AtLeastOne());
  cMorph->add_option("--height", morph.height, "scale: new height")->check(AtLeastOne());
  cMorph->footer(
      "erode and dilate give every pixel the minimum, respectively maximum, of the disc around it "
      "(clipped at the border; NaN pixels are skipped).\nchamfer gives every pixel its distance to the "
      "nearest non-zero pixel (--inside: every non-zero pixel its distance to the nearest zero one). It "
      "clears a frame to 0: the 4 left and 5 right columns, the top 4 rows and the bottom 4 to 7 rows (4 "
      "plus the height mod 4). Without any pixel to measure to, the inside keeps 33333.3 (99999.9 in "
      "chamfer units).");
  AddRasterInput(cMorph, morph.raster);
  AddBits(cMorph, morph.bits);

  InfoOptions info;
  CLI::App* cInfo = app.add_subcommand("info", "describe height fields, meshes and outlines");
  cInfo->add_option("files", info.files, "files to describe")->required();
  AddRasterInput(cInfo, info.raster);

  // Commands that live in files of their own.
  std::vector<Subcommand> more;
  more.push_back(AddHull(app));
  more.push_back(AddDelaunay(app));
  more.push_back(AddTriangulate(app));
  more.push_back(AddOffset(app));
  more.push_back(AddLoft(app));
  more.push_back(AddBorder(app));

  // Without a command, or with a word that names none, the answer lists the commands.
  std::string commands;
  bool known = false;
  for (const CLI::App* sub : app.get_subcommands({})) {
    commands += (commands.empty() ? "" : ", ") + sub->get_name();
    known = known || (argc > 1 && sub->get_name() == argv[1]);
  }
  if (argc < 2 || (!known && argv[1][0] != '-')) {
    std::fprintf(stderr, "qssse: %s; the commands are %s (try 'qssse --help')\n",
                 argc < 2 ? "a command is needed" : ("'" + OneLine(argv[1]) + "' is not a command").c_str(),
                 commands.c_str());
    return kExitUsage;
  }

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    std::string where = "qssse";
    for (const CLI::App* sub : app.get_subcommands()) where += " " + sub->get_name();
    const std::string list = where == "qssse" ? "; the commands are " + commands : "";
    std::fprintf(stderr, "%s: %s%s (try '%s --help')\n", where.c_str(), OneLine(e.what()).c_str(),
                 list.c_str(), where.c_str());
    return kExitUsage;
  }

  const CLI::App* chosen = app.get_subcommands().front();
  const std::string name = chosen->get_name();
  try {
    if (chosen == cDemo) return RunDemo(demo);
    if (chosen == cMesh) return RunMesh(mesh);
    if (chosen == cScan) return RunScan(scan);
    if (chosen == cFill) return RunFill(fill);
    if (chosen == cMorph) return RunMorph(morph);
    if (chosen == cInfo) return RunInfo(info);
    for (const Subcommand& c : more) {
      if (chosen == c.app) return c.run();
    }
    return kExitUsage;
  } catch (const Unavailable& e) {
    std::fflush(stdout);
    std::fprintf(stderr, "qssse %s: %s\n", name.c_str(), OneLine(e.what()).c_str());
    return kExitUnavailable;
  } catch (const std::exception& e) {
    std::fflush(stdout);
    std::fprintf(stderr, "qssse %s: %s\n", name.c_str(), OneLine(e.what()).c_str());
    return kExitFailed;
  }
}

}  // namespace qssse::tool
