// Part of the C++ front, which isofield.hpp includes: errors, data as the library takes them, and what every
// call into the library needs.
#ifndef ISOFIELD_DATA_HPP
#define ISOFIELD_DATA_HPP

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "isofield.h"
#include "isofield_default_host.h"

namespace isofield {

// An operation failed; what() is what was reported.
class Error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// An argument was refused before anything was done; what() names the array, the index and the value.
class BadInput : public Error {
  public:
    using Error::Error;
};

// The progress callable, or an interrupt, asked to stop.
class Interrupted : public Error {
  public:
    Interrupted() : Error("interrupted") {}
};

// The six element types, by their codes.
enum class ElementType { kChar = 0, kByte = 1, kShort = 2, kInt = 3, kFloat = 4, kDouble = 5 };
inline std::size_t size_of(ElementType type) {
    return static_cast<std::size_t>(DTYPEtype_size[static_cast<int>(type)]);
}

// A null value as elements of a type hold it: rounded to float, or none where the type has no such value, so
// that no element equals it. NaN and infinite values are none; they count as missing in any case.
inline std::optional<double> null_of(ElementType type, std::optional<double> value) {
    if (!value || !std::isfinite(*value)) return {};
    double element = 0;  // room for any type
    double held = 0;
    UTILdouble_to_type(&element, *value, static_cast<int>(type));
    UTILtype_to_double(&held, &element, static_cast<int>(type));
    const bool rounded = type == ElementType::kFloat && std::isfinite(held);
    return held == *value || rounded ? std::optional(held) : std::nullopt;
}

namespace front {

template <class T>
constexpr ElementType element_type() {
    if constexpr (std::is_same_v<T, signed char>)
        return ElementType::kChar;
    else if constexpr (std::is_same_v<T, unsigned char>)
        return ElementType::kByte;
    else if constexpr (std::is_same_v<T, short>)
        return ElementType::kShort;
    else if constexpr (std::is_same_v<T, int>)
        return ElementType::kInt;
    else if constexpr (std::is_same_v<T, float>)
        return ElementType::kFloat;
    else {
        static_assert(std::is_same_v<T, double>,
                      "elements are signed or unsigned char, short, int, float or double");
        return ElementType::kDouble;
    }
}

}  // namespace front

// Read-only data on nodes: `count` rows of `components` values of one type. Made from a span or a vector, or
// from parts where the type is known only at run time. Views its array; the caller keeps it alive. Throws
// BadInput.
class DataView {
  public:
    template <class T>  // signed char, unsigned char, short, int, float, double
    DataView(std::span<T> values, int components = 1)
        : DataView(front::element_type<std::remove_const_t<T>>(), values.data(),
                   whole_rows(values.size(), components), components) {}
    template <class T>
    DataView(const std::vector<T> &values, int components = 1)
        : DataView(std::span<const T>(values), components) {}
    DataView(ElementType type, const void *values, std::size_t rows, int components = 1)
        : type_(type), data_(values), rows_(rows), components_(components) {
        if (components < 1) {
            throw BadInput("components is " + std::to_string(components) + ", but must be at least 1");
        }
        if (static_cast<int>(type) < 0 || static_cast<int>(type) > 5) {
            throw BadInput("type is " + std::to_string(static_cast<int>(type)) + ", but must be 0 to 5");
        }
        if (!values && rows > 0)
            throw BadInput("data is null, but should have " + std::to_string(rows) + " rows");
    }

    ElementType type() const { return type_; }
    const void *data() const { return data_; }
    std::size_t rows() const { return rows_; }
    int components() const { return components_; }

  private:
    static std::size_t whole_rows(std::size_t size, int components) {
        if (components < 1) return 0;
        const std::size_t rows = size / static_cast<std::size_t>(components);
        if (rows * static_cast<std::size_t>(components) != size) {
            throw BadInput("data has " + std::to_string(size) + " values, which are no whole rows of " +
                           std::to_string(components) + " components");
        }
        return rows;
    }

    ElementType type_;
    const void *data_;
    std::size_t rows_;
    int components_;
};

// Called with a percentage from 0 to 100; returns false to stop the operation.
using Progress = std::function<bool(int percent)>;

namespace front {

struct FreeArray {
    void operator()(void *array) const { ARRfree_f(array, "isofield.hpp", 0); }
};

struct FreeMesh {
    void operator()(MeshInfo *mesh) const { isohost_mesh_free(mesh); }
};

// An array of the library's.
template <class T>
class Array {
  public:
    Array() = default;
    Array(T *array, std::size_t size) : array_(array), size_(size) {}
    Array(Array &&other) noexcept : array_(std::move(other.array_)), size_(std::exchange(other.size_, 0)) {}
    Array &operator=(Array &&other) noexcept {
        array_ = std::move(other.array_);
        size_ = std::exchange(other.size_, 0);
        return *this;
    }

