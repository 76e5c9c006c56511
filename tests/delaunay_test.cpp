// Tessellations against the plain way: lists of simplices, each point held against all of them.
#include "delaunay.hpp"

#include <cmath>
#include <list>
#include <numbers>
#include <numeric>

#include "support.hpp"

namespace {

using isofield::detail::Simplex;
using isofield::detail::Sphere;
using Connect = std::vector<int>;

constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct Cloud {
    std::vector<Point> points;  // in the plane z is never looked at
    Point min, max;
};

struct Made {
    int result, count;
    Connect conn;
    std::string told;
};

template <int D>
Made tessellate(const Cloud &cloud, int check = 0) {
    Made made{0, -7, {}, {}};
    int *conn = nullptr;
    const int n = static_cast<int>(cloud.points.size());
    const float *const coords = n ? cloud.points[0].data() : nullptr;
    testing::internal::CaptureStderr();
    if constexpr (D == 2) {
        made.result =
            UTILdelaun_tess_2D(n, coords, 3, cloud.min.data(), cloud.max.data(), check, &made.count, &conn);
    } else {
        made.result =
            UTILdelaun_tess_3D(n, coords, cloud.min.data(), cloud.max.data(), check, &made.count, &conn);
    }
    made.told = testing::internal::GetCapturedStderr();
    const IntArray owned(conn);
    if (conn) made.conn.assign(conn, conn + (D + 1) * made.count);
    return made;
}

template <int D>
constexpr std::array<std::array<int, D>, D + 1> kFaces = {};
template <>
constexpr std::array<std::array<int, 2>, 3> kFaces<2> = {{{0, 1}, {1, 2}, {2, 0}}};
template <>
constexpr std::array<std::array<int, 3>, 4> kFaces<3> = {{{1, 2, 0}, {2, 3, 0}, {3, 1, 0}, {1, 3, 2}}};

template <int D>
class Plain {
  public:
    explicit Plain(const Cloud &cloud, bool check) : npoints_(static_cast<int>(cloud.points.size())) {
        for (const Point &p : cloud.points) coords_.insert(coords_.end(), p.begin(), p.begin() + D);
        add_first(cloud.min, cloud.max);
        Item first{{}, {}};
        std::iota(first.vertices.begin(), first.vertices.end(), npoints_);
        circumsphere(at(), first.vertices, first.sphere);
        active_ = {first};
        sweep();
        active_.splice(active_.end(), retired_);
        for (const Item &item : active_) {
            if (*std::max_element(item.vertices.begin(), item.vertices.end()) >= npoints_) continue;
            conn.insert(conn.end(), item.vertices.begin(), item.vertices.end());
            if (check) verify(item);
        }
        if (check) told += "ucd_scat_to_tet: " + std::to_string(bad_count_) + " bad tetras found\n";
    }

    Connect conn;
    std::string told;

  private:
    struct Item {
        Simplex<D> vertices;
        Sphere<D> sphere;
    };
    using List = std::list<Item>;
    using Face = std::array<int, D>;

    isofield::detail::Vertices<D> at() { return isofield::detail::Vertices<D>(coords_.data()); }

    void add_first(const Point &min, const Point &max) {
        const float dx = max[0] - min[0], dy = max[1] - min[1], dz = max[2] - min[2];
        std::vector<double> first;
        if constexpr (D == 2) {
            const double h = (0.2 * dx) * dy / dx;
            first = {min[0] - dx - 0.2 * dx, min[1] - h,     max[0] + dx + 0.2 * dx, min[1] - h,
                     min[0] + 0.5 * dx,      min[1] + 2 * dy};
        } else {
            const double x = min[0] - 0.5 * dx, y = min[1] - 0.5 * dy, z = min[2] - 0.5 * dz;
            first = {x, y, z, x + 4 * dx, y, z, x, y, z + 12.0 * dz, x, y + 6 * dy, z};
        }
        coords_.insert(coords_.end(), first.begin(), first.end());
    }

