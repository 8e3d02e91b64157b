// The report as JSON, also for the try-out page.
#pragma once

#include <cerrno>  // used by nlohmann/json.hpp, which does not include it
#include <string>
#include <vector>

// Also compiles to WebAssembly, without files and exceptions.
#define JSON_NO_IO
#define JSON_HAS_FILESYSTEM 0
#define JSON_HAS_EXPERIMENTAL_FILESYSTEM 0
#include <nlohmann/json.hpp>

#include "check/explain.h"
#include "check/findings.h"

namespace kovo::check {

using Json = nlohmann::ordered_json;

struct CheckedFile {
  std::string name;
  Findings findings;
  std::vector<ExplainedEvent> events;
};

/// Returns the findings and events of all files as one JSON object.
Json report_json(const std::vector<CheckedFile>& files);

/// Returns it on one line without a newline. Bytes that are not UTF-8 become replacement
/// characters; payloads are in hexadecimal too.
std::string json_text(const std::vector<CheckedFile>& files);

/// Returns an edit of a file.
Json edit_json(const Edit& edit);

/// Returns one event with its steps.
Json event_json(const std::string& file, const ExplainedEvent& event);

}  // namespace kovo::check
