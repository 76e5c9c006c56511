// Operations on plain arrays of random floats, against a copy and, where there is one, the same in VTK. The
// copy moves as many bytes as the operation has to: half of them read, half written, where what is read counts
// in the lines of the cache that hold an element in use (all of a row's when every second element is). The
// sizes are floats written. The ends of filtered arrays are not compared, since the peer repeats the end
// elements there.
#include <vtkExtractVOI.h>
#include <vtkFloatArray.h>
#include <vtkImageData.h>
#include <vtkImageReslice.h>
#include <vtkImageSeparableConvolution.h>
#include <vtkImageWeightedSum.h>
#include <vtkNew.h>
#include <vtkPointData.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "filler.hpp"
#include "peer.hpp"

namespace {

using bench::Contestant;
using bench::FieldPtr;

constexpr int kSide = 256;
constexpr int kRows = kSide * kSide * kSide;

// Random values of [0, 1), without a mesh.
FieldPtr random_image(int ni, int nj, int nk, int veclen, unsigned seed = 1) {
    const auto image = vtkSmartPointer<vtkImageData>::New();
    image->SetDimensions(ni, nj, nk);
    image->AllocateScalars(VTK_FLOAT, veclen);
    auto *value = static_cast<float *>(image->GetScalarPointer());
    std::mt19937 random(seed);
    std::generate_n(value, image->GetPointData()->GetScalars()->GetNumberOfValues(),
                    [&] { return static_cast<float>(random() >> 8) * 0x1p-24f; });
    auto field = std::make_shared<bench::Field>();
    field->dataset = image;
    return field;
}

FieldPtr cube(int veclen, unsigned seed = 1) {
    return random_image(kSide, kSide, kSide, veclen, seed);
}

const float *floats(const FieldPtr &field) {
    return static_cast<const float *>(field->data());
}

std::size_t count(const FieldPtr &field) {
    return static_cast<std::size_t>(field->dataset->GetPointData()->GetScalars()->GetNumberOfValues());
}

// An operation: the floats that it writes, and those in the lines that it reads.
struct Traffic {
    std::size_t nout, nread;
};

using Work = std::function<int(float *out)>;
using Values = std::function<std::vector<float>(const float *out)>;

// Ours, and the copy, which starts over with the array where that is too short.
std::vector<Contestant> ours_and_copy(const FieldPtr &in, const Traffic &traffic, const Work &work,
                                      const Values &values = {}) {
    const std::size_t nmoved = (traffic.nout + traffic.nread) / 2;
    const auto ours = [=, nout = traffic.nout](float *out) -> long long {
        return work(out) == 1 ? static_cast<long long>(nout) : -1;
    };
    const auto copy = [=](float *out) {
        const std::size_t nin = count(in);
        for (std::size_t at = 0; at < nmoved; at += nin) {
            std::memcpy(out + at, floats(in), sizeof(float) * std::min(nin, nmoved - at));
        }
        return static_cast<long long>(nmoved);
    };
    return {bench::array_filler("isofield", traffic.nout, ours, values),
            bench::array_filler("copy", nmoved, copy)};
}

template <class Filter>
Contestant image_peer(const char *name, const FieldPtr &in, const std::function<void(Filter &)> &adjust,
                      const Values &values) {
    const auto size = [](Filter &filter) {
        return static_cast<long long>(filter.GetOutput()->GetPointData()->GetScalars()->GetNumberOfValues());
    };
    const auto image_values = [values](Filter &filter) {
        return values(static_cast<const float *>(filter.GetOutput()->GetScalarPointer()));
    };
    return bench::filter_peer<Filter>(name, in, size, adjust, image_values);
}

Values all(std::size_t n) {
    return [n](const float *out) { return std::vector<float>(out, out + n); };
}

std::vector<Contestant> filters(int nk, int nrows, int veclen) {
    const FieldPtr in = random_image(nrows, 1, 1, veclen);
    const std::vector<float> kernel = nk == 3 ? std::vector<float>{0.25f, 0.5f, 0.25f}
                                              : std::vector<float>{0.0625f, 0.25f, 0.375f, 0.25f, 0.0625f};
    const auto work = [=](float *out) {
        return UTILfilter_1d(nk, kernel.data(), nrows, veclen, 4, floats(in), out);
    };
    const Values inside = [=](const float *out) { return std::vector<float>(out + nk, out + nrows - nk); };
    const std::size_t n = count(in);
    std::vector<Contestant> contestants = ours_and_copy(in, {n, n}, work, inside);
    if (veclen > 1) return contestants;  // the peer takes scalars alone
    const auto adjust = [&](vtkImageSeparableConvolution &filter) {
        vtkNew<vtkFloatArray> weights;
        for (const float weight : kernel) weights->InsertNextValue(weight);
        filter.SetXKernel(weights);
    };
    contestants.push_back(
        image_peer<vtkImageSeparableConvolution>("vtkImageSeparableConvolution", in, adjust, inside));
    return contestants;
}

// Downsizing by a factor along the first two axes, and another along the third.
std::vector<Contestant> downsizing(int factor, int last_factor, int veclen) {
    const FieldPtr in = cube(veclen);
    const auto work = [=](float *out) {
        const int dims[] = {veclen, kSide, kSide, kSide}, factors[] = {1, factor, factor, last_factor};
        return UTILdownsize(4, dims, factors, 4, floats(in), out);
    };
    const std::size_t nread = count(in) / (factor * last_factor), nout = nread / factor;
    std::vector<Contestant> contestants = ours_and_copy(in, {nout, nread}, work, all(nout));
    const auto adjust = [&](vtkExtractVOI &filter) {
        filter.SetVOI(0, kSide - 1, 0, kSide - 1, 0, kSide - 1);
        filter.SetSampleRate(factor, factor, last_factor);
    };
    contestants.push_back(image_peer<vtkExtractVOI>("vtkExtractVOI", in, adjust, all(nout)));
    return contestants;
}

// Of rows of a cube's side, all but the last along each axis, where ours may be rounded to the row below.
Values all_but_last(int side, int veclen) {
    return [=](const float *out) {
        std::vector<float> values;
        const std::ptrdiff_t row = std::ptrdiff_t{side} * veclen;
        for (int k = 0; k < side - 1; ++k, out += row) {
            for (int j = 0; j < side - 1; ++j, out += row)
                values.insert(values.end(), out, out + row - veclen);
        }
        return values;
    };
}

// The peer takes the nearest node: half a step before the place it is the one that ours takes, but for a
// nudge that keeps rounding out of it.
std::vector<Contestant> resampling(int side, int veclen) {
    const FieldPtr in = cube(veclen);
    const auto work = [=](float *out) {
        const int in_dims[] = {kSide, kSide, kSide}, out_dims[] = {side, side, side};
        return UTILresample(3, in_dims, out_dims, veclen, 4, floats(in), out);
    };
    const std::size_t rows = std::min(side, kSide);
    const std::size_t nread = rows * rows * kSide * veclen;
    const std::size_t nout = std::size_t{1} * side * side * side * veclen;
    const Values inside = all_but_last(side, veclen);
    std::vector<Contestant> contestants = ours_and_copy(in, {nout, nread}, work, inside);
    const auto adjust = [&](vtkImageReslice &filter) {
        const double step = (kSide - 1.0) / (side - 1.0), before = -0.5 + 0.5 / side;
        filter.SetOutputOrigin(before, before, before);
        filter.SetOutputSpacing(step, step, step);
        filter.SetOutputExtent(0, side - 1, 0, side - 1, 0, side - 1);
        filter.SetInterpolationModeToNearestNeighbor();
        filter.SetNumberOfThreads(1);
    };
    contestants.push_back(image_peer<vtkImageReslice>("vtkImageReslice", in, adjust, inside));
    return contestants;
}

std::vector<Contestant> blending(int veclen) {
    constexpr double kWeight = 0.3;
    const FieldPtr a = cube(veclen), b = cube(veclen, 2);
    const std::size_t n = count(a);
    const auto work = [=](float *out) {
        return UTILinterpolate(static_cast<int>(n), kWeight, 4, floats(a), floats(b), out);
    };
    std::vector<Contestant> contestants = ours_and_copy(a, {n, 2 * n}, work, all(n));
    if (veclen > 1) return contestants;  // the peer takes scalars alone
    const auto adjust = [&](vtkImageWeightedSum &filter) {
        filter.AddInputData(b->dataset);
        filter.SetWeight(0, 1 - kWeight);
        filter.SetWeight(1, kWeight);
        filter.SetNumberOfThreads(1);
    };
    contestants.push_back(image_peer<vtkImageWeightedSum>("vtkImageWeightedSum", a, adjust, all(n)));
    return contestants;
}

std::vector<Contestant> clamping() {
    const FieldPtr in = cube(1);
    const auto work = [in](float *out) {
        return UTILclamp(kRows, floats(in), 1, 0, 4, 0, nullptr, 1, 0.25, 1, 0.75, out);
    };
    return ours_and_copy(in, {kRows, kRows}, work);
}

std::vector<Contestant> polynomial() {
    constexpr int kSamples = 10'000'000;
    const FieldPtr in = random_image(kSamples, 1, 1, 1);
    const auto work = [in](float *out) {
        constexpr double kCoefficients[] = {0.5, -1, 2, -0.25};
        return UTILeval_polynom(4, kCoefficients, kSamples, floats(in), out, 4);
    };
    return ours_and_copy(in, {kSamples, kSamples}, work);
}

}  // namespace

std::vector<bench::Case> array_cases() {
    std::vector<bench::Case> cases;
    const auto add = [&](const std::string &name, std::function<std::vector<Contestant>()> prepare) {
        cases.push_back({"arrays/" + name, std::move(prepare)});
    };
    for (const int nk : {3, 5}) {
        const std::string name = "filter " + std::to_string(nk);
        add(name, [=] { return filters(nk, kRows, 1); });
        add(name + " x 3", [=] { return filters(nk, kRows, 3); });
        add(name + " x 64", [=] { return filters(nk, kRows / 64, 64); });
    }
    for (const int veclen : {1, 3}) {
        const std::string tail = veclen > 1 ? " x 3" : "";
        add("downsize 2" + tail, [=] { return downsizing(2, 2, veclen); });
        add("downsize last 2" + tail, [=] { return downsizing(1, 2, veclen); });
        add("downsize 1" + tail, [=] { return downsizing(1, 1, veclen); });
        add("resample 200^3" + tail, [=] { return resampling(200, veclen); });
        add("resample 300^3" + tail, [=] { return resampling(300, veclen); });
        add("interpolate" + tail, [=] { return blending(veclen); });
    }
    add("clamp", clamping);
    add("polynomial", polynomial);
    return cases;
}