    void sweep() {
        Connect order(npoints_);
        std::iota(order.begin(), order.end(), 0);
        std::stable_sort(order.begin(), order.end(), [this](int a, int b) {
            return at()[a][0] < at()[b][0] || (std::isnan(at()[b][0]) && !std::isnan(at()[a][0]));
        });
        for (int k = 0; k < npoints_; ++k) {
            const double *const p = at()[order[k]];
            if (!std::all_of(p, p + D, [](double x) { return std::isfinite(x); })) continue;
            if (k > 0 && std::equal(p, p + D, at()[order[k - 1]])) continue;
            int attempts = 0;
            while (attempts < 5 && !insert(order[k])) ++attempts;
            if (attempts == 5)
                told += (D == 2 ? "scat_to_tri: skip point " : "scat_to_tet: skip point ") +
                        std::to_string(D * order[k]) + "\n";
        }
    }

    bool insert(int point) {
        List bad, made;
        for (auto next = active_.begin(); next != active_.end();) {
            const auto item = next++;
            const double *const p = at()[point];
            if (p[0] - item->sphere.centre[0] > std::sqrt(item->sphere.r2)) {
                retired_.splice(retired_.begin(), active_, item);
            } else if (item->sphere.distance2(p) < item->sphere.r2) {
                bad.splice(bad.begin(), active_, item);
            }
        }
        bool whole = true;
        for (const Face &face : cavity(bad)) {
            Item item;
            std::copy(face.begin(), face.end(), item.vertices.begin());
            item.vertices[D] = point;
            whole = build(item);
            if (!whole) break;
            made.push_front(item);
        }
        for (const Item &item : whole ? made : bad) active_.push_front(item);
        return whole;
    }

    // By lowest vertex, the newest first. In space the lowest stands in the middle, between its neighbours.
    std::vector<Face> cavity(const List &bad) const {
        std::map<int, std::list<Face>> heads;
        for (const Item &item : bad) {
            for (const Face &local : kFaces<D>) {
                Face face;
                for (int d = 0; d < D; ++d) face[d] = item.vertices[local[d]];
                const auto lowest = std::min_element(face.begin(), face.end()) - face.begin();
                if (D == 3) std::rotate(face.begin(), face.begin() + (lowest + 2) % 3, face.end());
                std::list<Face> &chain = heads[*std::min_element(face.begin(), face.end())];
                const auto same = std::find_if(chain.begin(), chain.end(), [&](const Face &other) {
                    return std::is_permutation(face.begin(), face.end(), other.begin());
                });
                if (same == chain.end()) {
                    chain.push_front(face);
                } else {
                    chain.erase(same);
                }
            }
        }
        std::vector<Face> faces;
        for (const auto &[lowest, chain] : heads) faces.insert(faces.end(), chain.begin(), chain.end());
        return faces;
    }

    bool build(Item &item) {
        if (circumsphere(at(), item.vertices, item.sphere)) return true;
        const auto move = escape(at(), item.vertices);
        for (int moves = 0; moves < 6; ++moves) {
            for (int d = 0; d < D; ++d) at()[item.vertices[D]][d] += move[d];
            if (circumsphere(at(), item.vertices, item.sphere)) break;
        }
        return false;
    }

    void verify(const Item &item) {
        for (int j = 0; j < npoints_; ++j) {
            const double r2 = item.sphere.r2, d2 = item.sphere.distance2(at()[j]);
            if (std::count(item.vertices.begin(), item.vertices.end(), j) || !(1.0 - d2 / r2 > 1e-05))
                continue;
            ++bad_count_;
            told += D == 2 ? " tri (" : " tet (";
            for (int v = 0; v <= D; ++v)
                told += std::to_string(item.vertices[v]) + (v < D ? " " : ") includes point ");
            told += std::to_string(j) + "  r=" + std::to_string(static_cast<float>(r2)) +
                    " d=" + std::to_string(static_cast<float>(d2)) + "\n";
        }
    }

