// E. Myers, "An O(ND) Difference Algorithm and Its Variations": the furthest point that a path with
// d differences reaches on each diagonal x - y follows from those with d - 1.
#include "check/log/lcs.h"

#include <algorithm>

namespace kovo::check {
namespace {

using Index = std::ptrdiff_t;

constexpr Index kMaxDifferences = 4000;     // take 128 MB
constexpr Index kMaxSteps = 1'000'000'000;  // take some seconds

struct Grid {
  Sequence::const_iterator a;
  Index a_size;
  Sequence::const_iterator b;
  Index b_size;
};

Grid grid_of(const Sequence& a, const Sequence& b) {
  return {a.begin(), static_cast<Index>(a.size()), b.begin(), static_cast<Index>(b.size())};
}

/// Returns the x where the equal elements from a point on end.
Index end_of_equal(const Grid& grid, Index x, Index y) {
  while (x < grid.a_size && y < grid.b_size && grid.a[x] == grid.b[y]) {
    ++x;
    ++y;
  }
  return x;
}

/// The furthest x for d differences, by diagonal from -d to d.
using Reach = std::vector<Index>;

/// A point before a deletion, which leads to the next diagonal, or an insertion.
struct Origin {
  Index diagonal;
  Index x;
};

/// Returns where the furthest path to a diagonal comes from; `reach` is that of d - 1 differences.
Origin origin_of(const Reach& reach, Index d, Index diagonal) {
  const auto x_of = [&](Index before) { return reach.begin()[before + d - 1]; };
  const bool inserts = diagonal == -d || (diagonal != d && x_of(diagonal - 1) < x_of(diagonal + 1));
  const Index before = inserts ? diagonal + 1 : diagonal - 1;
  return {before, x_of(before)};
}

/// Returns the pairs of equal elements on a path with d differences, from its end.
std::vector<CommonPair> pairs_on(const std::vector<Reach>& reaches, Index x, Index diagonal) {
  std::vector<CommonPair> pairs;
  for (Index d = static_cast<Index>(reaches.size()); d >= 0; --d) {
    const Origin origin = d == 0 ? Origin{0, 0} : origin_of(reaches.begin()[d - 1], d, diagonal);
    for (const Index start = origin.x + (origin.diagonal < diagonal ? 1 : 0); x > start; --x) {
      pairs.push_back(
          {static_cast<std::size_t>(x - 1), static_cast<std::size_t>(x - 1 - diagonal)});
    }
    x = origin.x;
    diagonal = origin.diagonal;
  }
  std::reverse(pairs.begin(), pairs.end());
  return pairs;
}

}  // namespace

std::vector<CommonPair> common_subsequence(const Sequence& a, const Sequence& b) {
  const Grid grid = grid_of(a, b);
  std::vector<Reach> reaches;
  for (Index d = 0; d <= kMaxDifferences; ++d) {
    Reach reach(static_cast<std::size_t>(2 * d + 1));
    for (Index k = -d; k <= d; k += 2) {
      const Origin origin = d == 0 ? Origin{0, 0} : origin_of(reaches.back(), d, k);
      const Index start = origin.x + (origin.diagonal < k ? 1 : 0);
      const Index x = reach.begin()[k + d] = end_of_equal(grid, start, start - k);
      if (x >= grid.a_size && x - k >= grid.b_size) return pairs_on(reaches, x, k);
    }
    reaches.push_back(std::move(reach));
  }
  return {};
}

Window most_similar(const Sequence& a, const Sequence& b) {
  struct Path {
    Index x;  // -1: there is none
    Index start;
  };
  const Grid grid = grid_of(a, b);
  std::vector<Path> paths;  // that reach furthest, by diagonal y - x, from -a_size
  for (Index k = -grid.a_size; k <= grid.b_size; ++k) paths.push_back({k < 0 ? -1 : 0, k});
  const Index most = kMaxSteps / static_cast<Index>(paths.size());
  for (Index differences = 0; differences <= most; ++differences) {
    Path above{-1, 0};  // of the diagonal k + 1, before this round
    for (Index k = grid.b_size; k >= -grid.a_size; --k) {
      Path& path = paths.begin()[k + grid.a_size];
      const Path unchanged = path;
      if (differences > 0 && k > -grid.a_size) {
        const Path& below = paths.begin()[k + grid.a_size - 1];
        const bool can_insert = below.x + k <= grid.b_size;
        if (below.x > path.x && can_insert) path = below;
      }
      const bool can_delete = above.x >= 0 && above.x < grid.a_size;
      if (differences > 0 && above.x >= path.x && can_delete) path = {above.x + 1, above.start};
      above = unchanged;
      if (path.x < 0) continue;
      path.x = end_of_equal(grid, path.x, path.x + k);
      if (path.x == grid.a_size) {
        return {static_cast<std::size_t>(path.start), static_cast<std::size_t>(path.x + k),
                static_cast<std::size_t>(differences)};
      }
    }
  }
  return {0, 0, 0};
}

}  // namespace kovo::check
