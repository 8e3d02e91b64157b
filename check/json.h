// The report as JSON.
#pragma once

#include <string>
#include <vector>

#include "check/explain.h"
#include "check/findings.h"

namespace kovo::check {

struct CheckedFile {
  std::string name;
  Findings findings;
  std::vector<ExplainedEvent> events;
};

/// Returns the findings and events of all files as one JSON object, on one line without a newline.
/// Bytes that are not UTF-8 become replacement characters; payloads are in hexadecimal too.
std::string json_text(const std::vector<CheckedFile>& files);

}  // namespace kovo::check
