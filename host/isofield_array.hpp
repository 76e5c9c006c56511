// Part of isofield.hpp: arrays on the nodes of regular grids, and arrays alone. No mesh is needed: a grid is
// given by its node counts, the first axis fastest, with `components` values a node.
#ifndef ISOFIELD_ARRAY_HPP
#define ISOFIELD_ARRAY_HPP

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numeric>
#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "isofield.h"
#include "isofield_data.hpp"
#include "isofield_default_host.h"

namespace isofield {

namespace front {

constexpr std::size_t kMaxAxes = 15;

inline std::vector<int> with_components(int components, std::span<const int> rest) {
    std::vector<int> all = {components};
    all.insert(all.end(), rest.begin(), rest.end());
    return all;
}

}  // namespace front

// The node counts that downsize leaves: dims / factors, rounded up. Throws BadInput.
inline std::vector<int> downsized_dims(std::span<const int> dims, std::span<const int> factors) {
    front::count_nodes("dims", dims, 1, front::kMaxAxes);
    if (factors.size() != dims.size()) {
        throw BadInput("factors has " + std::to_string(factors.size()) + " elements, but dims has " +
                       std::to_string(dims.size()));
    }
    std::vector<int> left;
    for (std::size_t d = 0; d < dims.size(); ++d) {
        if (factors[d] < 1) {
            throw BadInput("factors[" + std::to_string(d) + "] is " + std::to_string(factors[d]) +
                           ", but must be at least 1");
        }
        left.push_back((dims[d] - 1) / factors[d] + 1);
    }
    return left;
}

// Keeps every factors[a]-th node along each axis a, from the first on. Throws BadInput.
template <class T>
std::vector<T> downsize(std::span<const T> values, std::span<const int> dims, std::span<const int> factors,
                        int components = 1) {
    const DataView data(values, components);
    const std::vector<int> left = downsized_dims(dims, factors);
    front::check_rows(data, front::count_nodes("dims", dims, components, front::kMaxAxes), "nodes");
    std::vector<T> result(front::count_nodes("dims", left, components, front::kMaxAxes) *
                          static_cast<std::size_t>(components));
    const std::vector<int> all_dims = front::with_components(components, dims);
    const std::vector<int> all_factors = front::with_components(1, factors);
    const front::Call call;
    call.check(UTILdownsize(static_cast<int>(all_dims.size()), all_dims.data(), all_factors.data(),
                            static_cast<int>(front::element_type<T>()), values.data(), result.data()),
               "downsize");
    return result;
}

// How resample finds a node's old one.
enum class Resampling {
    kExact,
    kNative,  // UTILresample, whose rounding may take the one before
};

// Brings data to other node counts between the same ends. Node j of an axis takes the value of the nearest
// old one at or before it, j * (dims - 1) / (new_dims - 1) in whole numbers; that of an axis with one node,
// of the first. 1 to 3 axes. Throws BadInput or Error.
template <class T>
std::vector<T> resample(std::span<const T> values, std::span<const int> dims, std::span<const int> new_dims,
                        int components = 1, Resampling how = Resampling::kExact) {
    const DataView data(values, components);
    front::check_rows(data, front::count_nodes("dims", dims, components, 3), "nodes");
    const std::size_t nodes = front::count_nodes("new_dims", new_dims, components, 3);
    if (new_dims.size() != dims.size()) {
        throw BadInput("new_dims has " + std::to_string(new_dims.size()) + " elements, but dims has " +
                       std::to_string(dims.size()));
    }
    const auto width = static_cast<std::size_t>(components);
    const int type = static_cast<int>(front::element_type<T>());
    std::vector<T> result(nodes * width);
    const front::Call call;
    if (how == Resampling::kNative) {
        call.check(UTILresample(static_cast<int>(dims.size()), dims.data(), new_dims.data(), components, type,
                                values.data(), result.data()),
                   "resample");
        return result;
    }
    std::array<std::vector<int>, 3> old_node;  // per axis, as steps of nodes
    int stride = 1;
    for (std::size_t d = 0; d < 3; ++d) {
        const std::int64_t last = d < dims.size() ? dims[d] - 1 : 0;
        const std::int64_t new_last = d < dims.size() ? new_dims[d] - 1 : 0;
        for (std::int64_t j = 0; j <= new_last; ++j)
            old_node[d].push_back(stride * static_cast<int>(j * last / std::max<std::int64_t>(new_last, 1)));
        stride *= static_cast<int>(last) + 1;
    }
    const auto line_size = static_cast<int>(old_node[0].size());
    T *line = result.data();
    for (const int plane : old_node[2]) {
        for (const int row : old_node[1]) {
            const T *from = &values[static_cast<std::size_t>(plane + row) * width];
            call.check(
                UTILcopy_array_list(nullptr, components, type, from, line_size, old_node[0].data(), line),
                "resample");
            line += old_node[0].size() * width;
        }
    }
    return result;
}

// Settings of smoothing. NaN and infinite values always count as missing.
struct SmoothOptions {
    std::optional<double> null_value = {};  // in the first component: the whole row is missing
    Progress progress = {};
    std::vector<int> axes = {};  // along which to smooth; empty: all that the kernel fits in
    int passes = 1;              // times that all is done
};

namespace front {

// Data in double, smoothed axis after axis.
class Smoother {
  public:
    Smoother(const DataView &data, std::span<const int> dims, std::span<const float> kernel,
             const SmoothOptions &options)
        : call_(&options.progress), kernel_(kernel), components_(data.components()) {
        check_rows(data, count_nodes("dims", dims, components_, kMaxAxes), "nodes");
        check_kernel();
        if (options.passes < 1) {
            throw BadInput("passes is " + std::to_string(options.passes) + ", but must be at least 1");
        }
        const std::vector<int> axes = choose_axes(dims, options.axes);
        const DoubleValues values(data, options.null_value);
        values_.assign(values.view().begin(), values.view().end());
        total_ = values_.size() * axes.size() * static_cast<std::size_t>(options.passes);
        for (int pass = 0; pass < options.passes; ++pass) {
            for (const int axis : axes) smooth_along(dims, static_cast<std::size_t>(axis));
        }
    }

