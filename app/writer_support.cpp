#include "writer_support.hpp"

#include <vtkXMLDataObjectWriter.h>

#include <algorithm>
#include <fstream>

#include "errors.hpp"
#include "relay.hpp"

namespace app {
namespace {

vtkSmartPointer<vtkXMLWriter> xml_writer(vtkDataSet *data) {
    return vtk::TakeSmartPointer(vtkXMLDataObjectWriter::NewWriter(data->GetDataObjectType()));
}

}  // namespace

void fail_writing(const OutputFile &file) {
    throw OperationError("cannot write '" + file.name() + "': the disk may be full");
}

std::string tail_of(const std::string &path, std::size_t most) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    const std::streamoff size = file.tellg();
    file.seekg(std::max<std::streamoff>(0, size - static_cast<std::streamoff>(most)));
    return {std::istreambuf_iterator<char>(file), {}};
}

bool ends_in_line(const std::string &path, const std::string &start) {
    std::string tail = tail_of(path);
    if (tail.empty() || tail.back() != '\n') return false;
    tail.pop_back();
    return tail.substr(tail.find_last_of('\n') + 1).starts_with(start);
}

std::string xml_extension(vtkDataSet *data) {
    return std::string(".") + xml_writer(data)->GetDefaultFileExtension();
}

void write_xml(vtkDataSet *data, const OutputFile &file, Console &console) {
    hand_on(data);
    if (!file.in_memory()) write_xml_file(data, file, console);
}

void write_xml_file(vtkDataSet *data, const OutputFile &file, Console &console) {
    const auto writer = xml_writer(data);
    writer->SetDataModeToAppended();
    writer->EncodeAppendedDataOff();
    writer->SetCompressorTypeToLZ4();  // many times as fast as the default
    writer->SetIdTypeToInt32();
    run_writer(writer.Get(), data, file, console);
    if (!ends_in_line(file.temporary(), "</VTKFile>")) fail_writing(file);
}

}  // namespace app
