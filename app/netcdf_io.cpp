#include "netcdf_io.hpp"

#include <vtkInformation.h>
#include <vtkNetCDFCFReader.h>
#include <vtkNew.h>
#include <vtkStreamingDemandDrivenPipeline.h>
#include <vtkStringArray.h>

#include <algorithm>

#include "reader_support.hpp"

namespace app {
namespace {

// Arrays that have the same dimensions.
struct Grid {
    std::string dimensions;  // "(time, lat, lon)"
    std::vector<std::string> arrays;

    bool has(const std::string &name) const {
        return std::find(arrays.begin(), arrays.end(), name) != arrays.end();
    }
    std::string text() const {
        std::string names;
        for (const std::string &name : arrays) add_item(names, "'" + name + "'", ", ");
        return names + " on " + dimensions;
    }
};

// Those of two dimensions and more, or the others.
std::vector<Grid> grids_of(vtkNetCDFCFReader *reader, bool wide) {
    std::vector<Grid> grids;
    for (int i = 0; i < reader->GetNumberOfVariableArrays(); ++i) {
        const std::string dimensions = reader->GetVariableDimensions()->GetValue(i);
        if ((dimensions.find(',') != std::string::npos) != wide) continue;
        const auto known = std::find_if(grids.begin(), grids.end(),
                                        [&](const Grid &g) { return g.dimensions == dimensions; });
        Grid &grid = known == grids.end() ? grids.emplace_back(Grid{dimensions, {}}) : *known;
        grid.arrays.push_back(reader->GetVariableArrayName(i));
    }
    return grids;
}

// Moves the grid to read to the front.
void put_first(std::vector<Grid> &grids, const std::string &array, const std::string &path) {
    const std::string name = array.substr(0, array.find(','));
    const auto chosen =
        name.empty()
            ? std::max_element(grids.begin(), grids.end(),
                               [](const Grid &a, const Grid &b) { return a.arrays.size() < b.arrays.size(); })
            : std::find_if(grids.begin(), grids.end(), [&](const Grid &g) { return g.has(name); });
    if (grids.empty()) refuse(path, "it holds no array of two or more dimensions");
    if (chosen == grids.end()) {
        std::string all;
        for (const Grid &grid : grids) add_item(all, grid.text(), "; ");
        throw UsageError("there is no array '" + name + "' in '" + path + "': it has " + all);
    }
    std::rotate(grids.begin(), chosen, chosen + 1);
}

// Chooses the step, and tells of it.
Step set_step(vtkNetCDFCFReader *reader, std::optional<int> step, const std::string &path) {
    vtkInformation *information = reader->GetOutputInformation(0);
    vtkInformationDoubleVectorKey *key = vtkStreamingDemandDrivenPipeline::TIME_STEPS();
    const int count = information->Has(key) ? information->Length(key) : 0;
    const double *times = count > 0 ? information->Get(key) : nullptr;
    Step chosen = choose_step(step, count, times, path);
    if (count > 0)
        information->Set(vtkStreamingDemandDrivenPipeline::UPDATE_TIME_STEP(), times[chosen.index]);
    const char *units = reader->GetTimeUnits();
    if (count > 0 && units) chosen.text += std::string(" ") + units;
    return chosen;
}

}  // namespace

NetcdfGrid read_netcdf_grid(const std::string &path, std::optional<int> step, const std::string &array,
                            Console &console) {
    vtkNew<vtkNetCDFCFReader> reader;
    NetcdfGrid grid;
    {
        const VtkMessages messages;
        if (!vtkNetCDFCFReader::CanReadFile(path.c_str())) refuse(path, "it is not a NetCDF file");
        reader->SetFileName(path.c_str());
        reader->SphericalCoordinatesOff();
        reader->ReplaceFillValueWithNanOn();
        reader->UpdateMetaData();
        std::vector<Grid> grids = grids_of(reader, true);
        put_first(grids, array, path);
        grid.remarks.push_back("arrays " + grids.front().text());
        for (std::size_t i = 1; i < grids.size(); ++i) {
            grid.remarks.push_back("not read: " + grids[i].text() + "; choose with --array");
        }
        for (const Grid &line : grids_of(reader, false))
            grid.remarks.push_back("not read: " + line.text() + ", of one dimension");
        reader->SetDimensions(grids.front().dimensions.c_str());
        reader->UpdateInformation();
        grid.step = set_step(reader, step, path);
    }
    run_reader(reader.Get(), path, console);
    grid.data = vtkDataSet::SafeDownCast(reader->GetOutputDataObject(0));
    return grid;
}

}  // namespace app
