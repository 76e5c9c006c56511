// A cubic by least squares through ten million samples, against vtkMath's solver, which wants the powers in a
// row for each sample, and against plain sums of both arrays, which take what memory allows. The sizes are
// samples; coefficients are compared.
#include <vtkMath.h>

#include <cmath>
#include <cstddef>
#include <memory>
#include <random>
#include <vector>

#include "harness.hpp"
#include "isofield_default_host.h"

namespace {

using bench::Contestant;

constexpr int kSamples = 10'000'000;
constexpr int kOrder = 4;

template <class T>
struct Samples {
    std::vector<float> x;
    std::vector<T> y;
};

// A wave with noise over [-1, 1].
template <class T>
std::shared_ptr<const Samples<T>> random_samples() {
    const auto samples = std::make_shared<Samples<T>>();
    std::mt19937 random(1);
    for (int i = 0; i < kSamples; ++i) {
        const double x = random() * 0x1p-31 - 1, noise = random() * 0x1p-32;
        samples->x.push_back(static_cast<float>(x));
        samples->y.push_back(static_cast<T>(std::sin(2 * x + 1) + noise));
    }
    return samples;
}

using Coefficients = std::vector<double>;

template <class T>
long long our_fit(const Samples<T> &samples, Coefficients &coefficients) {
    constexpr int kType = sizeof(T) == sizeof(float) ? 4 : 5;
    return UTILleast_squares(kSamples, samples.x.data(), kType, samples.y.data(), kOrder,
                             coefficients.data()) == 1
               ? kSamples
               : -1;
}

// The peer's rows, kept from run to run.
struct Rows {
    std::vector<double> powers, values;
    std::vector<double *> power_rows, value_rows;
};

template <class T>
long long peer_fit(const Samples<T> &samples, Rows &rows, Coefficients &coefficients) {
    rows.powers.resize(std::size_t{kSamples} * kOrder);
    rows.values.assign(samples.y.begin(), samples.y.end());
    rows.power_rows.resize(kSamples);
    rows.value_rows.resize(kSamples);
    for (std::size_t i = 0; i < kSamples; ++i) {
        double *row = rows.power_rows[i] = &rows.powers[i * kOrder];
        rows.value_rows[i] = &rows.values[i];
        row[0] = 1;
        for (int power = 1; power < kOrder; ++power) row[power] = row[power - 1] * samples.x[i];
    }
    double *solution[kOrder];
    for (int power = 0; power < kOrder; ++power) solution[power] = &coefficients[power];
    return vtkMath::SolveLeastSquares(kSamples, rows.power_rows.data(), kOrder, rows.value_rows.data(), 1,
                                      solution, 0)
               ? kSamples
               : -1;
}

// In as many separate sums as keep the adders from waiting for each other.
template <class T>
double plain_sum(const std::vector<T> &values) {
    constexpr std::size_t kSums = 32;
    T sums[kSums] = {};
    std::size_t i = 0;
    for (; i + kSums <= values.size(); i += kSums) {
        for (std::size_t s = 0; s < kSums; ++s) sums[s] += values[i + s];
    }
    double total = 0;
    for (const T sum : sums) total += sum;
    for (; i < values.size(); ++i) total += values[i];
    return total;
}

template <class T>
std::vector<Contestant> contestants() {
    const auto samples = random_samples<T>();
    const auto rows = std::make_shared<Rows>();
    const auto fit = [](const char *name, const auto &work) -> Contestant {
        const auto coefficients = std::make_shared<Coefficients>(kOrder);
        return {name, [=] { return work(*coefficients); }, isohost_trim_arrays,
                [=] { return std::vector<float>(coefficients->begin(), coefficients->end()); }};
    };
    const auto read = [=]() -> long long {
        return std::isfinite(plain_sum(samples->x) + plain_sum(samples->y)) ? kSamples : -1;
    };
    return {fit("isofield", [=](Coefficients &out) { return our_fit(*samples, out); }),
            fit("vtkMath", [=](Coefficients &out) { return peer_fit(*samples, *rows, out); }),
            {"sums of x and y", read}};
}

}  // namespace

std::vector<bench::Case> fit_cases() {
    return {{"fit/10M float", contestants<float>}, {"fit/10M double", contestants<double>}};
}
