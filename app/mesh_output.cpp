#include "mesh_output.hpp"

#include <vtkPointData.h>

#include "errors.hpp"
#include "relay.hpp"
#include "writer_support.hpp"

namespace app {

void check_mesh_name(const std::string &output, const Dataset &dataset, vtkDataSet *original) {
    const std::string kind = xml_extension(original);
    if (is_result(output) || extension_of(output) == kind) return;
    throw UsageError("cannot write '" + output + "': '" + dataset.path + "' is kept as " + kind +
                     "; name a file that ends in it");
}

void check_is_grid(const Dataset &dataset, const char *operation) {
    if (dataset.grid()) return;
    throw UsageError("'" + dataset.path + "' is " + (dataset.description.starts_with('u') ? "an " : "a ") +
                     dataset.description + ", but " + operation +
                     " works on grids; bring it to one by isofield probe --grid");
}

std::vector<std::string> node_array_names(const Dataset &dataset) {
    std::vector<std::string> names;
    for (const DataArray &array : dataset.arrays) {
        if (array.association == Association::kNode) names.push_back(array.name);
    }
    return names;
}

void write_mesh(vtkDataSet *original, const std::vector<vtkSmartPointer<vtkDataArray>> &made,
                OutputFile &file, Console &console) {
    console.progress("writing", 0);
    for (const auto &array : made) original->GetPointData()->AddArray(array);
    // What reads this takes the new scalar, unless told otherwise.
    if (!made.empty() && made.front()->GetNumberOfComponents() == 1)
        original->GetPointData()->SetActiveScalars(made.front()->GetName());
    write_xml(original, file, console);
    file.commit();
    console.clear_bar();
}

}  // namespace app
