// The longest common subsequence of two sequences, for the diff of fixes and for logs.
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

/// Returns the pairs of a longest common subsequence, in order. Its time grows with the number of
/// elements times the number of differences, its memory with the number of elements.
std::vector<CommonPair> common_subsequence(const Sequence& a, const Sequence& b);

/// Returns how many leading elements of `b` a shortest edit of some of them to the whole of `a`
/// uses.
std::size_t used_prefix(const Sequence& a, const Sequence& b);

}  // namespace kovo::check
