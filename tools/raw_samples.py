#!/usr/bin/python3
"""raw_samples.py DATA OUT: the sample data as plain little-endian arrays, for programs that read no formats.

An array a file, OUT/FIELD/NAME.TYPE, nodes in rows, the first axis of a grid fastest; OUT/shapes.txt lists them. Grids
have `lower` and `upper` corners too. Needs the package python3-netcdf4, hence the system's own Python.
"""
import base64
import csv
import gzip
import pathlib
import struct
import sys
import xml.etree.ElementTree
import zlib

import netCDF4
import numpy

import netcdf_cells_to_vtk


class Writer:
    def __init__(self, out):
        self.out, self.shapes = out, []

    def write(self, name, values, dtype):
        values = numpy.ascontiguousarray(values, dtype=numpy.dtype(dtype).newbyteorder("<"))
        path = self.out / f"{name}.{numpy.dtype(dtype).name}"
        path.parent.mkdir(parents=True, exist_ok=True)
        values.tofile(path)
        self.shapes.append(f"{path.relative_to(self.out)} {' x '.join(map(str, values.shape))}\n")

    def write_box(self, name, lower, upper):
        self.write(f"{name}/lower", lower, "float32")
        self.write(f"{name}/upper", upper, "float32")


def volume(writer, name, path, dtype):
    """A NIfTI volume along the axes of space, of which header and voxels are in one file."""
    with gzip.open(path) as file:
        content = file.read()
    dims = numpy.frombuffer(content, "<i2", 3, 42)
    rows = numpy.frombuffer(content, "<f4", 12, 280).reshape(3, 4)  # of the matrix that places it
    (start,) = struct.unpack_from("<f", content, 108)
    voxels = numpy.frombuffer(content, numpy.dtype(dtype).newbyteorder("<"), int(numpy.prod(dims)), int(start))
    writer.write(f"{name}/voxels", voxels.reshape(dims[::-1]), dtype)
    writer.write_box(name, rows[:, 3], rows[:, 3] + (dims - 1) * rows.diagonal())


class VtkArrays:
    """The arrays of a VTK XML file, which has them inline or appended in base64, compressed or not."""

    TYPES = {"Float32": "f4", "Int32": "i4", "Int16": "i2", "UInt8": "u1"}

    def __init__(self, path):
        self.root = xml.etree.ElementTree.parse(path).getroot()
        appended = self.root.find("AppendedData")
        self.appended = "" if appended is None else appended.text.strip()[1:]

    def read(self, section, name=None):
        for array in self.root.iter(section):
            for entry in array.iter("DataArray"):
                if name in (None, entry.get("Name")):
                    text = self.appended[int(entry.get("offset")) :] if "offset" in entry.attrib else entry.text.strip()
                    return numpy.frombuffer(self.decode(text), self.TYPES[entry.get("type")])
        raise SystemExit(f"no array {name} in {section}")

    def decode(self, text):
        if self.root.get("compressor") is None:
            return base64.b64decode(text)[4:]
        # A header of its own in base64: counts of blocks and bytes, and each block's packed size.
        (nblocks,) = struct.unpack("<I", base64.b64decode(text[:8])[:4])
        header = (4 * (3 + nblocks) + 2) // 3 * 4
        sizes = struct.unpack(f"<{nblocks}I", base64.b64decode(text[:header])[12 : 12 + 4 * nblocks])
        packed = base64.b64decode(text[header : header + (sum(sizes) + 2) // 3 * 4])
        ends = numpy.cumsum([0, *sizes])
        return b"".join(zlib.decompress(packed[a:b]) for a, b in zip(ends, ends[1:]))


def heights(writer, path):
    arrays = VtkArrays(path)
    grid = arrays.root.find("ImageData")
    nx, ny = (int(end) + 1 for end in grid.get("WholeExtent").split()[1:4:2])
    spacing = numpy.array(grid.get("Spacing").split()[:2], dtype=float)
    writer.write("jacksboro/elevation", arrays.read("PointData", "elevation").reshape(ny, nx), "int16")
    writer.write_box("jacksboro", [0, 0], spacing * (nx - 1, ny - 1))


def fire(writer, path):
    arrays = VtkArrays(path)
    writer.write("fire/coords", arrays.read("Points").reshape(-1, 3), "float32")
    writer.write("fire/hexahedra", arrays.read("Cells", "connectivity").reshape(-1, 8), "int32")
    writer.write("fire/t", arrays.read("PointData", "t"), "float32")
    writer.write("fire/uvw", arrays.read("PointData", "uvw").reshape(-1, 3), "float32")


def disk(writer, path):
    """An Exodus file of one block; its numbers from 1. Node data are doubles where programs read them."""
    with netCDF4.Dataset(path) as data:
        names = [b"".join(name.compressed()).rstrip(b"\0").decode() for name in data["name_nod_var"][:]]
        values = dict(zip(names, numpy.asarray(data["vals_nod_var"][0])))
        writer.write("disk/coords", numpy.asarray(data["coord"][:]).T, "float32")
        writer.write("disk/hexahedra", numpy.asarray(data["connect1"][:]) - 1, "int32")
    writer.write("disk/V", numpy.stack([values["VX"], values["VY"], values["VZ"]], -1), "float64")
    for name in ("Temp", "Pres"):
        writer.write(f"disk/{name}", values[name], "float64")


def climate(writer, path):
    with netCDF4.Dataset(path) as data:
        names = ("SST", "UWND", "VWND")
        arrays = {name: numpy.ma.filled(data[name][0].astype("f4"), numpy.nan) for name in names}
        corners = [(data["COADSX"][end], data["COADSY"][end]) for end in (0, -1)]
    for name, array in arrays.items():
        writer.write(f"coads/{name}", array, "float32")
    writer.write("coads/wind", numpy.stack([arrays["UWND"], arrays["VWND"]], -1), "float32")
    writer.write_box("coads", *corners)


def table(writer, name, path):
    """The columns of a table, and its places: the first two columns and 0."""
    with open(path, newline="", encoding="utf-8") as file:
        header, *rows = csv.reader(file)
    values = numpy.array(rows, dtype=float)
    writer.write(f"{name}/places", numpy.column_stack([values[:, :2], numpy.zeros(len(rows))]), "float32")
    for column, title in enumerate(header):
        writer.write(f"{name}/{title}", values[:, column], "float64")


def globe(writer, path):
    coords, triangles, values = netcdf_cells_to_vtk.read_cells(path, "S")
    writer.write("ocean/coords", coords, "float32")
    writer.write("ocean/triangles", triangles, "int32")
    writer.write("ocean/salinity", values, "float32")


def main(data, out):
    writer = Writer(out)
    volume(writer, "brain", data / "brain.nii.gz", "uint8")
    volume(writer, "macaque", data / "macaque.nii.gz", "float32")
    heights(writer, data / "jacksboro.vti")
    fire(writer, data / "fire_ug.vtu")
    disk(writer, data / "disk_out_ref.ex2")
    climate(writer, data / "coads_climatology.cdf")
    table(writer, "stations", data / "stations.csv")
    table(writer, "soundings", data / "soundings.csv")
    globe(writer, data / "triangular_grid_ICON.nc")
    (out / "shapes.txt").write_text("".join(writer.shapes), encoding="ascii")


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit("usage: raw_samples.py DATA OUT")
    main(*map(pathlib.Path, sys.argv[1:]))
