// Limits what a flood or a lasting failure writes to the main log.
#pragma once

#include <cstdint>
#include <utility>

namespace kovo {

constexpr std::int64_t kReportPeriodNs = 1'000'000'000;

/// Counts what is reported at most once a second. Has no lock of its own: one thread uses it, or
/// the caller holds the lock that guards it.
struct ReportLimit {
  /// Returns the number to report at a time of the steady clock, and sets it to 0. Returns 0 within
  /// a second of the last report.
  int due(std::int64_t now_ns) {
    if (count == 0 || now_ns < reported_ns + kReportPeriodNs) return 0;
    reported_ns = now_ns;
    return std::exchange(count, 0);
  }

  int count = 0;  // since the last report
  std::int64_t reported_ns = -kReportPeriodNs;
};

}  // namespace kovo
