// What two sequences have in common: the records of both logs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kovo::check {

using Sequence = std::vector<std::uint32_t>;

struct CommonPair {
  std::size_t a;  // positions of equal elements
  std::size_t b;
};

/// Returns the pairs of a longest common subsequence, in order; none if the sequences differ too
/// much.
std::vector<CommonPair> common_subsequence(const Sequence& a, const Sequence& b);

/// A part of a sequence.
struct Window {
  std::size_t first;
  std::size_t end;  // after the last element
  std::size_t differences;
};

/// Returns the part of `b` that the fewest deletions and insertions turn into `a`, the last one of
/// several; an empty one if all need too many.
Window most_similar(const Sequence& a, const Sequence& b);

}  // namespace kovo::check
