#!/usr/bin/python3
"""compare_triangles.py MESH.obj IN.nc: how many of a file's own triangles a triangulation of its points has.

IN.nc holds points (`lon` and `lat`) and triangles of them (`ele`, from 1). Needs the package python3-netcdf4, hence
the system's own Python.
"""
import sys

import netCDF4


def place(x, y):
    return f"{float(x):.4f}", f"{float(y):.4f}"


def read_mesh(path):
    """The triangles as sets of places."""
    nodes, triangles = [], set()
    with open(path, encoding="ascii") as lines:
        for kind, *words in filter(None, map(str.split, lines)):
            if kind == "v":
                nodes.append(place(*words[:2]))
            elif kind == "f":
                triangles.add(frozenset(nodes[int(word) - 1] for word in words))
    return triangles


def main(mesh, source):
    made = read_mesh(mesh)
    with netCDF4.Dataset(source) as data:
        nodes = [place(*point) for point in zip(data["lon"][:], data["lat"][:], strict=True)]
        published = {frozenset(nodes[node - 1] for node in triangle) for triangle in data["ele"][:]}
    shared = len(made & published)
    print(
        f"{shared} of the {len(published)} published triangles are among ours ({100 * shared / len(published):.1f} %), "
        f"{len(published) - shared} are others; we have {len(made) - shared} more"
    )


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit("usage: compare_triangles.py MESH.obj IN.nc")
    main(sys.argv[1], sys.argv[2])
