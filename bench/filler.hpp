// Work that fills an array.
#ifndef ISOFIELD_BENCH_FILLER_HPP
#define ISOFIELD_BENCH_FILLER_HPP

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "harness.hpp"
#include "isofield_default_host.h"

namespace bench {

// The work gets an array of `nfloats`, kept from run to run, and returns its size.
inline Contestant array_filler(const char *name, std::size_t nfloats,
                               const std::function<long long(float *out)> &work,
                               const std::function<std::vector<float>(const float *out)> &values = {}) {
    const auto out = std::make_shared<std::unique_ptr<float[]>>();
    const auto run = [=] {
        if (!*out) *out = std::make_unique_for_overwrite<float[]>(nfloats);
        return work(out->get());
    };
    const auto refresh = [=] {
        out->reset();
        isohost_trim_arrays();
    };
    Contestant filler{name, run, refresh};
    if (values) filler.values = [=] { return values(out->get()); };
    return filler;
}

}  // namespace bench

#endif
