// The report for programs.
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

/// Findings and events of all files as one JSON object on one line, without a line feed. Texts of
/// the file that are no UTF-8 carry replacement characters; payloads are given in hexadecimal too.
std::string json_text(const std::vector<CheckedFile>& files);

}  // namespace kovo::check
