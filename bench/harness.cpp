#include "harness.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>

namespace bench {
namespace {

struct Figures {
    double fresh_ms = 0;
    double warm_ms = std::numeric_limits<double>::infinity();
    long long size = 0;
};

double milliseconds(const std::function<long long()> &work, long long &size) {
    const auto start = std::chrono::steady_clock::now();
    size = work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

// The largest difference, relative to the largest of our values; infinite where values can't be compared.
double difference(const std::vector<float> &theirs, const std::vector<float> &ours) {
    constexpr float kInfinite = std::numeric_limits<float>::infinity();
    if (theirs.size() != ours.size()) return kInfinite;
    float worst = 0, largest = 0;
    for (std::size_t i = 0; i < ours.size(); ++i) {
        const float apart = std::abs(theirs[i] - ours[i]);
        worst = std::isnan(apart) ? kInfinite : std::max(worst, apart);
        largest = std::max(largest, std::abs(ours[i]));
    }
    return worst / largest;
}

std::string difference_text(const std::vector<Contestant> &contestants, std::size_t c) {
    if (c == 0 || !contestants[c].values) return "";
    char text[32];
    std::snprintf(text, sizeof text, "%.1e", difference(contestants[c].values(), contestants[0].values()));
    return text;
}

}  // namespace

int run(const std::vector<Case> &cases, const Options &options) {
    if (options.list) {
        for (const Case &each : cases) std::printf("%s\n", each.name.c_str());
        return 0;
    }
    std::FILE *csv = options.csv.empty() ? nullptr : std::fopen(options.csv.c_str(), "w");
    if (!options.csv.empty() && !csv) {
        std::fprintf(stderr, "isofield_bench: can't write %s\n", options.csv.c_str());
        return 2;
    }
    if (csv) std::fprintf(csv, "case,contestant,size,fresh_ms,warm_ms,warm_ratio,fresh_ratio,difference\n");
    std::printf("%-28s %-32s %12s %10s %10s %12s %12s %12s\n", "case", "by", "size", "fresh ms", "warm ms",
                "warm ratio", "fresh ratio", "difference");
    for (const Case &each : cases) {
        if (each.name.find(options.filter) == std::string::npos) continue;
        const std::vector<Contestant> contestants = each.prepare();
        std::vector<Figures> figures(contestants.size());
        for (std::size_t c = 0; c < contestants.size(); ++c) {
            if (contestants[c].refresh) contestants[c].refresh();
            figures[c].fresh_ms = milliseconds(contestants[c].run, figures[c].size);
        }
        // Contestants take turns, so that a slow spell of the machine falls on all of them.
        for (int repeat = 0; repeat < options.repeats; ++repeat) {
            for (std::size_t c = 0; c < contestants.size(); ++c) {
                figures[c].warm_ms =
                    std::min(figures[c].warm_ms, milliseconds(contestants[c].run, figures[c].size));
            }
        }
        for (std::size_t c = 0; c < contestants.size(); ++c) {
            const Figures &f = figures[c];
            const double warm = f.warm_ms / figures[0].warm_ms;
            const double fresh = f.fresh_ms / figures[0].fresh_ms;
            const char *by = contestants[c].name.c_str();
            const std::string apart = difference_text(contestants, c);
            std::printf("%-28s %-32s %12lld %10.1f %10.1f %12.2f %12.2f %12s\n", each.name.c_str(), by,
                        f.size, f.fresh_ms, f.warm_ms, warm, fresh, apart.c_str());
            if (csv) {
                std::fprintf(csv, "%s,%s,%lld,%.3f,%.3f,%.3f,%.3f,%s\n", each.name.c_str(), by, f.size,
                             f.fresh_ms, f.warm_ms, warm, fresh, apart.c_str());
            }
        }
        std::fflush(stdout);
    }
    if (csv) std::fclose(csv);
    return 0;
}

}  // namespace bench