    std::vector<float> take() const { return {values_.begin(), values_.end()}; }

  private:
    static constexpr std::size_t kMaxWidth = 64;  // of a row that the library filters

    void check_kernel() {
        int_size("kernel", kernel_);
        if (kernel_.empty()) throw BadInput("kernel is empty");
        check_finite("kernel", kernel_);
        double sum = 0, size = 0;
        for (const double element : kernel_) {
            sum += element;
            size += std::abs(element);
        }
        // Up to the rounding of its elements.
        if (std::abs(sum) <= size * double{std::numeric_limits<float>::epsilon()})
            throw BadInput("kernel sums up to 0");
        smallest_rest_ = 1e-12 * size / std::abs(sum);
    }

    std::vector<int> choose_axes(std::span<const int> dims, const std::vector<int> &named) const {
        const auto fits = [&](int axis) {
            return kernel_.size() <= static_cast<std::size_t>(dims[static_cast<std::size_t>(axis)]);
        };
        const std::string kernel = "kernel has " + std::to_string(kernel_.size()) + " elements, but ";
        const int naxes = static_cast<int>(dims.size());
        for (const int axis : named) {
            if (axis < 0 || axis >= naxes) {
                throw BadInput("axes has " + std::to_string(axis) + ", but must be 0 to " +
                               std::to_string(naxes - 1));
            }
            if (!fits(axis)) {
                throw BadInput(kernel + "dims[" + std::to_string(axis) + "] is " +
                               std::to_string(dims[static_cast<std::size_t>(axis)]));
            }
        }
        if (!named.empty()) return named;
        std::vector<int> axes;
        for (int axis = 0; axis < naxes; ++axis) {
            if (fits(axis)) axes.push_back(axis);
        }
        if (axes.empty()) throw BadInput(kernel + "no axis has so many nodes");
        return axes;
    }

