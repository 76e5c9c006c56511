#!/usr/bin/env python3
"""dem_to_vti.py IN.npz OUT.vti: a digital elevation model as a uniform grid that the tool reads.

The archive holds `elevation` (rows from north to south, in metres) and the scalars `dx`, `dy` and `ymin` in
degrees. The grid has x to the east and y to the north, in metres from the south-west corner.
"""
import ast
import base64
import math
import struct
import sys
import zipfile

TYPES = {"<i2": ("h", "Int16"), "<f8": ("d", "Float64")}


def read_array(archive, name):
    """Shape, format character, VTK type and values of one array in row order."""
    content = archive.read(name + ".npy")
    if content[:8] != b"\x93NUMPY\x01\x00":
        raise ValueError(f"{name} is no array of format 1.0")
    (length,) = struct.unpack_from("<H", content, 8)
    header = ast.literal_eval(content[10 : 10 + length].decode("latin1"))
    if header["fortran_order"]:
        raise ValueError(f"{name} is stored by columns")
    code, vtk_type = TYPES[header["descr"]]
    count = math.prod(header["shape"])
    return header["shape"], code, vtk_type, struct.unpack_from(f"<{count}{code}", content, 10 + length)


def main(source, target):
    with zipfile.ZipFile(source) as archive:
        (rows, columns), code, vtk_type, heights = read_array(archive, "elevation")
        dx, dy, south = (read_array(archive, name)[3][0] for name in ("dx", "dy", "ymin"))
    northward = [h for row in reversed(range(rows)) for h in heights[row * columns : (row + 1) * columns]]
    data = struct.pack(f"<{len(northward)}{code}", *northward)
    metres_per_degree = 111200
    spacing = (metres_per_degree * dx * math.cos(math.radians(south)), metres_per_degree * dy)
    extent = f"0 {columns - 1} 0 {rows - 1} 0 0"
    with open(target, "w", encoding="ascii") as out:
        out.write(
            '<VTKFile type="ImageData" version="1.0" byte_order="LittleEndian" header_type="UInt32">\n'
            f'<ImageData WholeExtent="{extent}" Origin="0 0 0" Spacing="{spacing[0]} {spacing[1]} 1">\n'
            f'<Piece Extent="{extent}"><PointData Scalars="elevation">\n'
            f'<DataArray type="{vtk_type}" Name="elevation" format="binary">\n'
            + base64.b64encode(struct.pack("<I", len(data)) + data).decode("ascii")
            + "\n</DataArray></PointData></Piece></ImageData></VTKFile>\n"
        )


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit("usage: dem_to_vti.py IN.npz OUT.vti")
    main(sys.argv[1], sys.argv[2])