    int npoints_, bad_count_ = 0;
    std::vector<double> coords_;
    List active_, retired_;
};

enum Kind { kRandom, kGrid, kFine, kFew, kRound, kCircle, kClusters, kFlat, kColumns, kOdd, kTiny, kKinds };

// In a box that is tight, wide, or holds a part of them only.
Cloud cloud_of(int kind, int n, int box, std::mt19937 &random) {
    const auto unit = [&] { return static_cast<float>(random() % 65536) / 65536; };
    const auto few = [&](unsigned count) { return static_cast<float>(random() % count); };
    Cloud cloud{
        std::vector<Point>(n), {kInfinity, kInfinity, kInfinity}, {-kInfinity, -kInfinity, -kInfinity}};
    for (int i = 0; i < n; ++i) {
        Point p = {unit(), unit(), unit()};
        const float angle = 7 * p[0];
        const float root = std::hypot(p[0] - 0.5f, p[1] - 0.5f, p[2] - 0.5f);
        for (int d = 0; d < 3; ++d) {
            const auto step = static_cast<float>(i / std::array{1, 7, 49}[d] % (d < 2 ? 7 : 40));
            if (kind == kGrid) p[d] = step;
            if (kind == kFine) p[d] = 0.1f * step;
            if (kind == kFew) p[d] = few(5);
            if (kind == kTiny) p[d] = 1e-13f * few(5);
            if (kind == kRound) p[d] = (p[d] - 0.5f) / root;
            if (kind == kCircle) p[d] = std::array{std::cos(angle), std::sin(angle), p[2]}[d];
            if (kind == kClusters) p[d] = p[d] * p[d] * p[d] * p[d] + few(2);
            if (kind == kFlat) p[d] = d == 1 ? p[0] / 2 : p[d];
            if (kind == kColumns && d == 0) p[d] = few(3);
            if (kind == kOdd)
                p[d] = random() % 9 ? few(20) : std::array{NAN, kInfinity, -kInfinity}[random() % 3];
        }
        cloud.points[i] = p;
        for (int d = 0; d < 3; ++d) {
            if (!std::isfinite(p[d])) continue;
            cloud.min[d] = std::min(cloud.min[d], p[d]);
            cloud.max[d] = std::max(cloud.max[d], p[d]);
        }
    }
    for (int d = 0; d < 3; ++d) {
        if (!(cloud.min[d] < cloud.max[d])) cloud.min[d] = cloud.max[d] = 0;
        if (box == 1 || cloud.min[d] == cloud.max[d]) {
            cloud.min[d] -= 3;
            cloud.max[d] += 5;
        }
        if (box == 2) cloud.max[d] = cloud.min[d] + (cloud.max[d] - cloud.min[d]) * 0.4f;
    }
    return cloud;
}

// All texts of all sets.
template <int D>
std::string expect_plain(std::initializer_list<int> sizes) {
    std::mt19937 random(D);
    std::string told;
    for (const int n : sizes) {
        for (int kind = 0; kind < kKinds; ++kind) {
            for (int box = 0; box < 3; ++box) {
                const Cloud cloud = cloud_of(kind, n, box, random);
                const bool check = n <= 100;
                const Made made = tessellate<D>(cloud, check);
                const Plain<D> plain(cloud, check);
                EXPECT_EQ(made.result, 1);
                EXPECT_TRUE(made.conn == plain.conn) << kind << " " << n << " " << box;
                EXPECT_TRUE(made.told == plain.told) << made.told << plain.told;
                told += made.told;
            }
        }
    }
    return told;
}

TEST(Delaunay, TrianglesAreThePlainTwins) {
    const std::string told = expect_plain<2>({1, 2, 3, 4, 7, 30, 99, 100, 1500});
    EXPECT_NE(told.find("scat_to_tri: skip point"), std::string::npos);
    EXPECT_NE(told.find(" includes point "), std::string::npos);
    std::mt19937 random(9);
    const Cloud many = cloud_of(kRandom, 7000, 0, random);
    EXPECT_TRUE(tessellate<2>(many).conn == Plain<2>(many, false).conn);
}

TEST(Delaunay, TetrahedraAreThePlainTwins) {
    const std::string told = expect_plain<3>({1, 2, 3, 4, 7, 30, 100, 400});
    EXPECT_NE(told.find("scat_to_tet: skip point"), std::string::npos);
    EXPECT_NE(told.find(" includes point "), std::string::npos);
}

// The twins take these from the library.
TEST(Delaunay, SpheresAndMoves) {
    double plane[] = {5, 0, -3, 4, 0, -5, 0, 0, 2, 1},
           space[] = {3, 0, 0, 1, 2, 2, 2, -1, 2, -2, -2, 1, 0, 0, 0, 2, 0, 0, 0, 1, 0};
    const isofield::detail::Vertices<2> in_plane(plane);
    const isofield::detail::Vertices<3> in_space(space);
    Sphere<2> circle;
    Sphere<3> sphere;
    EXPECT_TRUE(circumsphere(in_plane, {0, 1, 2}, circle));
    EXPECT_FALSE(circumsphere(in_plane, {0, 3, 0}, circle));
    EXPECT_TRUE(circumsphere(in_space, {0, 1, 2, 3}, sphere));
    EXPECT_FALSE(circumsphere(in_space, {4, 5, 6, 4}, sphere));
    EXPECT_DOUBLE_EQ(circle.r2, 25);
    EXPECT_DOUBLE_EQ(sphere.r2, 9);
    for (const double centre :
         {circle.centre[0], circle.centre[1], sphere.centre[0], sphere.centre[1], sphere.centre[2]})
        EXPECT_NEAR(centre, 0, 1e-15);
    EXPECT_EQ(escape(in_plane, {3, 4, 0}), (std::array{0.001, -0.002}));
    EXPECT_EQ(escape(in_space, {4, 5, 6, 0}), (std::array{0.0, 0.0, -3 * 1e-05}));
}

// Everything turned the same way, with each part of a simplex shared as in a ball. Returns the measure.
template <int D>
double expect_ball(const Cloud &cloud) {
    const Connect conn = tessellate<D>(cloud).conn;
    std::vector<double> coords;
    for (const Point &p : cloud.points) coords.insert(coords.end(), p.begin(), p.end());
    std::array<std::set<Connect>, D + 2> parts;  // by the count of vertices
    double sum = 0;
    for (std::size_t c = 0; c < conn.size(); c += D + 1) {
        const double size = measure(coords, &conn[c], D + 1) * (D == 2 ? 1 : -1);
        EXPECT_GT(size, 0);
        sum += size;
        for (int mask = 1; mask < 2 << D; ++mask) {
            Connect part;
            for (int v = 0; v <= D; ++v)
                if (mask >> v & 1) part.push_back(conn[c + v]);
            std::sort(part.begin(), part.end());
            parts[part.size()].insert(part);
        }
    }
    std::ptrdiff_t euler = 0;
    for (std::size_t k = 1; k < parts.size(); ++k) euler += std::ssize(parts[k]) * (k % 2 ? 1 : -1);
    EXPECT_EQ(euler, 1);
    EXPECT_EQ(parts[1].size(), cloud.points.size());
    return sum;
}

// With a hull that is nowhere flat nothing is missing at it.
TEST(Delaunay, SimplicesFillTheHull) {
    std::mt19937 random(4);
    const Cloud inner = cloud_of(kRandom, 300, 0, random);
    Cloud disc{{}, {-1, -1, -1}, {1, 1, 1}}, ball = disc;
    ball.points = cloud_of(kRound, 200, 0, random).points;
    for (int i = 0; i < 60; ++i) {
        const double angle = i * std::numbers::pi / 30;
        disc.points.push_back({static_cast<float>(std::cos(angle)), static_cast<float>(std::sin(angle)), 0});
    }
    for (Cloud *cloud : {&disc, &ball})
        for (const Point &p : inner.points) cloud->points.push_back({p[0] - 0.5f, p[1] - 0.5f, p[2] - 0.5f});
    EXPECT_NEAR(expect_ball<2>(disc), 60 * std::sin(std::numbers::pi / 30), 1e-5);
    expect_ball<3>(ball);
}

TEST(Delaunay, BoxesWithoutExtent) {
    Cloud cloud{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {0, 0, 0}, {1, 1, 1}};
    const float tight[] = {0, 0, 1, 0, 0, 1};
    int ntri = -7, *conn = nullptr;
    EXPECT_EQ(UTILdelaun_tess_2D(3, tight, 2, cloud.min.data(), cloud.max.data(), 0, &ntri, &conn), 1);
    EXPECT_EQ(Connect(conn, conn + 3 * ntri), (Connect{2, 0, 1}));
    const IntArray owned(conn);
    for (int d = 0; d < 3; ++d) {
        Cloud flat = cloud;
        flat.max[d] = flat.min[d];
        EXPECT_EQ(tessellate<2>(flat).count == -7, d < 2);
        const Made made = tessellate<3>(flat);
        EXPECT_EQ(made.count, 0);
        EXPECT_TRUE(made.result == 1 && made.conn.empty());
    }
}

}  // namespace
