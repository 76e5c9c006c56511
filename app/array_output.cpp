#include "array_output.hpp"

#include <algorithm>
#include <cmath>

#include "field_picture.hpp"
#include "mesh_output.hpp"
#include "vtk_support.hpp"

namespace app {
namespace {

const char *prefix_of(const NamedArray &array) {
    return array.data.components > 1 ? "magnitude " : "";
}

// "made   t_gradient at 8 nodes (magnitude 0 to 2, 1 node without)"
std::string made_text(const Made &made, const std::string &details) {
    std::string names;
    for (const NamedArray &array : made.arrays) add_item(names, array.name, ", ");
    const std::size_t without = summary_of(made.arrays.front()).without;
    std::string text = "made   " + names + " at " +
                       format_count(made.arrays.front().data.rows, "node", "nodes") + " (" + details;
    if (without > 0) text += ", " + format_count(without, "node", "nodes") + " without";
    return text + ")";
}

}  // namespace

void add_array(Made &made, const std::string &name, const Dataset &dataset, const ArrayData &data,
               std::optional<double> null_value, Console &console) {
    std::vector<std::string> taken = node_array_names(dataset);
    for (const NamedArray &array : made.arrays) taken.push_back(array.name);
    made.arrays.push_back({free_name(name, "_new", taken, console), data, null_value});
}

Summary summary_of(const NamedArray &array) {
    return isofield::front::visit_type(array.data.type, [&](auto type) {
        using T = typename decltype(type)::type;
        Summary summary;
        const auto width = static_cast<std::size_t>(array.data.components);
        const auto values = array.data.values_as<T>();
        for (std::size_t first = 0; first < values.size(); first += width) {
            auto value = static_cast<double>(values[first]);
            const bool null = array.null_value && value == *array.null_value;
            if (width > 1) {
                double square = 0;
                for (const T x : values.subspan(first, width)) square += static_cast<double>(x) * x;
                value = std::sqrt(square);
            }
            if (null || !std::isfinite(value)) {
                ++summary.without;
                continue;
            }
            summary.lower = std::min(summary.lower, value);
            summary.upper = std::max(summary.upper, value);
        }
        return summary;
    });
}

std::string range_text(const std::string &what, const Summary &summary) {
    if (summary.lower > summary.upper) return what + "no value";
    return what + format_number(summary.lower) + " to " + format_number(summary.upper);
}

std::string ranges_text(const Made &made) {
    std::string text;
    for (const NamedArray &array : made.arrays) {
        const std::string name = made.arrays.size() > 1 ? array.name + " " : "";
        add_item(text, range_text(name + prefix_of(array), summary_of(array)), ", ");
    }
    return text;
}

void write_made(const Made &made, const std::string &details, vtkDataSet *original,
                const OutputOptions &output, OutputFiles &files, Console &console) {
    const Stopwatch writing;
    std::vector<vtkSmartPointer<vtkDataArray>> arrays;
    for (const NamedArray &array : made.arrays) {
        arrays.push_back(view_array(array.name, array.data));
        declare_null(original, array.name, array.null_value);
    }
    write_mesh(original, arrays, files.geometry, console);
    console.say(made_text(made, details) + ", " + made.seconds + "; " + output.geometry + ", " +
                writing.seconds());
}

void draw_made(Field &field, const NamedArray &shown, const OutputOptions &output, OutputFiles &files,
               Console &console) {
    if (!files.picture) return;
    const Stopwatch drawing;
    draw_field(field, shown, output.style, *files.picture, console);
    say_drawn(output, drawing, console);
}

}  // namespace app