    static Array make(std::size_t size) {
        void *array = size <= INT_MAX
                          ? ARRalloc_f(nullptr, code(), static_cast<int>(size), nullptr, "isofield.hpp", 0)
                          : nullptr;
        if (!array) throw Error("no memory for an array of " + std::to_string(size) + " values");
        return Array(static_cast<T *>(array), size);
    }

    // Returns the memory beyond what is used.
    void fit() {
        array_.reset(static_cast<T *>(isohost_fit_array(array_.release(), code(), static_cast<int>(size_))));
    }

    // Keeps the first elements.
    void cut(std::size_t size) {
        size_ = size;
        fit();
    }

    T *data() const { return array_.get(); }
    std::size_t size() const { return size_; }
    std::span<const T> view() const { return {array_.get(), size_}; }

  private:
    static int code() { return static_cast<int>(element_type<T>()); }

    std::unique_ptr<T[], FreeArray> array_;
    std::size_t size_ = 0;
};

// One call into the library: collects the thread's reports, and lets a progress callable watch and stop it.
// What the program had set is back in place at the end of the scope.
class Call {
  public:
    explicit Call(const Progress *progress = nullptr) : old_quiet_(isohost_quiet_errors(1)) {
        isohost_clear_errors();
        if (progress && *progress) {
            progress_ = progress;
            old_watch_ = isohost_set_thread_watch({&Call::watch, this});
        }
    }
    ~Call() {
        if (progress_) isohost_set_thread_watch(old_watch_);
        isohost_quiet_errors(old_quiet_);
    }
    Call(const Call &) = delete;
    Call &operator=(const Call &) = delete;

    // Throws what befits an operation's result.
    void check(int result, const char *operation) const {
        if (thrown_) std::rethrow_exception(thrown_);
        if (stopped_) throw Interrupted();
        if (result > 0) return;
        const std::string text = reports();
        if (result < 0 || (text.empty() && isohost_interrupted())) throw Interrupted();
        throw Error(text.empty() ? std::string(operation) + " failed" : text);
    }

    // Tells how far an operation of the front's own is. Throws Interrupted when it is to stop.
    void poll(std::size_t done, std::size_t total, const char *operation) const {
        int stop = 0;
        OMstatus_check(static_cast<int>(100 * done / total), nullptr, &stop);
        check(stop ? -1 : 1, operation);
    }

    static std::string reports() {
        std::string text = isohost_errors();
        while (!text.empty() && text.back() == '\n') text.pop_back();
        return text;
    }

  private:
    // Exceptions of the callable cross the library as a stop.
    static int watch(int percent, const char *, void *user) {
        Call &call = *static_cast<Call *>(user);
        if (call.stopped_ || call.thrown_) return 0;
        try {
            call.stopped_ = !(*call.progress_)(percent);
        } catch (...) {
            call.thrown_ = std::current_exception();
        }
        return !call.stopped_ && !call.thrown_;
    }

