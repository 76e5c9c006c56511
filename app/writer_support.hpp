// What the writers share.
#ifndef ISOFIELD_APP_WRITER_SUPPORT_HPP
#define ISOFIELD_APP_WRITER_SUPPORT_HPP

#include <vtkDataSet.h>

#include <string>

#include "console.hpp"
#include "output_file.hpp"
#include "vtk_support.hpp"

namespace app {

// Throws OperationError: VTK tells no reason that holds.
[[noreturn]] void fail_writing(const OutputFile &file);

// The text files that some writers make are not checked by them: the last line tells whether all of it
// arrived.
std::string tail_of(const std::string &path, std::size_t most = 256);
bool ends_in_line(const std::string &path, const std::string &start);

template <class Writer>
void run_writer(Writer *writer, vtkDataObject *data, const OutputFile &file, Console &console) {
    const VtkMessages messages;
    show_progress(writer, "writing", console);
    writer->SetFileName(file.temporary().c_str());
    writer->SetInputData(data);
    const int written = writer->Write();
    if (!written || !messages.error().empty()) fail_writing(file);
}

// ".vti", ".vtu", ...: what VTK's XML of such data is called.
std::string xml_extension(vtkDataSet *data);
// Writes VTK's XML; the caller commits. Throws OperationError.
void write_xml_file(vtkDataSet *data, const OutputFile &file, Console &console);
// The same, and hands the data on where that is wanted.
void write_xml(vtkDataSet *data, const OutputFile &file, Console &console);

}  // namespace app
#endif
