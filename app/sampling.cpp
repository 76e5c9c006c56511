#include "sampling.hpp"

namespace app {

std::vector<OutputArray> sample_arrays(isofield::Locator &locator, std::span<const isofield::Place> places,
                                       const std::vector<NamedArray> &arrays, std::optional<double> fill,
                                       std::vector<std::string> taken, Console &console) {
    std::vector<OutputArray> sampled;
    for (std::size_t i = 0; i < arrays.size(); ++i) {
        isofield::SampleOptions settings;
        settings.null_value = arrays[i].null_value;
        if (fill) settings.fill = static_cast<float>(*fill);
        settings.progress = polled_progress("sampling", console, i, arrays.size());
        taken.push_back(free_name(arrays[i].name, "_data", taken, console));
        const std::vector<float> values = locator.sample(places, arrays[i].data.view(), settings);
        OutputArray array = output_array<float>(taken.back(), isofield::ElementType::kFloat, values);
        array.components = arrays[i].data.components;
        array.null_value = fill;
        sampled.push_back(std::move(array));
    }
    return sampled;
}

}  // namespace app
