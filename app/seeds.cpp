#include "seeds.hpp"

#include <algorithm>
#include <cmath>

namespace app {
namespace {

// Number i of a sequence that fills 0 to 1 ever more densely (J. H. Halton, 1964).
double radical_inverse(std::size_t i, std::size_t base) {
    double value = 0, digit = 1.0 / static_cast<double>(base);
    for (; i > 0; i /= base, digit /= static_cast<double>(base))
        value += digit * static_cast<double>(i % base);
    return value;
}

std::vector<float> points_in_box(const std::array<double, 6> &box, std::size_t first, std::size_t count) {
    static constexpr std::size_t kBases[] = {2, 3, 5};
    std::vector<float> points;
    for (std::size_t i = first + 1; i <= first + count; ++i) {
        for (std::size_t d = 0; d < 3; ++d) {
            const double part = radical_inverse(i, kBases[d]);
            points.push_back(static_cast<float>(box[2 * d] + part * (box[2 * d + 1] - box[2 * d])));
        }
    }
    return points;
}

std::vector<float> points_at_nodes(Field &field, std::size_t first, std::size_t count) {
    std::vector<int> nodes;
    for (std::size_t i = first + 1; i <= first + count; ++i) {
        nodes.push_back(static_cast<int>(radical_inverse(i, 2) * static_cast<double>(field.dataset.nnodes)));
    }
    std::vector<float> points(3 * nodes.size());
    const isofield::front::Call call;
    isofield::front::NodeCoords(*field.mesh.info(), call).gather(nodes, points.data());
    return points;
}

}  // namespace

std::vector<float> spread_seeds(Field &field, isofield::Locator &locator, std::size_t wanted) {
    constexpr std::size_t kTries = 50;
    const bool in_box = field.dataset.has_volume() || field.dataset.grid();
    const std::size_t batch = std::max<std::size_t>(wanted, 100);
    const std::size_t width = static_cast<std::size_t>(field.scalar.data.components);
    std::vector<float> seeds;
    isofield::SampleOptions settings;
    settings.null_value = field.scalar.null_value;
    for (std::size_t t = 0; t < kTries && seeds.size() < 3 * wanted; ++t) {
        const std::vector<float> points = in_box ? points_in_box(field.dataset.bounds, t * batch, batch)
                                                 : points_at_nodes(field, t * batch, batch);
        const std::vector<float> vectors =
            locator.sample(locator.find(points), field.scalar.data.view(), settings);
        for (std::size_t i = 0; i < batch && seeds.size() < 3 * wanted; ++i) {
            if (!std::isnan(vectors[width * i]))
                seeds.insert(seeds.end(), &points[3 * i], &points[3 * i] + 3);
        }
    }
    return seeds;
}

}  // namespace app