    // A block is all of an axis, of rows of neighbours along the faster axes.
    void smooth_along(std::span<const int> dims, std::size_t axis) {
        auto stride = static_cast<std::size_t>(components_);
        for (std::size_t d = 0; d < axis; ++d) stride *= static_cast<std::size_t>(dims[d]);
        const auto n = static_cast<std::size_t>(dims[axis]);
        for (std::size_t plane = 0; plane < values_.size(); plane += n * stride) {
            for (std::size_t first = 0; first < stride; first += kMaxWidth)
                smooth_block(&values_[plane + first], n, stride, std::min(kMaxWidth, stride - first));
        }
    }

    void smooth_block(double *block, std::size_t n, std::size_t stride, std::size_t width) {
        constexpr std::size_t kPeriod = 1 << 18;  // values between two polls
        if ((done_ + n * width) / kPeriod > done_ / kPeriod) call_.poll(done_, total_, "smooth");
        done_ += n * width;
        rows_.resize(n * width);
        for (std::size_t p = 0; p < n; ++p) std::copy_n(block + p * stride, width, &rows_[p * width]);
        const bool holes = any_missing(std::span<const double>(rows_));
        if (holes) {
            present_.resize(rows_.size());
            for (std::size_t i = 0; i < rows_.size(); ++i) {
                present_[i] = !is_missing(rows_[i]);
                if (is_missing(rows_[i])) rows_[i] = 0;
            }
            filter(present_, n, width, rest_);
        }
        filter(rows_, n, width, smoothed_);
        if (holes) mend();
        const std::size_t before = kernel_.size() / 2, after = kernel_.size() - before - 1;
        for (std::size_t p = before; p < n - after; ++p)
            std::copy_n(&smoothed_[p * width], width, block + p * stride);
    }

    // The kernel sees what is there alone, and sums up to 1 over that.
    void mend() {
        for (std::size_t i = 0; i < smoothed_.size(); ++i) {
            const bool has_value = present_[i] != 0 && std::abs(rest_[i]) > smallest_rest_;
            smoothed_[i] = has_value ? smoothed_[i] / rest_[i] : std::numeric_limits<double>::quiet_NaN();
        }
    }

    void filter(const std::vector<double> &rows, std::size_t n, std::size_t width, std::vector<double> &out) {
        out.resize(rows.size());
        call_.check(
            UTILfilter_1d_double(static_cast<int>(kernel_.size()), kernel_.data(), static_cast<int>(n),
                                 static_cast<int>(width), rows.data(), out.data()),
            "smooth");
    }

