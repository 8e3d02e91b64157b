// The records of the report for programs, for those who write more than the report.
#pragma once

#include <cerrno>
#include <string>

// The same writer for machines without files and exceptions.
#define JSON_NO_IO
#define JSON_HAS_FILESYSTEM 0
#define JSON_HAS_EXPERIMENTAL_FILESYSTEM 0
#include <nlohmann/json.hpp>

#include "check/explain.h"
#include "check/json.h"

namespace kovo::check {

using Json = nlohmann::ordered_json;

/// Returns the report that json_text prints.
Json report_json(const std::vector<CheckedFile>& files);

/// Returns an edit of a file.
Json edit_json(const Edit& edit);

/// Returns one event with its steps.
Json event_json(const std::string& file, const ExplainedEvent& event);

}  // namespace kovo::check
