// E. Myers, "An O(ND) Difference Algorithm and Its Variations": the furthest point that each
// diagonal x - y reaches with d differences follows from those with d - 1. In linear space, the
// search from both ends finds a point in the middle of a shortest path, and each half is solved
// likewise.
#include "check/lcs.h"

#include <algorithm>
#include <cstdlib>
#include <unordered_set>

namespace kovo::check {
namespace {

using Index = std::ptrdiff_t;

constexpr Index kMaxDifferences = 20'000;  // more take minutes: the logs are not of one device

/// A part of both sequences.
struct Part {
  const std::uint32_t* a;
  Index a_size;
  const std::uint32_t* b;
  Index b_size;
};

struct Frontier {
  std::vector<Index> reach;  // x by diagonal
  Index offset;

  explicit Frontier(Index diagonals)
      : reach(static_cast<std::size_t>(2 * diagonals + 3), 0), offset(diagonals + 1) {}
  Index& at(Index diagonal) {
    return reach[static_cast<std::size_t>(diagonal + offset)];
  }
};

/// Extends a diagonal by one difference and then by equal elements; returns its new x.
Index extend(const Part& part, Frontier& frontier, Index d, Index k, bool from_end) {
  const bool down = k == -d || (k != d && frontier.at(k - 1) < frontier.at(k + 1));
  Index x = down ? frontier.at(k + 1) : frontier.at(k - 1) + 1;
  const auto is_equal = [&](Index y) {
    return from_end ? part.a[part.a_size - 1 - x] == part.b[part.b_size - 1 - y]
                    : part.a[x] == part.b[y];
  };
  while (x < part.a_size && x - k < part.b_size && is_equal(x - k)) ++x;
  return frontier.at(k) = x;
}

struct Point {
  Index x;
  Index y;
};

/// Returns a point in the middle of a shortest path through a part with at least two differences.
Point middle_of(const Part& part) {
  const Index delta = part.a_size - part.b_size;
  const Index most = (part.a_size + part.b_size + 1) / 2;
  Frontier forward(most);
  Frontier backward(most);
  for (Index d = 0; d <= most; ++d) {
    for (const bool from_end : {false, true}) {
      Frontier& own = from_end ? backward : forward;
      Frontier& other = from_end ? forward : backward;
      const Index other_d = from_end ? d : d - 1;
      const bool may_meet = (delta % 2 != 0) != from_end;
      for (Index k = -d; k <= d; k += 2) {
        const Index x = extend(part, own, d, k, from_end);
        const bool is_inside = x <= part.a_size && x - k <= part.b_size;
        if (!may_meet || !is_inside || std::abs(delta - k) > other_d) continue;
        if (x + other.at(delta - k) < part.a_size) continue;
        return from_end ? Point{part.a_size - x, part.b_size - (x - k)} : Point{x, x - k};
      }
    }
  }
  return {part.a_size, part.b_size};
}

void add_pairs(Part part, Index a_start, Index b_start, std::vector<CommonPair>& pairs) {
  const auto add = [&](Index x, Index y) {
    pairs.push_back({static_cast<std::size_t>(a_start + x), static_cast<std::size_t>(b_start + y)});
  };
  Index lead = 0;
  while (lead < std::min(part.a_size, part.b_size) && part.a[lead] == part.b[lead]) {
    add(lead, lead);
    ++lead;
  }
  part = {part.a + lead, part.a_size - lead, part.b + lead, part.b_size - lead};
  a_start += lead;
  b_start += lead;
  Index trail = 0;
  while (trail < std::min(part.a_size, part.b_size) &&
         part.a[part.a_size - 1 - trail] == part.b[part.b_size - 1 - trail]) {
    ++trail;
  }
  part.a_size -= trail;
  part.b_size -= trail;
  if (part.a_size > 0 && part.b_size > 0) {
    const Point at = middle_of(part);
    add_pairs({part.a, at.x, part.b, at.y}, a_start, b_start, pairs);
    add_pairs({part.a + at.x, part.a_size - at.x, part.b + at.y, part.b_size - at.y},
              a_start + at.x, b_start + at.y, pairs);
  }
  for (Index at = 0; at < trail; ++at) add(part.a_size + at, part.b_size + at);
}

/// Returns the positions of the elements that another sequence has too. Only these are compared: a
/// file of which every line has changed would take hours.
std::vector<std::size_t> shared_with(const Sequence& other, const Sequence& own) {
  const std::unordered_set<std::uint32_t> known(other.begin(), other.end());
  std::vector<std::size_t> positions;
  for (std::size_t at = 0; at < own.size(); ++at) {
    if (known.count(own[at]) > 0) positions.push_back(at);
  }
  return positions;
}

Sequence elements_at(const Sequence& all, const std::vector<std::size_t>& positions) {
  Sequence chosen;
  for (const std::size_t at : positions) chosen.push_back(all[at]);
  return chosen;
}

Part whole(const Sequence& a, const Sequence& b) {
  return {a.data(), static_cast<Index>(a.size()), b.data(), static_cast<Index>(b.size())};
}

}  // namespace

std::vector<CommonPair> common_subsequence(const Sequence& a, const Sequence& b) {
  const std::vector<std::size_t> of_a = shared_with(b, a);
  const std::vector<std::size_t> of_b = shared_with(a, b);
  const Sequence shared_a = elements_at(a, of_a);
  const Sequence shared_b = elements_at(b, of_b);
  std::vector<CommonPair> pairs;
  add_pairs(whole(shared_a, shared_b), 0, 0, pairs);
  for (CommonPair& pair : pairs) pair = {of_a[pair.a], of_b[pair.b]};
  return pairs;
}

std::size_t used_prefix(const Sequence& a, const Sequence& b) {
  const Part part = whole(a, b);
  const Index most = std::min(part.a_size + part.b_size, kMaxDifferences);
  Frontier frontier(most);
  for (Index d = 0; d <= most; ++d) {
    for (Index k = -d; k <= d; k += 2) {
      const Index x = extend(part, frontier, d, k, false);
      if (x == part.a_size && x - k <= part.b_size) return static_cast<std::size_t>(x - k);
    }
  }
  return 0;
}

}  // namespace kovo::check