    Call call_;
    std::span<const float> kernel_;
    int components_;
    double smallest_rest_ = 0;  // of the kernel, below which nothing is left of it
    std::vector<double> values_;
    std::size_t done_ = 0, total_ = 0;                      // values
    std::vector<double> rows_, smoothed_, present_, rest_;  // of a block
};

}  // namespace front

// Runs a kernel along the axes of a grid, one after the other: the value of a node becomes the mean of its
// neighbours along the axis, weighted by the kernel, from kernel.size() / 2 nodes before it on. The kernel is
// divided by its sum, and not reversed. In double in between. Nodes nearer to an end of an axis than the
// kernel reaches keep their value along it. Missing values stay missing, as NaN, and count for nothing around
// them: the kernel is divided by the sum of its rest; NaN where that is 0. Throws BadInput, Interrupted or
// Error.
//   data    nodes x components
//   kernel  at most as long as the axis
inline std::vector<float> smooth(const DataView &data, std::span<const int> dims,
                                 std::span<const float> kernel, const SmoothOptions &options = {}) {
    return front::Smoother(data, dims, kernel, options).take();
}

// Kernels, which sum up to 1. Both throw BadInput.

// Gauss's, cut off beyond three times `sigma` nodes: 2 * ceil(3 * sigma) + 1 elements.
inline std::vector<float> gaussian_kernel(double sigma) {
    const double reach = std::ceil(3 * sigma);
    if (!(sigma > 0 && 2 * reach < INT_MAX)) {
        throw BadInput("sigma is " + front::value_text(sigma) +
                       ", but must be above 0, and its kernel have at most " + std::to_string(INT_MAX) +
                       " elements");
    }
    std::vector<double> weights;
    for (double x = -reach; x <= reach; ++x) weights.push_back(std::exp(-(x / sigma) * (x / sigma) / 2));
    const double sum = std::accumulate(weights.begin(), weights.end(), 0.0);
    std::vector<float> kernel;
    for (const double weight : weights) kernel.push_back(static_cast<float>(weight / sum));
    return kernel;
}

// n equal elements.
inline std::vector<float> box_kernel(int n) {
    if (n < 1) throw BadInput("n is " + std::to_string(n) + ", but must be at least 1");
    return std::vector<float>(static_cast<std::size_t>(n), 1.0f / static_cast<float>(n));
}

// A range of values, its ends included. Limits are exact numbers on integers, and rounded to float on floats.
struct Limits {
    std::optional<double> min = {}, max = {};  // none: no limit to that side
};

namespace front {

// Limits as the library takes them: values of a type, without those that all of its values keep.
class TypeLimits {
  public:
    TypeLimits(ElementType type, const Limits &limits) : given_(limits) {
        check("limits.min", limits.min);
        check("limits.max", limits.max);
        if (limits.min && limits.max && *limits.min > *limits.max) {
            throw BadInput("limits.min is " + value_text(*limits.min) +
                           ", but must not be above limits.max, " + value_text(*limits.max));
        }
        visit_type(type, [&](auto element) {
            using T = typename decltype(element)::type;
            constexpr bool kWhole = std::is_integral_v<T>;
            const double lowest = std::numeric_limits<T>::lowest(), highest = std::numeric_limits<T>::max();
            const double lo = limits.min.value_or(lowest), hi = limits.max.value_or(highest);
            take(kWhole ? std::ceil(lo) : lo, kWhole ? std::floor(hi) : hi, lowest, highest);
        });
    }

    bool empty() const { return empty_; }  // no finite value of the type lies between
    int has_min() const { return min_.has_value(); }
    int has_max() const { return max_.has_value(); }
    double min() const { return min_.value_or(0); }
    double max() const { return max_.value_or(0); }

    std::string text() const {
        return (given_.min ? "limits.min is " + value_text(*given_.min) : "") +
               (given_.min && given_.max ? " and " : "") +
               (given_.max ? "limits.max is " + value_text(*given_.max) : "");
    }

  private:
    static void check(const std::string &name, std::optional<double> limit) {
        if (limit && std::isnan(*limit)) throw BadInput(name + " is nan, but must be a number");
    }

    void take(double lo, double hi, double lowest, double highest) {
        empty_ = lo > hi || lo > highest || hi < lowest;
        if (lo > lowest) min_ = lo;
        if (hi < highest) max_ = hi;
    }

