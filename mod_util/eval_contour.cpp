// Node data on the new nodes of a band, between the ends of their edges.
#include <array>
#include <cstddef>

#include "types.hpp"

namespace {

using namespace isofield::detail;

constexpr int kMaxComponents = 128;

// One call's evaluation: A is the type of the band's scalar, B that of the array.
template <class A, class B>
class NewNodeData {
  public:
    NewNodeData(int nnodes, const A *data, double lo, double hi, const int *min_node, const int *max_node,
                const char *level_flag, int veclen, bool has_null, B null, int offset, const B *in)
        : nnodes_(nnodes),
          data_(data),
          lo_(lo),
          hi_(hi),
          min_node_(min_node),
          max_node_(max_node),
          level_flag_(level_flag),
          veclen_(veclen),
          has_null_(has_null),
          null_(null),
          offset_(offset),
          in_(in) {}

    double level_of(int k) const { return level_flag_[k] != 0 ? hi_ : lo_; }

    // Writes the row of new node k. Rows of negative ends are left alone.
    void evaluate(int k, B *out) const {
        const int a = min_node_[k], b = max_node_[k];
        if (a < 0 || b < 0) return;
        const double level = level_of(k);
        if (a < nnodes_ && b < nnodes_) {
            between_nodes(a, b, level, out);
        } else if (a < nnodes_) {
            // The upper end is a new node of the first stage.
            const double start = static_cast<double>(data_[a]);
            std::array<double, kMaxComponents> end;
            const double end_level = first_stage(b - nnodes_, end.data());
            const B *row = row_of(a);
            blend(row, parameter(level, start, end_level), out, [&](int c) {
                const double from = static_cast<double>(row[c]);
                return Ends{from, end[static_cast<std::size_t>(c)]};
            });
        } else {
            std::array<double, kMaxComponents> start;
            const double start_level = first_stage(a - nnodes_, start.data());
            const B *row = row_of(b);
            blend(row, parameter(level, start_level, static_cast<double>(data_[b])), out, [&](int c) {
                return Ends{start[static_cast<std::size_t>(c)], static_cast<double>(row[c])};
            });
        }
    }

  private:
    struct Ends {
        double from, to;
    };

    // Of an edge that ends in a new node.
    static double parameter(double level, double start, double end) {
        const double difference = end - start;
        return difference == 0 ? 0 : (level - start) / difference;
    }

    const B *row_of(int node) const { return in_ + (std::ptrdiff_t{node} * veclen_ - offset_); }

    bool is_null(B value) const { return has_null_ && value == null_; }

    // Between two old nodes. The result may be wider than the array's elements.
    template <class Out>
    void between_nodes(int a, int b, double level, Out *out) const {
        const double va = static_cast<double>(data_[a]), vb = static_cast<double>(data_[b]);
        const B *from = row_of(a), *to = row_of(b);
        if (va == vb) {
            for (int c = 0; c < veclen_; ++c) out[c] = static_cast<Out>(from[c]);
            return;
        }
        const double t = (level - va) / (vb - va);
        for (int c = 0; c < veclen_; ++c) {
            const double start = static_cast<double>(from[c]);
            const double value = start + t * (static_cast<double>(to[c]) - start);
            out[c] = is_null(from[c]) || is_null(to[c]) ? static_cast<Out>(null_) : truncated<Out>(value);
        }
    }

    // Writes the row of a new node of the first stage, and returns its level.
    double first_stage(int k, double *out) const {
        const double level = level_of(k);
        between_nodes(min_node_[k], max_node_[k], level, out);
        return level;
    }

    // Only the old end, whose row is `old`, is asked for nulls.
    template <class EndsOf>
    void blend(const B *old, double t, B *out, EndsOf ends_of) const {
        for (int c = 0; c < veclen_; ++c) {
            const Ends ends = ends_of(c);
            out[c] = is_null(old[c]) ? null_ : truncated<B>(ends.from + t * (ends.to - ends.from));
        }
    }

    int nnodes_;
    const A *data_;
    double lo_, hi_;
    const int *min_node_, *max_node_;
    const char *level_flag_;
    int veclen_;
    bool has_null_;
    B null_;
    int offset_;
    const B *in_;
};

template <class A, class B>
int eval_contour(int nnodes, int nnew, int start, const A *data, double lo, double hi, const int *min_node,
                 const int *max_node, const char *level_flag, int veclen, int null_flag, B null_value,
                 int offset, const B *in, B *out) {
    if (veclen > kMaxComponents) return 0;
    const NewNodeData<A, B> values(nnodes, data, lo, hi, min_node, max_node, level_flag, veclen,
                                   null_flag != 0, null_value, offset, in);
    if (static_cast<const void *>(data) == static_cast<const void *>(in)) {
        for (int r = 0; r < nnew; ++r) {
            const int k = start + r;
            if (min_node[k] >= 0 && max_node[k] >= 0) out[r] = truncated<B>(values.level_of(k));
        }
        return 1;
    }
    for (int r = 0; r < nnew; ++r) values.evaluate(start + r, out + std::ptrdiff_t{r} * veclen);
    return 1;
}

}  // namespace

ISOFIELD_STAMP_PAIRS(UTILeval_contour, eval_contour,
                     (int nnodes, int nnew, int start, const A *data, double lo, double hi,
                      const int *min_node, const int *max_node, const char *level_flag, int veclen,
                      int null_flag, VB null_value, int offset, const B *in, B *out),
                     (nnodes, nnew, start, data, lo, hi, min_node, max_node, level_flag, veclen, null_flag,
                      static_cast<B>(null_value), offset, in, out))

int UTILeval_contour(int nnodes, int nnew, int start, int data_type, const void *data, double lo, double hi,
                     const int *min_node, const int *max_node, const char *level_flag, int veclen,
                     int array_type, int null_flag, const void *null_value, int offset, const void *in,
                     void *out) {
    return visit_or_report(data_type, "UTILeval_contour_data", [&]<class A>(ElementTag<A>) {
        return visit_or_report(array_type, "UTILthreshold", [&]<class B>(ElementTag<B>) {
            return eval_contour<A, B>(nnodes, nnew, start, static_cast<const A *>(data), lo, hi, min_node,
                                      max_node, level_flag, veclen, null_flag,
                                      load_scalar<B>(null_flag, null_value), offset,
                                      static_cast<const B *>(in), static_cast<B *>(out));
        });
    });
}
