// Applies the fixes of findings to a text, shows them as a diff, and writes the file. The try-out
// page links neither the diff nor replace_file.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "check/findings.h"
#include "check/rules.h"
#include "check/source.h"

namespace kovo::check {

/// Returns the edits of a finding's fix; none when it has no fix.
std::vector<Edit> edits_of(const Finding& finding);

/// Returns a text with edits made that do not overlap.
std::string with_edits(std::string_view text, std::vector<Edit> edits);

struct FixedText {
  std::string text;
  std::size_t fixes = 0;  // applied
};

/// Applies, in passes, the fixes of errors and warnings that are not guesses and add no error or
/// second line of a key; in a large file possibly not all. The result has as many lines, except
/// that a last line of only a carriage return or a byte order mark disappears.
FixedText apply_fixes(std::string_view text, const CheckOptions& options);

/// Removes from the findings of a text the fixes that would add an error or a second line of the
/// same key. In a long file, also fixes that might do that.
void remove_harmful_fixes(std::string_view text, const Source& source, const CheckOptions& options,
                          Findings& findings);

/// Returns the difference of a text and its fixed text as a unified diff for `git apply` and
/// `patch -p1`; "" when they are equal.
std::string unified_diff(std::string_view path, std::string_view before, std::string_view after);

/// Replaces a regular file, through symbolic links, by a temporary file beside it that is synced
/// and renamed; keeps its mode, and its owner where permitted. Returns the reason of a failure, in
/// which case the file is unchanged; "" when there is none.
std::string replace_file(const std::string& path, std::string_view text);

}  // namespace kovo::check