    Limits given_;
    bool empty_ = false;
    std::optional<double> min_, max_;
};

}  // namespace front

// Brings every value between limits; nulls and NaN pass. Throws BadInput, also when no finite value of the
// type lies between them.
template <class T>
std::vector<T> clamp(std::span<const T> values, const Limits &limits, std::optional<double> null_value = {}) {
    constexpr ElementType kType = front::element_type<T>();
    const front::TypeLimits held(kType, limits);
    if (held.empty()) throw BadInput(held.text() + ", but the data's type has no value that lies so");
    const front::Null null(kType, null_value);
    std::vector<T> result(values.size());
    const front::Call call;
    call.check(UTILclamp(front::int_size("values", values), values.data(), 1, 0, static_cast<int>(kType),
                         null.flag(), null.value(), held.has_min(), held.min(), held.has_max(), held.max(),
                         result.data()),
               "clamp");
    return result;
}

// The rows of `values` whose value of another array lies between limits; the others become `replacement` in
// all components, and so do those whose value there is the null, NaN or infinite. Throws BadInput, also when
// the type does not hold the replacement.
//   values  rows x components
//   test    a scalar a row
template <class T>
std::vector<T> threshold(std::span<const T> values, int components, const DataView &test,
                         const Limits &limits, double replacement,
                         std::optional<double> null_value = {} /* of test */) {
    constexpr ElementType kType = front::element_type<T>();
    const DataView rows(values, components);
    front::int_size("values", values);
    if (test.components() != 1) {
        throw BadInput("test has " + std::to_string(test.components()) + " components, but must be a scalar");
    }
    if (test.rows() != rows.rows()) {
        throw BadInput("test has " + std::to_string(test.rows()) + " rows, but values has " +
                       std::to_string(rows.rows()));
    }
    if (!null_of(kType, replacement) && (std::is_integral_v<T> || std::isfinite(replacement))) {
        throw BadInput("replacement is " + front::value_text(replacement) +
                       ", which the type of values does not hold");
    }
    const front::TypeLimits held(test.type(), limits);
    std::vector<T> result(values.size(), static_cast<T>(replacement));
    if (held.empty()) return result;
    const front::FiniteRows tested(test, null_value);
    const front::Call call;
    call.check(UTILthreshold(static_cast<int>(rows.rows()), tested.data(), 1, 0,
                             static_cast<int>(test.type()), tested.null().flag(), tested.null().value(),
                             held.has_min(), held.min(), held.has_max(), held.max(), values.data(),
                             components, static_cast<int>(kType), replacement, result.data()),
               "threshold");
    return result;
}

// a + weight * (b - a). Integers are rounded to the nearest, and held to the range of their type. The null
// where either is the null. Throws BadInput.
template <class T>
std::vector<T> blend(std::span<const T> a, std::span<const T> b, double weight,
                     std::optional<double> null_value = {}) {
    constexpr ElementType kType = front::element_type<T>();
    if (a.size() != b.size()) {
        throw BadInput("b has " + std::to_string(b.size()) + " elements, but a has " +
                       std::to_string(a.size()));
    }
    if (!std::isfinite(weight)) {
        throw BadInput("weight is " + front::value_text(weight) + ", but must be finite");
    }
    const int n = front::int_size("a", a);
    std::vector<T> result(a.size());
    if constexpr (std::is_integral_v<T>) {
        const double lowest = std::numeric_limits<T>::lowest(), highest = std::numeric_limits<T>::max();
        std::transform(a.begin(), a.end(), b.begin(), result.begin(), [=](double from, double to) {
            return static_cast<T>(std::clamp(std::round(from + weight * (to - from)), lowest, highest));
        });
    } else {
        const front::Call call;
        call.check(UTILinterpolate(n, weight, static_cast<int>(kType), a.data(), b.data(), result.data()),
                   "blend");
    }
    const front::Null null(kType, null_value);
    if (!null.flag()) return result;
    const T missing = null.get<T>();
    for (std::size_t i = 0; i < result.size(); ++i) {
        if (a[i] == missing || b[i] == missing) result[i] = missing;
    }
    return result;
}

// The polynomial of each value, the constant coefficient first, in double in between. Missing values, which
// are nulls, NaN and infinite ones, stay as they are. Throws BadInput.
template <class T>
std::vector<T> evaluate(std::span<const double> coefficients, std::span<const T> x,
                        std::optional<double> null_value = {}) {
    static_assert(std::is_floating_point_v<T>, "polynomials are of float or double values");
    constexpr ElementType kType = front::element_type<T>();
    if (coefficients.empty()) throw BadInput("coefficients is empty");
    front::check_finite("coefficients", coefficients);
    std::vector<T> result(x.size());
    const front::Call call;
    call.check(UTILeval_polynom(front::int_size("coefficients", coefficients), coefficients.data(),
                                front::int_size("x", x), x.data(), result.data(), static_cast<int>(kType)),
               "evaluate");
    const front::Null null(kType, null_value);
    for (std::size_t i = 0; i < x.size(); ++i) {
        if (front::is_missing(x[i]) || (null.flag() && x[i] == null.get<T>())) result[i] = x[i];
    }
    return result;
}

}  // namespace isofield
#endif
