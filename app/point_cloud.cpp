#include "point_cloud.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "dataset_io.hpp"
#include "errors.hpp"
#include "point_table.hpp"
#include "probe_points.hpp"

namespace app {
namespace {

std::vector<std::size_t> coordinate_columns(const PointTable &table, const CloudOptions &options,
                                            std::size_t naxes) {
    auto found = table.axes();
    bool named = true;
    for (std::size_t d = 0; d < naxes; ++d) {
        const std::string option = std::string("--") + "xyz"[d];
        if (!options.axes[d].empty()) found[d] = table.column(options.axes[d], option);
        named = named && found[d];
    }
    std::vector<std::size_t> columns, taken;
    for (std::size_t d = 0; d < naxes; ++d) {
        if (!options.axes[d].empty()) taken.push_back(*found[d]);
    }
    for (std::size_t d = 0; d < naxes; ++d) {
        if (!named && options.axes[d].empty()) {
            found[d] = table.next_numeric(taken);
            if (found[d]) taken.push_back(*found[d]);
        }
        if (!found[d]) {
            throw UsageError("'" + table.path() + "' has no column of numbers for " + "xyz"[d] +
                             ": its columns are " + table.names());
        }
        columns.push_back(*found[d]);
    }
    return columns;
}

std::vector<std::size_t> value_columns(const PointTable &table, const CloudOptions &options,
                                       std::vector<std::size_t> taken) {
    std::vector<std::size_t> columns;
    for (const std::string &value : options.values) columns.push_back(table.column(value, "--value"));
    while (options.values.empty()) {
        const auto next = table.next_numeric(taken);
        if (!next) break;
        columns.push_back(*next);
        taken.push_back(*next);
    }
    return columns;
}

PointCloud table_cloud(const CloudOptions &options, const CloudNeeds &needs, Console &console) {
    const Stopwatch reading;
    const PointTable table(options.path, console);
    const auto axes = coordinate_columns(table, options, needs.naxes);
    PointCloud cloud{options.path, {}, {}, {}};
    std::string at, values;
    for (std::size_t d = 0; d < axes.size(); ++d) {
        cloud.coords[d] = table.numbers(axes[d]);
        cloud.names[d] = table.name(axes[d]);
        add_item(at, "'" + cloud.names[d] + "'");
    }
    const auto columns = value_columns(table, options, axes);
    if (columns.empty() && needs.values)
        throw UsageError("'" + table.path() + "' has no values: its columns are " + table.names());
    std::vector<std::string> taken;
    for (const std::size_t column : columns) {
        const std::string name = free_name(table.name(column), "_data", taken, console);
        cloud.arrays.push_back({name, owned_data(table.numbers(column), 1), options.null_value});
        taken.push_back(name);
        add_item(values, "'" + name + "'");
    }
    if (!values.empty()) values = ", values " + values;
    console.say("read   " + options.path + ": " + format_count(cloud.size(), "point", "points") + " at " +
                at + values + ", " + reading.seconds());
    return cloud;
}

PointCloud field_cloud(const CloudOptions &options, const CloudNeeds &needs, Console &console) {
    const Stopwatch reading;
    const Dataset dataset =
        read_dataset(options.path, options.step, console, nullptr, first_of(options.values));
    PointCloud cloud{options.path, {}, {"x", "y", "z"}, {}};
    const bool has_values = std::any_of(
        dataset.arrays.begin(), dataset.arrays.end(),
        [](const DataArray &array) { return array.association == Association::kNode && array.numeric; });
    if (has_values || needs.values || !options.values.empty()) {
        const auto chosen = choose_arrays(dataset, Association::kNode, options.values);
        cloud.arrays = named_arrays(chosen, options, console);
    }
    const std::vector<float> nodes = node_coords(dataset);
    for (std::size_t d = 0; d < needs.naxes; ++d) {
        for (std::size_t i = d; i < nodes.size(); i += 3) cloud.coords[d].push_back(nodes[i]);
    }
    say_read(dataset, cloud.arrays, reading, console);
    return cloud;
}

}  // namespace

void add_cloud_options(CLI::App &command, CloudOptions &options, const std::string &value_help,
                       const std::string &z_help) {
    command
        .add_option("POINTS", options.path,
                    "Points to work on: rows of a .csv file, or nodes of " + readable_extensions())
        ->required();
    add_step_option(command, options.step);
    add_array_option(command, "-a,--array,--value", options.values, value_help);
    const std::array<const char *, 3> defaults = {"x, lon or the first", "y, lat or the second",
                                                  "z or the third"};
    for (std::size_t d = 0; d < 3; ++d) {
        const std::string axis(1, "xyz"[d]);
        add_array_option(command, "--" + axis, options.axes[d],
                         "Column of " + axis + ", by name or number" + (d == 2 ? z_help : ""), "COLUMN")
            ->default_str(defaults[d]);
    }
    add_null_option(command, options.null_value);
}

void check_cloud_options(const CloudOptions &options) {
    const bool columns = std::any_of(options.axes.begin(), options.axes.end(),
                                     [](const std::string &name) { return !name.empty(); });
    if (columns && !is_table(options.path))
        throw UsageError("--x, --y and --z are for columns of .csv files");
    if (is_table(options.path)) refuse_step(options.step);
}

bool PointCloud::has_place(std::size_t point) const {
    return std::all_of(coords.begin(), coords.end(),
                       [=](const auto &axis) { return axis.empty() || std::isfinite(axis[point]); });
}

PointCloud read_cloud(const CloudOptions &options, const CloudNeeds &needs, Console &console) {
    return is_table(options.path) ? table_cloud(options, needs, console)
                                  : field_cloud(options, needs, console);
}

std::array<double, 6> bounds_of(const PointCloud &cloud) {
    std::array<double, 6> box = {};
    bool none = true;
    for (std::size_t i = 0; i < cloud.size(); ++i) {
        if (!cloud.has_place(i)) continue;
        for (std::size_t d = 0; d < 3; ++d) {
            if (cloud.coords[d].empty()) continue;
            const double x = cloud.coords[d][i];
            box[2 * d] = none ? x : std::min(box[2 * d], x);
            box[2 * d + 1] = none ? x : std::max(box[2 * d + 1], x);
        }
        none = false;
    }
    if (none) throw UsageError("no point in '" + cloud.path + "' has all its coordinates");
    return box;
}

std::vector<float> places_in(const PointCloud &cloud, const std::array<double, 3> &origin) {
    std::vector<float> places(3 * cloud.size());
    for (std::size_t i = 0; i < cloud.size(); ++i) {
        const bool placed = cloud.has_place(i);
        for (std::size_t d = 0; d < 3; ++d) {
            const double x = cloud.coords[d].empty() ? 0 : cloud.coords[d][i] - origin[d];
            places[3 * i + d] = placed ? static_cast<float>(x) : std::numeric_limits<float>::quiet_NaN();
        }
    }
    return places;
}

}  // namespace app
