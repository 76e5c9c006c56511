// A working array that grows at its end.
#ifndef ISOFIELD_MOD_UTIL_WORKING_LIST_HPP
#define ISOFIELD_MOD_UTIL_WORKING_LIST_HPP

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <type_traits>

#include "working_array.hpp"

namespace isofield::detail {

template <class T>
class WorkingList {
  public:
    static_assert(std::is_trivially_copyable_v<T>);

    // Room for so many. False, with the list as it was, when there is no memory.
    bool reserve(std::size_t capacity) {
        if (capacity <= capacity_) return true;
        void *const grown = std::realloc(items_.get(), capacity * sizeof(T));
        if (!grown) return false;
        static_cast<void>(items_.release());
        items_.reset(static_cast<T *>(grown));
        capacity_ = capacity;
        return true;
    }
    // By value: the item may be one of the list's own.
    bool push(T item) {
        if (size_ == capacity_ && !reserve(std::max<std::size_t>(2 * capacity_, kFirst))) [[unlikely]]
            return false;
        items_[size_++] = item;
        return true;
    }
    // Where there is room.
    void push_within(const T &item) { items_[size_++] = item; }
    // Where there is room even if not: without a branch.
    void push_within_if(bool wanted, const T &item) {
        items_[size_] = item;
        size_ += wanted;
    }
    void pop() { --size_; }
    void clear() { size_ = 0; }

    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    T *data() const { return items_.get(); }
    T *begin() const { return data(); }
    T *end() const { return data() + size_; }
    T &operator[](std::size_t i) const { return items_[i]; }
    T &back() const { return items_[size_ - 1]; }

  private:
    static constexpr std::size_t kFirst = 8;

    Working<T> items_;
    std::size_t size_ = 0, capacity_ = 0;
};

}  // namespace isofield::detail
#endif
