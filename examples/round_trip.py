#!/usr/bin/python3
"""The library's central round trip on a synthetic crown, scripted with NumPy.

A crown height field and its margin outline are made with NumPy; the outline is filled into a mask,
the field becomes a mesh clipped to the margin, the mesh is moved into millimetres and written as STL
and PLY, scan-converted back into a height field and compared with the crown; then morphology on the
mask, the 3-D hull and footprint of the mesh, and the restoration angle from an octree.

    make python
    PYTHONPATH=build/python /usr/bin/python3 examples/round_trip.py [--size 320] [--out out-python]
"""
import argparse
import os
import time

import numpy as np

import qssse


def smooth_step(e0, e1, x):
    t = np.clip((x - e0) / (e1 - e0), 0.0, 1.0)
    return t * t * (3 - 2 * t)


def margin_radius(size, theta):
    """A rounded, slightly lobed ring, as a molar's margin seen from above."""
    return 0.40 * size * (1 + 0.07 * np.cos(2 * theta) + 0.035 * np.cos(3 * theta + 0.6) + 0.02 * np.sin(5 * theta))


def synthetic_crown(size):
    """(heights in mm as float32 (size, size), margin points (n, 3), pixel size in mm)."""
    c = 0.5 * (size - 1)
    y, x = np.mgrid[0:size, 0:size].astype(np.float64)
    dx, dy = x - c, y - c
    s = np.hypot(dx, dy) / margin_radius(size, np.arctan2(dy, dx))
    wall = 0.6 + (5.0 - 0.6) * np.sqrt(smooth_step(1.0, 0.72, s))  # side wall from the margin to 5 mm
    u, v = dx / (0.40 * size), dy / (0.40 * size)
    occlusal = sum(k * np.exp(-((u - cu) ** 2 + (v - cv) ** 2) / (2 * 0.2**2))
                   for cu, cv, k in [(-0.33, -0.30, 1.7), (0.35, -0.28, 1.45), (-0.30, 0.34, 1.3), (0.33, 0.32, 1.55)])
    fissure = v - 0.05 * np.sin(4 * u)
    occlusal -= 0.55 * np.exp(-fissure**2 / (2 * 0.06**2)) * smooth_step(0.9, 0.4, s)
    heights = np.where(s < 1.0, wall + occlusal * smooth_step(0.95, 0.7, s), 0.0).astype(np.float32)
    t = np.linspace(0, 2 * np.pi, max(12, int(np.pi * 0.40 * size)), endpoint=False)
    r = margin_radius(size, t)
    margin = np.stack([c + r * np.cos(t), c + r * np.sin(t), np.full_like(t, 0.6)], axis=1)
    return heights, margin, 12.0 / size


class Steps:
    def __init__(self):
        self.start = time.perf_counter()

    def __call__(self, name, detail):
        now = time.perf_counter()
        print(f"  {name:<22} {detail:<62} {1e3 * (now - self.start):8.2f} ms")
        self.start = time.perf_counter()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--size", type=int, default=320)
    parser.add_argument("--out", default="out-python")
    args = parser.parse_args()
    os.makedirs(args.out, exist_ok=True)
    out = lambda name: os.path.join(args.out, name)
    print(f"qssse {qssse.__version__}: a synthetic crown of {args.size} x {args.size} pixels, into {args.out}/")

    step = Steps()
    heights, margin_points, pixel = synthetic_crown(args.size)
    margin = qssse.Polygon3d(margin_points)
    qssse.write_height_field(out("crown.pfm"), heights)
    qssse.write_outline(out("margin.txt"), margin)
    step("synthetic crown", f"{np.count_nonzero(heights)} pixels inside, margin of {len(margin)} points")

    mask = qssse.Matrix(args.size, args.size)
    margin.draw_in_matrix_and_fill_fine(1.0, mask)
    step("fill outline", f"{mask.num_values_above(0.5)} pixels inside the margin")

    mesh = qssse.Mesh.from_height_field(heights, threshold=0.0, outline=margin)  # pixel units
    lo = mesh.min_point
    i0, j0, z0 = int(lo[1]), int(lo[0]), lo[2]  # the pixel and height of the mesh's lowest corner
    mesh.calc_neighbours()
    step("mesh from heights", f"{mesh.num_triangles} triangles, {np.count_nonzero(mesh.marks == 13)} on the border")

    centre = 0.5 * (args.size - 1) * pixel
    mesh.blow_triangulation(pixel, pixel, 1.0)
    mesh.shift_triangulation(-centre, -centre, -0.6)  # centred, the margin at z = 0
    mesh.write(out("crown.stl"))
    mesh.write(out("crown.ply"))
    vertices, faces = mesh.to_arrays()
    step("edit mesh", f"in mm, centred; {len(vertices)} vertices after welding, written as STL and PLY")

    mesh.set_scan_conv_resolution(pixel, pixel, 1.0)
    scan = mesh.scan_convert_triangulation_max(z_offset=z0)
    plain = scan.to_numpy()
    mesh.refine_scan_conv_image_top(scan, z_offset=z0)
    back = scan.to_numpy()
    crown = heights[i0 : i0 + back.shape[0], j0 : j0 + back.shape[1]]
    interior = qssse.Matrix(crown)  # the pixels whose 5 x 5 neighbourhood carries heights
    interior.minimum_filter_disc(2.9)
    inner = interior.to_numpy() > 0
    inner[[0, 1, -2, -1], :] = inner[:, [0, 1, -2, -1]] = False
    step("scan conversion", f"{back.shape[1]} x {back.shape[0]}, max |diff| {np.abs(plain - crown)[inner].max():.3g} mm "
         f"(crosses), refined {np.abs(back - crown)[inner].max():.2g} mm")
    qssse.write_height_field(out("scan.npy"), back)

    distance = qssse.Matrix(1.0 - mask.to_numpy())  # distances to the nearest 1: the outside
    distance.chamfer()
    eroded = mask.copy()
    eroded.errode(8.0, 0.0, 1.0)
    opened = qssse.Matrix(heights)
    opened.minimum_filter_disc(4.0)
    opened.maximum_filter_disc(4.0)
    step("morphology", f"deepest inside {distance.calc_min_max_values()[0]:.0f} (3 per step), erosion r 8: "
         f"{mask.num_values_above(0.5)} -> {eroded.num_values_above(0.5)}, opening r 4")

    hull = qssse.ConvexHull3D(vertices[::8], scale=100.0)  # every eighth vertex, at 0.01 mm
    footprint = qssse.FootprintHull(mesh)
    step("hulls", f"3-D hull of {hull.num_vertices} vertices and {hull.num_faces} faces; footprint of "
         f"{len(footprint)} points")

    lo, hi = mesh.min_point, mesh.max_point
    tree = qssse.RestorationOctree(hi, lo, max(np.subtract(hi, lo)) / 32)  # five levels
    tree.calculate_octree_entries(mesh, 0)
    angle = tree.calc_approximate_max_restoration_angle(mesh, 0)
    step("restoration angle", f"{np.degrees(angle):.1f} degrees from an octree of {tree.num_levels} levels")
    print(f"  files in {args.out}/: {', '.join(sorted(os.listdir(args.out)))}")


if __name__ == "__main__":
    main()
