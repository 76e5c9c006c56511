// What the C++ examples in docs/ stand on: the sample data as plain arrays, which tools/raw_samples.py writes.
#ifndef ISOFIELD_SAMPLE_ARRAYS_HPP
#define ISOFIELD_SAMPLE_ARRAYS_HPP

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "isofield.hpp"

// The file NAME.TYPE, all of it: load<float>("fire/coords").
template <class T>
std::vector<T> load(const std::string &name) {
    const char *const types[] = {".int8", ".uint8", ".int16", ".int32", ".float32", ".float64"};
    const std::string path = name + types[static_cast<int>(isofield::front::element_type<T>())];
    std::ifstream file(path, std::ios::binary);
    std::vector<T> values(file ? std::filesystem::file_size(path) / sizeof(T) : 0);
    if (!file.read(reinterpret_cast<char *>(values.data()),
                   static_cast<std::streamsize>(values.size() * sizeof(T))))
        throw std::runtime_error("cannot read " + path);
    return values;
}

inline bool failed = false;

// Runs an example. What it says stands behind a line with its name.
inline void show(const char *name, void (*example)()) {
    std::printf("\x1e%s\n", name);
    try {
        example();
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s: %s\n", name, error.what());
        failed = true;
    }
}

#endif
