#include "exodus_io.hpp"

#include <fcntl.h>
#include <unistd.h>
#include <vtkCellData.h>
#include <vtkDoubleArray.h>
#include <vtkExodusIIReader.h>
#include <vtkInformation.h>
#include <vtkMultiBlockDataSet.h>
#include <vtkPointData.h>
#include <vtkStreamingDemandDrivenPipeline.h>

#include "reader_support.hpp"

namespace app {
namespace {

// Of a file that it cannot open, the library below the reader tells standard error itself.
bool can_read(vtkExodusIIReader *reader, const std::string &path) {
    const int kept = dup(STDERR_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (kept >= 0 && nowhere >= 0) dup2(nowhere, STDERR_FILENO);
    const bool readable = reader->CanReadFile(path.c_str()) != 0;
    if (kept >= 0) dup2(kept, STDERR_FILENO);
    close(nowhere);
    close(kept);
    return readable;
}

// Chooses the step, and tells of it.
Step set_step(vtkExodusIIReader *reader, std::optional<int> step, const std::string &path) {
    vtkInformation *information = reader->GetOutputInformation(0);
    vtkInformationDoubleVectorKey *key = vtkStreamingDemandDrivenPipeline::TIME_STEPS();
    const double *times = information->Has(key) ? information->Get(key) : nullptr;
    Step chosen = choose_step(step, reader->GetNumberOfTimeSteps(), times, path);
    reader->SetTimeStep(chosen.index);
    return chosen;
}

struct ElementBlock {
    std::string name;
    vtkUnstructuredGrid *data;
};

// Those with cells, all on the same nodes.
std::vector<ElementBlock> element_blocks(vtkExodusIIReader *reader, const std::string &path) {
    std::vector<ElementBlock> blocks;
    vtkMultiBlockDataSet *output = reader->GetOutput();
    auto *elements =
        output->GetNumberOfBlocks() > 0 ? vtkMultiBlockDataSet::SafeDownCast(output->GetBlock(0)) : nullptr;
    for (unsigned int i = 0; elements && i < elements->GetNumberOfBlocks(); ++i) {
        auto *data = vtkUnstructuredGrid::SafeDownCast(elements->GetBlock(i));
        if (!data || data->GetNumberOfCells() == 0) continue;
        const char *name = reader->GetObjectName(vtkExodusIIReader::ELEM_BLOCK, static_cast<int>(i));
        blocks.push_back({name ? name : "", data});
        if (data->GetNumberOfPoints() != blocks.front().data->GetNumberOfPoints()) {
            refuse(path, "its element blocks do not share their nodes");
        }
    }
    if (blocks.empty()) refuse(path, "it holds no elements");
    return blocks;
}

// Puts the cells of all blocks on the nodes of the first; element variables that not every block has are left
// out.
vtkSmartPointer<vtkUnstructuredGrid> join(const std::vector<ElementBlock> &blocks) {
    auto joined = vtkSmartPointer<vtkUnstructuredGrid>::New();
    joined->SetPoints(blocks.front().data->GetPoints());
    joined->GetPointData()->ShallowCopy(blocks.front().data->GetPointData());
    vtkDataSetAttributes::FieldList common(static_cast<int>(blocks.size()));
    vtkIdType ncells = 0;
    for (const ElementBlock &block : blocks) {
        common.IntersectFieldList(block.data->GetCellData());
        ncells += block.data->GetNumberOfCells();
    }
    joined->Allocate(ncells);
    vtkCellData *data = joined->GetCellData();
    data->CopyAllocate(common, ncells);
    vtkNew<vtkIdList> nodes;
    for (std::size_t b = 0; b < blocks.size(); ++b) {
        vtkUnstructuredGrid *block = blocks[b].data;
        for (vtkIdType cell = 0; cell < block->GetNumberOfCells(); ++cell) {
            block->GetCellPoints(cell, nodes);
            const vtkIdType place = joined->InsertNextCell(block->GetCellType(cell), nodes);
            data->CopyData(common, block->GetCellData(), static_cast<int>(b), cell, place);
        }
    }
    return joined;
}

}  // namespace

ExodusMesh read_exodus_mesh(const std::string &path, std::optional<int> step, Console &console) {
    vtkNew<vtkExodusIIReader> reader;
    ExodusMesh mesh;
    {
        const VtkMessages messages;
        if (!can_read(reader, path)) refuse(path, "it is not an Exodus file");
        reader->SetFileName(path.c_str());
        reader->UpdateInformation();
        mesh.step = set_step(reader, step, path);
    }
    reader->SetSqueezePoints(false);  // the blocks keep their common numbers of nodes
    reader->ApplyDisplacementsOff();
    reader->GenerateObjectIdCellArrayOff();
    reader->SetAllArrayStatus(vtkExodusIIReader::NODAL, 1);
    reader->SetAllArrayStatus(vtkExodusIIReader::ELEM_BLOCK, 1);
    const int nobjects = reader->GetNumberOfObjects(vtkExodusIIReader::ELEM_BLOCK);
    for (int i = 0; i < nobjects; ++i) reader->SetObjectStatus(vtkExodusIIReader::ELEM_BLOCK, i, 1);
    run_reader(reader.Get(), path, console);

    const std::vector<ElementBlock> blocks = element_blocks(reader, path);
    for (const auto &[name, data] : blocks) mesh.blocks.push_back({name, data->GetNumberOfCells()});
    mesh.data = join(blocks);
    return mesh;
}

}  // namespace app
