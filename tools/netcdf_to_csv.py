#!/usr/bin/python3
"""netcdf_to_csv.py IN.nc OUT.csv NAME[=COLUMN]... [--at DIMENSION INDEX]...: variables of a NetCDF file as a table.

A column a variable, a row an entry of their common dimension; --at takes one place along any other dimension.
Fill values become nan. Needs the package python3-netcdf4, hence the system's own Python.
"""
import argparse
import csv

import netCDF4
import numpy


def column(variable, places):
    index = tuple(places.get(dimension, slice(None)) for dimension in variable.dimensions)
    values = numpy.ma.filled(variable[index].astype("f4"), numpy.nan)
    if values.ndim != 1:
        raise SystemExit(f"{variable.name} has the dimensions {variable.dimensions}: choose places with --at")
    return values


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("source")
    parser.add_argument("target")
    parser.add_argument("variables", nargs="+")
    parser.add_argument("--at", nargs=2, action="append", default=[])
    options = parser.parse_args()
    places = {dimension: int(index) for dimension, index in options.at}
    names = [variable.partition("=") for variable in options.variables]
    with netCDF4.Dataset(options.source) as data, open(options.target, "w", newline="", encoding="utf-8") as out:
        table = csv.writer(out, lineterminator="\n")
        table.writerow(title or name for name, _, title in names)
        table.writerows(zip(*(column(data[name], places) for name, _, _ in names), strict=True))


if __name__ == "__main__":
    main()
