#include "relay.hpp"

#include <map>

#include "errors.hpp"

namespace app {
namespace {

std::map<std::string, vtkSmartPointer<vtkDataSet>> results;
std::string wanted;

}  // namespace

void expect_result(const std::string &name) {
    wanted = name;
    if (!name.empty()) results[name] = nullptr;
}

bool result_is_wanted() {
    return !wanted.empty();
}

bool is_result(const std::string &name) {
    return results.contains(name);
}

void hand_on(vtkDataSet *data) {
    if (wanted.empty()) return;
    vtkSmartPointer<vtkDataSet> &place = results[wanted];
    place = vtk::TakeSmartPointer(data->NewInstance());
    place->DeepCopy(data);
}

vtkSmartPointer<vtkDataSet> result_named(const std::string &name) {
    const auto found = results.find(name);
    if (found == results.end() || !found->second)
        throw OperationError("there is no " + name + " to go on with");
    const auto view = vtk::TakeSmartPointer(found->second->NewInstance());
    view->ShallowCopy(found->second);  // readers of it may add arrays
    return view;
}

void drop_result(const std::string &name) {
    const auto found = results.find(name);
    if (found != results.end()) found->second = nullptr;
}

}  // namespace app
