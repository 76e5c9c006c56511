// The registry of named functions, from which methods are bound.
#include <mutex>
#include <string_view>
#include <unordered_map>

#include "isofield_default_host.h"

namespace isofield::host {
namespace {

using Function = void (*)(void);

struct Registry {
    std::mutex mutex;
    std::unordered_map<std::string_view, Function> functions;
};

// Never destroyed: meshes may be built while the process ends.
Registry &registry() {
    static Registry &instance = *new Registry;
    return instance;
}

// The library hands its table over once, when a name is first asked for.
void register_library() {
    static const int result = FLD_METHinit();
    static_cast<void>(result);
}

}  // namespace
}  // namespace isofield::host

extern "C" {

// A name that is registered again takes the new function.
int OMadd_named_funcs(const NamedFunc *table, int count) {
    if (!table || count < 0) return 0;
    try {
        isofield::host::Registry &registry = isofield::host::registry();
        const std::lock_guard lock(registry.mutex);
        for (int i = 0; i < count; ++i) registry.functions[table[i].name] = table[i].func;
        return 1;
    } catch (...) {
        return 0;
    }
}

void (*isohost_find_function(const char *name))(void) {
    using namespace isofield::host;
    if (!name) return nullptr;
    register_library();
    const std::lock_guard lock(registry().mutex);
    const auto found = registry().functions.find(name);
    return found == registry().functions.end() ? nullptr : found->second;
}

}  // extern "C"
