// What one operation of a call hands to the next, in memory.
#ifndef ISOFIELD_APP_RELAY_HPP
#define ISOFIELD_APP_RELAY_HPP

#include <vtkDataSet.h>
#include <vtkSmartPointer.h>

#include <string>

namespace app {

// A result goes by a name that stands where the name of a file would, in arguments and in what is said:
// "result 1 (smooth)". Only names that expect_result has been told are such names.

// The operation that runs next is to hand its result on under `name`; none is wanted where that is empty.
void expect_result(const std::string &name);
bool result_is_wanted();
bool is_result(const std::string &name);

// Copies the data: operations hand over what views their own memory. Does nothing where none is wanted.
void hand_on(vtkDataSet *data);
// The data handed on, without those that were dropped. Throws OperationError when there are none.
vtkSmartPointer<vtkDataSet> result_named(const std::string &name);
void drop_result(const std::string &name);

}  // namespace app
#endif
