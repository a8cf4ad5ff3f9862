"""Renders a mesh coloured by its smoothed curvature, with its sharp edges
drawn in black, to a PNG (matplotlib, no display needed).

    python3 render_curvature.py [MESH] [--out curvature.png] [--angle 30]

Without MESH it draws a torus made here.
"""
import argparse

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402
from mpl_toolkits.mplot3d.art3d import Line3DCollection, Poly3DCollection  # noqa: E402

import zelkov  # noqa: E402


def torus(nu=90, nv=36):
    u, v = np.meshgrid(np.linspace(0, 2 * np.pi, nu, endpoint=False), np.linspace(0, 2 * np.pi, nv, endpoint=False),
                       indexing="ij")
    ring = 1 + 0.4 * np.cos(v)
    points = np.stack([ring * np.cos(u), ring * np.sin(u), 0.4 * np.sin(v)], -1).reshape(-1, 3)
    i, j = np.meshgrid(np.arange(nu), np.arange(nv), indexing="ij")
    a, b, c, d = i * nv + j, (i + 1) % nu * nv + j, (i + 1) % nu * nv + (j + 1) % nv, i * nv + (j + 1) % nv
    return zelkov.Mesh(points, np.concatenate([np.stack([a, b, c], -1), np.stack([a, c, d], -1)]).reshape(-1, 3))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("mesh", nargs="?")
    parser.add_argument("--out", default="curvature.png")
    parser.add_argument("--angle", type=float, default=30.0, help="sharp-edge angle in degrees")
    args = parser.parse_args()

    mesh, _ = zelkov.weld(zelkov.read(args.mesh) if args.mesh else torus(), remove_degenerate=True)
    found = zelkov.features(mesh, sharp_angle_degrees=args.angle)
    corners = mesh.triangles.astype(np.intp)
    value = np.nanmean(found.smoothed_curvature[corners], axis=1)
    low, high = np.nanpercentile(value, [2, 98])
    colours = plt.get_cmap("coolwarm")(np.clip((value - low) / (high - low or 1.0), 0, 1))
    # Some light from the viewer's side, so that the shape reads.
    light = np.array([0.4, -0.6, 0.7]) / np.linalg.norm([0.4, -0.6, 0.7])
    colours[:, :3] *= (0.55 + 0.45 * np.abs(zelkov.normal(mesh) @ light))[:, None]

    figure = plt.figure(figsize=(4.2, 4.2), dpi=100)
    axes = figure.add_subplot(projection="3d")
    points = mesh.vertices
    axes.add_collection3d(Poly3DCollection(points[corners], facecolors=colours, edgecolors="none"))
    edges, sharp = zelkov.is_sharp_edge(mesh, angle_degrees=args.angle)
    axes.add_collection3d(Line3DCollection(points[edges[sharp].astype(np.intp)], colors="black", linewidths=0.6))
    box = zelkov.bounding_volume(mesh)
    centre, half = box.mean(axis=0), (box[1] - box[0]).max() / 2
    axes.set(xlim=(centre[0] - half, centre[0] + half), ylim=(centre[1] - half, centre[1] + half),
             zlim=(centre[2] - half, centre[2] + half))
    axes.set_box_aspect((1, 1, 1), zoom=1.35)
    axes.view_init(elev=25, azim=-60)
    axes.set_axis_off()
    figure.subplots_adjust(0, 0, 1, 1)
    figure.savefig(args.out)
    print(f"{args.out}: {mesh.triangle_count} triangles, {found.sharp_edges} sharp edges")


if __name__ == "__main__":
    main()
