#!/usr/bin/python3
"""netcdf_cells_to_vtk.py IN.nc OUT.vtk VARIABLE=NAME: a variable on triangles of a sphere as a mesh that the tool reads.

IN.nc holds the longitudes and latitudes of each triangle's corners in radians, and `wet_c`, 1 where there are data; of
the variable the first time and depth are taken. The sphere has the radius 1; cells without data are nan. Needs the
package python3-netcdf4, hence the system's own Python.
"""
import sys

import netCDF4
import numpy


def read_cells(path, variable):
    """Coordinates of the nodes, the triangles' nodes from 0, and a value a triangle."""
    with netCDF4.Dataset(path) as data:
        lon, lat = (numpy.asarray(data[name][:]) for name in ("clon_vertices", "clat_vertices"))
        values = numpy.asarray(data[variable][0, 0])
        wet = numpy.asarray(data["wet_c"][0])
    corners = numpy.stack([numpy.cos(lat) * numpy.cos(lon), numpy.cos(lat) * numpy.sin(lon), numpy.sin(lat)], -1)
    # Each triangle has corners of its own, the same but for their last digits.
    coords, nodes = numpy.unique(numpy.round(corners.reshape(-1, 3), 6), axis=0, return_inverse=True)
    values = numpy.where(wet == 1, values, numpy.nan)
    return coords.astype("f4"), nodes.reshape(-1, 3).astype("i4"), values.astype("f4")


def main(source, target, variable, name):
    coords, triangles, values = read_cells(source, variable)
    rows = numpy.column_stack([numpy.full(len(triangles), 3), triangles])
    with open(target, "wb") as out:
        out.write(f"# vtk DataFile Version 3.0\n{name}\nBINARY\nDATASET POLYDATA\n".encode())
        out.write(f"POINTS {len(coords)} float\n".encode() + coords.astype(">f4").tobytes())
        out.write(f"\nPOLYGONS {len(rows)} {rows.size}\n".encode() + rows.astype(">i4").tobytes())
        out.write(f"\nCELL_DATA {len(values)}\nSCALARS {name} float 1\nLOOKUP_TABLE default\n".encode())
        out.write(values.astype(">f4").tobytes() + b"\n")


if __name__ == "__main__":
    if len(sys.argv) != 4 or "=" not in sys.argv[3]:
        sys.exit("usage: netcdf_cells_to_vtk.py IN.nc OUT.vtk VARIABLE=NAME")
    main(*sys.argv[1:3], *sys.argv[3].split("=", 1))
