// The simplices of a tessellation in one place, with room to be taken again.
#ifndef ISOFIELD_MOD_UTIL_SIMPLEX_POOL_HPP
#define ISOFIELD_MOD_UTIL_SIMPLEX_POOL_HPP

#include <array>
#include <cstddef>
#include <cstdint>

#include "sphere_table.hpp"
#include "working_list.hpp"

namespace isofield::detail {

template <int D>
using Simplex = std::array<int, D + 1>;  // vertices

// A stamp tells those apart that had the same place.
template <int D>
class SimplexPool {
  public:
    struct Item {
        Sphere<D> sphere;
        // When it was put on the list of the active ones: the step of the sweep, and its turn in that step.
        // A list grows at its head, so later ones are met first.
        std::int64_t order;
        Simplex<D> vertices;  // the first is -1 when the place is free
        unsigned stamp;
    };

    // A place, or -1 when there is no memory.
    int take() {
        if (!free_.empty()) {
            const int id = free_.back();
            free_.pop();
            return id;
        }
        return items_.push(Item{}) ? static_cast<int>(items_.size()) - 1 : -1;
    }
    // False when there is no memory.
    bool give_back(int id) {
        Item &item = (*this)[id];
        item.vertices[0] = -1;
        ++item.stamp;
        return free_.push(id);
    }

    Item &operator[](int id) const { return items_[static_cast<std::size_t>(id)]; }
    const WorkingList<Item> &items() const { return items_; }
    std::size_t size() const { return items_.size() - free_.size(); }

  private:
    WorkingList<Item> items_;
    WorkingList<int> free_;
};

}  // namespace isofield::detail
#endif