    int old_quiet_;
    const Progress *progress_ = nullptr;
    IsohostWatch old_watch_ = {nullptr, nullptr};
    bool stopped_ = false;
    std::exception_ptr thrown_;
};

// A result of `rows` rows of the data's components, which carry(data, out) fills.
template <class T, class Carry>
std::vector<T> carried(std::size_t rows, std::span<const T> values, int components, Carry carry) {
    const DataView data(values, components);
    std::vector<T> result(rows * static_cast<std::size_t>(components));
    carry(data, result.data());
    return result;
}

// The shortest text that reads back the same.
template <class T>
std::string value_text(T value) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

using Vector = std::array<double, 3>;

inline Vector cross(const Vector &a, const Vector &b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
inline double dot(const Vector &a, const Vector &b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

inline void check_rows(const DataView &data, std::size_t rows, const char *elements) {
    if (data.rows() != rows) {
        throw BadInput("data has " + std::to_string(data.rows()) + " rows, but the mesh has " +
                       std::to_string(rows) + " " + elements);
    }
}

// A null value in the data's own type, as the library takes it.
class Null {
  public:
    Null(ElementType type, std::optional<double> value) {
        const std::optional<double> held = null_of(type, value);
        if (held) UTILdouble_to_type(&storage_, *held, static_cast<int>(type));
        set_ = held.has_value();
    }

    template <class T>
    void set(T value) {
        std::memcpy(&storage_, &value, sizeof value);
        set_ = true;
    }
    template <class T>
    T get() const {
        T value;
        std::memcpy(&value, &storage_, sizeof value);
        return value;
    }
    int flag() const { return set_; }
    const void *value() const { return &storage_; }

  private:
    double storage_ = 0;
    bool set_ = false;
};

template <class T>
using BitsOf = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;

// NaN and infinite values have all bits of the exponent set. Tested on the bits: such loops vectorise, and
// hold under -ffast-math too.
template <class T>
bool is_missing(T value) {
    constexpr auto kExponent = std::bit_cast<BitsOf<T>>(std::numeric_limits<T>::infinity());
    return (std::bit_cast<BitsOf<T>>(value) & kExponent) == kExponent;
}

template <class T>
bool any_missing(std::span<const T> values) {
    constexpr std::size_t kBlock = 1024;
    std::size_t i = 0;
    for (; i + kBlock <= values.size(); i += kBlock) {
        const T *block = values.data() + i;
        BitsOf<T> found = 0;
        for (std::size_t k = 0; k < kBlock; ++k) found |= static_cast<BitsOf<T>>(is_missing(block[k]));
        if (found) return true;
    }
    return std::any_of(values.begin() + static_cast<std::ptrdiff_t>(i), values.end(), is_missing<T>);
}

template <class T>
void check_finite(const std::string &name, std::span<const T> values) {
    const auto found = std::find_if(values.begin(), values.end(), is_missing<T>);
    if (found == values.end()) return;
    throw BadInput(name + "[" + std::to_string(found - values.begin()) + "] is " + value_text(*found) +
                   ", but must be finite");
}

template <class Range>
int int_size(const std::string &name, const Range &range) {
    if (range.size() > INT_MAX) {
        throw BadInput(name + " has " + std::to_string(range.size()) +
                       " elements, but there can be at most " + std::to_string(INT_MAX));
    }
    return static_cast<int>(range.size());
}

// The nodes of a grid that is given by its node counts, whose data an int can count.
inline std::size_t count_nodes(const std::string &name, std::span<const int> dims, int components,
                               std::size_t max_axes) {
    if (dims.empty() || dims.size() > max_axes) {
        throw BadInput(name + " has " + std::to_string(dims.size()) + " elements, but must have 1 to " +
                       std::to_string(max_axes));
    }
    std::int64_t nvalues = components;
    for (std::size_t d = 0; d < dims.size(); ++d) {
        if (dims[d] < 1) {
            throw BadInput(name + "[" + std::to_string(d) + "] is " + std::to_string(dims[d]) +
                           ", but must be at least 1");
        }
        nvalues *= dims[d];
        if (nvalues > INT_MAX) {
            throw BadInput(name + " makes more than " + std::to_string(INT_MAX) +
                           " values, which is the most that there can be");
        }
    }
    return static_cast<std::size_t>(nvalues / components);
}

inline std::size_t whole_points(const std::string &name, std::span<const float> points) {
    if (points.size() % 3 != 0) {
        throw BadInput(name + " has " + std::to_string(points.size()) +
                       " values, which are no whole rows of 3");
    }
    return points.size() / 3;
}

// Calls f with a std::type_identity of the elements' type.
template <class F>
auto visit_type(ElementType type, F f) {
    switch (type) {
        case ElementType::kChar:
            return f(std::type_identity<signed char>());
        case ElementType::kByte:
            return f(std::type_identity<unsigned char>());
        case ElementType::kShort:
            return f(std::type_identity<short>());
        case ElementType::kInt:
            return f(std::type_identity<int>());
        case ElementType::kFloat:
            return f(std::type_identity<float>());
        default:
            return f(std::type_identity<double>());
    }
}

// Per row 1 where it is missing, for its first component is the null or any is NaN or infinite, else 0. Empty
// when no row is missing.
inline std::vector<unsigned char> missing_rows(const DataView &data, std::optional<double> null_value) {
    return visit_type(data.type(), [&](auto type) -> std::vector<unsigned char> {
        using T = typename decltype(type)::type;
        const Null null(data.type(), null_value);
        const auto width = static_cast<std::size_t>(data.components());
        const std::span<const T> values(static_cast<const T *>(data.data()), data.rows() * width);
        bool any = null.flag();
        if constexpr (std::is_floating_point_v<T>) any = any || any_missing(values);
        if (!any) return {};
        any = false;
        std::vector<unsigned char> marks(data.rows());
        for (std::size_t row = 0; row < marks.size(); ++row) {
            const T *value = &values[row * width];
            bool missing = null.flag() && *value == null.get<T>();
            if constexpr (std::is_floating_point_v<T>)
                for (std::size_t c = 0; c < width; ++c) missing |= is_missing(value[c]);
            marks[row] = missing;
            any |= missing;
        }
        if (!any) return {};
        return marks;
    });
}

// Rows in which nothing is NaN or infinite: the given ones, or a copy with such values replaced by the null
// value, and so the first of their row. Where no null was given, the null becomes a finite value that no row
// begins with: the lowest number of the type, or the first above it that is free.
class FiniteRows {
  public:
    FiniteRows(const DataView &data, std::optional<double> null_value)
        : null_(data.type(), null_value), data_(data.data()) {
        if (data.type() == ElementType::kFloat) replace_missing<float>(data);
        if (data.type() == ElementType::kDouble) replace_missing<double>(data);
    }
    FiniteRows(const FiniteRows &) = delete;
    FiniteRows &operator=(const FiniteRows &) = delete;

    const void *data() const { return data_; }
    const Null &null() const { return null_; }

  private:
    template <class T>
    void replace_missing(const DataView &data) {
        const auto width = static_cast<std::size_t>(data.components());
        const std::span<const T> values(static_cast<const T *>(data.data()), data.rows() * width);
        if (!any_missing(values)) return;
        if (!null_.flag()) null_.set(unused_value(values, width));
        const T null = null_.get<T>();
        copy_ = std::make_unique_for_overwrite<std::byte[]>(values.size() * sizeof(T));
        T *copy = reinterpret_cast<T *>(copy_.get());
        std::transform(values.begin(), values.end(), copy,
                       [&](T value) { return is_missing(value) ? null : value; });
        data_ = copy;
        if (width == 1) return;
        for (std::size_t i = 0; i < values.size(); i += width) {
            const auto row = values.subspan(i, width);
            if (std::any_of(row.begin(), row.end(), is_missing<T>)) copy[i] = null;
        }
    }

    template <class T>
    static T unused_value(std::span<const T> values, std::size_t width) {
        T unused = std::numeric_limits<T>::lowest();
        for (std::size_t i = 0; i < values.size();) {
            const bool is_free = values[i] != unused;
            if (!is_free) unused = std::nextafter(unused, T{0});
            i = is_free ? i + width : 0;
        }
        return unused;
    }

    Null null_;
    const void *data_;
    std::unique_ptr<std::byte[]> copy_;
};

// Data as floats or doubles, in which all that is missing is NaN: nulls throughout their row, infinite values
// alone. A view of the given data where they are so already.
template <class T>
class ValuesAs {
  public:
    ValuesAs(const DataView &data, std::optional<double> null_value)
        : size_(data.rows() * static_cast<std::size_t>(data.components())) {
        const Null null(data.type(), null_value);
        if (data.type() == element_type<T>() && !null.flag()) {
            values_ = static_cast<const T *>(data.data());
            if (!any_missing(view())) return;
        }
        copy_.resize(size_);
        visit_type(data.type(), [&](auto type) {
            using Element = typename decltype(type)::type;
            copy(static_cast<const Element *>(data.data()), null,
                 static_cast<std::size_t>(data.components()));
        });
        values_ = copy_.data();
    }
    ValuesAs(const ValuesAs &) = delete;
    ValuesAs &operator=(const ValuesAs &) = delete;

    std::span<const T> view() const { return {values_, size_}; }

  private:
    template <class Element>
    void copy(const Element *from, const Null &null, std::size_t components) {
        bool is_null = false;
        for (std::size_t i = 0; i < size_; ++i) {
            if (null.flag() && i % components == 0) is_null = from[i] == null.get<Element>();
            copy_[i] = static_cast<T>(from[i]);
            if (is_null || is_missing(copy_[i])) copy_[i] = std::numeric_limits<T>::quiet_NaN();
        }
    }

    std::size_t size_;
    std::vector<T> copy_;
    const T *values_ = nullptr;
};
using FloatValues = ValuesAs<float>;
using DoubleValues = ValuesAs<double>;

}  // namespace front

}  // namespace isofield
#endif
